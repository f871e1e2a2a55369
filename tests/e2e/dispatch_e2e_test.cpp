// The host's front door seen from a parent: argument checks, opening VST 2
// plug-ins, `test` and `has-editor`, every failure text and exit code, and
// the order of calls a plug-in receives over a whole run.

#include <gtest/gtest.h>

#include <algorithm>

#include "parent.h"
#include "support/win32.h"

namespace {

typedef std::vector<std::string> Lines;

// Standard error goes through the C runtime in text mode, so every "\n" the
// host prints reaches the parent as "\r\n".
const std::string newline = "\r\n";

HostRun testCommand(const std::wstring& plugin, std::vector<std::wstring> extra = {}) {
    std::vector<std::wstring> arguments = {L"test", L"--vst", plugin};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return runHost(arguments);
}

void expectRun(const HostRun& run, uint32_t exitCode, const std::string& error) {
    EXPECT_EQ(run.exitCode, exitCode);
    EXPECT_EQ(run.error, error);
    EXPECT_EQ(run.output, "") << "nothing but audio may reach standard output";
}

TEST(CommandLine, CountIsCheckedBeforeAnyKey) {
    const std::string refused = "Incorrect argument count." + newline;
    expectRun(runHost({}), exitFailure, refused);
    expectRun(runHost({L"has-editor", L"--vst"}), exitFailure, refused);
    expectRun(runHost({L"test", L"--vst", testPlugin(L"fx_effect.dll"), L"--rate"}), exitFailure, refused);
    // A lone command word is a valid count; it then lacks a plug-in.
    expectRun(runHost({L"test"}), exitFailure, "No VST specified." + newline);
}

TEST(CommandLine, KeysAreExactAndUnknownOnesIgnored) {
    expectRun(runHost({L"test", L"--VST", testPlugin(L"fx_effect.dll")}), exitFailure,
              "No VST specified." + newline);
    expectRun(testCommand(testPlugin(L"fx_effect.dll"), {L"foo", L"bar", L"--window-title", L"--dashes"}), 0, "");
}

TEST(CommandLine, LastOfRepeatedKeysWinsAndBadNumbersReadAsZero) {
    CallLog log;
    std::wstring asks = testPlugin(L"fx_asks.dll");
    expectRun(testCommand(asks, {L"--rate", L"44100", L"--rate", L"48000", L"--Rate", L"96000"}), 0, "");
    Lines rates = log.callsStartingWith("dispatch effSetSampleRate");
    EXPECT_EQ(rates, Lines({"dispatch effSetSampleRate 0 0 48000"}));

    CallLog second;
    expectRun(testCommand(asks, {L"--rate", L"fast"}), 0, "");
    EXPECT_TRUE(second.callsStartingWith("dispatch effSetSampleRate").empty());
}

TEST(Commands, WordsAreWholeAndCaseSensitive) {
    const std::string unknown = "Invalid arguments, no command found." + newline;
    std::wstring effect = testPlugin(L"fx_effect.dll");
    for (const wchar_t* word : {L"TEST", L"tes", L"test ", L"frobnicate"})
        expectRun(runHost({word, L"--vst", effect}), exitFailure, unknown);
}

TEST(Commands, BadWordWithBadPluginReportsThePlugin) {
    std::wstring missing = binFolder() + L"plugins\\no-such-plugin.dll";
    expectRun(runHost({L"frobnicate", L"--vst", missing}), exitFailure,
              "Could not load VST bundle: " + narrow(missing) + newline + "Could not open VST.");
}

TEST(Commands, TestOpensAndClosesInOrder) {
    CallLog log;
    expectRun(testCommand(testPlugin(L"fx_effect.dll")), 0, "");
    EXPECT_EQ(log.calls(), Lines({
                               "entry",
                               "dispatch effOpen 0 0 0",
                               "dispatch effSetBlockSize 0 512 0",
                               "dispatch effMainsChanged 0 1 0",
                               "dispatch effMainsChanged 0 0 0",
                               "dispatch effClose 0 0 0",
                           }));
}

TEST(Commands, RateIsGivenOnlyWhenPositive) {
    std::wstring effect = testPlugin(L"fx_effect.dll");
    {
        CallLog log;
        expectRun(testCommand(effect, {L"--rate", L"48000"}), 0, "");
        Lines calls = log.calls();
        ASSERT_GE(calls.size(), 3u);
        EXPECT_EQ(calls[1], "dispatch effOpen 0 0 0");
        EXPECT_EQ(calls[2], "dispatch effSetSampleRate 0 0 48000");
        EXPECT_EQ(calls[3], "dispatch effSetBlockSize 0 512 0");
    }
    for (const wchar_t* rate : {L"0", L"-5"}) {
        CallLog log;
        expectRun(testCommand(effect, {L"--rate", rate}), 0, "");
        EXPECT_TRUE(log.callsStartingWith("dispatch effSetSampleRate").empty()) << narrow(rate);
    }
}

TEST(Commands, HasEditorWantsAnEditorOrParameters) {
    struct Case {
        const wchar_t* plugin;
        uint32_t exitCode;
    } cases[] = {
        {L"fx_editor_noparams.dll", 0},
        {L"fx_params_noeditor.dll", 0},
        {L"fx_effect.dll", 0},
        {L"fx_bare.dll", exitFailure},
    };
    for (const Case& c : cases) {
        HostRun run = runHost({L"has-editor", L"--vst", testPlugin(c.plugin)});
        EXPECT_EQ(run.exitCode, c.exitCode) << narrow(c.plugin);
        EXPECT_EQ(run.error, "") << narrow(c.plugin);
    }
}

TEST(Commands, MainEntryIsTheFallback) {
    CallLog log;
    expectRun(testCommand(testPlugin(L"fx_mainonly.dll")), 0, "");
    ASSERT_FALSE(log.calls().empty());
    EXPECT_EQ(log.calls().front(), "entry");
}

TEST(Failures, RefusedPluginsNameTheirPath) {
    // Each either has no entry, hands back no valid record, is an instrument
    // or throws while opening; none of them may take the host down.
    for (const wchar_t* name : {L"fx_noentry.dll", L"fx_nullentry.dll", L"fx_badmagic.dll", L"fx_synth.dll",
                                L"fx_throw_entry.dll", L"fx_throw_open.dll"}) {
        std::wstring plugin = testPlugin(name);
        for (const wchar_t* command : {L"test", L"has-editor"}) {
            HostRun run = runHost({command, L"--vst", plugin});
            EXPECT_EQ(run.exitCode, exitFailure) << narrow(name);
            EXPECT_EQ(run.error, "Could not load VST: " + narrow(plugin) + newline + "Could not open VST.")
                << narrow(name);
        }
    }
}

TEST(Failures, MissingLibrary) {
    std::wstring missing = binFolder() + L"plugins\\no-such-plugin.dll";
    expectRun(testCommand(missing), exitFailure,
              "Could not load VST bundle: " + narrow(missing) + newline + "Could not open VST.");
}

TEST(Failures, PluginThatThrowsFromOpenIsStillClosed) {
    CallLog log;
    testCommand(testPlugin(L"fx_throw_open.dll"));
    EXPECT_EQ(log.calls(), Lines({
                               "entry",
                               "dispatch effOpen 0 0 0",
                               "dispatch effMainsChanged 0 0 0",
                               "dispatch effClose 0 0 0",
                           }));
}

TEST(Failures, InstrumentIsNeverOpened) {
    CallLog log;
    testCommand(testPlugin(L"fx_synth.dll"));
    EXPECT_EQ(log.calls(), Lines({"entry"}));
}

TEST(VstVersion, ChoosesWhatIsTried) {
    std::wstring effect = testPlugin(L"fx_effect.dll");
    {
        CallLog log;
        expectRun(testCommand(effect, {L"--vst-version", L"2"}), 0, "");
    }
    for (const wchar_t* version : {L"4", L"0", L"x", L"3"}) {
        CallLog log;
        expectRun(testCommand(effect, {L"--vst-version", version}), exitFailure, "Could not open VST.");
        EXPECT_TRUE(log.calls().empty()) << "nothing may be tried for --vst-version " << narrow(version);
    }
}

TEST(HostAnswers, InsideTheEntryAndAfterwards) {
    CallLog log;
    expectRun(testCommand(testPlugin(L"fx_asks.dll"), {L"--rate", L"48000", L"--process", L"realtime"}), 0, "");
    Lines calls = log.calls();
    Lines fromEntry, fromOpen;
    Lines* current = nullptr;
    for (const std::string& line : calls) {
        if (line == "entry")
            current = &fromEntry;
        else if (line == "dispatch effOpen 0 0 0")
            current = &fromOpen;
        else if (line.compare(0, 5, "host ") == 0 && current)
            current->push_back(line);
        else if (line.compare(0, 9, "dispatch ") == 0)
            current = nullptr;
    }
    // Without an instance the host cannot know the rate or the level yet.
    const Lines sameEverywhere = {
        "host audioMasterVersion -> 2400",
        "host audioMasterGetBlockSize -> 512",
        "host audioMasterGetVendorString -> 1 \"Tonewell\"",
        "host audioMasterGetProductString -> 1 \"Tonewell VST Adapter\"",
        "host audioMasterGetVendorVersion -> 1",
        "host audioMasterCanDo sendVstTimeInfo -> 1",
        "host audioMasterCanDo sizeWindow -> 1",
        "host audioMasterCanDo supplyIdle -> 1",
        "host audioMasterCanDo receiveVstEvents -> 0",
        "host audioMasterGetLanguage -> 1",
    };
    auto has = [](const Lines& lines, const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    for (const std::string& line : sameEverywhere) {
        EXPECT_TRUE(has(fromEntry, line)) << "from the entry: " << line;
        EXPECT_TRUE(has(fromOpen, line)) << "from effOpen: " << line;
    }
    EXPECT_TRUE(has(fromEntry, "host audioMasterGetSampleRate -> 44100"));
    EXPECT_TRUE(has(fromEntry, "host audioMasterGetCurrentProcessLevel -> 4"));
    EXPECT_TRUE(has(fromEntry, "host audioMasterGetTime 9472 -> null"));
    EXPECT_TRUE(has(fromOpen, "host audioMasterGetSampleRate -> 48000"));
    EXPECT_TRUE(has(fromOpen, "host audioMasterGetCurrentProcessLevel -> 2"));
    // Inside effOpen the plug-in is not running yet: changed, not playing.
    bool sawTime = false;
    for (const std::string& line : fromOpen) {
        if (line.compare(0, 29, "host audioMasterGetTime 9472 ") == 0) {
            sawTime = true;
            const std::string expected = "host audioMasterGetTime 9472 -> flags=9473 tempo=120 sig=4/4 rate=48000 ";
            EXPECT_EQ(line.substr(0, expected.size()), expected);
        }
    }
    EXPECT_TRUE(sawTime);
}

TEST(Paths, NonAsciiPluginPathReachesTheLoader) {
    ScopedTempFolder folder(L"fxhost Pl\u00fcg-\u00efn \u97f3");
    std::wstring copy = folder.path() + L"\u00e9ffet \u0444.dll";
    ASSERT_TRUE(CopyFileW(testPlugin(L"fx_effect.dll").c_str(), copy.c_str(), FALSE));
    expectRun(testCommand(copy), 0, "");

    std::wstring missing = folder.path() + L"m\u00e4ngel.dll";
    expectRun(testCommand(missing), exitFailure,
              "Could not load VST bundle: " + narrow(missing) + newline + "Could not open VST.");
}

TEST(Paths, WorkingDirectoryIsThePluginsFolder) {
    CallLog log;
    std::wstring plugin = testPlugin(L"fx_asks.dll");
    expectRun(testCommand(plugin), 0, "");
    Lines cwd = log.callsStartingWith("cwd ");
    ASSERT_EQ(cwd.size(), 1u);
    // GetCurrentDirectoryW has no trailing backslash except at a drive root.
    std::wstring folder = binFolder() + L"plugins";
    EXPECT_EQ(cwd[0], "cwd " + narrow(folder));
}

} // namespace
