#include "support/http/resume_check.h"

#include "support/error/error.h"
#include "support/http/header_block.h"
#include "support/text/text.h"

namespace Qz {

namespace {

[[noreturn]] void mismatch() {
    throw httpRequest_errors::resume_mismatch();
}

std::string headerOrEmpty(const std::string& headers, const char* name) {
    std::string value;
    getHeader(headers, name, value);
    return value;
}

// Plain decimal digits from `at` up to `stop` (exclusive); anything else,
// or none, is a mismatch.
uint64_t number(const std::string& text, size_t at, size_t stop) {
    if (stop == std::string::npos || stop <= at)
        mismatch();
    try {
        return parseDecimal(text.data() + at, stop - at);
    } catch (const std::exception&) {
        mismatch();
    }
}

// "bytes <first>-<last>/<length>", the unit without case, blanks after it.
void parseContentRange(const std::string& value, uint64_t& first, uint64_t& last, uint64_t& length) {
    if (value.size() < 6 || compareNoCase(value.substr(0, 5).c_str(), "bytes") != 0 || value[5] != ' ')
        mismatch();
    size_t at = value.find_first_not_of(' ', 5);
    const size_t dash = value.find('-', at);
    first = number(value, at, dash);
    const size_t slash = value.find('/', dash);
    last = number(value, dash + 1, slash);
    length = number(value, slash + 1, value.size());
}

} // namespace

resourceIdentity identityOf(const std::string& headers, uint64_t length) {
    resourceIdentity identity;
    identity.length = length;
    identity.etag = headerOrEmpty(headers, "ETag");
    identity.lastModified = headerOrEmpty(headers, "Last-Modified");
    return identity;
}

uint64_t resumeSkip(const resourceIdentity& first, uint32_t status, const std::string& headers, uint64_t offset) {
    if (!first.etag.empty() && headerOrEmpty(headers, "ETag") != first.etag)
        mismatch();
    if (!first.lastModified.empty() && headerOrEmpty(headers, "Last-Modified") != first.lastModified)
        mismatch();
    if (first.length == unknownSize)
        mismatch();
    uint64_t announced;
    try {
        announced = contentLength(headers);
    } catch (const std::exception&) {
        mismatch();
    }
    if (status == 200) {
        if (announced != first.length)
            mismatch();
        return offset;
    }
    if (status != 206)
        mismatch();
    std::string range;
    if (!getHeader(headers, "Content-Range", range))
        mismatch();
    uint64_t start, last, length;
    parseContentRange(range, start, last, length);
    if (start != offset || length != first.length || last < start || last >= length)
        mismatch();
    if (announced != unknownSize && announced != last - start + 1)
        mismatch();
    return 0;
}

} // namespace Qz
