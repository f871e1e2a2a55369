// The head of a reply as the request and the proxy tunnel read it (the
// tunnel's rows also judge status lines), and the chunk-size line.

#include "support/http/reply_head.h"

#include <gtest/gtest.h>

#include <string>

#include "common/text_reader.h"
#include "support/error/error.h"

namespace {

std::string lines(int count) {
    std::string text = "HTTP/1.1 407 Proxy Authentication Required\r\n";
    for (int i = 1; i < count; ++i)
        text += "X-Line: " + std::to_string(i) + "\r\n";
    return text;
}

std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

TEST(ReplyHead, ReadingTheHead) {
    enum Reader { response, tunnel };
    const std::string longLine(4096, 'x');
    struct Case {
        const char* name;
        Reader reader;
        std::string bytes;
        std::string expected; // status line, "|", headers; or the failure's text
    } cases[] = {
        {"response", response, "HTTP/1.1 200 OK\r\nA: 1\nB: 2\r\n\r\nbody", "HTTP/1.1 200 OK|A: 1\r\nB: 2\r\n"},
        {"response ends with the data", response, "HTTP/1.1 200 OK\r\nA: 1\r\nB: cut", "HTTP/1.1 200 OK|A: 1\r\n"},
        {"response status line cut", response, "HTTP/1.1 2", "HTTP/1.1 2|"},
        {"response without head", response, "", "|"},
        {"response line at the limit", response, "S\r\n" + longLine + "\r\n\r\n", "S|" + longLine + "\r\n"},
        {"response line over the limit", response, "S\r\n" + longLine + "x\r\n\r\n", "invalid input"},
        {"response status line over the limit", response, longLine + "x\r\n\r\n", "invalid input"},
        {"carriage returns count towards the limit", response, "S\r\nA: 1" + std::string(4093, '\r') + "\r\n\r\n",
         "invalid input"},
        {"carriage returns alone count too", response, "S" + std::string(5000, '\r'), "invalid input"},
        {"interim replies are dropped", response,
         "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\nHTTP/1.1 200 OK\r\nA: 1\r\n\r\n",
         "HTTP/1.1 200 OK|A: 1\r\n"},
        {"101 is no interim reply", response,
         "HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\n\r\nHTTP/1.1 200 OK\r\n\r\n",
         "HTTP/1.1 101 Switching Protocols|Upgrade: x\r\n"},
        {"a head over its size", response, lines(1) + repeated("X: " + std::string(3997, 'x') + "\r\n", 70),
         "server response header too large"},
        {"interim replies count towards the head's size", response,
         repeated("HTTP/1.1 100 Continue\r\n\r\n", 11000) + "HTTP/1.1 200 OK\r\n\r\n",
         "server response header too large"},
        {"tunnel", tunnel, lines(3) + "\r\nbody", "407 Proxy Authentication Required|X-Line: 1\r\nX-Line: 2\r\n"},
        {"tunnel at the line limit", tunnel, lines(33) + "\r\n",
         "407 Proxy Authentication Required|" + lines(33).substr(lines(1).size())},
        {"tunnel over the line limit", tunnel, lines(34) + "\r\n", "invalid server response"},
        {"tunnel ends before the empty line", tunnel, lines(2), "invalid server response"},
        {"tunnel without lines", tunnel, "\r\nHTTP/1.1 200 OK\r\n\r\n", "invalid server response"},
        {"status line", tunnel, "HTTP/1.0   404   Not  Found \r\n\r\n", "404 Not  Found |"},
        {"status without reason", tunnel, "X 000   \r\n\r\n", "0 Unspecified HTTP Response|"},
        {"status of four digits", tunnel, "HTTP/1.1 2000 OK\r\n\r\n", "invalid server response"},
        {"status of two digits", tunnel, "HTTP/1.1 20\r\n\r\n", "invalid server response"},
        {"status not all digits", tunnel, "HTTP/1.1 2x0 OK\r\n\r\n", "invalid server response"},
        {"status followed by a tab", tunnel, "HTTP/1.1 200\tOK\r\n\r\n", "invalid server response"},
        {"status line without a blank", tunnel, "HTTP/1.1\t200\r\n\r\n", "invalid server response"},
        {"tunnel line over the limit", tunnel, "HTTP/1.1 200 OK\r\n" + longLine + "x\r\n\r\n", "invalid input"},
    };
    for (const Case& c : cases) {
        textReader reader(c.bytes);
        std::string result, headers;
        try {
            if (c.reader == response) {
                Qz::readResponseHead(reader, result, headers);
            } else {
                uint32_t status = 0;
                Qz::readTunnelHead(reader, status, result, headers);
                result = std::to_string(status) + " " + result;
            }
            result += "|" + headers;
        } catch (const std::exception& e) {
            result = e.what();
        }
        EXPECT_EQ(result, c.expected) << c.name;
    }
}

TEST(ReplyHead, ChunkSizeLine) {
    const uint64_t refused = 1234567;
    struct Case {
        std::string line;
        uint64_t expected;
    } cases[] = {
        {"0", 0},
        {"", refused},
        {"1a2B", 0x1A2B},
        {"000000000000000000ff", 0xFF},
        {"ffffffffffffffff", ~uint64_t(0)},
        {"1ffffffffffffffff", refused},
        {"10;name=value", 0x10},
        {"10 \t;a=\"b;c\";d", 0x10},
        {";a", refused},
        {"1x;a", refused},
        {"10 ", refused},
        {" 10", refused},
        {"0x10", refused},
        {"-1", refused},
    };
    for (const Case& c : cases) {
        uint64_t size;
        try {
            size = Qz::parseChunkSize(c.line);
        } catch (const Qz::httpRequest_errors::invalid_reply&) {
            size = refused;
        }
        EXPECT_EQ(size, c.expected) << c.line;
    }
}

} // namespace
