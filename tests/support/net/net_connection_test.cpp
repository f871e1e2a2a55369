// The receive buffer: reads of any size across its refills, and a new
// connection that starts with nothing of the last one's. The tunnel through
// an HTTP proxy, which a run of the program never takes: CONNECT, the
// proxy's 407 answered once, and the bytes that then pass. The scripted
// server is proxy and target at once.

#include <gtest/gtest.h>

#include <algorithm>

#include "common/http_test_server.h"
#include "support/error/error.h"
#include "support/file/read_line.h"
#include "support/http/reply_head.h"
#include "support/net/net_connection.h"

namespace {

std::string readAll(Qz::netConnection& connection) {
    std::string bytes;
    char buffer[4096];
    while (uint64_t got = connection.readSome(buffer, sizeof buffer))
        bytes.append(buffer, size_t(got));
    return bytes;
}

void skipHead(Qz::netConnection& connection) {
    std::string line;
    while (Qz::readLine(connection, line, Qz::maxHeadLine) && !line.empty()) {
    }
}

TEST(NetConnection, ReadsInAnyPiecesAndForgetsTheLastConnection) {
    startWinsock();
    std::string big(Qz::receiveBufferSize * 5 / 2, '\0');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = char(i % 251);
    HttpTestServer server(std::map<std::string, std::string>{{"big.raw", big}, {"small.raw", "second reply"}});
    Qz::netConnection connection;
    connection.setTimeout(10.0);
    const auto get = [&](const std::string& name) {
        connection.connect("127.0.0.1", server.port(), Qz::connectPlain);
        const std::string request = "GET /file/" + name + " HTTP/1.1\r\nHost: x\r\n\r\n";
        connection.write(request.data(), request.size());
    };

    get("big.raw");
    skipHead(connection);
    std::string body(big.size(), '\0');
    uint64_t at = connection.read(&body[0], 1000);
    at += connection.readSome(&body[size_t(at)], 4096);
    while (at < body.size()) {
        const uint64_t got = connection.read(&body[size_t(at)], std::min<uint64_t>(body.size() - at, 100000));
        ASSERT_GT(got, 0u) << "the body ended at " << at;
        at += got;
    }
    EXPECT_EQ(std::mismatch(body.begin(), body.end(), big.begin()).first - body.begin(), ptrdiff_t(big.size()))
        << "the first byte that differs";
    char extra;
    EXPECT_EQ(connection.read(&extra, 1), 0u) << "the end of the data";

    get("big.raw");
    std::string line;
    ASSERT_TRUE(Qz::readLine(connection, line, Qz::maxHeadLine));
    get("small.raw");
    const std::string reply = readAll(connection);
    EXPECT_EQ(reply.substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_EQ(reply.substr(reply.size() - 12), "second reply");
}

TEST(NetConnection, TunnelAnswersTheProxyOnce) {
    startWinsock();
    HttpTestServer server(std::map<std::string, std::string>{{"a.raw", "tunnelled body"}});
    const std::string proxy = "127.0.0.1:" + server.port();
    const std::string connect = "CONNECT " + proxy + " HTTP/1.1\r\nHost: " + proxy + "\r\n";
    const std::string answer = "Proxy-Authorization: Basic cHJveHk6c2VjcmV0\r\n";
    struct Row {
        const char* name;
        std::string proxyUrl;
        std::string error;                 // empty: the tunnel stands
        std::vector<std::string> requests; // CONNECT heads the proxy saw
    };
    // In this order: the challenge cache is the process's, so the rows after
    // the first answered one answer at once.
    const std::vector<Row> rows = {
        {"no user to answer with", "http://" + proxy, "Proxy Authentication Required (407)", {connect + "\r\n"}},
        {"challenged, then answered", "proxy:secret@" + proxy, "", {connect + "\r\n", connect + answer + "\r\n"}},
        {"answered at once from the cache", "http://proxy:secret@" + proxy, "", {connect + answer + "\r\n"}},
        {"a wrong password is not tried twice", "http://proxy:wrong@" + proxy, "Proxy Authentication Required (407)",
         {connect + "Proxy-Authorization: Basic cHJveHk6d3Jvbmc=\r\n\r\n"}},
    };
    for (const Row& row : rows) {
        server.clearRequests();
        Qz::netConnection connection;
        connection.setTimeout(10.0);
        connection.proxyUrl = row.proxyUrl;
        try {
            connection.connect("127.0.0.1", server.port(), Qz::connectPlain);
            EXPECT_EQ(row.error, "") << row.name;
            const std::string get = "GET /file/a.raw HTTP/1.1\r\nHost: x\r\n\r\n";
            connection.write(get.data(), get.size());
            const std::string reply = readAll(connection);
            EXPECT_EQ(reply.substr(reply.size() - 14), "tunnelled body") << row.name;
            std::vector<std::string> seen = server.requests();
            ASSERT_FALSE(seen.empty()) << row.name;
            EXPECT_EQ(seen.back(), get) << row.name;
            seen.pop_back();
            EXPECT_EQ(seen, row.requests) << row.name;
        } catch (const Qz::httpRequest_errors::error& failure) {
            EXPECT_EQ(failure.what(), row.error) << row.name;
            EXPECT_EQ(server.requests(), row.requests) << row.name;
            EXPECT_FALSE(connection.isOpen()) << row.name << ": nothing left open";
        }
    }
}

} // namespace
