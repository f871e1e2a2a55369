#include "test_files.h"

#include <fstream>
#include <sstream>

#include "support/text/utf.h"
#include "support/win32.h"

std::wstring binFolder() {
    wchar_t path[MAX_PATH * 4];
    std::wstring folder(path, GetModuleFileNameW(NULL, path, DWORD(sizeof path / sizeof path[0])));
    return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

std::wstring testPlugin(const std::wstring& fileName) {
    return binFolder() + L"plugins\\" + fileName;
}

std::string testPluginPath(const std::string& fileName) {
    return narrow(testPlugin(Qz::utf8ToWide(fileName)));
}

std::string narrow(const std::wstring& text) {
    return Qz::wideToUtf8(text);
}

namespace {
int foldersMade = 0;
} // namespace

ScopedTempFolder::ScopedTempFolder(const std::wstring& name) {
    wchar_t base[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, base);
    folder =
        base + name + L"-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++foldersMade) + L"\\";
    CreateDirectoryW(folder.c_str(), NULL);
}

ScopedTempFolder::~ScopedTempFolder() {
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW((folder + L"*").c_str(), &found);
    for (bool more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found))
        DeleteFileW((folder + found.cFileName).c_str()); // "." and ".." are not deleted
    FindClose(search);
    RemoveDirectoryW(folder.c_str());
}

std::string readWholeFile(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return file ? bytes.str() : "(missing)";
}

void writeWholeFile(const std::wstring& path, const std::string& bytes) {
    std::ofstream(path.c_str(), std::ios::binary) << bytes;
}

// A folder of its own per log, so that a second log in one test starts empty.
CallLog::CallLog() : folder(L"fxhost-log"), file(folder.path() + L"calls.log") {
    SetEnvironmentVariableW(L"FXHOST_TEST_LOG", file.c_str());
}

CallLog::~CallLog() {
    SetEnvironmentVariableW(L"FXHOST_TEST_LOG", NULL);
}

std::vector<std::string> CallLog::lines() const {
    std::string text = readWholeFile(file), line;
    std::istringstream stream(text == "(missing)" ? "" : text);
    std::vector<std::string> result;
    while (std::getline(stream, line))
        result.push_back(line);
    return result;
}

std::vector<std::string> CallLog::calls() const {
    std::vector<std::string> result;
    for (const std::string& line : lines())
        result.push_back(line.substr(line.find(' ') + 1)); // npos + 1: the whole line
    return result;
}

std::vector<std::string> CallLog::callsStartingWith(const std::string& prefix) const {
    std::vector<std::string> result;
    for (const std::string& call : calls())
        if (call.compare(0, prefix.size(), prefix) == 0)
            result.push_back(call);
    return result;
}
