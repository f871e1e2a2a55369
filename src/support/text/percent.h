// Percent encoding of URL text. Decoding never fails: whatever only looks
// like an escape passes through as literal text, so a URL typed by a user
// survives a decode even when it was never encoded.
#pragma once

#include <string>

namespace Qz {

// Keeps ASCII letters, digits and the bytes of `safe` (may be null for none);
// every other byte, a zero byte included, becomes "%" and two upper-case
// hexadecimal digits.
std::string percentEncode(const std::string& text, const char* safe);

// Replaces "%" and two hexadecimal digits of either case by that byte. A "%"
// that is not followed by two digits, or whose escape would give a zero
// byte, stays as it is, and decoding goes on right behind that "%". One
// pass: the output is never decoded again, so "%2541" gives "%41".
std::string percentDecode(const std::string& text);
// As percentDecode, and a literal "+" becomes a blank; an escaped one
// ("%2B") stays a "+".
std::string percentDecodePlus(const std::string& text);

// The light escaping applied to a URL as given before it is parsed: bytes from
// 0x80 up and the blank become "%" and two lower-case hexadecimal digits;
// everything else, "%" and control characters included, stays unchanged.
std::string urlEscapeRaw(const std::string& text);

} // namespace Qz
