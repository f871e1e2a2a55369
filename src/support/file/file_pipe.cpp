#include "support/file/file_pipe.h"

#include <algorithm>
#include <stdexcept>

#include "support/error/error.h"
#include "support/thread/abort.h"
#include "support/win32.h"

namespace Qz {

namespace {

bool isEndOfData(DWORD error) { return error == ERROR_HANDLE_EOF || error == ERROR_BROKEN_PIPE; }

// Cancels the operation and waits until the system is done with the
// OVERLAPPED and the buffer, which live on the caller's stack.
void cancel(HANDLE handle, OVERLAPPED& overlapped) {
    CancelIo(handle);
    DWORD ignored = 0;
    GetOverlappedResult(handle, &overlapped, &ignored, TRUE);
}

// Waits for a pending operation on its event, and on the thread's abort
// event when it has one. Returns only when the operation completed; a wait
// that ends any other way cancels the operation and throws.
void awaitPending(HANDLE handle, OVERLAPPED& overlapped, DWORD milliseconds) {
    waitable* abort = currentAbortBinding();
    HANDLE objects[2] = {overlapped.hEvent, abort ? static_cast<HANDLE>(abort->handle) : NULL};
    SetLastError(0);
    DWORD waited = abort ? WaitForMultipleObjects(2, objects, FALSE, milliseconds)
                         : WaitForSingleObject(overlapped.hEvent, milliseconds);
    if (waited == WAIT_OBJECT_0)
        return;
    cancel(handle, overlapped);
    if (abort && waited == WAIT_OBJECT_0 + 1)
        throw user_abort();
    if (waited == WAIT_TIMEOUT)
        throw network_error_timeout();
    throw file_access_error();
}

} // namespace

filePipe::filePipe() : event(CreateEventW(NULL, TRUE, FALSE, NULL)) {}

filePipe::~filePipe() = default; // the handle first, then the event

void filePipe::connect(const std::wstring& name, uint32_t access) {
    handle.reset();
    HANDLE opened = CreateFileW(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, NULL,
                                OPEN_EXISTING, FILE_FLAG_OVERLAPPED, NULL);
    if (opened == INVALID_HANDLE_VALUE)
        throw std::runtime_error("could not connect pipe");
    handle.reset(opened);
}

uint32_t filePipe::waitMilliseconds() const {
    return timeout > 0 ? uint32_t(timeout * 1000.0 + 0.5) : INFINITE;
}

uint64_t filePipe::readPiece(void* buffer, uint32_t count, uint32_t milliseconds) {
    abortCheck();
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event.get();
    ResetEvent(event.get());
    DWORD got = 0;
    SetLastError(0);
    if (ReadFile(handle.get(), buffer, count, &got, &overlapped))
        return got;
    DWORD error = GetLastError();
    if (isEndOfData(error))
        return 0;
    if (error != ERROR_IO_PENDING)
        throwWin32Error(error);

    awaitPending(handle.get(), overlapped, milliseconds);
    SetLastError(0);
    if (GetOverlappedResult(handle.get(), &overlapped, &got, TRUE))
        return got;
    error = GetLastError();
    if (isEndOfData(error))
        return 0;
    cancel(handle.get(), overlapped);
    throwWin32Error(error);
}

void filePipe::writePiece(const void* buffer, uint32_t count, uint32_t milliseconds) {
    abortCheck();
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event.get();
    ResetEvent(event.get());
    DWORD put = 0;
    SetLastError(0);
    if (WriteFile(handle.get(), buffer, count, &put, &overlapped)) {
        if (put != count)
            throw file_access_error();
        return;
    }
    DWORD error = GetLastError();
    if (error != ERROR_IO_PENDING)
        throwWin32Error(error); // a closed peer included: no end of data when writing

    awaitPending(handle.get(), overlapped, milliseconds);
    SetLastError(0);
    if (GetOverlappedResult(handle.get(), &overlapped, &put, TRUE)) {
        if (put == count)
            return;
        cancel(handle.get(), overlapped);
        throw file_access_error();
    }
    error = GetLastError();
    cancel(handle.get(), overlapped);
    throwWin32Error(error);
}

uint64_t filePipe::read(void* buffer, uint64_t size) {
    char* into = static_cast<char*>(buffer);
    uint32_t milliseconds = waitMilliseconds();
    uint64_t done = 0;
    while (done < size) {
        uint64_t got = readPiece(into + done, uint32_t(std::min(size - done, maxSystemTransfer)), milliseconds);
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

void filePipe::write(const void* buffer, uint64_t size) {
    const char* from = static_cast<const char*>(buffer);
    uint32_t milliseconds = waitMilliseconds();
    for (uint64_t done = 0; done < size;) {
        uint32_t piece = uint32_t(std::min(size - done, maxSystemTransfer));
        writePiece(from + done, piece, milliseconds);
        done += piece;
    }
}

} // namespace Qz
