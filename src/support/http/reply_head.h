// The head of an HTTP reply as it comes off the wire: the status line, the
// header lines and the chunk-size lines of a chunked body. Pure text rules
// on a byte reader, so that a scripted reader can drive them.
//
// Header text is kept as the request keeps it: each line with carriage
// return and line feed, the status line apart. "Blank" means the byte 0x20;
// a tab is an ordinary byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/file/file.h"

namespace Qz {

// The longest status, header or chunk line accepted, line end not counted.
const uint64_t maxHeadLine = 4096;
// The most bytes a reply's head may take off the wire, interim replies
// before it, status lines and line ends included. Far above what any server
// sends, and it bounds the memory and the time a flood of header lines costs.
const uint64_t maxHeadBytes = 256 * 1024;
// The most lines kept of a proxy's answer to CONNECT, status line included.
const size_t maxTunnelHeadLines = 33;

// "HTTP/1.1 200 OK": anything up to the first blank, blanks, exactly three
// digits followed by a blank or the end, blanks, then the reason phrase,
// which is "Unspecified HTTP Response" when empty. False if the line does
// not have that form; `status` and `reason` are then untouched.
bool parseStatusLine(const std::string& line, uint32_t& status, std::string& reason);

// Reads a reply's head for a request: the status line, then header lines up
// to an empty one. Interim replies (status 1xx other than 101) are read and
// dropped, and the next head is read in their place. The end of the data
// ends the head early; a header line cut off by it is dropped, since its
// value may be cut too. The status line is returned as read (even cut off,
// or empty) for parseStatusLine to judge. A line longer than maxHeadLine
// throws Qz::invalid_input; a head past maxHeadBytes throws
// Qz::httpRequest::head_too_large. A failure of the reader goes to the
// caller as it was thrown: a time-out or a reset stays a Qz::network_error,
// which the reader of a resource retries.
void readResponseHead(fileReader& reader, std::string& statusLine, std::string& headers);

// Reads a proxy's answer to CONNECT, which must be complete: the end of the
// data before the empty line, a 34th line, an empty first line or one that is
// no status line throw Qz::httpRequest::invalid_reply; a line longer than
// maxHeadLine throws Qz::invalid_input.
void readTunnelHead(fileReader& reader, uint32_t& status, std::string& reason, std::string& headers);

// The size on a chunk-size line: hexadecimal digits, then optionally chunk
// extensions (";" and whatever follows, blanks or tabs before it allowed),
// which are ignored: nothing here has a use for them. No digits, or anything
// else, throws Qz::httpRequest::invalid_reply.
uint64_t parseChunkSize(const std::string& line);

} // namespace Qz
