// The --data file against an in-process stand-in plug-in and real files:
// the size limit on reading.

#include <gtest/gtest.h>

#include <string>

#include "../effect/fake_plugin.h"
#include "common/test_files.h"
#include "run/vst_globals.h"

namespace {

// A plug-in with an editor (so that it takes settings) that keeps them as a
// chunk, opened on globals whose --data file is `file`. When the file is
// written is the editors' end-to-end tests'.
struct ChunkPlugin {
    FakePlugin plugin{effFlagsCanReplacing | effFlagsProgramChunks | effFlagsHasEditor};
    std::string received;
    VSTGlobals globals;

    explicit ChunkPlugin(const std::wstring& file) {
        plugin.answer = [this](VstInt32 opcode, VstInt32, VstIntPtr value, void* ptr, float) -> VstIntPtr {
            if (opcode == effSetChunk)
                received.assign(static_cast<const char*>(ptr), size_t(value));
            return 0;
        };
        globals.effect.reset(new VSTEffect());
        globals.effect->openEffect(&plugin.record);
        globals.dataPath = narrow(file);
    }
};

TEST(LoadSettings, SizesThatAreRead) {
    struct Case {
        size_t size;
        bool applied;
    } cases[] = {{0, false}, {1, true}, {64u * 1024 * 1024 - 1, true}, {64u * 1024 * 1024, false}};
    ScopedTempFolder folder;
    const std::wstring file = folder.path() + L"data.bin";
    for (const Case& c : cases) {
        std::string bytes(c.size, 'a');
        if (c.size)
            bytes.back() = 'z';
        writeWholeFile(file, bytes);
        ChunkPlugin p(file);
        p.globals.loadSettings();
        EXPECT_EQ(p.received.size(), c.applied ? c.size : 0) << c.size << " bytes";
        EXPECT_EQ(p.globals.data.size(), c.applied ? c.size : 0) << c.size << " bytes";
        EXPECT_TRUE(!c.applied || p.received.back() == 'z') << c.size << " bytes";
    }
}

} // namespace
