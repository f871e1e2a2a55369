#include "test_files.h"

#include "support/text/utf.h"
#include "support/win32.h"

std::wstring binFolder() {
    wchar_t path[MAX_PATH * 4];
    DWORD length = GetModuleFileNameW(NULL, path, DWORD(sizeof path / sizeof path[0]));
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

std::wstring testPlugin(const std::wstring& fileName) { return binFolder() + L"plugins\\" + fileName; }

std::string testPluginPath(const std::string& fileName) {
    return narrow(testPlugin(Qz::utf8ToWide(fileName)));
}

std::string narrow(const std::wstring& text) { return Qz::wideToUtf8(text); }

namespace {
int foldersMade = 0;
} // namespace

ScopedTempFolder::ScopedTempFolder(const std::wstring& name) {
    wchar_t base[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, base);
    folder = std::wstring(base) + name + L"-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
             std::to_wstring(++foldersMade) + L"\\";
    CreateDirectoryW(folder.c_str(), NULL);
}

ScopedTempFolder::~ScopedTempFolder() {
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW((folder + L"*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                DeleteFileW((folder + found.cFileName).c_str());
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    RemoveDirectoryW(folder.c_str());
}

std::string readWholeFile(const std::wstring& path) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_EXISTING,
                              0, NULL);
    if (file == INVALID_HANDLE_VALUE)
        return "(missing)";
    std::string bytes;
    char buffer[65536];
    DWORD got = 0;
    while (ReadFile(file, buffer, sizeof buffer, &got, NULL) && got)
        bytes.append(buffer, got);
    CloseHandle(file);
    return bytes;
}

void writeWholeFile(const std::wstring& path, const std::string& bytes) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL);
    DWORD written = 0;
    WriteFile(file, bytes.data(), DWORD(bytes.size()), &written, NULL);
    CloseHandle(file);
}

// A folder of its own per log, so that a second log in one test starts empty.
CallLog::CallLog() : folder(L"fxhost-log"), file(folder.path() + L"calls.log") {
    SetEnvironmentVariableW(L"FXHOST_TEST_LOG", file.c_str());
}

CallLog::~CallLog() { SetEnvironmentVariableW(L"FXHOST_TEST_LOG", NULL); }

std::vector<std::string> CallLog::lines() const {
    std::string text = readWholeFile(file);
    std::vector<std::string> result;
    if (text == "(missing)")
        return result;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        result.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return result;
}

std::vector<std::string> CallLog::calls() const {
    std::vector<std::string> result;
    for (const std::string& line : lines()) {
        size_t blank = line.find(' ');
        result.push_back(blank == std::string::npos ? line : line.substr(blank + 1));
    }
    return result;
}

std::vector<std::string> CallLog::callsStartingWith(const std::string& prefix) const {
    std::vector<std::string> result;
    for (const std::string& call : calls())
        if (call.compare(0, prefix.size(), prefix) == 0)
            result.push_back(call);
    return result;
}
