#include "host/options.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

bool parse(std::vector<const wchar_t*> argv, std::string& command, OptionMap& options) {
    return parseCommandLine(int(argv.size()), argv.data(), command, options);
}

TEST(ParseCommandLine, CountDecidesFirst) {
    struct Case {
        std::vector<const wchar_t*> argv;
        bool accepted;
    } cases[] = {
        {{L"fxhost"}, false},
        {{L"fxhost", L"test"}, true},
        {{L"fxhost", L"has-editor", L"--vst"}, false},
        {{L"fxhost", L"has-editor", L"--vst", L"x"}, true},
        {{L"fxhost", L"test", L"--vst", L"x", L"--rate"}, false},
    };
    for (const Case& c : cases) {
        std::string command;
        OptionMap options;
        EXPECT_EQ(parse(c.argv, command, options), c.accepted) << c.argv.size() << " arguments";
        if (!c.accepted) {
            EXPECT_TRUE(command.empty());
            EXPECT_TRUE(options.empty());
        }
    }
}

TEST(ParseCommandLine, PairsAreStoredAsGiven) {
    std::string command;
    OptionMap options;
    ASSERT_TRUE(parse({L"fxhost", L"process", L"--rate", L"44100", L"--rate", L"48000", L"--Rate", L"1", L"foo",
                       L"--dashes", L"--vst", L"C:\\Pl\u00fcg \u97f3\\\U0001F3B5.dll"},
                      command, options));
    EXPECT_EQ(command, "process");
    EXPECT_EQ(*findOption(options, "--rate"), "48000");
    EXPECT_EQ(*findOption(options, "--Rate"), "1");
    EXPECT_EQ(*findOption(options, "foo"), "--dashes");
    // Non-ASCII text, a supplementary character included, arrives as UTF-8.
    EXPECT_EQ(*findOption(options, "--vst"), "C:\\Pl\xC3\xBCg \xE9\x9F\xB3\\\xF0\x9F\x8E\xB5.dll");
    EXPECT_EQ(findOption(options, "--RATE"), nullptr);
    EXPECT_EQ(findOption(options, "rate"), nullptr);
}

TEST(DecimalValue, ReadsLikeTheCommandLineDoes) {
    struct Case {
        const char* text;
        int32_t expected;
    } cases[] = {
        {"44100", 44100},         {"  48000", 48000},       {"+7", 7},
        {"-5", -5},               {"12abc", 12},            {"abc", 0},
        {"", 0},                  {"-", 0},                 {"0x10", 0},
        {"--3", 0},               {" \t 9", 9},             {"2147483647", 2147483647},
        {"2147483648", 2147483647}, {"99999999999999999999", 2147483647},
        {"-2147483648", -2147483647 - 1}, {"-2147483649", -2147483647 - 1},
        {"3.9", 3},
    };
    for (const Case& c : cases)
        EXPECT_EQ(decimalValue(c.text), c.expected) << '"' << c.text << '"';
}

TEST(DecimalValue, OptionFallsBackOnlyWhenAbsent) {
    OptionMap options;
    options["--bits"] = "x";
    EXPECT_EQ(decimalOption(options, "--bits", 16), 0);
    EXPECT_EQ(decimalOption(options, "--formattag", 1), 1);
}

} // namespace
