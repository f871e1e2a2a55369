// A body in the chunked transfer coding, decoded off the reader of the raw
// bytes behind the reply's head. Apart from the request, so that a scripted
// reader can drive it.
#pragma once

#include <cstdint>

#include "support/file/file.h"

namespace Qz {

class chunkedBody {
public:
    // At most `size` bytes of data, fewer at a chunk's end; 0 once the last
    // chunk has been read (and, before that, for a `size` of 0). The last
    // chunk's line may be followed by the final empty line or by the end of
    // the data: a server that closes there has sent all. Throws
    // Qz::httpRequest::invalid_reply for a broken format, a trailer, and a
    // body cut off anywhere before its last chunk; Qz::invalid_input for a
    // line longer than maxHeadLine; Qz::user_abort when the thread's abort
    // event is signalled.
    uint64_t readSome(fileReader& from, void* buffer, uint64_t size);
    // The last chunk has been read: the reader is at the end of the message.
    bool ended() const { return end; }

private:
    uint64_t left = 0; // bytes left in the current chunk
    bool end = false;  // the last chunk has been read
    bool first = true; // no chunk has been started yet
};

} // namespace Qz
