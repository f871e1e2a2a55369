#include "support/thread/guid.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

TEST(MakeGuidString, LowerCaseHexInMemoryOrder) {
    // The system's GUIDs are random ones (version 4). In memory order the
    // version nibble is the high digit of byte 7 (text index 14), since
    // Data3 is stored little-endian; in the registry form it would be at
    // index 12. The variant bits sit in byte 8 (index 16) in either form.
    for (int i = 0; i < 100; ++i) {
        const std::string text = Qz::makeGuidString();
        ASSERT_EQ(text.size(), 32u) << text;
        ASSERT_EQ(text.find_first_not_of("0123456789abcdef"), std::string::npos) << text;
        ASSERT_EQ(text[14], '4') << text;
        ASSERT_NE(std::string("89ab").find(text[16]), std::string::npos) << text;
    }
}

TEST(MakeGuidString, NeverRepeats) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(seen.insert(Qz::makeGuidString()).second);
}

} // namespace
