// A chunked body off scripted bytes, read in small pieces: what it gives,
// where it stops, and which ends of the data are a cut body.

#include "support/http/chunked_body.h"

#include <gtest/gtest.h>

#include <string>

#include "common/text_reader.h"

namespace {

TEST(ChunkedBody, DataEndAndCuts) {
    struct Case {
        const char* name;
        std::string bytes;
        std::string expected; // the data, then "|" and what is left unread; or the failure's text
    } cases[] = {
        {"two chunks, then the next message", "3\r\nabc\r\n4\r\ndefg\r\n0\r\n\r\nNEXT", "abcdefg|NEXT"},
        {"extensions ignored", "3;a=\"x;y\"\r\nabc\r\n0 ; last\r\n\r\n", "abc|"},
        {"closed right after the last-chunk line", "3\r\nabc\r\n0\r\n", "abc|"},
        {"closed inside the final line end", "3\r\nabc\r\n0\r\n\r", "abc|"},
        {"a trailer", "3\r\nabc\r\n0\r\nX: 1\r\n\r\n", "invalid server response"},
        {"cut between two chunks", "3\r\nabc\r\n", "invalid server response"},
        {"cut inside a size line", "3\r\nabc\r\n1", "invalid server response"},
        {"cut inside the data", "5\r\nabc", "invalid server response"},
        {"more data than its size", "2\r\nabc\r\n0\r\n\r\n", "invalid server response"},
        {"an empty size line", "\r\n\r\n", "invalid server response"},
        {"carriage returns for a size line", std::string(5000, '\r') + "\n", "invalid input"},
    };
    for (const Case& c : cases) {
        textReader reader(c.bytes);
        Qz::chunkedBody body;
        std::string result;
        try {
            char piece[3];
            for (uint64_t got; (got = body.readSome(reader, piece, sizeof piece)) != 0;)
                result.append(piece, size_t(got));
            EXPECT_TRUE(body.ended()) << c.name;
            EXPECT_EQ(body.readSome(reader, piece, sizeof piece), 0u) << c.name << ": nothing after the end";
            result += "|" + reader.rest();
        } catch (const std::exception& e) {
            result = e.what();
        }
        EXPECT_EQ(result, c.expected) << c.name;
    }
}

} // namespace
