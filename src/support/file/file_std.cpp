#include "support/file/file_std.h"

#include <algorithm>

#include "support/error/error.h"
#include "support/file/sync_io.h"
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
    return abortWins([&]() { return readSynchronous(handle, buffer, size); });
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
    abortWins([&]() { writeSynchronous(handle, buffer, size); });
}

} // namespace Qz
