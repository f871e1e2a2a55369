#include "support/error/error.h"

#include <cstdio>

#include "support/text/utf.h"
#include "support/win32.h"

namespace Qz {

std::string httpStatusText(const std::string& reason, unsigned status) {
    return (reason.empty() ? std::string("Unspecified HTTP Response") : reason) + " (" + std::to_string(status) + ")";
}

void throwWin32Error(uint32_t code) {
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        throw file_not_found();
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        throw file_already_exists();
    case ERROR_DIR_NOT_EMPTY:
        throw directory_not_empty();
    default:
        throw file_access_error();
    }
}

void throwLastError() { throwWin32Error(GetLastError()); }

void throwSocketError(uint32_t code) {
    throw network_error("network error (" + std::to_string(int32_t(code)) + ")");
}

void rethrowAsConnectError(const std::exception& cause) {
    // A cause that already says "could not connect" keeps its one prefix.
    if (const network_error_connect* connect = dynamic_cast<const network_error_connect*>(&cause))
        throw *connect;
    throw network_error_connect(std::string("could not connect: ") + cause.what());
}

void throwSecurityError(uint32_t status) {
    // The peer stopped in the middle of a record: a network failure that a
    // retry may mend, unlike every other status.
    if (status == 0x80090318u)
        throw network_error();
    std::string text = "Network authentication error";
    std::wstring system;
    if (win32Message(system, status))
        text += ": " + wideToUtf8(system);
    char hex[16];
    std::snprintf(hex, sizeof hex, "%08x", unsigned(status));
    throw exception_network_authentication(text + " (" + hex + ")");
}

void throwLastSecurityError() {
    throw exception_network_authentication("Network authentication error (win32:" +
                                           std::to_string(unsigned(GetLastError())) + ")");
}

std::wstring foldSystemText(const wchar_t* text, size_t length) {
    std::wstring folded;
    size_t keep = 0;
    for (size_t i = 0; i < length && text[i]; ++i) {
        wchar_t c = text[i];
        bool blank = c == L'\t' || c == L'\n' || c == L'\r' || c == L' ';
        folded.push_back(blank ? L' ' : c);
        if (!blank)
            keep = folded.size();
    }
    folded.resize(keep);
    return folded;
}

bool win32Message(std::wstring& text, uint32_t code) {
    wchar_t buffer[512];
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, NULL, code, 0, buffer, 512, NULL);
    if (length == 0)
        return false;
    text = foldSystemText(buffer, 512);
    return true;
}

} // namespace Qz
