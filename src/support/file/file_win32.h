// A plain file as a byte stream: --input and --output files and the --data
// settings file. Synchronous Win32 I/O, at most 16 MiB per system call, an
// abort check before each. One thread at a time.
#pragma once

#include <string>

#include "support/file/file.h"
#include "support/scoped_handle.h"

namespace Qz {

class fileWin32 : public fileSeekable, public fileWriter {
public:
    fileWin32() = default; // closed

    // Open an existing file for reading, or create (truncate) one for
    // reading and writing; whatever was open is closed first. Failures throw
    // by the system's error: a missing file is Qz::file_not_found.
    void openRead(const std::string& path);
    void openWrite(const std::string& path);
    void close();
    bool isOpen() const { return handle.valid(); }

    // Until `size` bytes or the end of the file.
    uint64_t read(void* buffer, uint64_t size) override;
    // All of `buffer`; a write of 0 bytes throws Qz::file_access_error.
    void write(const void* buffer, uint64_t size) override;

    bool canSeek() override { return true; }
    // seek and size on a closed file throw Qz::bug_check.
    void seek(uint64_t position) override;
    uint64_t tell() override;
    uint64_t size() override;
    bool getInfo(const std::string&, std::string&) override { return false; }
    // Sets the end of the file at `size`; the position stays where it was,
    // even beyond the new end.
    virtual void truncate(uint64_t size);

private:
    void open(const std::string& path, bool forWriting);

    scopedHandle handle;
};

} // namespace Qz
