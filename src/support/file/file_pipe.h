// The client end of a named pipe that the parent created: --pipe (both
// directions) and --inpipe (reading). Overlapped I/O, so that a blocked read
// or write also wakes when the calling thread's abort event is signalled.
// A peer that closes its end reads as the end of data.
//
// One thread at a time, and a read and a write must not overlap: the two
// directions share one event.
#pragma once

#include <string>

#include "support/file/file.h"
#include "support/scoped_handle.h"

namespace Qz {

class filePipe : public fileReader, public fileWriter {
public:
    filePipe();
    ~filePipe();
    filePipe(const filePipe&) = delete;
    filePipe& operator=(const filePipe&) = delete;

    // One attempt to open the pipe `name` with the Win32 access mask
    // `access`; any failure throws "could not connect pipe".
    void connect(const std::wstring& name, uint32_t access);

    // Until `size` bytes have arrived or the peer closed.
    uint64_t read(void* buffer, uint64_t size) override;
    // All of `buffer`; a closed peer is a failure.
    void write(const void* buffer, uint64_t size) override;

    double timeout = 0; // seconds per wait; 0: none

private:
    uint64_t readPiece(void* buffer, uint32_t count, uint32_t milliseconds);
    void writePiece(const void* buffer, uint32_t count, uint32_t milliseconds);
    uint32_t waitMilliseconds() const;

    scopedHandle handle;
    scopedHandle event; // manual-reset, for the overlapped operations
};

} // namespace Qz
