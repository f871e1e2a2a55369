#include "plugin_log.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

namespace {

// The host may call from its audio thread and its window thread at once;
// two appends must not interleave within a line.
std::mutex logMutex;

// Read on every line: a test sets the variable for the host it starts.
std::wstring logPath() {
    wchar_t path[4 * MAX_PATH];
    DWORD length = GetEnvironmentVariableW(L"FXHOST_TEST_LOG", path, 4 * MAX_PATH);
    return length < 4 * MAX_PATH ? std::wstring(path, length) : std::wstring();
}

} // namespace

bool pluginLogEnabled() {
    return !logPath().empty();
}

void pluginLog(const char* format, ...) {
    std::wstring path = logPath();
    if (path.empty())
        return;
    char text[2048] = "";
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args); // cut short, if need be
    va_end(args);
    std::lock_guard<std::mutex> lock(logMutex);
    // Opened per line, so that a host that dies halfway leaves every line
    // before its death; binary, so that the tests never see "\r\n".
    if (FILE* file = _wfopen(path.c_str(), L"ab")) {
        std::fprintf(file, "%s %s\n", FX_PLUGIN_NAME, text);
        std::fclose(file);
    }
}
