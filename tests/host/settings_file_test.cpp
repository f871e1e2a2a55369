// The --data file against an in-process stand-in plug-in and real files:
// when it is written and when left alone, and the size limit on reading.

#include <gtest/gtest.h>

#include <string>

#include "../vst2/fake_plugin.h"
#include "common/test_files.h"
#include "host/vst_globals.h"

namespace {

// A plug-in that keeps its settings as a chunk the test controls, opened on
// globals whose --data file is `file`.
struct ChunkPlugin {
    FakePlugin plugin{effFlagsCanReplacing | effFlagsProgramChunks | effFlagsHasEditor};
    std::string chunk = "state one", received;
    VSTGlobals globals;

    explicit ChunkPlugin(const std::wstring& file) {
        plugin.answer = [this](VstInt32 opcode, VstInt32, VstIntPtr value, void* ptr, float) -> VstIntPtr {
            if (opcode == effGetChunk) {
                *static_cast<void**>(ptr) = &chunk[0];
                return VstIntPtr(chunk.size());
            }
            if (opcode == effSetChunk)
                received.assign(static_cast<const char*>(ptr), size_t(value));
            return 0;
        };
        globals.effect.reset(new VSTEffect());
        globals.effect->openEffect(&plugin.record);
        globals.dataPath = narrow(file);
    }
};

TEST(SaveSettings, WritesOnlyWhatChanged) {
    ScopedTempFolder folder;
    const std::wstring file = folder.path() + L"data.bin";
    ChunkPlugin p(file);
    p.globals.saveSettings();
    EXPECT_EQ(readWholeFile(file), "state one");
    writeWholeFile(file, "changed behind our back");
    p.globals.saveSettings();
    EXPECT_EQ(readWholeFile(file), "changed behind our back") << "an unchanged blob is not written again";
    p.chunk = "state two";
    p.globals.saveSettings();
    EXPECT_EQ(readWholeFile(file), "state two");
}

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
