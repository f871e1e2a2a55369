#include "support/http/chunked_body.h"

#include <algorithm>
#include <string>

#include "support/error/error.h"
#include "support/file/read_line.h"
#include "support/http/reply_head.h"
#include "support/thread/abort.h"

namespace Qz {

namespace {

// A line that the data's end cut off is a body cut off: the size on it, or
// the line itself, may be incomplete.
std::string wholeLine(fileReader& from) {
    std::string line;
    if (!readLine(from, line, maxHeadLine))
        throw httpRequest_errors::invalid_reply();
    return line;
}

} // namespace

uint64_t chunkedBody::readSome(fileReader& from, void* buffer, uint64_t size) {
    if (end)
        return 0;
    abortCheck();
    if (left == 0) {
        // Each chunk's data is closed by a line end of its own.
        if (!first && !wholeLine(from).empty())
            throw httpRequest_errors::invalid_reply();
        first = false;
        left = parseChunkSize(wholeLine(from));
        if (left == 0) {
            end = true;
            // A trailer is not accepted: the last chunk ends the message.
            // The data's end in place of the final line end loses nothing.
            std::string line;
            readLine(from, line, maxHeadLine);
            if (!line.empty())
                throw httpRequest_errors::invalid_reply();
            return 0;
        }
    }
    if (size == 0)
        return 0;
    const uint64_t got = from.readSome(buffer, std::min(size, left));
    if (got == 0)
        throw httpRequest_errors::invalid_reply();
    left -= got;
    return got;
}

} // namespace Qz
