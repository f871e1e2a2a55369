// An HTTP or HTTPS resource as a seekable file: what --input becomes for an
// http:// or https:// URL. It keeps the read position itself, reopens with
// a Range request when the server allows ranges, resumes where it was after
// a dropped connection or a body that ends short, and is a plain forward
// stream when the server allows no ranges.
//
// One thread at a time. An abort event bound to that thread stops retries
// and reconnects with Qz::user_abort.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "support/file/file.h"
#include "support/http/http_request.h"
#include "support/http/resume_check.h"

namespace Qz {

class fileHttp : public fileSeekable {
public:
    fileHttp();

    // Opens `url` at `offset` (no Range header at 0). The third argument is
    // a size hint that changes nothing. Connect, time-out and transfer
    // failures are retried for `retryTime` seconds, then the last
    // Qz::network_error is thrown; HTTP status and TLS failures are thrown
    // at once.
    void openAtOffset(const std::string& url, uint64_t offset, uint64_t sizeHint);

    double retryTime = 10.0; // seconds that opening and seeking keep trying

    uint64_t read(void* buffer, uint64_t size) override;
    // At most 4096 bytes, so that the position follows what was delivered
    // and a dropped connection loses nothing of it. 0 at the end. A cut or
    // short body on a seekable resource is resumed after a pause of a
    // second; after five resumes in a row that bring no byte,
    // Qz::no_progress. A reopening that does not continue the same resource
    // throws Qz::httpRequest::resume_mismatch.
    uint64_t readSome(void* buffer, uint64_t size) override;
    bool canSeek() override { return seekable; }
    // Forward seeks of up to 16384 bytes read and discard on the open
    // connection; others reopen with a Range request. Qz::invalid_input on
    // a resource that cannot seek, or beyond its end.
    void seek(uint64_t target) override;
    uint64_t tell() override { return position; }
    uint64_t size() override { return length; } // all ones while unknown
    // Any response header of the last reply, the name without case.
    bool getInfo(const std::string& name, std::string& value) override;

private:
    void openAt(uint64_t offset);
    void withRetry(const std::function<void()>& body);

    httpRequest request;
    uint64_t position = unknownSize;
    uint64_t length = unknownSize;
    std::string url;
    std::string method;
    bool seekable = false;
    uint64_t modified = 0;
    bool seekableKnown = false;
    double customTimeout = 0;
    bool hasCustomTimeout = false;
    resourceIdentity identity;     // of the first reply, which every reopening must continue
    unsigned fruitlessResumes = 0; // resumes in a row that brought no byte
};

} // namespace Qz
