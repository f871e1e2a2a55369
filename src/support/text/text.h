// Small text routines shared by the HTTP code: ASCII case folding and the
// number texts of headers, chunk sizes and error messages. Protocol text is
// ASCII, so nothing here looks at a locale: bytes from 0x80 up are never
// folded and compare as unsigned values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

namespace Qz {

// ASCII case-insensitive compare of two zero-terminated strings (neither may
// be null): negative, 0 or positive, like strcmp. Both sides are folded to
// lower case, so "_" sorts before "a" and before "A" alike.
int compareNoCase(const char* a, const char* b);
// The same on counted text. The sizes rule, not zeros: every position up to
// the longer size is compared, and a position past the end of one side reads
// as 0. So "ab" with a stray zero behind it equals "ab", while a byte after
// an embedded zero still counts.
int compareNoCase(const char* a, size_t aSize, const char* b, size_t bSize);

// Only A to Z change.
// The value of one hexadecimal digit of either case; -1 for any other byte.
int hexDigitValue(char c);

char toLowerAscii(char c);
std::string toLowerAscii(std::string text);

// `value` in hexadecimal, zero padded on the left to at least `minDigits`
// digits; never cut to fewer digits than the value needs. Zero gives "0"
// even with a minimum of 0.
std::string hexText(uint64_t value, unsigned minDigits = 1, bool upperCase = false);

std::string decimalText(uint64_t value);
// A negative value gets "-" in front; the minimum of int64 is printed whole.
std::string decimalText(int64_t value);
// A plain int or uint32 would be ambiguous between the two above; these pick
// by signedness, so that -1 never comes out as 18446744073709551615.
namespace textDetail {
template <typename T> constexpr bool isCountingInteger = std::is_integral<T>::value && !std::is_same<T, bool>::value;
} // namespace textDetail
template <typename T, std::enable_if_t<textDetail::isCountingInteger<T> && std::is_signed<T>::value, int> = 0>
std::string decimalText(T value) {
    return decimalText(static_cast<int64_t>(value));
}
template <typename T, std::enable_if_t<textDetail::isCountingInteger<T> && std::is_unsigned<T>::value, int> = 0>
std::string decimalText(T value) {
    return decimalText(static_cast<uint64_t>(value));
}

// Plain decimal digits only: no sign, no blanks, no prefix. Empty text is 0;
// leading zeros are fine. Throws Qz::invalid_input for any other character
// and Qz::overflow for a value above 18446744073709551615. A bad character
// wins over an overflow: text that is not a number is reported as such,
// however long it is.
uint64_t parseDecimal(const char* text, size_t size);
uint64_t parseDecimal(const std::string& text);

// Hexadecimal digits of either case only: no "0x", no sign, no blanks, no
// chunk extension. Empty text is 0. Leading zeros do not count toward the
// 16 significant digits that fit; a 17th throws Qz::overflow, any other
// character Qz::invalid_input (which, as above, wins).
uint64_t parseHex(const char* text, size_t size);
uint64_t parseHex(const std::string& text);

} // namespace Qz
