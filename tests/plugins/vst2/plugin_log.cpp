#include "plugin_log.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

#ifndef FX_PLUGIN_NAME
#error "FX_PLUGIN_NAME must name the plug-in, e.g. \"fx_effect\""
#endif

namespace {

// The host may call from its audio thread and its window thread at once;
// two appends must not interleave within a line.
std::mutex logMutex;

std::wstring logPath() {
    // Read on every line: a test sets the variable for the host it starts,
    // and nothing may be cached from an earlier run in the same process.
    DWORD size = GetEnvironmentVariableW(L"FXHOST_TEST_LOG", nullptr, 0);
    if (size == 0)
        return std::wstring();
    std::wstring path(size, L'\0');
    DWORD length = GetEnvironmentVariableW(L"FXHOST_TEST_LOG", &path[0], size);
    if (length == 0 || length >= size)
        return std::wstring();
    path.resize(length);
    return path;
}

} // namespace

std::string toUtf8(const std::wstring& text) {
    if (text.empty())
        return std::string();
    int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr,
                                   nullptr);
    std::string result(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &result[0], size, nullptr, nullptr);
    return result;
}

bool pluginLogEnabled() {
    return !logPath().empty();
}

void pluginLog(const char* format, ...) {
    std::wstring path = logPath();
    if (path.empty())
        return;

    char text[2048];
    va_list args;
    va_start(args, format);
    int length = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (length < 0)
        return;
    std::string line = FX_PLUGIN_NAME " ";
    line.append(text, static_cast<size_t>(length) < sizeof text ? static_cast<size_t>(length) : sizeof text - 1);
    line += '\n';

    std::lock_guard<std::mutex> lock(logMutex);
    // Binary: the tests split on "\n" and must not see "\r\n".
    FILE* file = _wfopen(path.c_str(), L"ab");
    if (!file)
        return;
    std::fwrite(line.data(), 1, line.size(), file);
    std::fflush(file);
    std::fclose(file);
}
