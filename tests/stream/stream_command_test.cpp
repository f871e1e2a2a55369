// The chunked protocol's guard: a size field that no real message comes
// near is refused before anything is allocated for it.

#include "stream/stream_command.h"

#include <gtest/gtest.h>

#include "../effect/fake_plugin.h"
#include "common/test_files.h"
#include "counting_allocator.h"
#include "run/vst_globals.h"
#include "support/file/file_win32.h"

namespace {

TEST(ChunkedStream, OversizedMessageIsRefusedBeforeItsAllocation) {
    ScopedTempFolder folder; // goes last, once the file is closed
    FakePlugin plugin;       // outlives the globals, which close it
    VSTGlobals globals;
    globals.arguments = OptionMap({{"--protocol", "chunked"}, {"--bits", "16"}});
    const char process256MiBAndOne[] = {1, 0, 0, 0, 1, 0, 0, 0x10};
    writeWholeFile(folder.path() + L"in.raw", std::string(process256MiBAndOne, 8));
    std::shared_ptr<Qz::fileWin32> input = std::make_shared<Qz::fileWin32>();
    input->openRead(narrow(folder.path() + L"in.raw"));
    globals.input = input;
    globals.effect.reset(new VSTEffect());
    ASSERT_TRUE(globals.effect->openEffect(&plugin.record));

    std::string error = "(nothing thrown)";
    largestAllocation = 0;
    countAllocations = true;
    try {
        process(globals);
    } catch (const std::exception& e) {
        error = e.what();
    }
    countAllocations = false;
    EXPECT_EQ(error, "message too large");
    EXPECT_LT(largestAllocation.load(), size_t(1) << 20);
}

} // namespace
