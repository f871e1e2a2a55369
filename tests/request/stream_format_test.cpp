// Which channel masks a stream keeps, and which it replaces by the usual
// mask for the channel count.

#include "request/stream_format.h"

#include <gtest/gtest.h>

namespace {

TEST(StreamFormat, MaskRuleKeepsMatchingMasksElseDefaults) {
    struct Case {
        uint32_t channels, mask, expected;
    } cases[] = {
        {0, 3, 0},    {1, 0, 4},     {1, 1, 1},    {2, 0, 3},    {2, 7, 3}, {3, 0, 0},         {3, 7, 7},
        {4, 0, 0x33}, {4, 0xF, 0xF}, {5, 0x3F, 0}, {6, 0, 0x3F}, {8, 0, 0}, {8, 0x63F, 0x63F},
    };
    for (const Case& c : cases)
        EXPECT_EQ(channelMaskRule(c.channels, c.mask), c.expected) << c.channels << " channels, mask " << c.mask;
}

} // namespace
