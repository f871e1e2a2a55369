// Byte stream interfaces. A consumer holds a fileReader or a fileWriter and
// never learns what kind of transport is behind it (standard handles, file,
// named pipe, HTTP body, socket).
//
// There is deliberately no virtual destructor: objects are made with
// std::make_shared, whose control block runs the concrete destructor, and a
// shared_ptr to the interface (aliased where one object has both directions)
// is how they are held.
//
// One thread at a time may use an object; blocking operations end with
// Qz::user_abort when the calling thread's abort event is signalled.
#pragma once

#include <cstdint>
#include <string>

namespace Qz {

class fileReader {
public:
    // Blocks until `size` bytes have been read or the data has ended: a
    // result below `size` means end of data.
    virtual uint64_t read(void* buffer, uint64_t size) = 0;
    // As read, but a short result throws Qz::invalid_input.
    virtual uint64_t readExact(void* buffer, uint64_t size);
    // Discards up to `size` bytes; returns how many were discarded.
    virtual uint64_t skip(uint64_t size);
    // As skip, but a short result throws Qz::invalid_input.
    virtual uint64_t skipExact(uint64_t size);
    // Blocks until some data is there; returns at most `size`, 0 at the end.
    virtual uint64_t readSome(void* buffer, uint64_t size);
    // Reads what can be had now, without waiting where the kind can.
    virtual uint64_t readDirect(void* buffer, uint64_t size);
    virtual uint64_t skipDirect(uint64_t size);
    virtual void waitReadable();
    virtual bool isReadable();

protected:
    ~fileReader() = default;
    // The read of a kind that only knows readSome: readSome until `size` or
    // a 0, looking at the thread's abort binding before each.
    uint64_t readBySome(void* buffer, uint64_t size);
};

class fileWriter {
public:
    // Writes all of `buffer` or throws.
    virtual void write(const void* buffer, uint64_t size) = 0;
    virtual uint64_t writeDirect(const void* buffer, uint64_t size);
    virtual void waitWritable();
    virtual bool isWritable();

protected:
    ~fileWriter() = default;
};

class fileSeekable : public fileReader {
public:
    virtual bool canSeek() = 0;
    virtual void seek(uint64_t position) = 0;
    virtual uint64_t tell() = 0;
    virtual uint64_t size() = 0;
    // A named piece of metadata; false if there is none.
    virtual bool getInfo(const std::string& name, std::string& value) = 0;

protected:
    ~fileSeekable() = default;
};

// All ones: an unknown length or position.
const uint64_t unknownSize = ~uint64_t(0);

// No single system read or write moves more than this, so that a long
// transfer passes the abort check at least this often.
const uint64_t maxSystemTransfer = 16u * 1024 * 1024;

} // namespace Qz
