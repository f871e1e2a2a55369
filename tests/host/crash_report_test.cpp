// The crash line, where an end-to-end run cannot steer it: a code without a
// name, an address in no module, a module name longer than the line.

#include <gtest/gtest.h>

#include <string>

#include "host/crash_report.h"

namespace {

TEST(CrashLine, NamesCodeAndPlace) {
    const std::string longName(1000, 'x');
    struct Row {
        const char* name;
        CrashLine line;
        std::string expected;
    } rows[] = {
        {"named code in a module", CrashLine(0xC0000005u, "rude.dll", 0x13e0),
         "plug-in crashed: access violation (c0000005) at rude.dll+0x13e0\r\n"},
        {"code without a name", CrashLine(0x12345u, "rude.dll", 0),
         "plug-in crashed: exception (00012345) at rude.dll+0x0\r\n"},
        {"address in no module", CrashLine(0xC00000FDu, "", 0xFFFFF80012345678ull),
         "plug-in crashed: stack overflow (c00000fd) at 0xfffff80012345678\r\n"},
        {"no module name at all", CrashLine(0xC0000094u, nullptr, 0x10),
         "plug-in crashed: integer divide by zero (c0000094) at 0x10\r\n"},
        {"a text", CrashLine("abort"), "plug-in crashed: abort\r\n"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(std::string(row.line.text(), row.line.size()), row.expected) << row.name;
        EXPECT_EQ(std::string(row.line.text()), row.expected) << row.name;
    }
    // Cut, but still one whole line.
    CrashLine cut(0xC0000005u, longName.c_str(), 1);
    std::string text(cut.text(), cut.size());
    EXPECT_EQ(text.compare(0, 48, "plug-in crashed: access violation (c0000005) at "), 0) << text;
    EXPECT_EQ(text.substr(text.size() - 3), "x\r\n");
    EXPECT_LT(text.size(), 600u);
}

} // namespace
