#include "support/text/percent.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

namespace {

struct Case {
    std::string input;
    std::string expected;
};

// Shows both sides with every byte outside printable ASCII as \xNN, so that
// a stray zero or a case difference in an escape is visible in the failure.
std::string visible(const std::string& text) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out = "\"";
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F) {
            out += "\\x";
            out += digits[byte >> 4];
            out += digits[byte & 0xF];
        } else {
            out += c;
        }
    }
    return out + "\"";
}

template <typename Transform>
void checkTable(const char* name, Transform transform, const Case* begin, const Case* end) {
    for (const Case* c = begin; c != end; ++c) {
        std::string actual = transform(c->input);
        EXPECT_EQ(visible(actual), visible(c->expected)) << name << '(' << visible(c->input) << ')';
    }
}

TEST(PercentEncode, KeepsAlphanumericsAndTheSafeSetOnly) {
    const Case plain[] = {
        {"", ""},
        {"azAZ09", "azAZ09"},
        {"a b", "a%20b"},
        {"-_.~", "%2D%5F%2E%7E"},
        {"%", "%25"},
        {"+", "%2B"},
        {"\xC3\xA4", "%C3%A4"},
        {"\x7F\x80\xFF", "%7F%80%FF"},
        {std::string("a\0b", 3), "a%00b"},
        {"\x01\x1F", "%01%1F"},
        // Neighbours of the ranges of letters and digits.
        {"/:@[`{", "%2F%3A%40%5B%60%7B"},
    };
    checkTable(
        "percentEncode(no safe set)", [](const std::string& s) { return Qz::percentEncode(s, ""); }, std::begin(plain),
        std::end(plain));
    checkTable(
        "percentEncode(null safe set)", [](const std::string& s) { return Qz::percentEncode(s, nullptr); },
        std::begin(plain), std::end(plain));

    const Case safe[] = {
        {"a-b_c.d~e", "a-b_c.d~e"},
        {"us er@host", "us%20er%40host"},
        {"p:w/d", "p%3Aw%2Fd"},
        // The terminator of the safe set is not a member of it.
        {std::string("\0", 1), "%00"},
        {"\xC3", "%C3"},
    };
    checkTable(
        "percentEncode(\"-_.~\")", [](const std::string& s) { return Qz::percentEncode(s, "-_.~"); }, std::begin(safe),
        std::end(safe));
}

TEST(PercentDecode, MalformedEscapesStayLiteral) {
    const Case cases[] = {
        {"", ""},
        {"plain/text", "plain/text"},
        {"%41", "A"},
        {"%4a", "J"},
        {"%4A", "J"},
        {"%c3%A4", "\xC3\xA4"},
        {"%ff", "\xFF"},
        {"%01", "\x01"},
        {"%10", "\x10"},
        {"%20", " "},
        {"%", "%"},
        {"100%", "100%"},
        {"%4", "%4"},
        {"a%4", "a%4"},
        {"%zz", "%zz"},
        {"%4z", "%4z"},
        {"%z4", "%z4"},
        {"%g0", "%g0"},
        {"%0G", "%0G"},
        {"% 41", "% 41"},
        // A zero byte is never produced.
        {"%00", "%00"},
        {"a%00b%41", "a%00bA"},
        // Decoding resumes right behind a literal "%".
        {"%%41", "%A"},
        {"%%%", "%%%"},
        // One pass only.
        {"%2541", "%41"},
        {"a+b", "a+b"},
        {"%2B", "+"},
    };
    checkTable("percentDecode", Qz::percentDecode, std::begin(cases), std::end(cases));
}

TEST(PercentDecodePlus, LiteralPlusOnlyBecomesBlank) {
    const Case cases[] = {
        {"+", " "},     {"a+b++", "a b  "}, {"%2B", "+"},   {"%2b+", "+ "},           {"%+", "% "},
        {"%4+", "%4 "}, {"%00+", "%00 "},   {"%41%", "A%"}, {"q=a%20b+c", "q=a b c"},
    };
    checkTable("percentDecodePlus", Qz::percentDecodePlus, std::begin(cases), std::end(cases));
}

TEST(UrlEscapeRaw, OnlyHighBytesAndBlankInLowerCase) {
    const Case cases[] = {
        {"", ""},
        {"http://h/a b", "http://h/a%20b"},
        {"\xC3\xA4", "%c3%a4"},
        {"\x80\xFF", "%80%ff"},
        {"\x7F", "\x7F"},
        {"\t\r\n", "\t\r\n"},
        {std::string("\0", 1), std::string("\0", 1)},
        {"%41%zz", "%41%zz"},
        {"/p?q=a b&c=%20#f", "/p?q=a%20b&c=%20#f"},
        {"+\"<>", "+\"<>"},
    };
    checkTable("urlEscapeRaw", Qz::urlEscapeRaw, std::begin(cases), std::end(cases));
}

TEST(UrlEscapeRaw, DiffersFromPercentEncodeOnlyInCase) {
    EXPECT_EQ(Qz::urlEscapeRaw("\xC3"), "%c3");
    EXPECT_EQ(Qz::percentEncode("\xC3", ""), "%C3");
}

} // namespace
