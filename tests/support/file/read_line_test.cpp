#include "support/file/read_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/error/error.h"

namespace {

class StringReader : public Qz::fileReader {
public:
    explicit StringReader(std::string data) : data(std::move(data)) {}
    uint64_t read(void* buffer, uint64_t size) override {
        uint64_t n = std::min<uint64_t>(size, data.size() - position);
        std::memcpy(buffer, data.data() + position, size_t(n));
        position += size_t(n);
        return n;
    }
    std::string data;
    size_t position = 0;
};

TEST(ReadLine, EndsCarriageReturnsAndLimits) {
    struct Case {
        const char* name;
        std::string input;
        uint64_t limit;
        std::string line;
        bool complete;
        size_t consumed;
    } cases[] = {
        {"CR LF", "abc\r\nrest", 100, "abc", true, 5},
        {"bare LF", "abc\nrest", 100, "abc", true, 4},
        {"ends without LF", "abc", 100, "abc", false, 3},
        {"CR inside dropped", "a\rb\rc\n", 100, "abc", true, 6},
        {"empty line", "\nx", 100, "", true, 1},
        {"nothing left", "", 100, "", false, 0},
        {"exactly the limit", "abcd\n", 4, "abcd", true, 5},
        {"CRs do not count", "ab\r\r\r\n", 2, "ab", true, 6},
    };
    for (const Case& c : cases) {
        StringReader reader(c.input);
        std::string line = "old";
        EXPECT_EQ(Qz::readLine(reader, line, c.limit), c.complete) << c.name;
        EXPECT_EQ(line, c.line) << c.name;
        EXPECT_EQ(reader.position, c.consumed) << c.name << ": nothing is read past the line feed";
    }
}

TEST(ReadLine, TooLongKeepsTheOldResult) {
    StringReader reader("abcde\n");
    std::string line = "old";
    EXPECT_THROW(Qz::readLine(reader, line, 4), Qz::invalid_input);
    EXPECT_EQ(line, "old");
}

TEST(ReadLine, ShortFormWantsTheLineFeed) {
    StringReader complete("GET / HTTP/1.1\r\n");
    EXPECT_EQ(Qz::readLine(complete), "GET / HTTP/1.1");
    StringReader cut("GET /");
    EXPECT_THROW(Qz::readLine(cut), Qz::invalid_input);
}

TEST(ReadHead, AtMost1024Bytes) {
    StringReader big(std::string(5000, 'x'));
    EXPECT_EQ(Qz::readHead(big).size(), 1024u);
    StringReader small("hello");
    EXPECT_EQ(Qz::readHead(small), "hello");
}

} // namespace
