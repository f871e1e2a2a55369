// The --parent-window value: what reads as a window handle and what is
// refused quietly.

#include "editor/window_options.h"

#include <gtest/gtest.h>

#include "host/vst_globals.h"

namespace {

TEST(ParentWindow, HexadecimalWithoutPrefixOrSign) {
    struct Row {
        const char* text;
        bool parsed;
        uint64_t value;
    };
    const Row rows[] = {
        {"1A2B", true, 6699},
        {"1a2b", true, 6699},
        {"", true, 0},
        {"FFFFFFFFFFFFFFFF", true, 0xFFFFFFFFFFFFFFFFull},
        {"00000000000000000001", true, 1}, // leading zeros are not significant
        {"10000000000000000", false, 0},  // a 17th significant digit
        {"0x1A2B", false, 0},
        {"-1", false, 0},
        {"+1", false, 0},
        {" 1A", false, 0},
        {"1A ", false, 0},
        {"G", false, 0},
    };
    for (const Row& row : rows) {
        uint64_t value = 12345;
        EXPECT_EQ(parseWindowHandle(row.text, value), row.parsed) << "[" << row.text << "]";
        if (row.parsed) {
            EXPECT_EQ(value, row.value) << "[" << row.text << "]";
        }

        VSTGlobals globals;
        globals.arguments["--parent-window"] = row.text;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(parentWindow(globals)), row.parsed ? row.value : 0)
            << "[" << row.text << "]";
    }
}

} // namespace
