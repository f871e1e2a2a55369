#include "support/file/file_std.h"

#include <algorithm>

#include "support/error/error.h"
#include "support/thread/abort.h"
#include "support/win32.h"

namespace Qz {

namespace {

DWORD systemChunk(uint64_t remaining) { return DWORD(std::min(remaining, maxSystemTransfer)); }

// An abort wins over the failure it caused: a read or write that fails
// while the thread's abort event is signalled is reported as the abort.
template <class Body> auto abortWins(Body body) -> decltype(body()) {
    try {
        return body();
    } catch (...) {
        if (abortSignalled())
            throw user_abort();
        throw;
    }
}

} // namespace

fileStdIn::fileStdIn(void* handle) : handle(handle) {}

uint64_t fileStdIn::read(void* buffer, uint64_t size) {
    return abortWins([&]() -> uint64_t {
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
    });
}

uint64_t fileStdIn::readSome(void* buffer, uint64_t size) {
    return abortWins([&]() -> uint64_t {
        abortCheck();
        DWORD got = 0;
        SetLastError(0);
        if (!ReadFile(static_cast<HANDLE>(handle), buffer, systemChunk(size), &got, NULL))
            throwLastError();
        return got;
    });
}

fileStdOut::fileStdOut(void* handle) : handle(handle) {}

void fileStdOut::write(const void* buffer, uint64_t size) {
    abortWins([&]() {
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
    });
}

} // namespace Qz
