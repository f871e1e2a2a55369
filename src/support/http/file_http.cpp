#include "support/http/file_http.h"

#include <algorithm>

#include "support/error/error.h"
#include "support/http/header_block.h"
#include "support/http/resume_check.h"
#include "support/thread/wait.h"
#include "support/win32.h"

namespace Qz {

namespace {

// The library's sleep: it leaves early with Qz::user_abort on an aborted thread.
void pause(double seconds) { waitAny(nullptr, 0, seconds); }

const uint64_t readPiece = 4096;
const uint64_t skipLimit = 16384;
// Resumes in a row that may bring no byte before the reader gives up, and
// the pause before each: a server that ends every reply early, or resets
// right after the head, is asked only this often and this slowly.
const unsigned maxFruitlessResumes = 5;
const double resumePause = 1.0;

} // namespace

fileHttp::fileHttp() = default;

void fileHttp::openAtOffset(const std::string& address, uint64_t offset, uint64_t) {
    url = address;
    method = "GET";
    withRetry([&] { openAt(offset); });
    const uint64_t announced = request.contentLength();
    length = announced == unknownSize ? unknownSize : announced + offset;
    identity = identityOf(request.headerText(), length);
}

void fileHttp::openAt(uint64_t offset) {
    request.transport.setTimeout(hasCustomTimeout ? customTimeout : 10.0);
    request.request(url, method, offset == 0 ? unknownSize : offset);
    // Nothing asks for a coding, but a server may send one anyway: gzip
    // bytes taken for samples would be noise with no failure at all.
    if (!plainCodings(request.headerText()))
        throw httpRequest_errors::unsupported_coding();
    if (!seekableKnown) {
        seekableKnown = true;
        seekable = request.isSeekable();
    } else {
        // A reply that is not the rest of the same resource would splice
        // other bytes in where the data stopped.
        const uint64_t skip = resumeSkip(identity, request.statusCode(), request.headerText(), offset);
        // Short only when the body ends first: the next read finds its
        // end, which counts as a resume that brought nothing.
        request.skip(skip);
    }
    position = offset;
    // A resource that cannot be reopened gets longer to recover by itself.
    if (!seekable && !hasCustomTimeout)
        request.transport.setTimeout(60.0);
    modified = request.lastModified();
}

void fileHttp::withRetry(const std::function<void()>& body) {
    const uint64_t start = GetTickCount64();
    double wait = 0.5;
    for (;;) {
        try {
            body();
            return;
        } catch (const network_error&) {
            request.disconnect();
            if (double(GetTickCount64() - start) / 1000.0 > retryTime)
                throw;
        }
        pause(wait);
        wait = std::min(wait * 1.5, 10.0);
    }
}

void fileHttp::seek(uint64_t target) {
    if (request.transport.isOpen() && position == target)
        return;
    withRetry([&] {
        if (url.empty() || !seekable)
            throw invalid_input();
        if (length != unknownSize && target > length)
            throw invalid_input();
        if (target == length) {
            request.disconnect();
            position = target;
            return;
        }
        if (request.transport.isOpen() && target >= position && target - position <= skipLimit) {
            // Cheaper than a new connection for what a reader skips over.
            if (target != position) {
                request.skipExact(target - position);
                position = target;
            }
            return;
        }
        openAt(target);
    });
}

uint64_t fileHttp::read(void* buffer, uint64_t size) { return readBySome(buffer, size); }

uint64_t fileHttp::readSome(void* buffer, uint64_t size) {
    if (length != unknownSize)
        size = std::min(size, length - position);
    if (size == 0)
        return 0;
    if (!request.transport.isOpen())
        throw network_error();
    for (;;) {
        uint64_t got = 0;
        bool cut = false;
        try {
            got = request.readSome(buffer, std::min(size, readPiece));
        } catch (const network_error&) {
            if (!canSeek())
                throw;
            cut = true;
        }
        if (got != 0) {
            position += got;
            fruitlessResumes = 0;
            return got;
        }
        if (!cut && (!canSeek() || length == unknownSize || position == length))
            return 0;
        // Cut off, or the server stopped short of the length it announced.
        // Under Wine a reset reads as an orderly end, so both wait alike.
        request.disconnect();
        if (fruitlessResumes == maxFruitlessResumes)
            throw no_progress();
        ++fruitlessResumes;
        pause(resumePause);
        seek(position);
    }
}

bool fileHttp::getInfo(const std::string& name, std::string& value) { return request.getHeader(name, value); }

} // namespace Qz
