#include "support/file/file_win32.h"

#include "support/error/error.h"
#include "support/file/sync_io.h"
#include "support/text/utf.h"
#include "support/thread/abort.h"
#include "support/win32.h"

namespace Qz {

void fileWin32::open(const std::string& path, bool forWriting) {
    close();
    SetLastError(0);
    HANDLE opened = CreateFileW(utf8ToWide(path).c_str(), forWriting ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, forWriting ? CREATE_ALWAYS : OPEN_EXISTING,
                                0, NULL);
    if (opened == INVALID_HANDLE_VALUE)
        throwLastError();
    handle.reset(opened);
}

void fileWin32::openRead(const std::string& path) { open(path, false); }

void fileWin32::openWrite(const std::string& path) { open(path, true); }

void fileWin32::close() { handle.reset(); }

uint64_t fileWin32::read(void* buffer, uint64_t size) { return readSynchronous(handle.get(), buffer, size); }

void fileWin32::write(const void* buffer, uint64_t size) { writeSynchronous(handle.get(), buffer, size); }

void fileWin32::seek(uint64_t position) {
    abortCheck();
    if (!isOpen())
        throw bug_check();
    LARGE_INTEGER distance;
    distance.QuadPart = LONGLONG(position);
    SetLastError(0);
    if (!SetFilePointerEx(handle.get(), distance, NULL, FILE_BEGIN))
        throwLastError();
}

uint64_t fileWin32::tell() {
    LARGE_INTEGER zero, position;
    zero.QuadPart = 0;
    SetLastError(0);
    if (!SetFilePointerEx(handle.get(), zero, &position, FILE_CURRENT))
        throwLastError();
    return uint64_t(position.QuadPart);
}

uint64_t fileWin32::size() {
    abortCheck();
    if (!isOpen())
        throw bug_check();
    LARGE_INTEGER total;
    SetLastError(0);
    if (!GetFileSizeEx(handle.get(), &total))
        throwLastError();
    return uint64_t(total.QuadPart);
}

void fileWin32::truncate(uint64_t newSize) {
    uint64_t position = tell();
    seek(newSize);
    SetLastError(0);
    if (SetEndOfFile(handle.get())) {
        seek(position);
        return;
    }
    // Report why the end could not be set, not whatever going back does.
    DWORD failure = GetLastError();
    try {
        seek(position);
    } catch (...) {
    }
    throwWin32Error(failure);
}

} // namespace Qz
