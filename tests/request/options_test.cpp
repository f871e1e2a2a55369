// The lenient number reading of the command line; the count check and the
// pairs are the front door's end-to-end rows.

#include "request/options.h"

#include <gtest/gtest.h>

namespace {

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
