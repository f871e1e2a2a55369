// libFuzzer target for everything the client parses of what a server sends:
// the reply head as a request and as a proxy tunnel read it, the status line,
// the header lookups and values, challenges, cookies and chunk-size lines.
// Built natively by scripts/fuzz. Failures the parsers are meant to throw
// (the runtime_error tree) are expected; any other exception, a sanitizer
// report or a broken invariant below is a finding.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/file/read_line.h"
#include "support/http/auth.h"
#include "support/http/cookie.h"
#include "support/http/header_block.h"
#include "support/http/header_param.h"
#include "support/http/reply_head.h"

namespace {

struct bytesReader : Qz::fileReader {
    bytesReader(const uint8_t* data, size_t size) : data(data), left(size) {}
    uint64_t read(void* buffer, uint64_t size) override {
        size_t count = std::min(size_t(size), left);
        std::memcpy(buffer, data, count);
        data += count;
        left -= count;
        return count;
    }
    const uint8_t* data;
    size_t left;
};

void check(bool condition) {
    if (!condition)
        std::abort();
}

// Runs `parse`, which may refuse what it reads by throwing.
template <typename Parse> void refusable(Parse parse) {
    try {
        parse();
    } catch (const std::runtime_error&) {
    }
}

void headerValues(const std::string& headers) {
    std::vector<std::string> all;
    std::string first;
    for (const char* name : {"www-authenticate", "set-cookie", "content-length", "x"}) {
        bool found = Qz::getHeader(headers, name, first);
        check(Qz::getHeaders(headers, name, all) == found);
        check(!found || all.front() == first);
    }
    refusable([&] { Qz::contentLength(headers); });
    refusable([&] { Qz::lastModified(headers); });
    Qz::isChunked(headers);

    Qz::getHeaders(headers, "www-authenticate", all);
    for (const std::string& challenge : all)
        for (const char* name : {"realm", "nonce", "qop"})
            for (bool quoted : {false, true})
                if (Qz::headerParam(challenge, name, first, quoted))
                    check(!quoted || first.find('"') == std::string::npos);
    std::string answer;
    Qz::authAnswer("GET", all, "user:pass", "/", answer, [] { return std::string("0a4f113b"); });
    check(answer.compare(0, 6, "Basic ") == 0 || answer.compare(0, 7, "Digest ") == 0);

    Qz::cookieJar jar;
    Qz::getHeaders(headers, "set-cookie", all);
    for (const std::string& setCookie : all)
        jar.store("a.example.com", "/p/q", setCookie);
    for (bool secure : {false, true})
        jar.collect("a.example.com", "/p/q/r", secure);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size), reason;
    uint32_t status = 0;
    if (Qz::parseStatusLine(text, status, reason))
        check(status < 1000 && !reason.empty());

    refusable([&] {
        bytesReader reader(data, size);
        std::string statusLine, headers;
        Qz::readResponseHead(reader, statusLine, headers);
        check(statusLine.size() <= Qz::maxHeadLine);
        headerValues(headers);
    });
    refusable([&] {
        bytesReader reader(data, size);
        std::string headers;
        Qz::readTunnelHead(reader, status, reason, headers);
        check(std::count(headers.begin(), headers.end(), '\n') < long(Qz::maxTunnelHeadLines));
    });
    // The same bytes as the lines of a chunked body.
    refusable([&] {
        bytesReader reader(data, size);
        std::string line;
        while (Qz::readLine(reader, line, Qz::maxHeadLine) || !line.empty())
            refusable([&] { check(Qz::parseChunkSize(line) == 0 || !line.empty()); });
    });
    return 0;
}
