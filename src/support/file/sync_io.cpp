#include "support/file/sync_io.h"

#include <algorithm>

#include "support/error/error.h"
#include "support/file/file.h"
#include "support/thread/abort.h"
#include "support/win32.h"

namespace Qz {

namespace {
DWORD systemChunk(uint64_t remaining) { return DWORD(std::min(remaining, maxSystemTransfer)); }
} // namespace

uint64_t readSynchronous(void* handle, void* buffer, uint64_t size) {
    char* into = static_cast<char*>(buffer);
    uint64_t done = 0;
    while (done < size) {
        abortCheck();
        DWORD got = 0;
        SetLastError(0);
        if (!ReadFile(static_cast<HANDLE>(handle), into + done, systemChunk(size - done), &got, NULL))
            throwLastError();
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

void writeSynchronous(void* handle, const void* buffer, uint64_t size) {
    const char* from = static_cast<const char*>(buffer);
    uint64_t done = 0;
    while (done < size) {
        abortCheck();
        DWORD put = 0;
        SetLastError(0);
        if (!WriteFile(static_cast<HANDLE>(handle), from + done, systemChunk(size - done), &put, NULL))
            throwLastError();
        if (put == 0)
            throw file_access_error();
        done += put;
    }
}

} // namespace Qz
