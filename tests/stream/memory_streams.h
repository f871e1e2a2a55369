// In-memory byte streams for driving the stream code without a process.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "support/file/file.h"

// Hands out `data`; a read comes back short only at its end, as the
// interface promises.
class MemoryReader : public Qz::fileReader {
public:
    explicit MemoryReader(std::string data) : data(std::move(data)) {}
    uint64_t read(void* buffer, uint64_t size) override {
        uint64_t n = std::min<uint64_t>(size, data.size() - position);
        std::memcpy(buffer, data.data() + position, size_t(n));
        position += size_t(n);
        return n;
    }
    size_t position = 0;

private:
    std::string data;
};

class MemoryWriter : public Qz::fileWriter {
public:
    void write(const void* buffer, uint64_t size) override {
        bytes.append(static_cast<const char*>(buffer), size_t(size));
    }
    std::string bytes;
};
