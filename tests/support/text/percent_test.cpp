// Percent encoding and decoding: what is kept, what only looks like an
// escape, and the zero byte that decoding must never produce.

#include "support/text/percent.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Percent, EncodeAndDecodeEdges) {
    enum Function { encode, encodeSafe, decode, decodePlus, escapeRaw };
    struct Case {
        Function function;
        std::string input, expected;
    } cases[] = {
        {encode, "azAZ09", "azAZ09"},
        {encode, "a b-_.~%+", "a%20b%2D%5F%2E%7E%25%2B"},
        {encode, "/:@[`{\x7F\x80\xFF", "%2F%3A%40%5B%60%7B%7F%80%FF"},
        {encode, std::string("a\0b", 3), "a%00b"},
        {encodeSafe, "a-b_c.d~e f@", "a-b_c.d~e%20f%40"},
        {encodeSafe, std::string("\0", 1), "%00"}, // the safe set's terminator is no member
        {decode, "%41%4a%c3%A4%ff%01", "AJ\xC3\xA4\xFF\x01"},
        {decode, "a%00b%41", "a%00bA"},
        {decode, "%", "%"},
        {decode, "100%", "100%"},
        {decode, "a%4", "a%4"},
        {decode, "%zz%4z%z4%g0% 41", "%zz%4z%z4%g0% 41"},
        {decode, "%%41", "%A"},
        {decode, "%2541", "%41"},
        {decode, "a+b%2B", "a+b+"},
        {decodePlus, "a+b%2B%2b+", "a b++ "},
        {decodePlus, "%+%4+%00+", "% %4 %00 "},
        {escapeRaw, "/p?q=a b&c=%20#f", "/p?q=a%20b&c=%20#f"},
        {escapeRaw, "\xC3\xA4\x7F\t%zz+", "%c3%a4\x7F\t%zz+"},
    };
    for (const Case& c : cases) {
        std::string out = c.function == encode       ? Qz::percentEncode(c.input, nullptr)
                          : c.function == encodeSafe ? Qz::percentEncode(c.input, "-_.~")
                          : c.function == decode     ? Qz::percentDecode(c.input)
                          : c.function == decodePlus ? Qz::percentDecodePlus(c.input)
                                                     : Qz::urlEscapeRaw(c.input);
        EXPECT_EQ(out, c.expected) << "function " << c.function << " of " << ::testing::PrintToString(c.input);
    }
}

} // namespace
