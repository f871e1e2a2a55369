// VST 3 plug-ins seen from a parent: which modules open and which fall
// through to VST 2, the calls, settings and audio of a whole run, a
// plug-in's own editor view in the window of `configure`, and plug-ins made
// with a public framework (the DISTRHO Plugin Framework), each built from
// one source as VST 2 and VST 3, whose two builds must sound alike and
// whose editor opens in both.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "parent.h"
#include "running_host.h"
#include "stream_bytes.h"

namespace {

typedef std::vector<std::string> Lines;
const std::string newline = "\r\n";

// `test` through the client: "opens", else what the program said, of a
// plug-in that does not open or of one that crashed.
std::string tested(const fxhost::Host& host) {
    std::string reason;
    try {
        return host.test(&reason) ? "opens" : reason;
    } catch (const fxhost::CrashError& e) {
        return e.errorText();
    }
}

// A float 32 stream of the plug-in through the client, with its format set.
std::unique_ptr<fxhost::Stream> floatStream(const std::wstring& plugin, uint32_t rate,
                                            const std::wstring& data = std::wstring()) {
    std::unique_ptr<fxhost::Stream> stream = clientFor(plugin).openStream(fxhost::SampleType::Float32, data);
    stream->setFormat(rate, 2);
    return stream;
}

// The preset image of fx3_gain with its gain (normalized): the component's
// state, the gain and "G1", then the controller's, "UI" and a byte.
std::string gainImage(double gain) {
    std::string component(8, '\0');
    std::memcpy(&component[0], &gain, 8);
    component += "G1";
    return presetImage("6A4F1C528E3B4D7A9C21F0B35D7E8B01", component, "UI\x01");
}

TEST(Vst3Open, ModulesThatOpenAndFailuresThatFallThroughToVst2) {
    CallLog log;
    struct Case {
        const wchar_t* plugin;
        int version;        // --vst-version, if any
        const char* answer; // null: the VST 2 attempt's report, which names the path
    } cases[] = {
        {L"fx3_bundle.vst3", 0, "opens"},
        {L"fx3_bundle.vst3\\", 0, "opens"}, // as shell completion writes a folder
        {L"fx3_twoclasses.vst3", 0, "opens"},
        {L"fx3_gain.vst3", 3, "opens"},
        // The VST 3 attempt says nothing of its own.
        {L"fx3_noeffect.vst3", 0, nullptr},
        {L"fx3_initfail.vst3", 0, nullptr},
        {L"fx3_nullfactory.vst3", 0, nullptr},
        {L"fx3_gain.vst3", 2, nullptr},
        {L"fx3_noeffect.vst3", 3, "Could not open VST.\n"},
        {L"fx_effect.dll", 3, "Could not open VST.\n"},
        {L"fx3_throwfactory.vst3", 0, "fx3_throwfactory makes nothing\n"},
    };
    for (const Case& c : cases) {
        std::wstring path = testPlugin(c.plugin);
        fxhost::HostOptions options;
        options.vstVersion = c.version;
        std::string answer = tested(clientFor(path, options));
        std::string what = narrow(c.plugin) + (c.version ? " as VST " + std::to_string(c.version) : "");
        // A 32-bit plug-in's exception cannot unwind into the program: the
        // plug-in's runtime says why and aborts, and the program fails with
        // one line of its own after that.
        if (sizeof(void*) == 4 && std::wstring(c.plugin).find(L"throw") != std::wstring::npos) {
            const std::string last = "plug-in crashed: abort\n";
            EXPECT_EQ(answer.substr(answer.size() - std::min(answer.size(), last.size())), last) << what;
            continue;
        }
        EXPECT_EQ(answer, c.answer ? c.answer : "Could not load VST: " + narrow(path) + "\nCould not open VST.\n")
            << what;
    }
    // Whatever the factories made was let go of again.
    Lines calls = log.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "factory createInstance component"),
              std::count(calls.begin(), calls.end(), "component deleted"));

    EXPECT_EQ(pinsText(clientFor(testPlugin(L"fx3_gain.vst3")).info()),
              "Stereo In/7/1 Stereo In/7/1 | Stereo Out/7/1 Stereo Out/7/1 | ");
}

// The calls fx3_gain receives over a run with settings from --data and
// again from the stream, in order, beside the audio they give.
TEST(Vst3Run, CallsSettingsAndAudioOfAWholeRun) {
    CallLog log;
    ScopedTempFolder folder;
    writeWholeFile(folder.path() + L"settings.bin", gainImage(0.25));
    const std::string audio = floatFrames(1024, 2);
    std::unique_ptr<fxhost::Stream> stream =
        floatStream(testPlugin(L"fx3_gain.vst3"), 48000, folder.path() + L"settings.bin");
    EXPECT_EQ(stream->format().outputMask, 3u);
    EXPECT_TRUE(sameBytes(stream->processBytes(audio.data(), audio.size()), scaled(audio, 0.5f)));
    EXPECT_EQ(stream->latency(), 0u);
    stream->setSettings(gainImage(1.0));
    EXPECT_TRUE(sameBytes(stream->processBytes(audio.data(), audio.size()), scaled(audio, 2.0f)));
    stream->close();
    const std::string reload = "component setState 10; controller setComponentState 10; controller setState 3; ";
    EXPECT_EQ(joined(log.calls()),
              // The module, and the adapter's set-up.
              "InitDll; GetPluginFactory; factory createInstance component; factory createInstance controller; "
              "component initialize in Tonewell VST Adapter; controller initialize; "
              "controller setComponentHandler set; component connect; controller notify gainHello 42; "
              "component send gainHello 0; controller connect; component getState; controller setComponentState 10; "
              "component setupProcessing 0 0 256 44100; "
              // effSetBlockSize 512, effMainsChanged 1, then --data while active.
              "component setupProcessing 0 0 512 44100; component setActive 1; " +
                  reload +
                  // The stream's format, then its blocks at the offline level.
                  "component setupProcessing 0 0 512 48000; component setupProcessing 2 0 512 48000; "
                  "component setProcessing 1; component process 512 0; component process 512 0; " +
                  reload +
                  "component process 512 0; component process 512 0; "
                  // effMainsChanged 0, effClose.
                  "component setProcessing 0; component setActive 0; component disconnect; controller disconnect; "
                  "controller setComponentHandler null; controller terminate; component terminate; "
                  "controller deleted; component deleted; ");
}

TEST(Vst3Run, ReopenMakesANewInstanceFromTheLoadedModule) {
    CallLog log;
    const std::string audio = floatFrames(100, 2);
    std::unique_ptr<fxhost::Stream> stream = floatStream(testPlugin(L"fx3_gain.vst3"), 44100);
    stream->setSettings(gainImage(0.25));
    EXPECT_EQ(stream->reopen().outputChannels, 2u);
    // The settings went with the old instance: the new one has its default.
    EXPECT_TRUE(sameBytes(stream->processBytes(audio.data(), audio.size()), audio));
    stream->close();
    Lines calls = log.calls();
    for (const char* call : {"InitDll", "component initialize in Tonewell VST Adapter", "component deleted"})
        EXPECT_EQ(std::count(calls.begin(), calls.end(), call), std::string(call) == "InitDll" ? 1 : 2) << call;
}

// ---------------------------------------------------------------------------
// The plug-in's own editor view, in the window of `configure`: found by its
// title, driven through the test plug-ins' child windows as a user's hand
// would, closed as the user closes it.

std::string sizeText(SIZE size) {
    return std::to_string(size.cx) + "x" + std::to_string(size.cy);
}

// Waits up to ten seconds for the file to hold `bytes`.
bool fileBecomes(const std::wstring& path, const std::string& bytes) {
    for (int i = 0; i < 500; ++i) {
        if (readWholeFile(path) == bytes)
            return true;
        Sleep(20);
    }
    return false;
}

const UINT viewAskSize = WM_APP;  // the test plug-in's view: resize to wParam by lParam
const UINT viewEdit = WM_APP + 1; // the test plug-in's view: Gain to wParam / 1000

TEST(Vst3Editor, ConfigureShowsTheViewAtItsSizeAndSavesItsEdits) {
    struct Row {
        const char* name;
        const wchar_t* plugin;
        bool edits; // the view attaches, and is resized and edited through
    } rows[] = {
        {"a view", L"fx3_view.vst3", true},
        {"a view that fails to attach", L"fx3_view_fail.vst3", false},
    };
    for (const Row& row : rows) {
        CallLog log;
        ScopedTempFolder folder;
        const std::wstring data = folder.path() + L"settings.bin";
        writeWholeFile(data, gainImage(0.75));
        const std::wstring title = uniqueTitle();
        RunningHost host(configuring(testPlugin(row.plugin), title, data));
        HWND window = host.window(title);
        ASSERT_TRUE(window) << row.name;
        EXPECT_EQ(sizeText(clientSize(window)), "400x300") << row.name;
        HWND view = FindWindowExW(window, NULL, L"fx3_view", NULL);
        EXPECT_EQ(view != NULL, row.edits) << row.name;
        if (view && row.edits) {
            // The view asks for a new height alone: the window follows.
            SendMessageW(view, viewAskSize, 400, 250);
            EXPECT_EQ(sizeText(clientSize(window)), "400x250") << row.name;
            EXPECT_EQ(sizeText(clientSize(view)), "400x250") << row.name;
            // An edit in the view reaches the settings file while it is open.
            SendMessageW(view, viewEdit, 250, 0);
            EXPECT_TRUE(fileBecomes(data, gainImage(0.25))) << row.name;
        }
        PostMessageW(window, WM_CLOSE, 0, 0);
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, 0u) << row.name << ": " << run.error;
        EXPECT_EQ(readWholeFile(data), gainImage(row.edits ? 0.25 : 0.75)) << row.name;

        // The view of the first question is let go of at once; the editor's
        // is made as the window opens and ends as it closes, before the
        // plug-in does.
        Lines calls;
        for (const std::string& call : log.calls())
            if (call.compare(0, 5, "view ") == 0 || call == "component setActive 0")
                calls.push_back(call);
        Lines expected = {"view 1 created", "view 1 deleted", "view 2 created", "view 2 setFrame set",
                          "view 2 attached HWND"};
        if (row.edits)
            expected.insert(expected.end(), {"view 2 onSize 400 250", "view 2 resizeView 400 250 0"});
        expected.insert(expected.end(),
                        {"view 2 setFrame null", "view 2 removed", "view 2 deleted", "component setActive 0"});
        EXPECT_EQ(calls, expected) << row.name;
    }
}

std::wstring vst2Build(const std::wstring& name) {
    return testPlugin(name + L"-vst.dll");
}
std::wstring vst3Build(const std::wstring& name) {
    return testPlugin(name + L".vst3");
}

TEST(FrameworkPlugins, EveryCommandOpensBothBuildsAndTheInstrumentNeither) {
    const std::wstring module = vst3Build(L"fxd_gain") + L"\\Contents\\" FXHOST_VST3_ARCH L"\\fxd_gain.vst3";
    for (const std::wstring& plugin : {vst2Build(L"fxd_gain"), vst3Build(L"fxd_gain"), module}) {
        // The framework complains on standard error of a host that frees its
        // objects in the wrong order; nothing else writes there. (The client
        // passes on no standard error of a run that succeeds.)
        HostRun opened = runHost({L"test", L"--vst", plugin});
        EXPECT_EQ(opened.exitCode, 0u) << narrow(plugin);
        EXPECT_EQ(opened.error, "") << narrow(plugin);
        fxhost::Host host = clientFor(plugin);
        EXPECT_TRUE(host.hasEditor()) << "a parameter: " << narrow(plugin);
        fxhost::PluginInfo info = host.info();
        EXPECT_EQ(info.inputs.size(), 2u) << narrow(plugin);
        EXPECT_EQ(info.outputs.size(), 2u) << narrow(plugin);
    }
    // A VST 3 build is refused as VST 3 and then, as VST 2, is a folder.
    // fxd_otherwidth is fxd_gain built for the other width, which no
    // process of this width can load, and whose bundle has no folder for it;
    // the client would run the other width's program for it, so that what
    // this width's program says comes through the simulator.
    const struct {
        const char* name;
        std::wstring plugin;
        const char* kind;
        bool otherWidth;
    } refused[] = {
        {"the instrument's VST 2 build", vst2Build(L"fxd_instrument"), "VST", false},
        {"the instrument's VST 3 build", vst3Build(L"fxd_instrument"), "VST bundle", false},
        {"the other width's VST 2 build", vst2Build(L"fxd_otherwidth"), "VST bundle", true}, // that does not load
        {"the other width's VST 3 build", vst3Build(L"fxd_otherwidth"), "VST bundle", true},
    };
    for (const auto& row : refused) {
        const std::string said =
            std::string("Could not load ") + row.kind + ": " + narrow(row.plugin) + newline + "Could not open VST.";
        if (!row.otherWidth) {
            EXPECT_EQ(tested(clientFor(row.plugin)), said.substr(0, said.find('\r')) + "\nCould not open VST.\n")
                << row.name;
            continue;
        }
        HostRun run = runHost({L"test", L"--vst", row.plugin});
        EXPECT_EQ(run.exitCode, exitFailure) << row.name;
        EXPECT_EQ(run.error, said) << row.name;
    }
}

TEST(FrameworkPlugins, Vst3BuildSoundsAsTheVst2Build) {
    const std::string audio = floatFrames(2000, 2);
    for (const wchar_t* name : {L"fxd_gain", L"fxd_latency"}) {
        const uint32_t latency = std::wstring(name) == L"fxd_latency" ? 300 : 0; // the plug-in's delay
        // The output, then the tail.
        std::string played[2];
        for (int build = 0; build < 2; ++build) {
            std::unique_ptr<fxhost::Stream> stream = floatStream(build ? vst3Build(name) : vst2Build(name), 44100);
            played[build] = stream->processBytes(audio.data(), audio.size());
            EXPECT_EQ(stream->latency(), latency) << narrow(name);
            played[build] += stream->drainBytes();
            stream->close();
        }
        EXPECT_TRUE(sameBytes(played[1], played[0])) << narrow(name);
        // And both really ran the effect: the gain passes its input, the
        // delay shifts it by its latency.
        size_t shift = latency * 8;
        ASSERT_GE(played[1].size(), audio.size()) << narrow(name);
        EXPECT_TRUE(sameBytes(played[1].substr(shift, audio.size() - shift), audio.substr(0, audio.size() - shift)))
            << narrow(name);
    }
}

TEST(FrameworkPlugins, TheEditorOfBothBuildsOpensInTheWindow) {
    for (const std::wstring& plugin : {vst2Build(L"fxd_editor"), vst3Build(L"fxd_editor")}) {
        ScopedTempFolder folder;
        const std::wstring data = folder.path() + L"settings.bin";
        const std::wstring title = uniqueTitle();
        RunningHost host(configuring(plugin, title, data));
        HWND window = host.window(title);
        ASSERT_TRUE(window) << narrow(plugin);
        EXPECT_EQ(sizeText(clientSize(window)), "360x240") << narrow(plugin);
        HWND editor = FindWindowExW(window, NULL, L"fxd_editor", NULL);
        ASSERT_TRUE(editor) << narrow(plugin);
        SendMessageW(editor, WM_APP + 1, 500, 0); // Gain 0.5
        PostMessageW(window, WM_CLOSE, 0, 0);
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, 0u) << narrow(plugin) << ": " << run.error;
        // Both builds keep the edit: the saved settings make the effect sound
        // as the edit left it. The VST 3 build's processor is an instance
        // apart from its editor's and ignores the changes of a block of no
        // frames, so this needs more than the flush before the state is read.
        const std::string audio = floatFrames(600, 2);
        std::unique_ptr<fxhost::Stream> stream = floatStream(plugin, 44100, data);
        EXPECT_TRUE(sameBytes(stream->processBytes(audio.data(), audio.size()), scaled(audio, 0.5f))) << narrow(plugin);
        stream->close();
    }
}

} // namespace
