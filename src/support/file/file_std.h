// The standard handles as byte streams. Raw bytes through ReadFile and
// WriteFile: no text mode, no translation. The handles are not owned and
// never closed. Used from the main thread (which has no abort binding) or
// from one worker at a time.
#pragma once

#include "support/file/file.h"

namespace Qz {

class fileStdIn : public fileReader {
public:
    explicit fileStdIn(void* handle); // GetStdHandle(STD_INPUT_HANDLE)
    // Loops over ReadFile calls of at most 16 MiB; a read of 0 bytes is the
    // end of data. ERROR_BROKEN_PIPE is a failure like any other here.
    uint64_t read(void* buffer, uint64_t size) override;
    // One ReadFile of at most 16 MiB.
    uint64_t readSome(void* buffer, uint64_t size) override;

    void* const handle;
};

class fileStdOut : public fileWriter {
public:
    explicit fileStdOut(void* handle); // GetStdHandle(STD_OUTPUT_HANDLE)
    // Loops over WriteFile calls of at most 16 MiB; a write of 0 bytes
    // throws Qz::file_access_error.
    void write(const void* buffer, uint64_t size) override;

    void* const handle;
};

} // namespace Qz
