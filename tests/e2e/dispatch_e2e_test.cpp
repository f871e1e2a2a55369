// The host's front door seen from a parent: the command line, transports
// that fail before anything else, opening VST 2 plug-ins, `test` and
// `has-editor`, every failure text with its exit code, the calls a plug-in
// receives and what the host answers it.

#include <algorithm>

#include <gtest/gtest.h>

#include "parent.h"
#include "support/win32.h"

namespace {

// Standard error goes through the C runtime in text mode, so every "\n" the
// host prints reaches the parent as "\r\n".
const std::string nl = "\r\n";

TEST(FrontDoor, ExitCodesStandardErrorAndCalls) {
    ScopedTempFolder folder;
    const std::wstring output = folder.path() + L"out.raw"; // emptied at once, even when the plug-in then fails
    writeWholeFile(output, "old contents");
    const std::wstring effect = testPlugin(L"fx_effect.dll"), missing = testPlugin(L"m\u00e4ngel \u97f3.dll");
    const std::wstring nobody = L"\\\\.\\pipe\\fxhost-nobody", absent = testPlugin(L"absent\\absent.raw");
    const std::string count = "Incorrect argument count." + nl, noVst = "No VST specified." + nl;
    const std::string unknown = "Invalid arguments, no command found." + nl, noPipe = "could not connect pipe" + nl;
    const std::string notLoaded = "Could not load VST bundle: " + narrow(missing) + nl + "Could not open VST.";
    const std::string opened = "entry; dispatch effOpen 0 0 0; ";
    const std::string shut = "dispatch effMainsChanged 0 0 0; dispatch effClose 0 0 0; ";
    const std::string rest = "dispatch effSetBlockSize 0 512 0; dispatch effMainsChanged 0 1 0; " + shut;
    struct Row {
        const char* name;
        std::vector<std::wstring> arguments;
        uint32_t exitCode;
        std::string error;
        std::string calls = "(unchecked)";
        bool errorEnds = false; // `error` ends what the plug-in wrote there
    };
    // clang-format off
    std::vector<Row> rows = {
        {"no words", {}, exitFailure, count},
        {"odd count", {L"has-editor", L"--vst"}, exitFailure, count},
        {"odd count, checked before any key", {L"test", L"--vst", effect, L"--rate"}, exitFailure, count},
        {"a lone command word", {L"test"}, exitFailure, noVst},
        {"keys are case-sensitive", {L"test", L"--VST", effect}, exitFailure, noVst},
        {"unknown keys are ignored", {L"test", L"--vst", effect, L"foo", L"bar", L"--window", L"--x"}, 0, ""},
        {"the last of a repeated key wins", {L"test", L"--vst", effect, L"--rate", L"44100", L"--rate", L"48000",
         L"--Rate", L"96000"}, 0, "", opened + "dispatch effSetSampleRate 0 0 48000; " + rest},
        {"a rate of 0 is not given", {L"test", L"--vst", effect, L"--rate", L"0"}, 0, "", opened + rest},
        {"nor a negative rate", {L"test", L"--vst", effect, L"--rate", L"-5"}, 0, "", opened + rest},
        {"main is the fallback entry", {L"test", L"--vst", testPlugin(L"fx_mainonly.dll")}, 0, ""},
        {"has-editor: an editor", {L"has-editor", L"--vst", testPlugin(L"fx_editor.dll")}, 0, ""},
        {"has-editor: parameters", {L"has-editor", L"--vst", effect}, 0, ""},
        {"has-editor: neither", {L"has-editor", L"--vst", testPlugin(L"fx_bare.dll")}, exitFailure, ""},
        {"a missing library", {L"test", L"--vst", missing, L"--output", output}, exitFailure, notLoaded},
        {"the plug-in before the command word", {L"frobnicate", L"--vst", missing}, exitFailure, notLoaded},
        {"command words are exact", {L"TEST", L"--vst", effect}, exitFailure, unknown},
        {"and whole", {L"tes", L"--vst", effect}, exitFailure, unknown},
        {"--vst-version 2", {L"test", L"--vst", effect, L"--vst-version", L"2"}, 0, ""},
        {"pipe nobody serves", {L"test", L"--pipe", nobody}, exitFailure, noPipe},
        {"inpipe nobody serves", {L"test", L"--inpipe", nobody, L"--vst", effect}, exitFailure, noPipe, ""},
        {"missing input", {L"process", L"--vst", effect, L"--input", absent}, exitFailure, "file not found" + nl, ""},
        {"output in a missing folder", {L"test", L"--output", absent}, exitFailure, "file not found" + nl},
        {"an URL goes to the HTTP client, before --vst", {L"test", L"--input", L"HTTPS:///a.wav"}, exitFailure,
         "invalid URL" + nl},
    };
    // None of these may take the host down; what was opened is closed.
    const std::pair<const wchar_t*, std::string> refused[] = {
        {L"fx_noentry.dll", ""}, {L"fx_nullentry.dll", "entry; "}, {L"fx_badmagic.dll", "entry; "},
        {L"fx_synth.dll", "entry; "}, {L"fx_throw_entry.dll", "entry; "}, {L"fx_throw_open.dll", opened + shut}};
    // A 32-bit plug-in's exception cannot unwind into the program: the
    // plug-in's runtime says why and aborts, and the program fails with one
    // line of its own after that.
    const bool unwinds = sizeof(void*) == 8;
    for (const auto& plugin : refused) // with the calls it received
        for (const wchar_t* command : {L"test", L"has-editor"}) {
            const bool throws = std::wstring(plugin.first).find(L"throw") != std::wstring::npos;
            if (throws && !unwinds)
                rows.push_back({"a plug-in's exception, 32-bit", {command, L"--vst", testPlugin(plugin.first)},
                                exitFailure, "plug-in crashed: abort" + nl, "(unchecked)", true});
            else
                rows.push_back({"refused plug-in", {command, L"--vst", testPlugin(plugin.first)}, exitFailure,
                                "Could not load VST: " + narrow(testPlugin(plugin.first)) + nl + "Could not open VST.",
                                plugin.second});
        }
    for (const wchar_t* version : {L"4", L"0", L"x"}) // 3: the VST 3 tests' row
        rows.push_back({"--vst-version other than 2", {L"test", L"--vst", effect, L"--vst-version", version},
                        exitFailure, "Could not open VST.", ""});
    // clang-format on
    for (const Row& row : rows) {
        std::string what = row.name;
        for (const std::wstring& argument : row.arguments)
            what += " " + narrow(argument);
        CallLog log;
        HostRun run = runHost(row.arguments);
        EXPECT_EQ(run.exitCode, row.exitCode) << what;
        if (row.errorEnds)
            EXPECT_EQ(run.error.substr(run.error.size() - std::min(run.error.size(), row.error.size())), row.error)
                << what << ": " << run.error;
        else
            EXPECT_EQ(run.error, row.error) << what;
        EXPECT_EQ(run.output, "") << what << ": nothing but audio may reach standard output";
        if (row.calls != "(unchecked)") {
            EXPECT_EQ(joined(log.calls()), row.calls) << what;
        }
    }
    EXPECT_EQ(readWholeFile(output), "");
}

TEST(FrontDoor, HostAnswersInsideTheEntryAndAfterwards) {
    // A non-ASCII folder of its own: the plug-in must load from it and work
    // in it.
    ScopedTempFolder folder(L"fxhost Pl\u00fcg-\u00efn \u97f3");
    std::wstring copy = folder.path() + L"fx_asks.dll";
    ASSERT_TRUE(CopyFileW(testPlugin(L"fx_asks.dll").c_str(), copy.c_str(), FALSE));
    CallLog log;
    HostRun run = runHost({L"test", L"--vst", copy, L"--rate", L"48000", L"--process", L"realtime"});
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(joined(log.callsStartingWith("cwd ")),
              "cwd " + narrow(folder.path().substr(0, folder.path().size() - 1)) + "; ");
    // Without an instance the host cannot know the rate or the level yet;
    // inside effOpen the plug-in is not running: changed, not playing.
    const std::string answers = " block=512 level=", canDo = " vendor=1:Tonewell canDo=1110 time=";
    EXPECT_EQ(joined(log.callsStartingWith("host ")), "host version=2400 rate=44100" + answers + "4" + canDo +
                                                          "null; host version=2400 rate=48000" + answers + "2" + canDo +
                                                          "flags=9473 tempo=120 sig=4/4 rate=48000; ");
}

TEST(FrontDoor, RelativePathsAreTheCallersFolders) {
    // The host's working directory moves to the plug-in's folder; paths a
    // user typed are meant from where the host was started.
    ScopedTempFolder caller;
    writeWholeFile(caller.path() + L"mine.bin", "chunk from the caller's folder");
    struct Row {
        const char* name;
        std::wstring folder; // the caller's
        std::vector<std::wstring> arguments;
        std::string calls;          // of the plug-in, that start with "chunk "
        std::wstring written = L""; // a file the run must leave in the caller's folder
    };
    const std::vector<Row> rows = {
        {"a VST 3 bundle below the caller's folder", binFolder(), {L"test", L"--vst", L"plugins\\fx3_bundle.vst3"}, ""},
        {"a VST 2 library the same way",
         binFolder(),
         {L"test", L"--vst", L"plugins/fx_effect.dll", L"--vst-version", L"2"},
         ""},
        {"settings read from the caller's folder",
         caller.path(),
         {L"info", L"--vst", testPlugin(L"fx_chunk.dll"), L"--data", L"mine.bin"},
         "chunk chunk from the caller's folder; "},
        {"and written there",
         caller.path(),
         {L"configure-live", L"--vst", testPlugin(L"fx_effect.dll"), L"--data", L"new.bin", L"--bits", L"32"},
         "",
         L"new.bin"},
    };
    wchar_t ours[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, ours);
    for (const Row& row : rows) {
        CallLog log;
        SetCurrentDirectoryW(row.folder.c_str());
        HostRun run = runHost(row.arguments);
        SetCurrentDirectoryW(ours);
        EXPECT_EQ(run.exitCode, 0u) << row.name;
        EXPECT_EQ(run.error.substr(0, 10), row.arguments[0] == L"info" ? "Number of " : "") << row.name;
        EXPECT_EQ(joined(log.callsStartingWith("chunk ")), row.calls) << row.name;
        if (!row.written.empty()) {
            EXPECT_EQ(readWholeFile(row.folder + row.written), std::string(8, '\0')) << row.name;
        }
    }
}

} // namespace
