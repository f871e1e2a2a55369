#include "support/text/path.h"

#include <gtest/gtest.h>

namespace {

TEST(ParentPath, BothSeparatorsAndTrailingOnes) {
    struct Case {
        const char* path;
        const char* parent;
    } cases[] = {
        {"C:\\a\\b\\plugin.dll", "C:\\a\\b\\"},
        {"C:\\a\\b\\", "C:\\a\\"},
        {"C:\\a\\b\\\\", "C:\\a\\"},
        {"plugin.dll", ""},
        {"", ""},
        {"/", "/"},
        {"\\", "\\"},
        {"/x", "/"},
        {"C:/a\\b/c.dll", "C:/a\\b/"},
        {"\\\\server\\share\\fx.dll", "\\\\server\\share\\"},
        {"C:plugin.dll", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Qz::parentPath(c.path), c.parent) << '"' << c.path << '"';
}

} // namespace
