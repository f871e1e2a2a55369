// Tokens and parameters of one header value, as in
//   Digest realm="a, b", nonce="x", algorithm=md5
// Tokens are separated by blanks (0x20) and commas; inside double quotes
// neither separates. There is no backslash escape: the next double quote ends
// a quoted text.
#pragma once

#include <string>

namespace Qz {

// The first token of `text`, quotes included. False, with `token` untouched,
// if the text holds only separators.
bool firstToken(const std::string& text, std::string& token);

// Finds the first token that begins with `name` (compared without case), "="
// and at least one more character. With `quoted` false, `out` is the rest of
// that token as it stands, quotes and all. With `quoted` true the value must
// be a double quote, then text, then a closing double quote; `out` is the
// text between them. A token whose value is unquoted (or has no closing
// quote) does not match then, and the search goes on. False, with `out`
// untouched, if no token matches.
bool headerParam(const std::string& text, const std::string& name, std::string& out, bool quoted);

} // namespace Qz
