// The --data file against an in-process stand-in plug-in and real files:
// when it is written and when left alone, the size limit on reading, and a
// VST 3 plug-in's preset image with a change still waiting in the adapter.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "../vst2/fake_plugin.h"
#include "common/test_files.h"
#include "host/vst_globals.h"
#include "vst3/open_module.h"

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

// fx3_gain keeps its gain as its state: the preset image holds it as
// binary64 at offset 48.
TEST(SaveSettings, Vst3PresetImageHoldsAChangeStillWaitingInTheAdapter) {
    ScopedTempFolder folder;
    VSTGlobals globals;
    globals.effect = VSTEffect::create(OptionMap());
    ASSERT_TRUE(openModule(*globals.effect, testPluginPath("fx3_gain.vst3").c_str()));
    globals.dataPath = narrow(folder.path() + L"data.bin");
    globals.effect->setParameter(0, 0.25f);
    globals.saveSettings();
    std::string image = readWholeFile(folder.path() + L"data.bin");
    ASSERT_EQ(image.size(), 109u);
    EXPECT_EQ(image.substr(0, 4), "VST3");
    double gain = 0.0;
    std::memcpy(&gain, &image[48], 8);
    EXPECT_EQ(gain, 0.25);
}

} // namespace
