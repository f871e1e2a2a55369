#include "test_plugins.h"

#include <fstream>

#include "support/text/utf.h"
#include "support/win32.h"

namespace {

std::wstring binFolder() {
    wchar_t path[MAX_PATH * 4];
    DWORD length = GetModuleFileNameW(NULL, path, DWORD(sizeof path / sizeof path[0]));
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

// Unique within this process and across concurrent test processes.
std::filesystem::path uniqueTempName(const wchar_t* suffix) {
    static unsigned counter = 0;
    std::wstring name = L"fxhost-vst3-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++counter);
    return std::filesystem::temp_directory_path() / (name + suffix);
}

} // namespace

std::string testPluginPath(const std::string& fileName) {
    return Qz::wideToUtf8(binFolder()) + "plugins\\" + fileName;
}

bool isLibraryLoaded(const std::string& path) {
    return GetModuleHandleW(Qz::utf8ToWide(path).c_str()) != NULL;
}

std::string utf8Path(const std::filesystem::path& path) {
    return Qz::wideToUtf8(path.wstring());
}

CallLog::CallLog() : file(uniqueTempName(L".log")) {
    SetEnvironmentVariableW(L"FXHOST_TEST_LOG", file.wstring().c_str());
}

CallLog::~CallLog() {
    SetEnvironmentVariableW(L"FXHOST_TEST_LOG", NULL);
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

std::vector<std::string> CallLog::lines() const {
    std::ifstream in(file, std::ios::binary);
    std::vector<std::string> result;
    std::string line;
    while (std::getline(in, line))
        result.push_back(line);
    return result;
}

ScopedTempDir::ScopedTempDir() : folder(uniqueTempName(L"")) {
    std::filesystem::create_directories(folder);
}

ScopedTempDir::~ScopedTempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}
