// The command line's pure pieces: the count check that comes first, the
// pairs in UTF-8, and the lenient number reading.

#include "host/options.h"

#include <gtest/gtest.h>

namespace {

TEST(ParseCommandLine, CountFirstThenPairsAsGiven) {
    const wchar_t* argv[] = {L"fxhost", L"process", L"--rate", L"1", L"--rate", L"2", L"--vst", L"\u00fc\U0001F3B5"};
    for (int argc : {1, 3, 5, 7}) {
        std::string command;
        OptionMap options;
        EXPECT_FALSE(parseCommandLine(argc, argv, command, options)) << argc << " words";
        EXPECT_TRUE(command.empty() && options.empty()) << argc << " words";
    }
    std::string command;
    OptionMap options;
    ASSERT_TRUE(parseCommandLine(8, argv, command, options));
    EXPECT_EQ(command, "process");
    EXPECT_EQ(options, OptionMap({{"--rate", "2"}, {"--vst", "\xC3\xBC\xF0\x9F\x8E\xB5"}}));
}

TEST(DecimalValue, ReadsLikeTheCommandLineDoes) {
    struct Case {
        const char* text;
        int32_t expected;
    } cases[] = {
        {" \t 48000", 48000},
        {"+7", 7},
        {"-5", -5},
        {"12abc", 12},
        {"", 0},
        {"-", 0},
        {"0x10", 0},
        {"--3", 0},
        {"2147483648", 2147483647},
        {"99999999999999999999", 2147483647},
        {"-2147483649", -2147483647 - 1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(decimalValue(c.text), c.expected) << '"' << c.text << '"';
}

} // namespace
