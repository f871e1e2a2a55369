// UTF-8 and UTF-16 at their edges: every sequence length, the refused and
// malformed forms (which end the text without an error), surrogates.

#include "support/text/utf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Utf, EachDirectionAtItsEdges) {
    struct Case {
        const char* name;
        std::string utf8;
        std::wstring wide;
        bool toWide, toUtf8; // which directions the row holds for
    } cases[] = {
        {"ascii", "abc", L"abc", true, true},
        {"smallest two-byte", "\xC2\x80", L"\u0080", true, true},
        {"three bytes", "\xE9\x9F\xB3", L"\u97F3", true, true},
        {"largest BMP", "\xEF\xBF\xBF", L"\uFFFF", true, true},
        {"four bytes to a pair", "\xF0\x9F\x8E\xB5", std::wstring(L"\xD83C\xDFB5"), true, true},
        {"smallest pair", "\xF0\x90\x80\x80", std::wstring(L"\xD800\xDC00"), true, true},
        {"highest code point", "\xF4\x8F\xBF\xBF", std::wstring(L"\xDBFF\xDFFF"), true, true},
        {"C0 refused", "a\xC0\x80z", L"a", true, false},
        {"overlong three bytes", "a\xE0\x80\x81z", L"a", true, false},
        {"overlong four bytes", "a\xF0\x80\x80\xBFz", L"a", true, false},
        {"overlong slash", "a\xE0\x80\xAFz", L"a", true, false},
        {"U+07FF in three bytes", "a\xE0\x9F\xBFz", L"a", true, false},
        {"U+FFFF in four bytes", "a\xF0\x8F\xBF\xBFz", L"a", true, false},
        {"five bytes below U+10FFFF", "a\xF8\x81\x80\x80\x80z", L"a", true, false},
        {"bad continuation", "ab\xC3(z", L"ab", true, false},
        {"continuation as lead", "ab\x80z", L"ab", true, false},
        {"cut off at the end", "ab\xE9\x9F", L"ab", true, false},
        {"beyond U+10FFFF", "ab\xF4\x90\x80\x80z", L"ab", true, false},
        {"zero ends", std::string("ab\0cd", 5), std::wstring(L"ab\0cd", 5), false, true},
        {"lone high", "a\xED\xA0\xBCz", std::wstring(L"a\xD83Cz"), false, true},
        {"low then high", "\xED\xBE\xB5\xED\xA0\xBC", std::wstring(L"\xDFB5\xD83C"), false, true},
        {"high at the end", "a\xED\xA0\xBC", std::wstring(L"a\xD83C"), false, true},
    };
    for (const Case& c : cases) {
        if (c.toWide) {
            EXPECT_EQ(Qz::utf8ToWide(c.utf8), c.wide) << c.name;
        }
        if (c.toUtf8) {
            EXPECT_EQ(Qz::wideToUtf8(c.wide), c.utf8.substr(0, c.utf8.find('\0'))) << c.name;
        }
    }
    EXPECT_EQ(Qz::utf8ToWide("\xC3\xA9z", 1), L"") << "a sequence longer than the size given is cut";
}

} // namespace
