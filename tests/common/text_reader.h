// A reader of scripted bytes, then the end of the data: a server's reply
// without a server.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "support/file/file.h"

class textReader : public Qz::fileReader {
public:
    explicit textReader(std::string text) : text(std::move(text)) {}
    uint64_t read(void* buffer, uint64_t size) override {
        size_t count = std::min(size_t(size), text.size() - position);
        std::memcpy(buffer, text.data() + position, count);
        position += count;
        return count;
    }
    std::string rest() const { return text.substr(position); }

private:
    std::string text;
    size_t position = 0;
};
