#include "support/http/base64.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Base64, Rfc4648VectorsAndTheLastTwoLetters) {
    struct Case {
        std::string input, expected;
    } cases[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {"\xFF\xFE\xFD", "//79"},
        {"\xFB\xFF", "+/8="},
        {std::string("\0\0\0\0", 4), "AAAAAA=="},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Qz::base64Encode(c.input), c.expected) << ::testing::PrintToString(c.input);
}

} // namespace
