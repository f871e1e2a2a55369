#include "support/text/text.h"

#include "support/error/error.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <iterator>
#include <string>

namespace {

int sign(int value) {
    return (value > 0) - (value < 0);
}

TEST(CompareNoCase, FoldsOnlyAsciiAndOrdersBytesUnsigned) {
    struct Case {
        const char* a;
        const char* b;
        int expected;
    } cases[] = {
        {"", "", 0},
        {"Content-Length", "content-length", 0},
        {"ABCXYZ", "abcxyz", 0},
        {"a", "ab", -1},
        {"", "a", -1},
        {"abd", "ABC", 1},
        // Folding to lower case: "_" lies between "Z" and "a".
        {"_", "A", -1},
        {"[", "a", -1},
        {"@", "`", -1},
        // Bytes from 0x80 up: above all of ASCII, and never folded.
        {"\xC3", "a", 1},
        {"\xC4", "\xE4", -1},
        {"a\x80", "A\x80", 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(sign(Qz::compareNoCase(c.a, c.b)), c.expected) << '"' << c.a << "\" vs \"" << c.b << '"';
        EXPECT_EQ(sign(Qz::compareNoCase(c.b, c.a)), -c.expected) << '"' << c.b << "\" vs \"" << c.a << '"';
    }
}

TEST(CompareNoCase, CountedTextReadsZeroPastTheEnd) {
    struct Case {
        const char* name;
        std::string a;
        size_t aSize;
        std::string b;
        size_t bSize;
        int expected;
    } cases[] = {
        {"sizes cut both", "Hostname", 4, "HOST:", 4, 0},
        {"longer side wins", "Hosts", 5, "host", 4, 1},
        {"shorter side loses", "host", 3, "HOST", 4, -1},
        {"zero behind the end equals the end", std::string("ab\0", 3), 3, "AB", 2, 0},
        {"byte after an embedded zero counts", std::string("a\0b", 3), 3, "a", 1, 1},
        {"both empty", "x", 0, "y", 0, 0},
        {"high byte after the end", "a\xFF", 2, "A", 1, 1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(sign(Qz::compareNoCase(c.a.data(), c.aSize, c.b.data(), c.bSize)), c.expected) << c.name;
        EXPECT_EQ(sign(Qz::compareNoCase(c.b.data(), c.bSize, c.a.data(), c.aSize)), -c.expected) << c.name;
    }
}

TEST(ToLowerAscii, OnlyAToZChange) {
    std::string all;
    for (int i = 1; i < 256; ++i)
        all += static_cast<char>(i);
    std::string lowered = Qz::toLowerAscii(all);
    ASSERT_EQ(lowered.size(), all.size());
    for (size_t i = 0; i < all.size(); ++i) {
        unsigned char byte = static_cast<unsigned char>(all[i]);
        char expected = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : all[i];
        EXPECT_EQ(lowered[i], expected) << "byte " << unsigned(byte);
        EXPECT_EQ(Qz::toLowerAscii(all[i]), expected) << "byte " << unsigned(byte);
    }
}

TEST(HexText, PadsToMinimumAndNeverCuts) {
    struct Case {
        uint64_t value;
        unsigned minDigits;
        bool upperCase;
        const char* expected;
    } cases[] = {
        {0, 0, false, "0"},
        {0, 1, false, "0"},
        {0, 2, false, "00"},
        {0, 4, false, "0000"},
        {0xABC, 1, false, "abc"},
        {0xABC, 1, true, "ABC"},
        {0xABC, 3, true, "ABC"},
        {0xABC, 4, true, "0ABC"},
        {0xABC, 8, false, "00000abc"},
        {0x80090318, 8, false, "80090318"},
        {0x123456789, 4, false, "123456789"},
        {UINT64_MAX, 0, true, "FFFFFFFFFFFFFFFF"},
        {UINT64_MAX, 20, false, "0000ffffffffffffffff"},
        {0x1000000000000000ull, 1, false, "1000000000000000"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Qz::hexText(c.value, c.minDigits, c.upperCase), c.expected)
            << c.value << " min " << c.minDigits << (c.upperCase ? " upper" : " lower");
}

TEST(DecimalText, BothWidthsToTheirLimits) {
    struct Case {
        std::string actual;
        const char* expected;
    } cases[] = {
        {Qz::decimalText(uint64_t(0)), "0"},
        {Qz::decimalText(uint64_t(10)), "10"},
        {Qz::decimalText(UINT64_MAX), "18446744073709551615"},
        {Qz::decimalText(int64_t(0)), "0"},
        {Qz::decimalText(int64_t(-1)), "-1"},
        {Qz::decimalText(INT64_MAX), "9223372036854775807"},
        {Qz::decimalText(INT64_MIN), "-9223372036854775808"},
        // Narrower types must pick the overload of their own signedness.
        {Qz::decimalText(-1), "-1"},
        {Qz::decimalText(INT_MIN), "-2147483648"},
        {Qz::decimalText(uint32_t(0xFFFFFFFF)), "4294967295"},
        {Qz::decimalText(static_cast<unsigned short>(443)), "443"},
        {Qz::decimalText(-7L), "-7"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.actual, c.expected);
}

enum class Outcome { value, invalidInput, overflow };

const char* describe(Outcome outcome) {
    switch (outcome) {
    case Outcome::value:
        return "a value";
    case Outcome::invalidInput:
        return "invalid_input";
    case Outcome::overflow:
        return "overflow";
    }
    return "?";
}

struct NumberCase {
    std::string text;
    Outcome outcome;
    uint64_t value;
};

// Runs one parser over a table; each failure names the text and what came
// out instead.
template <typename Parse>
void checkParser(const char* parserName, Parse parse, const NumberCase* begin, const NumberCase* end) {
    for (const NumberCase* c = begin; c != end; ++c) {
        Outcome outcome = Outcome::value;
        uint64_t value = 0;
        try {
            value = parse(c->text);
        } catch (const Qz::overflow&) {
            outcome = Outcome::overflow;
        } catch (const Qz::invalid_input&) {
            outcome = Outcome::invalidInput;
        }
        SCOPED_TRACE(std::string(parserName) + "(\"" + c->text + "\")");
        EXPECT_STREQ(describe(outcome), describe(c->outcome));
        if (outcome == Outcome::value && c->outcome == Outcome::value) {
            EXPECT_EQ(value, c->value);
        }
    }
}

TEST(ParseDecimal, DigitsOnlyUpToTwoToTheSixtyFourMinusOne) {
    const NumberCase cases[] = {
        {"", Outcome::value, 0},
        {"0", Outcome::value, 0},
        {"000", Outcome::value, 0},
        {"512", Outcome::value, 512},
        {"18446744073709551614", Outcome::value, UINT64_MAX - 1},
        {"18446744073709551615", Outcome::value, UINT64_MAX},
        {"0000018446744073709551615", Outcome::value, UINT64_MAX},
        {"18446744073709551616", Outcome::overflow, 0},
        {"18446744073709551619", Outcome::overflow, 0},
        {"18446744073709551620", Outcome::overflow, 0},
        {"99999999999999999999", Outcome::overflow, 0},
        {"100000000000000000000", Outcome::overflow, 0},
        {"-1", Outcome::invalidInput, 0},
        {"+1", Outcome::invalidInput, 0},
        {" 1", Outcome::invalidInput, 0},
        {"1 ", Outcome::invalidInput, 0},
        {"1\r", Outcome::invalidInput, 0},
        {"0x10", Outcome::invalidInput, 0},
        {"12a", Outcome::invalidInput, 0},
        {"/", Outcome::invalidInput, 0},
        {":", Outcome::invalidInput, 0},
        {std::string("1\0", 2), Outcome::invalidInput, 0},
        // Text that is no number is reported as such, however long it is.
        {"99999999999999999999x", Outcome::invalidInput, 0},
    };
    checkParser(
        "parseDecimal", [](const std::string& text) { return Qz::parseDecimal(text); }, std::begin(cases),
        std::end(cases));
}

TEST(ParseDecimal, CountedTextStopsAtItsSize) {
    const char text[] = "4096\r\n";
    EXPECT_EQ(Qz::parseDecimal(text, 4), 4096u);
    EXPECT_EQ(Qz::parseDecimal(text, 0), 0u);
    EXPECT_THROW(Qz::parseDecimal(text, 5), Qz::invalid_input);
}

TEST(ParseHex, SixteenSignificantDigitsOfEitherCase) {
    const NumberCase cases[] = {
        {"", Outcome::value, 0},
        {"0", Outcome::value, 0},
        {"0000000000000000000000", Outcome::value, 0},
        {"1a", Outcome::value, 0x1A},
        {"1A", Outcome::value, 0x1A},
        {"aBcDeF", Outcome::value, 0xABCDEF},
        {"0123456789", Outcome::value, 0x123456789},
        {"ffffffffffffffff", Outcome::value, UINT64_MAX},
        {"FFFFFFFFFFFFFFFF", Outcome::value, UINT64_MAX},
        {"1000000000000000", Outcome::value, 0x1000000000000000ull},
        {"0ffffffffffffffff", Outcome::value, UINT64_MAX},
        {"00000000ffffffffffffffff", Outcome::value, UINT64_MAX},
        {"fffffffffffffffff", Outcome::overflow, 0},
        {"10000000000000000", Outcome::overflow, 0},
        {"0010000000000000000", Outcome::overflow, 0},
        {"g", Outcome::invalidInput, 0},
        {"G", Outcome::invalidInput, 0},
        {"0x1f", Outcome::invalidInput, 0},
        {"-1", Outcome::invalidInput, 0},
        {" 1", Outcome::invalidInput, 0},
        {"1a;name=value", Outcome::invalidInput, 0},
        {"@", Outcome::invalidInput, 0},
        {"`", Outcome::invalidInput, 0},
        {std::string("a\0", 2), Outcome::invalidInput, 0},
        {"fffffffffffffffffz", Outcome::invalidInput, 0},
    };
    checkParser(
        "parseHex", [](const std::string& text) { return Qz::parseHex(text); }, std::begin(cases), std::end(cases));
}

TEST(ParseHex, CountedTextStopsAtItsSize) {
    const char text[] = "1f4\r\n";
    EXPECT_EQ(Qz::parseHex(text, 3), 0x1F4u);
    EXPECT_THROW(Qz::parseHex(text, 4), Qz::invalid_input);
}

} // namespace
