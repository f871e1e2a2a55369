// libFuzzer target for everything the client parses of what a server sends:
// the reply head as a request and as a proxy tunnel read it, the status line,
// the header lookups and values, challenges, cookies, chunk-size lines, a
// whole chunked body, and the judgement of a resumed reply against the
// first one. Built natively by scripts/fuzz. Failures the parsers are meant
// to throw (the runtime_error tree) are expected; any other exception, a
// sanitizer report or a broken invariant below is a finding.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/file/read_line.h"
#include "support/http/auth.h"
#include "support/http/chunked_body.h"
#include "support/http/cookie.h"
#include "support/http/header_block.h"
#include "support/http/header_param.h"
#include "support/http/reply_head.h"
#include "support/http/resume_check.h"

// The fuzz build links no thread code, and nothing here is ever aborted.
namespace Qz {
void abortCheck() {}
} // namespace Qz

namespace {

struct bytesReader : Qz::fileReader {
    bytesReader(const uint8_t* data, size_t size) : data(data), left(size) {}
    uint64_t read(void* buffer, uint64_t size) override {
        // The line reader takes one byte at a time: spared the copy routine,
        // which the sanitizers make the bulk of a run.
        if (size == 1 && left != 0) {
            *static_cast<uint8_t*>(buffer) = *data++;
            --left;
            return 1;
        }
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
    // A body passed on as plain must have its chunk framing undone.
    if (Qz::plainCodings(headers) && !Qz::isChunked(headers) && Qz::getHeaders(headers, "transfer-encoding", all))
        for (std::string value : all) {
            for (char& c : value)
                c = c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
            check(value.find("chunked") == std::string::npos);
        }

    Qz::getHeaders(headers, "www-authenticate", all);
    for (const std::string& challenge : all)
        for (const char* name : {"realm", "nonce", "qop"})
            for (bool quoted : {false, true})
                if (Qz::headerParam(challenge, name, first, quoted))
                    check(!quoted || first.find('"') == std::string::npos);
    std::string answer;
    if (Qz::authAnswer("GET", all, "user:pass", "/", answer, [] { return std::string("0a4f113b"); }))
        check(answer.compare(0, 6, "Basic ") == 0 || answer.compare(0, 7, "Digest ") == 0);
    else
        check(answer.empty() && !all.empty());

    Qz::cookieJar jar;
    Qz::getHeaders(headers, "set-cookie", all);
    for (const std::string& setCookie : all)
        jar.store("a.example.com", "/p/q", setCookie);
    for (bool secure : {false, true})
        jar.collect("a.example.com", "/p/q/r", secure);
}

// The bytes as a chunked body, read in pieces of `piece` bytes: never more
// data than bytes, nothing more once it has ended.
void readChunked(const uint8_t* data, size_t size, uint64_t piece) {
    bytesReader reader(data, size);
    Qz::chunkedBody body;
    std::vector<char> buffer(piece);
    uint64_t total = 0;
    refusable([&] {
        for (;;) {
            const uint64_t got = body.readSome(reader, buffer.data(), piece);
            check(got <= piece);
            total += got;
            check(total <= size);
            if (got == 0)
                break;
        }
        check(body.ended());
        check(body.readSome(reader, buffer.data(), piece) == 0);
    });
}

// The text before the first zero byte as the first reply's header lines,
// what follows as the reply to a resume: whatever is accepted continues at
// the requested byte.
void resumedReply(const std::string& text) {
    const size_t split = text.find('\0');
    if (split == std::string::npos)
        return;
    uint64_t length = Qz::unknownSize;
    refusable([&] { length = Qz::contentLength(text.substr(0, split)); });
    const Qz::resourceIdentity first = Qz::identityOf(text.substr(0, split), length);
    refusable([&] {
        bytesReader reader(reinterpret_cast<const uint8_t*>(text.data()) + split + 1, text.size() - split - 1);
        std::string statusLine, headers, reason;
        Qz::readResponseHead(reader, statusLine, headers);
        uint32_t status = 0;
        Qz::parseStatusLine(statusLine, status, reason);
        for (uint64_t offset : {uint64_t(0), uint64_t(1), uint64_t(4096), length - 1}) {
            refusable([&] {
                const uint64_t skip = Qz::resumeSkip(first, status, headers, offset);
                check(length != Qz::unknownSize);
                check(status == 200 ? skip == offset : status == 206 && skip == 0);
                if (status == 206) {
                    std::string range;
                    check(Qz::getHeader(headers, "content-range", range));
                    check(range.find(std::to_string(offset) + "-") != std::string::npos);
                }
            });
        }
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    // The first byte picks the reader of the rest, and with it the size of
    // the pieces a chunked body is read in: one reader per input keeps each
    // run short, so that many more inputs are tried.
    const uint8_t* rest = data + 1;
    const size_t left = size - 1;
    const std::string text(reinterpret_cast<const char*>(rest), left);
    std::string reason;
    uint32_t status = 0;
    switch (data[0] % 5) {
    case 0:
        if (Qz::parseStatusLine(text, status, reason))
            check(status < 1000 && !reason.empty());
        refusable([&] {
            bytesReader reader(rest, left);
            std::string statusLine, headers;
            Qz::readResponseHead(reader, statusLine, headers);
            check(statusLine.size() <= Qz::maxHeadLine && headers.size() <= Qz::maxHeadBytes);
            headerValues(headers);
        });
        break;
    case 1:
        refusable([&] {
            bytesReader reader(rest, left);
            std::string headers;
            Qz::readTunnelHead(reader, status, reason, headers);
            check(std::count(headers.begin(), headers.end(), '\n') < long(Qz::maxTunnelHeadLines));
        });
        break;
    case 2:
        // Lines as chunk-size lines.
        refusable([&] {
            bytesReader reader(rest, left);
            std::string line;
            while (Qz::readLine(reader, line, Qz::maxHeadLine) || !line.empty())
                refusable([&] { check(Qz::parseChunkSize(line) == 0 || !line.empty()); });
        });
        break;
    case 3:
        readChunked(rest, left, 1 + data[0] / 5 % 64);
        break;
    default:
        resumedReply(text);
    }
    return 0;
}
