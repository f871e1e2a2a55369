#include "support/file/file.h"

#include <algorithm>

#include "support/error/error.h"
#include "support/thread/abort.h"

namespace Qz {

namespace {

// Skipping needs no heap: pieces go through a small buffer on the stack,
// until `size` is reached or a piece comes back short.
template <class Read> uint64_t skipPieces(uint64_t size, Read read) {
    const uint64_t piece = 256;
    char scratch[piece];
    uint64_t done = 0;
    while (done < size) {
        uint64_t want = std::min(piece, size - done);
        uint64_t got = read(scratch, want);
        done += got;
        if (got < want)
            break;
    }
    return done;
}

} // namespace

uint64_t fileReader::readExact(void* buffer, uint64_t size) {
    if (read(buffer, size) != size)
        throw invalid_input();
    return size;
}

uint64_t fileReader::skip(uint64_t size) {
    return skipPieces(size, [this](void* scratch, uint64_t want) { return read(scratch, want); });
}

uint64_t fileReader::skipExact(uint64_t size) {
    if (skip(size) != size)
        throw invalid_input();
    return size;
}

uint64_t fileReader::readSome(void* buffer, uint64_t size) {
    waitReadable();
    return readDirect(buffer, size);
}

uint64_t fileReader::readDirect(void* buffer, uint64_t size) { return read(buffer, size); }

uint64_t fileReader::readBySome(void* buffer, uint64_t size) {
    uint64_t done = 0;
    while (done < size) {
        abortCheck();
        uint64_t got = readSome(static_cast<char*>(buffer) + done, size - done);
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

uint64_t fileReader::skipDirect(uint64_t size) {
    return skipPieces(size, [this](void* scratch, uint64_t want) { return readDirect(scratch, want); });
}

void fileReader::waitReadable() {}

bool fileReader::isReadable() { return true; }

uint64_t fileWriter::writeDirect(const void* buffer, uint64_t size) {
    write(buffer, size);
    return size;
}

void fileWriter::waitWritable() {}

bool fileWriter::isWritable() { return true; }

} // namespace Qz
