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

std::vector<std::wstring> with(std::vector<std::wstring> arguments, const std::vector<std::wstring>& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

const std::vector<std::wstring> chunkedFloat = {L"--protocol", L"chunked", L"--bits", L"32", L"--formattag", L"3"};

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
        const wchar_t* version; // --vst-version, if any
        uint32_t exitCode;
        const char* error; // null: the VST 2 attempt's report, which names the path
    } cases[] = {
        {L"fx3_bundle.vst3", nullptr, 0, ""},
        {L"fx3_bundle.vst3\\", nullptr, 0, ""}, // as shell completion writes a folder
        {L"fx3_twoclasses.vst3", nullptr, 0, ""},
        {L"fx3_gain.vst3", L"3", 0, ""},
        // The VST 3 attempt says nothing of its own.
        {L"fx3_noeffect.vst3", nullptr, exitFailure, nullptr},
        {L"fx3_initfail.vst3", nullptr, exitFailure, nullptr},
        {L"fx3_nullfactory.vst3", nullptr, exitFailure, nullptr},
        {L"fx3_gain.vst3", L"2", exitFailure, nullptr},
        {L"fx3_noeffect.vst3", L"3", exitFailure, "Could not open VST."},
        {L"fx_effect.dll", L"3", exitFailure, "Could not open VST."},
        {L"fx3_throwfactory.vst3", nullptr, exitFailure, "fx3_throwfactory makes nothing\r\n"},
    };
    for (const Case& c : cases) {
        std::wstring path = testPlugin(c.plugin);
        std::vector<std::wstring> arguments = {L"test", L"--vst", path};
        if (c.version)
            arguments = with(arguments, {L"--vst-version", c.version});
        HostRun run = runHost(arguments);
        std::string what = narrow(c.plugin) + (c.version ? " as VST " + narrow(c.version) : "");
        EXPECT_EQ(run.exitCode, c.exitCode) << what;
        // A 32-bit plug-in's exception cannot unwind into the program: the
        // plug-in's runtime says why and aborts, and the program fails with
        // one line of its own after that.
        if (sizeof(void*) == 4 && std::wstring(c.plugin).find(L"throw") != std::wstring::npos) {
            const std::string last = "plug-in crashed: abort" + newline;
            EXPECT_EQ(run.error.substr(run.error.size() - std::min(run.error.size(), last.size())), last) << what;
            continue;
        }
        EXPECT_EQ(run.error,
                  c.error ? c.error : "Could not load VST: " + narrow(path) + newline + "Could not open VST.")
            << what;
    }
    // Whatever the factories made was let go of again.
    Lines calls = log.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "factory createInstance component"),
              std::count(calls.begin(), calls.end(), "component deleted"));

    HostRun info = runHost({L"info", L"--vst", testPlugin(L"fx3_gain.vst3")});
    auto pins = [&](const std::string& kind, const std::string& pin, const std::string& label) {
        std::string text = "Number of " + kind + ": 2" + newline;
        for (const char* index : {" 0:", " 1:"})
            text += "  " + pin + index + newline + "    .label = " + label + newline + "    .flags = 7" + newline +
                    "    .arrangementType = 1" + newline;
        return text;
    };
    EXPECT_EQ(info.error, pins("inputs", "Input", "Stereo In") + pins("outputs", "Output", "Stereo Out"));
}

// The calls fx3_gain receives over a run with settings from --data and
// again from the stream, in order, beside the audio they give.
TEST(Vst3Run, CallsSettingsAndAudioOfAWholeRun) {
    CallLog log;
    ScopedTempFolder folder;
    writeWholeFile(folder.path() + L"settings.bin", gainImage(0.25));
    const std::string format = formatRecord(48000, 2, 3, 2, 3);
    const std::string audio = floatFrames(1024, 2);
    HostRun run =
        runHost(with({L"process", L"--vst", testPlugin(L"fx3_gain.vst3"), L"--data", folder.path() + L"settings.bin"},
                     chunkedFloat),
                message(3, format) + message(1, audio) + message(2, gainImage(1.0)) + message(1, audio));
    ASSERT_EQ(run.exitCode, 0u) << run.error;
    EXPECT_TRUE(sameBytes(run.output, format + scaled(audio, 0.5f) + le32(0) + scaled(audio, 2.0f) + le32(0)));
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
    const std::string format = formatRecord(44100, 2, 3, 2, 3);
    const std::string audio = floatFrames(100, 2);
    HostRun run = runHost(with({L"process", L"--vst", testPlugin(L"fx3_gain.vst3")}, chunkedFloat),
                          message(3, format) + message(2, gainImage(0.25)) + message(5, "") + message(3, format) +
                              message(1, audio));
    EXPECT_EQ(run.exitCode, 0u) << run.error;
    // The settings went with the old instance: the new one has its default.
    EXPECT_TRUE(sameBytes(run.output, format + format + audio + le32(0)));
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
        RunningHost host({L"configure", L"--vst", testPlugin(row.plugin), L"--window-title", title, L"--data", data});
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
        // objects in the wrong order; nothing else writes there.
        HostRun opened = runHost({L"test", L"--vst", plugin});
        EXPECT_EQ(opened.exitCode, 0u) << narrow(plugin);
        EXPECT_EQ(opened.error, "") << narrow(plugin);
        EXPECT_EQ(runHost({L"has-editor", L"--vst", plugin}).exitCode, 0u) << "a parameter: " << narrow(plugin);
        HostRun info = runHost({L"info", L"--vst", plugin});
        EXPECT_EQ(info.error.find("Number of inputs: 2" + newline), 0u) << info.error;
        EXPECT_NE(info.error.find(newline + "Number of outputs: 2" + newline), std::string::npos) << info.error;
    }
    // A VST 3 build is refused as VST 3 and then, as VST 2, is a folder.
    // fxd_otherwidth is fxd_gain built for the other width, which no
    // process of this width can load, and whose bundle has no folder for it.
    const struct {
        const char* name;
        std::wstring plugin;
        const char* kind;
    } refused[] = {
        {"the instrument's VST 2 build", vst2Build(L"fxd_instrument"), "VST"},
        {"the instrument's VST 3 build", vst3Build(L"fxd_instrument"), "VST bundle"},
        {"the other width's VST 2 build", vst2Build(L"fxd_otherwidth"), "VST bundle"}, // that does not load
        {"the other width's VST 3 build", vst3Build(L"fxd_otherwidth"), "VST bundle"},
    };
    for (const auto& row : refused) {
        HostRun run = runHost({L"test", L"--vst", row.plugin});
        EXPECT_EQ(run.exitCode, exitFailure) << row.name;
        EXPECT_EQ(run.error, std::string("Could not load ") + row.kind + ": " + narrow(row.plugin) + newline +
                                 "Could not open VST.")
            << row.name;
    }
}

TEST(FrameworkPlugins, Vst3BuildSoundsAsTheVst2Build) {
    const std::string format = formatRecord(44100, 2, 3, 2, 3);
    const std::string audio = floatFrames(2000, 2);
    for (const wchar_t* name : {L"fxd_gain", L"fxd_latency"}) {
        const size_t latency = std::wstring(name) == L"fxd_latency" ? 300 : 0; // the plug-in's delay
        // Plain: the output alone. Chunked: the format, the output and the
        // latency, then the tail.
        for (bool chunked : {false, true}) {
            std::string what = narrow(name) + (chunked ? " chunked" : " plain");
            std::vector<std::wstring> options =
                with(chunked ? std::vector<std::wstring>{L"--protocol", L"chunked"}
                             : std::vector<std::wstring>{L"--rate", L"44100", L"--channels", L"2"},
                     {L"--bits", L"32", L"--formattag", L"3"});
            std::string input = chunked ? message(3, format) + message(1, audio) + message(4, "") : audio;
            HostRun vst2 = runHost(with({L"process", L"--vst", vst2Build(name)}, options), input);
            HostRun vst3 = runHost(with({L"process", L"--vst", vst3Build(name)}, options), input);
            ASSERT_EQ(vst3.exitCode, 0u) << what << ": " << vst3.error;
            ASSERT_EQ(vst2.exitCode, 0u) << what << ": " << vst2.error;
            EXPECT_TRUE(sameBytes(vst3.output, vst2.output)) << what;
            // And both really ran the effect: the gain passes its input, the
            // delay shifts it by its latency.
            std::string output = vst3.output.substr(chunked ? format.size() : 0);
            size_t shift = latency * 8;
            ASSERT_GE(output.size(), audio.size()) << what;
            EXPECT_TRUE(sameBytes(output.substr(shift, audio.size() - shift), audio.substr(0, audio.size() - shift)))
                << what;
            if (chunked) {
                EXPECT_EQ(output.substr(audio.size(), 4), le32(uint32_t(latency))) << what;
            }
        }
    }
}

TEST(FrameworkPlugins, TheEditorOfBothBuildsOpensInTheWindow) {
    for (const std::wstring& plugin : {vst2Build(L"fxd_editor"), vst3Build(L"fxd_editor")}) {
        ScopedTempFolder folder;
        const std::wstring data = folder.path() + L"settings.bin";
        const std::wstring title = uniqueTitle();
        RunningHost host({L"configure", L"--vst", plugin, L"--window-title", title, L"--data", data});
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
        const std::string format = formatRecord(44100, 2, 3, 2, 3);
        const std::string audio = floatFrames(600, 2);
        HostRun played = runHost(with({L"process", L"--vst", plugin, L"--data", data}, chunkedFloat),
                                 message(3, format) + message(1, audio));
        EXPECT_TRUE(sameBytes(played.output, format + scaled(audio, 0.5f) + le32(0))) << narrow(plugin);
    }
}

} // namespace
