// The --parent-window value: what reads as a window handle and what is
// refused quietly, as no parent.

#include "editor/window_options.h"

#include <gtest/gtest.h>

#include "run/vst_globals.h"

namespace {

TEST(ParentWindow, HexadecimalWithoutPrefixOrSign) {
    const struct {
        const char* text;
        uint64_t window; // 0 for a text refused
    } rows[] = {
        {"1A2B", 6699},
        {"1a2b", 6699},
        {"FFFFFFFFFFFFFFFF", 0xFFFFFFFFFFFFFFFFull},
        {"00000000000000000001", 1}, // leading zeros are not significant
        {"10000000000000000", 0},    // a 17th significant digit
        {"0x1A2B", 0},
        {"-1", 0},
        {"+1", 0},
        {" 1A", 0},
        {"1A ", 0},
        {"G", 0},
    };
    for (const auto& row : rows) {
        VSTGlobals globals;
        globals.arguments["--parent-window"] = row.text;
        // A 32-bit program keeps the low half, which is all that a window
        // handle uses on 64-bit Windows.
        EXPECT_EQ(reinterpret_cast<uintptr_t>(parentWindow(globals)), uintptr_t(row.window)) << "[" << row.text << "]";
    }
}

} // namespace
