// The defaults the reader and writer interfaces give every kind.

#include "support/file/file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/error/error.h"

namespace {

// Hands out its data at most `piece` bytes per read call, which is more
// than the interface allows (a short read means the end); the defaults
// must be built on `read` alone, so they see exactly this.
class PieceReader : public Qz::fileReader {
public:
    PieceReader(size_t total, size_t piece) : total(total), piece(piece) {}
    uint64_t read(void* buffer, uint64_t size) override {
        ++calls;
        size_t n = size_t(std::min<uint64_t>(std::min<uint64_t>(size, piece), total - position));
        for (size_t i = 0; i < n; ++i)
            static_cast<char*>(buffer)[i] = char('a' + (position + i) % 26);
        position += n;
        largest = std::max(largest, size_t(size));
        return n;
    }
    size_t total, piece, position = 0, calls = 0, largest = 0;
};

class CollectingWriter : public Qz::fileWriter {
public:
    void write(const void* buffer, uint64_t size) override { bytes.append(static_cast<const char*>(buffer), size_t(size)); }
    std::string bytes;
};

TEST(ReaderDefaults, ExactReadsAndShortData) {
    PieceReader ten(10, 1000);
    char buffer[100];
    EXPECT_EQ(ten.read(buffer, 100), 10u);

    PieceReader shortStream(10, 1000);
    EXPECT_THROW(shortStream.readExact(buffer, 100), Qz::invalid_input);

    PieceReader enough(100, 1000);
    EXPECT_EQ(enough.readExact(buffer, 100), 100u);
    EXPECT_EQ(std::string(buffer, 3), "abc");
}

TEST(ReaderDefaults, SkipGoesInSmallPiecesUntilShort) {
    struct Case {
        size_t total, piece, skip, expected;
    } cases[] = {
        {600, 1000, 1000, 600}, {1000, 1000, 1000, 1000}, {5000, 1000, 300, 300},
        {0, 1000, 10, 0},       {600, 1000, 0, 0},
    };
    for (const Case& c : cases) {
        PieceReader reader(c.total, c.piece);
        EXPECT_EQ(reader.skip(c.skip), c.expected) << c.total << " bytes, skip " << c.skip;
        EXPECT_LE(reader.largest, 256u) << "pieces of at most 256 bytes";
        EXPECT_EQ(reader.position, c.expected) << "nothing read beyond the skip";
    }
    // A piece that comes back short ends the skip, even before the end.
    PieceReader stingy(5000, 100);
    EXPECT_EQ(stingy.skip(1000), 100u);
    EXPECT_EQ(stingy.calls, 1u);

    PieceReader exact(600, 1000);
    EXPECT_THROW(exact.skipExact(1000), Qz::invalid_input);
    PieceReader whole(600, 1000);
    EXPECT_EQ(whole.skipExact(600), 600u);
}

TEST(ReaderDefaults, DirectAndSomeFallBackToRead) {
    PieceReader reader(50, 1000);
    char buffer[64];
    EXPECT_TRUE(reader.isReadable());
    reader.waitReadable();
    EXPECT_EQ(reader.readSome(buffer, 20), 20u);
    EXPECT_EQ(reader.readDirect(buffer, 20), 20u);
    EXPECT_EQ(reader.skipDirect(20), 10u);
    EXPECT_EQ(reader.readSome(buffer, 20), 0u) << "0 is the end of data";
}

TEST(WriterDefaults, DirectWritesEverything) {
    CollectingWriter writer;
    EXPECT_TRUE(writer.isWritable());
    writer.waitWritable();
    EXPECT_EQ(writer.writeDirect("hello", 5), 5u);
    EXPECT_EQ(writer.bytes, "hello");
}

} // namespace
