#include "stream/stream_format.h"

#include <gtest/gtest.h>

namespace {

OptionMap options(std::initializer_list<std::pair<const std::string, std::string>> pairs) { return OptionMap(pairs); }

TEST(ChannelMaskRule, KeepsMatchingMasksElseDefaults) {
    struct Case {
        uint32_t channels, mask, expected;
    } cases[] = {
        {0, 3, 0},      {2, 3, 3},     {2, 7, 3},       {2, 0, 3},      {3, 0, 0},      {3, 7, 7},
        {1, 0, 4},      {1, 1, 1},     {4, 0, 0x33},    {6, 0, 0x3F},   {6, 0x3F0, 0x3F0}, {8, 0, 0},
        {8, 0x63F, 0x63F}, {5, 0x3F, 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(channelMaskRule(c.channels, c.mask), c.expected) << c.channels << " channels, mask " << c.mask;
}

TEST(WantsDouble, Float64DecidesElseTheSampleWidth) {
    struct Case {
        OptionMap arguments;
        bool expected;
    } cases[] = {
        {options({}), false},
        {options({{"--bits", "24"}}), false},
        {options({{"--bits", "32"}}), true},
        {options({{"--bits", "32"}, {"--formattag", "3"}}), false},
        {options({{"--bits", "64"}, {"--formattag", "3"}}), true},
        {options({{"--bits", "32"}, {"--formattag", "65534"}}), true},
        {options({{"--float64", "1"}, {"--bits", "16"}}), true},
        {options({{"--float64", "0"}, {"--bits", "32"}}), false},
        {options({{"--float64", "-1"}, {"--bits", "64"}, {"--formattag", "3"}}), false},
        {options({{"--bits", "-64"}}), false},
    };
    int i = 0;
    for (const Case& c : cases)
        EXPECT_EQ(wantsDouble(c.arguments), c.expected) << "case " << i++;
}

TEST(InitialFormat, OutputFollowsInputUnlessGiven) {
    StreamFormat f = initialFormat(options({{"--rate", "44100"}, {"--channels", "2"}}));
    EXPECT_EQ(f.sampleRate, 44100u);
    EXPECT_EQ(f.inputChannels, 2u);
    EXPECT_EQ(f.inputMask, 3u);
    EXPECT_EQ(f.outputChannels, 2u);
    EXPECT_EQ(f.outputMask, 3u);

    f = initialFormat(options({{"--channels", "2"}, {"--channels-output", "0"}, {"--chanmask-output", "4"}}));
    EXPECT_EQ(f.outputChannels, 2u);
    EXPECT_EQ(f.outputMask, 3u) << "--chanmask-output has no effect when output follows input";

    f = initialFormat(options({{"--channels", "3"}, {"--chanmask", "7"}, {"--channels-output", "1"}}));
    EXPECT_EQ(f.inputMask, 7u);
    EXPECT_EQ(f.outputChannels, 1u);
    EXPECT_EQ(f.outputMask, 4u);

    f = initialFormat(options({{"--channels", "-1"}}));
    EXPECT_EQ(f.inputChannels, 0xFFFFFFFFu) << "a negative text ends up as a large unsigned number";
}

TEST(IsUsable, Bounds) {
    struct Case {
        uint32_t rate, in, out;
        bool expected;
    } cases[] = {
        {99, 2, 2, false},   {100, 2, 2, true},        {10000000, 2, 2, true}, {10000001, 2, 2, false},
        {44100, 0, 2, false}, {44100, 1, 1, true},     {44100, 32, 32, true},  {44100, 33, 2, false},
        {44100, 2, 33, false}, {44100, 0xFFFFFFFF, 2, false},
    };
    for (const Case& c : cases) {
        StreamFormat f = {c.rate, c.in, 0, c.out, 0};
        EXPECT_EQ(isUsable(f), c.expected) << c.rate << " Hz " << c.in << "/" << c.out;
    }
}

} // namespace
