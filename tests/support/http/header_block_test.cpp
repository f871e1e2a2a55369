// Lookups over a reply's header text, and the headers the client reads as
// values: the length, the date, the transfer encoding and the codings.

#include "support/http/header_block.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/error/error.h"
#include "support/file/file.h"

namespace {

TEST(HeaderBlock, Lookups) {
    const std::string headers = "Set-Cookie: a=1\r\n"
                                "no colon here\r\n"
                                "X-Spaced :  nope\r\n"
                                "set-cookie:   b=2  \r\n"
                                "Empty:\r\n"
                                "Bare: lf\n"
                                "Last: no line end";
    struct Case {
        const char* name;
        std::vector<std::string> expected; // empty: not found
    } cases[] = {
        {"SET-COOKIE", {"a=1", "b=2  "}}, {"X-Spaced", {}}, {"no colon here", {}}, {"Empty", {""}}, {"Bare", {"lf"}},
        {"Last", {"no line end"}},        {"Set", {}},
    };
    for (const Case& c : cases) {
        std::string first = "(untouched)";
        std::vector<std::string> all = {"stale"};
        bool found = Qz::getHeader(headers, c.name, first);
        EXPECT_EQ(found, !c.expected.empty()) << c.name;
        EXPECT_EQ(first, c.expected.empty() ? "(untouched)" : c.expected[0]) << c.name;
        EXPECT_EQ(Qz::getHeaders(headers, c.name, all), found) << c.name;
        EXPECT_EQ(all, c.expected) << c.name;
    }
}

TEST(HeaderBlock, ValuesOfLengthDateAndEncoding) {
    enum Reads { length, date, chunked, plain };
    const uint64_t refused = 1; // the call throws
    const uint64_t invalidDate = 2;
    struct Case {
        Reads reads;
        std::string headers;
        uint64_t expected;
    } cases[] = {
        {length, "Content-Type: x\r\ncontent-length: 0123\r\n", 123},
        {length, "Content-Type: x\r\n", Qz::unknownSize},
        {length, "Content-Length: 12x\r\n", refused},
        {length, "Content-Length: 18446744073709551616\r\n", refused},
        {length, "Content-Length: 18446744073709551615\r\n", Qz::unknownSize},
        {length, "Content-Length: 5\r\nX: y\r\ncontent-length: 005\r\n", 5},
        {length, "Content-Length: 5\r\nContent-Length: 6\r\n", refused},
        {length, "Content-Length: 5\r\nContent-Length: x\r\n", refused},
        {date, "Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n", 124285853770000000},
        {date, "last-modified: Thursday,   29   FEBRUARY 2024 23:59:59\r\n", 133537247990000000},
        {date, "Last-Modified: Mon, 1 Mar 2100 0:0:0\r\n", 157520160000000000},
        {date, "Last-Modified: Sunday, 06-Nov-94 08:49:37 GMT\r\n", 0},
        {date, "Last-Modified: Sun Nov  6 08:49:37 1994\r\n", 0},
        {date, "Last-Modified: Sun, 06 Foo 1994 08:49:37 GMT\r\n", 0},
        {date, "Last-Modified: Sun, 06 Nov 1994 08:49\r\n", 0},
        {date, "Last-Modified: Sun,\r\n", 0},
        {date, "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n", 0},
        {date, "Last-Modified: Mon, 29 Feb 2100 00:00:00 GMT\r\n", invalidDate},
        {date, "Last-Modified: Mon, 31 Apr 2000 00:00:00 GMT\r\n", invalidDate},
        {date, "Last-Modified: Mon, 01 Jan 1600 23:59:59 GMT\r\n", invalidDate},
        {date, "Last-Modified: Mon, xx Jan 2000 00:00:00 GMT\r\n", invalidDate},
        {chunked, "Transfer-Encoding: Chunked\r\n", 1},
        {chunked, "Transfer-Encoding: chunked, gzip\r\n", 1},
        {chunked, "Transfer-Encoding: gzip, chunked\r\n", 0},
        {chunked, "Transfer-Encoding: \"chunked\"\r\n", 0},
        {chunked, "Content-Length: 3\r\n", 0},
        {plain, "Content-Length: 3\r\nContent-Encoding:\r\n", 1},
        {plain, "Content-Encoding: Identity\r\nTransfer-Encoding: CHUNKED\r\n", 1},
        {plain, "Transfer-Encoding: identity\r\n", 1},
        {plain, "Content-Encoding: gzip\r\n", 0},
        {plain, "Content-Encoding: identity,br\r\n", 0},
        {plain, "Content-Encoding: identity\r\ncontent-encoding: deflate\r\n", 0},
        {plain, std::string("Content-Encoding: identity\0gzip\r\n", 33), 0},
        {plain, "Transfer-Encoding: gzip, chunked\r\n", 0},
        {plain, "Transfer-Encoding: chunked, chunked\r\n", 0},
        {plain, "Transfer-Encoding: \"chunked\"\r\n", 0},
        {plain, "Transfer-Encoding:\r\nTransfer-Encoding: chunked\r\n", 0},
        {plain, "Transfer-Encoding: \tchunked\r\n", 0},
    };
    for (const Case& c : cases) {
        uint64_t result = 0;
        try {
            result = c.reads == length    ? Qz::contentLength(c.headers)
                     : c.reads == date    ? Qz::lastModified(c.headers)
                     : c.reads == chunked ? uint64_t(Qz::isChunked(c.headers))
                                          : uint64_t(Qz::plainCodings(c.headers));
        } catch (const Qz::httpRequest_errors::invalid_reply&) {
            result = refused;
        } catch (const Qz::invalid_input&) {
            result = invalidDate;
        }
        EXPECT_EQ(result, c.expected) << c.headers;
    }
}

} // namespace
