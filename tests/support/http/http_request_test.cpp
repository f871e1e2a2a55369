// The request head as it goes on the wire, for the routes a run of the
// program never takes: through a proxy, kept alive, with a caller's own
// header lines.

#include <gtest/gtest.h>

#include "support/error/error.h"
#include "support/http/http_request.h"

namespace {

TEST(RequestHead, LinesAndTheirOrderForEachRoute) {
    Qz::requestHeadParts direct;
    direct.method = "GET";
    direct.requestTarget = "/a%20b?x=1";
    direct.host = "example.org:8080";
    struct Row {
        const char* name;
        Qz::requestHeadParts parts;
        std::string expected;
    };
    Qz::requestHeadParts proxied = direct, alive = direct, extras = direct, everything = direct;
    proxied.requestTarget = "http://example.org:8080/a%20b?x=1";
    proxied.proxyAuthorization = "Basic cHJveHk6c2VjcmV0";
    proxied.routeHeaders = "Via-Proxy: yes\r\n";
    alive.keepAlive = true;
    alive.rangeStart = 0;
    extras.extraHeaders = "connection: keep-alive\r\nUser-Agent: mine\r\naccept: audio/*\r\nX-One: 1\r\n";
    extras.userAgent = "registered/1.0";
    everything.method = "POST";
    everything.authorization = "Digest username=\"u\"";
    everything.proxyAuthorization = "Basic eA==";
    everything.rangeStart = 5000;
    everything.userAgent = "registered/1.0";
    everything.cookies = "a=1; B=2";
    everything.routeHeaders = "X-Direct: 1\r\n";
    const std::string start = "GET /a%20b?x=1 HTTP/1.1\r\nHost: example.org:8080\r\n";
    const std::vector<Row> rows = {
        {"direct, as --input sends it", direct, start + "Connection: close\r\nAccept: */*\r\n"},
        {"through a proxy", proxied,
         "GET http://example.org:8080/a%20b?x=1 HTTP/1.1\r\nHost: example.org:8080\r\n"
         "Proxy-Authorization: Basic cHJveHk6c2VjcmV0\r\nConnection: close\r\nAccept: */*\r\nVia-Proxy: yes\r\n"},
        {"kept alive, a range from 0", alive, start + "Range: bytes=0-\r\nAccept: */*\r\n"},
        {"the caller's lines: its Connection dropped, its User-Agent and Accept kept", extras,
         start + "Connection: close\r\nUser-Agent: mine\r\naccept: audio/*\r\nX-One: 1\r\n"},
        {"every line", everything,
         "POST /a%20b?x=1 HTTP/1.1\r\nHost: example.org:8080\r\nAuthorization: Digest username=\"u\"\r\n"
         "Proxy-Authorization: Basic eA==\r\nRange: bytes=5000-\r\nConnection: close\r\n"
         "User-Agent: registered/1.0\r\nAccept: */*\r\nCookie: a=1; B=2\r\nX-Direct: 1\r\n"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Qz::requestHeadText(row.parts), row.expected) << row.name;

    Qz::requestHeadParts ranged = direct;
    ranged.extraHeaders = "X-One: 1\r\nrange: bytes=1-\r\n";
    EXPECT_THROW(Qz::requestHeadText(ranged), Qz::invalid_input) << "the range belongs to the reader";
}

} // namespace
