// --input with an http or https URL: the real program reads its stream from
// the scripted server (tests/servers/http_server.py) through the
// pass-through plug-in, and the server's record of the request bytes shows
// what went over the wire.

#include <gtest/gtest.h>

#include <chrono>

#include "common/http_test_server.h"
#include "parent.h"
#include "stream_bytes.h"
#include "support/text/utf.h"

namespace {

const std::string nl = "\r\n"; // standard error is in text mode

// The stream the server sends: 2-channel float 32, not a whole number of
// 4096-byte reads, so that the last read is a short one.
const std::string& source() {
    static const std::string audio = floatFrames(6000, 2);
    return audio;
}

struct Fetch {
    HostRun run;
    std::string output;                // what --output received
    std::vector<std::string> requests; // request heads the server saw, in order
    double seconds = 0;
};

// A run of `process` with --input `url` against `server`, which serves
// `source()` as src.raw.
Fetch fetch(HttpTestServer& server, const std::string& url) {
    ScopedTempFolder folder(L"fxhost-http");
    const std::wstring output = folder.path() + L"out.raw";
    server.clearRequests();
    const auto start = std::chrono::steady_clock::now();
    Fetch result;
    result.run = runHost({L"process", L"--vst", testPlugin(L"fx_effect.dll"), L"--input", Qz::utf8ToWide(url),
                          L"--output", output, L"--rate", L"44100", L"--channels", L"2", L"--bits", L"32",
                          L"--formattag", L"3"});
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.output = readWholeFile(output);
    result.requests = server.requests();
    return result;
}

std::string plainRequest(const std::string& target, const std::string& host, const std::string& range = "") {
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n" + range + "Connection: close\r\nAccept: */*\r\n\r\n";
}

TEST(HttpInput, BodiesArriveWholeWhateverTheRoute) {
    HttpTestServer server(std::map<std::string, std::string>{{"src.raw", source()}});
    const std::string host = "127.0.0.1:" + server.port(), base = "http://" + host;
    struct Row {
        const char* name;
        std::string url;
        size_t requests;  // how many the server saw
        std::string last; // the last request's exact text, or a line it must hold
    };
    const std::vector<Row> rows = {
        {"a plain body", base + "/file/src.raw", 1, plainRequest("/file/src.raw", host)},
        {"a body that ends short, resumed by a range", base + "/file/src.raw?short=20000", 2,
         plainRequest("/file/src.raw?short=20000", host, "Range: bytes=20000-\r\n")},
        // Where a reset cuts in depends on what the system had delivered.
        {"a reset connection, resumed by a range", base + "/file/src.raw?drop=20000", 2, "\r\nRange: bytes="},
        {"ten redirects, relative ones", base + "/redirect/9?to=/file/src.raw", 11,
         plainRequest("/file/src.raw", host)},
        {"Basic after the challenge", "http://user:secret@" + host + "/basic/file/src.raw", 2,
         "\r\nAuthorization: Basic dXNlcjpzZWNyZXQ=\r\n"},
        {"Digest after the challenge", "http://user:secret@" + host + "/digest/file/src.raw", 2,
         "\r\nAuthorization: Digest username=\"user\", realm=\"fxhost-test\""},
        {"a cookie sent back after a redirect", base + "/cookie/file/src.raw", 2, "\r\nCookie: session=abc123\r\n"},
        {"a chunked body", base + "/file/src.raw?chunked=3000", 1, ""},
        {"no length: the end is the close", base + "/file/src.raw?nolength=1", 1, ""},
        {"an upper-case scheme and no ranges", "HTTP://" + host + "/file/src.raw?ranges=none", 1, ""},
    };
    for (const Row& row : rows) {
        Fetch result = fetch(server, row.url);
        EXPECT_EQ(result.run.exitCode, 0u) << row.name;
        EXPECT_EQ(result.run.error, "") << row.name;
        EXPECT_TRUE(sameBytes(result.output, source())) << row.name;
        ASSERT_EQ(result.requests.size(), row.requests) << row.name;
        const std::string& last = result.requests.back();
        if (row.last.compare(0, 4, "GET ") == 0) {
            EXPECT_EQ(last, row.last) << row.name;
        } else {
            EXPECT_NE(last.find(row.last), std::string::npos) << row.name << ": " << last;
        }
        if (row.requests == 2 && row.last.find("Authorization") != std::string::npos) {
            EXPECT_EQ(result.requests[0].find("Authorization"), std::string::npos)
                << row.name << ": plain http waits for a challenge";
        }
    }
}

TEST(HttpInput, BadRepliesFailAtOnceWithTheirText) {
    HttpTestServer server(std::map<std::string, std::string>{{"src.raw", source()}});
    const std::string host = "127.0.0.1:" + server.port(), base = "http://" + host;
    struct Row {
        const char* name;
        std::string url;
        std::string error;
        size_t requests; // a retry would show here
    };
    const std::vector<Row> rows = {
        {"the eleventh redirect", base + "/redirect/10?to=/file/src.raw", "invalid server response", 11},
        {"a redirect loop", base + "/loop", "invalid server response", 11},
        {"a redirect without a Location", base + "/nolocation", "invalid server response", 1},
        {"a Location without a host", base + "/badlocation", "invalid URL", 1},
        {"a malformed status line", base + "/status/2x0%20OK", "invalid server response", 1},
        {"a header line over 4096 bytes", base + "/longheader", "invalid input", 1},
        {"a chunk size that is no number", base + "/file/src.raw?chunked=3000&garbage=1", "invalid server response",
         1},
        {"a chunk extension", base + "/file/src.raw?chunked=3000&ext=1", "invalid server response", 1},
        {"a missing resource", base + "/nothing-here", "file not found", 1},
        {"a refused password", "http://user:wrong@" + host + "/basic/file/src.raw", "Unauthorized (401)", 2},
        {"a status without a reason", base + "/status/500", "Unspecified HTTP Response (500)", 1},
    };
    for (const Row& row : rows) {
        Fetch result = fetch(server, row.url);
        EXPECT_EQ(result.run.exitCode, exitFailure) << row.name;
        EXPECT_EQ(result.run.error, row.error + nl) << row.name;
        EXPECT_EQ(result.requests.size(), row.requests) << row.name;
        EXPECT_LT(result.seconds, 8.0) << row.name << ": no retry, no wait";
    }
}

TEST(HttpInput, AServerThatStallsTimesOut) {
    HttpTestServer server(std::map<std::string, std::string>{{"src.raw", source()}});
    Fetch result = fetch(server, "http://127.0.0.1:" + server.port() + "/file/src.raw?stall=1");
    EXPECT_EQ(result.run.exitCode, exitFailure);
    EXPECT_EQ(result.run.error, "network timeout" + nl);
    // Ten seconds for the wait; a retry would start another.
    EXPECT_GE(result.seconds, 9.5);
    EXPECT_LT(result.seconds, 30.0);
}

TEST(HttpInput, HttpsChecksTheServersCertificate) {
    const std::map<std::string, std::string> files = {{"src.raw", source()}};
    struct Row {
        const char* name;
        std::string certificate;
        std::string path;
        std::string error; // the start of it: the rest is the system's wording
    };
    const std::vector<Row> rows = {
        {"a good certificate", "good", "/file/src.raw", ""},
        {"a good certificate, a dropped connection resumed", "good", "/file/src.raw?drop=20000", ""},
        {"an expired certificate", "expired", "/file/src.raw", "Network authentication error"},
        {"a certificate for another name", "wrongname", "/file/src.raw", "Network authentication error"},
        {"an issuer nobody trusts", "unknown", "/file/src.raw", "Network authentication error"},
    };
    for (const Row& row : rows) {
        HttpTestServer server(files, row.certificate);
        Fetch result = fetch(server, "https://localhost:" + server.port() + row.path);
        if (row.error.empty()) {
            EXPECT_EQ(result.run.exitCode, 0u) << row.name;
            EXPECT_EQ(result.run.error, "") << row.name;
            EXPECT_TRUE(sameBytes(result.output, source())) << row.name;
        } else {
            EXPECT_EQ(result.run.exitCode, exitFailure) << row.name;
            EXPECT_EQ(result.run.error.compare(0, row.error.size(), row.error), 0) << row.name << ": " << result.run.error;
            EXPECT_EQ(result.requests.size(), 0u) << row.name << ": no request before the certificate is judged";
            EXPECT_LT(result.seconds, 8.0) << row.name << ": a TLS failure is not retried";
        }
    }
}

} // namespace
