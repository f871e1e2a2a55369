// UTF-8 and UTF-16 at their edges: every sequence length, the refused and
// malformed forms (which end the text without an error), surrogates.

#include "support/text/utf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string hexOf(const std::wstring& text) {
    std::string out;
    char unit[8];
    for (wchar_t c : text) {
        std::snprintf(unit, sizeof unit, "%04X ", unsigned(uint16_t(c)));
        out += unit;
    }
    return out;
}

std::string hexOf(const std::string& text) {
    std::string out;
    char byte[4];
    for (char c : text) {
        std::snprintf(byte, sizeof byte, "%02X ", unsigned(uint8_t(c)));
        out += byte;
    }
    return out;
}

TEST(Utf8ToWide, SequencesAndWhereMalformedInputEnds) {
    struct Case {
        const char* name;
        std::string utf8;
        std::wstring wide;
    } cases[] = {
        {"ascii", "abc", L"abc"},
        {"two bytes", "\xC3\xA9", L"\u00E9"},
        {"smallest two-byte", "\xC2\x80", L"\u0080"},
        {"three bytes", "\xE9\x9F\xB3", L"\u97F3"},
        {"largest BMP", "\xEF\xBF\xBF", L"\uFFFF"},
        {"four bytes to a pair", "\xF0\x9F\x8E\xB5", std::wstring(L"\xD83C\xDFB5")},
        {"highest code point", "\xF4\x8F\xBF\xBF", std::wstring(L"\xDBFF\xDFFF")},
        {"C0 refused", "a\xC0\x80z", L"a"},
        {"C1 refused", "a\xC1\xBFz", L"a"},
        {"overlong three bytes", "a\xE0\x80\x80z", L"a"},
        {"overlong four bytes", "a\xF0\x80\x80\x80z", L"a"},
        {"bad continuation", "ab\xC3(z", L"ab"},
        {"continuation as lead", "ab\x80z", L"ab"},
        {"cut off at the end", "ab\xE9\x9F", L"ab"},
        {"lead byte FF", "ab\xFFz", L"ab"},
        {"beyond U+10FFFF", "ab\xF4\x90\x80\x80z", L"ab"},
        {"empty", "", L""},
    };
    for (const Case& c : cases) {
        std::wstring wide = Qz::utf8ToWide(c.utf8);
        EXPECT_EQ(wide, c.wide) << c.name << ": got " << hexOf(wide) << "expected " << hexOf(c.wide);
    }
}

TEST(Utf8ToWide, SizeAndTerminator) {
    const char text[] = "ab\0cd";
    EXPECT_EQ(Qz::utf8ToWide(text), L"ab") << "-1: up to the terminator";
    EXPECT_EQ(Qz::utf8ToWide(text, 5), L"ab") << "a zero byte ends the text";
    EXPECT_EQ(Qz::utf8ToWide("abcdef", 3), L"abc");
    EXPECT_EQ(Qz::utf8ToWide("\xC3\xA9", 1), L"") << "a sequence longer than what is left is cut";
}

TEST(WideToUtf8, PairsLoneSurrogatesAndTerminator) {
    struct Case {
        const char* name;
        std::wstring wide;
        std::string utf8;
    } cases[] = {
        {"ascii", L"abc", "abc"},
        {"two bytes", L"\u00E9", "\xC3\xA9"},
        {"three bytes", L"\u97F3", "\xE9\x9F\xB3"},
        {"pair", std::wstring(L"\xD83C\xDFB5"), "\xF0\x9F\x8E\xB5"},
        {"lone high", std::wstring(L"a\xD83Cz"), "a\xED\xA0\xBCz"},
        {"lone low", std::wstring(L"a\xDFB5z"), "a\xED\xBE\xB5z"},
        {"low then high", std::wstring(L"\xDFB5\xD83C"), "\xED\xBE\xB5\xED\xA0\xBC"},
        {"high at the end", std::wstring(L"a\xD83C"), "a\xED\xA0\xBC"},
        {"zero ends", std::wstring(L"ab\0cd", 5), "ab"},
    };
    for (const Case& c : cases) {
        std::string utf8 = Qz::wideToUtf8(c.wide);
        EXPECT_EQ(utf8, c.utf8) << c.name << ": got " << hexOf(utf8) << "expected " << hexOf(c.utf8);
    }
}

TEST(RoundTrip, EveryBmpCharacterOutsideTheSurrogates) {
    std::wstring all;
    for (unsigned c = 1; c <= 0xFFFF; ++c)
        if (c < 0xD800 || c > 0xDFFF)
            all.push_back(wchar_t(c));
    EXPECT_EQ(Qz::utf8ToWide(Qz::wideToUtf8(all)), all);
}

} // namespace
