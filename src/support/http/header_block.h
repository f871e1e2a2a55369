// Lookups over the header text of a reply: lines "Name: value", each ending
// in carriage return and line feed (a bare line feed or the end of the text
// ends one too). Names compare without case, up to the colon exactly; lines
// without a colon are skipped. A value starts behind the colon and the
// blanks (0x20) after it and keeps whatever trails it.
//
// Inside Qz::httpRequest these are reached as Qz::getHeader and so on: its
// members of the same names would hide them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Qz {

// The value of the first line named `name`; false, `value` untouched, if none.
bool getHeader(const std::string& headers, const std::string& name, std::string& value);
// The values of all lines named `name`, in order, replacing `values`; true if
// there is at least one.
bool getHeaders(const std::string& headers, const std::string& name, std::vector<std::string>& values);

// "Content-Length" as a number; Qz::unknownSize if there is none. A value
// that is not plain decimal digits, or too big, or lines whose numbers
// differ, throw Qz::httpRequest::invalid_reply.
uint64_t contentLength(const std::string& headers);

// "Last-Modified" in the form "Sun, 06 Nov 1994 08:49:37 GMT" as a Windows
// FILETIME count (100 ns units since 1601-01-01); the zone is not looked at.
// 0 if there is no such header, the value has no "," or has a "-", a field
// is missing or the month unknown. Throws Qz::invalid_input for fields out of
// range (day 31 of April, hour 24, year before 1601 or after 30827).
uint64_t lastModified(const std::string& headers);

// Whether the first token of "Transfer-Encoding" is "chunked", without case:
// "gzip, chunked" is not.
bool isChunked(const std::string& headers);

// Whether the body is the resource's own bytes once chunked framing is
// undone: every "Content-Encoding" token "identity", and "Transfer-Encoding"
// absent or a lone "chunked" (as isChunked reads it) or "identity", without
// case. Tokens are separated by commas, blanks and tabs, over all lines of
// each name.
bool plainCodings(const std::string& headers);

} // namespace Qz
