// The --data file against an in-process stand-in plug-in and real files:
// what is read and applied, when the file is written and when it is left
// alone.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "../vst2/fake_plugin.h"
#include "host/vst_globals.h"
#include "vst3/open_module.h"
#include "support/text/utf.h"
#include "support/win32.h"

namespace {

class TempFile {
public:
    TempFile() {
        wchar_t folder[MAX_PATH + 1], name[MAX_PATH + 1];
        GetTempPathW(MAX_PATH + 1, folder);
        GetTempFileNameW(folder, L"fxd", 0, name);
        DeleteFileW(name); // only the name is wanted; tests decide whether it exists
        path = name;
    }
    ~TempFile() { DeleteFileW(path.c_str()); }
    std::string utf8() const { return Qz::wideToUtf8(path); }
    bool exists() const { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }
    void write(const std::string& bytes) const {
        HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL);
        DWORD written = 0;
        WriteFile(file, bytes.data(), DWORD(bytes.size()), &written, NULL);
        CloseHandle(file);
    }
    std::string read() const {
        std::string bytes;
        HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING, 0, NULL);
        char buffer[4096];
        DWORD got = 0;
        while (ReadFile(file, buffer, sizeof buffer, &got, NULL) && got)
            bytes.append(buffer, got);
        CloseHandle(file);
        return bytes;
    }
    // Last write time and contents: what an untouched file keeps.
    std::string stamp() const {
        WIN32_FILE_ATTRIBUTE_DATA attributes;
        GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes);
        return std::to_string(attributes.ftLastWriteTime.dwHighDateTime) + ":" +
               std::to_string(attributes.ftLastWriteTime.dwLowDateTime) + ":" + read();
    }
    std::wstring path;
};

// A plug-in that keeps its settings as a chunk the test controls.
struct ChunkPlugin {
    FakePlugin plugin{effFlagsCanReplacing | effFlagsProgramChunks};
    std::string chunk = "state one";
    bool overrideSize = false; // else the chunk's own size is reported
    VstIntPtr reportedSize = 0;
    std::string received;
    VSTGlobals globals;

    explicit ChunkPlugin(const TempFile& file) {
        plugin.answer = [this](VstInt32 opcode, VstInt32, VstIntPtr value, void* ptr, float) -> VstIntPtr {
            if (opcode == effGetChunk) {
                *static_cast<void**>(ptr) = &chunk[0];
                return overrideSize ? reportedSize : VstIntPtr(chunk.size());
            }
            if (opcode == effSetChunk)
                received.assign(static_cast<const char*>(ptr), size_t(value));
            return 0;
        };
        plugin.record.flags |= effFlagsHasEditor; // something to configure, so settings are applied
        globals.effect.reset(new VSTEffect());
        globals.effect->openEffect(&plugin.record);
        globals.dataPath = file.utf8();
    }
};

TEST(SaveSettings, WritesOnlyWhatChanged) {
    TempFile file;
    ChunkPlugin p(file);
    p.globals.saveSettings();
    EXPECT_EQ(file.read(), "state one");
    EXPECT_EQ(std::string(p.globals.data.begin(), p.globals.data.end()), "state one");

    std::string before = file.stamp();
    Sleep(20);
    p.globals.saveSettings();
    EXPECT_EQ(file.stamp(), before) << "unchanged settings leave the file alone";

    p.chunk = "state two, longer";
    p.globals.saveSettings();
    EXPECT_EQ(file.read(), "state two, longer");
}

TEST(SaveSettings, ChunkSizesOfNothing) {
    for (VstIntPtr size : {VstIntPtr(0), VstIntPtr(-5)}) {
        TempFile file;
        ChunkPlugin p(file);
        p.overrideSize = true;
        p.reportedSize = size;
        p.globals.saveSettings();
        EXPECT_FALSE(file.exists()) << "empty blob, empty data: no file is made (size " << size << ")";

        // An empty blob that differs from what was saved leaves an empty file.
        p.globals.data.assign(3, 'x');
        p.globals.saveSettings();
        EXPECT_TRUE(file.exists());
        EXPECT_EQ(file.read(), "");
        EXPECT_TRUE(p.globals.data.empty());
    }
}

std::vector<float> parameters;
float VSTCALLBACK readParameter(AEffect*, VstInt32 index) { return parameters.at(size_t(index)); }

TEST(SaveSettings, ParametersAsLittleEndianFloats) {
    TempFile file;
    FakePlugin plugin(effFlagsCanReplacing, 3);
    plugin.record.getParameter = &readParameter;
    parameters = {0.5f, -1.0f, 1e-3f};
    VSTGlobals globals;
    globals.effect.reset(new VSTEffect());
    globals.effect->openEffect(&plugin.record);
    globals.dataPath = file.utf8();
    globals.saveSettings();
    std::string expected(12, '\0');
    std::memcpy(&expected[0], parameters.data(), 12);
    EXPECT_EQ(file.read(), expected);

    // No parameters and no chunk: an empty blob, and nothing to write.
    TempFile none;
    FakePlugin bare;
    VSTGlobals nothing;
    nothing.effect.reset(new VSTEffect());
    nothing.effect->openEffect(&bare.record);
    nothing.dataPath = none.utf8();
    nothing.saveSettings();
    EXPECT_FALSE(none.exists());
}

TEST(SaveSettings, LockedFileIsQuietlyLeftAlone) {
    TempFile file;
    file.write("old");
    ChunkPlugin p(file);
    HANDLE lock = CreateFileW(file.path.c_str(), GENERIC_READ, 0, NULL, OPEN_EXISTING, 0, NULL);
    ASSERT_NE(lock, INVALID_HANDLE_VALUE);
    ULONGLONG start = GetTickCount64();
    EXPECT_NO_THROW(p.globals.saveSettings());
    ULONGLONG took = GetTickCount64() - start;
    EXPECT_GE(took, 60u) << "nine waits of 10 ms between ten attempts";
    EXPECT_TRUE(p.globals.data.empty()) << "the next save tries again";
    CloseHandle(lock);
    EXPECT_EQ(file.read(), "old");
    p.globals.saveSettings();
    EXPECT_EQ(file.read(), "state one");
}

TEST(LoadSettings, SizesThatAreRead) {
    struct Case {
        size_t size;
        bool applied;
    } cases[] = {{0, false}, {1, true}, {64u * 1024 * 1024 - 1, true}, {64u * 1024 * 1024, false}};
    for (const Case& c : cases) {
        TempFile file;
        std::string bytes(c.size, 'a');
        if (c.size)
            bytes[c.size - 1] = 'z';
        file.write(bytes);
        ChunkPlugin p(file);
        p.globals.loadSettings();
        EXPECT_EQ(p.received.size(), c.applied ? c.size : 0) << c.size << " bytes";
        EXPECT_EQ(p.globals.data.size(), c.applied ? c.size : 0) << c.size << " bytes";
        if (c.applied) {
            EXPECT_EQ(p.received.back(), 'z');
        }
    }
}

TEST(LoadSettings, NothingToApplyTo) {
    TempFile file;
    file.write(std::string(12, '\x01'));
    FakePlugin bare; // neither an editor nor parameters
    VSTGlobals globals;
    globals.effect.reset(new VSTEffect());
    globals.effect->openEffect(&bare.record);
    globals.dataPath = file.utf8();
    globals.loadSettings();
    EXPECT_EQ(globals.data.size(), 12u) << "read all the same";
    EXPECT_TRUE(bare.callsOf(effSetChunk).empty());

    TempFile missing;
    ChunkPlugin p(missing);
    p.globals.data.assign(4, 'x');
    p.globals.loadSettings();
    EXPECT_TRUE(p.globals.data.empty()) << "a file that cannot be read empties data";
    EXPECT_EQ(p.received, "");
}

TEST(LoadSettings, RoundTripThroughTheFile) {
    TempFile file;
    ChunkPlugin first(file);
    first.chunk = std::string("\x00\x01\xFF binary", 9);
    first.globals.saveSettings();
    ChunkPlugin second(file);
    second.globals.loadSettings();
    EXPECT_EQ(second.received, first.chunk);
    // Loaded and unchanged: saving writes nothing.
    second.chunk = first.chunk;
    std::string before = file.stamp();
    Sleep(20);
    second.globals.saveSettings();
    EXPECT_EQ(file.stamp(), before);
}

// The VST 3 test plug-in whose state is its gain: 10 bytes of component
// state (the gain as binary64 and "G1"), 3 of controller state.
std::string gainPlugin() {
    wchar_t path[MAX_PATH * 4];
    DWORD length = GetModuleFileNameW(NULL, path, DWORD(sizeof path / sizeof path[0]));
    std::wstring folder(path, length);
    return Qz::wideToUtf8(folder.substr(0, folder.find_last_of(L"\\/") + 1) + L"plugins\\fx3_gain.vst3");
}

TEST(SaveSettings, Vst3PluginRoundTripsThroughItsPresetImage) {
    TempFile file;
    std::string image;
    {
        VSTGlobals saving;
        saving.effect = VSTEffect::create(OptionMap());
        ASSERT_TRUE(openModule(*saving.effect, gainPlugin().c_str()));
        saving.dataPath = file.utf8();
        // The change still waits in the adapter when the state is read:
        // saving must deliver it first.
        saving.effect->setParameter(0, 0.25f);
        saving.saveSettings();
        image = file.read();
        ASSERT_EQ(image.size(), 109u);
        EXPECT_EQ(image.substr(0, 4), "VST3");
        double gain = 0.0;
        std::memcpy(&gain, &image[48], 8);
        EXPECT_EQ(gain, 0.25);
        EXPECT_EQ(image.substr(61, 4), "List");
    }
    VSTGlobals loading;
    loading.effect = VSTEffect::create(OptionMap());
    ASSERT_TRUE(openModule(*loading.effect, gainPlugin().c_str()));
    EXPECT_EQ(loading.effect->getParameter(0), 0.5f) << "the plug-in's default";
    loading.dataPath = file.utf8();
    loading.loadSettings();
    EXPECT_EQ(loading.effect->getParameter(0), 0.25f);
    // Unchanged since it was read: nothing is written.
    std::string before = file.stamp();
    Sleep(20);
    loading.saveSettings();
    EXPECT_EQ(file.stamp(), before);
}

} // namespace
