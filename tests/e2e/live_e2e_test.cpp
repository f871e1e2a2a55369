// configure-live as a parent meets it: audio through the plug-in while its
// window is open, over a named pipe and standard input; the window closing
// when the stream ends or fails, and the stream stopped when the user
// closes the window. The window's answer is the exit code throughout.

#include <gtest/gtest.h>

#include "parent.h"
#include "running_host.h"
#include "stream_bytes.h"
#include "support/win32.h"

namespace {

TEST(ConfigureLive, TheStreamAndTheWindowEndEachOther) {
    const std::string format = message(3, formatRecord(44100, 2, 0, 2, 0)), audio = message(1, floatFrames(2048, 2));
    enum Parent { PipeOnceShown, PipeClosedAtOnce, UserCloses, StandardInput };
    struct Row {
        const char* name;
        Parent parent;
        std::string sent, error;
        size_t blocks;                            // of 512 frames that reached the plug-in
        const wchar_t* plugin = L"fx_effect.dll"; // parameters, no editor: the generic dialog
    } rows[] = {
        {"a pipe, closed after the audio", PipeOnceShown, format + audio, "", 4},
        {"the plug-in's own editor", PipeOnceShown, format + audio, "", 4, L"fx_editor_chunk.dll"},
        {"a pipe closed at once", PipeClosedAtOnce, "", "", 0},
        {"a failure", PipeOnceShown, format + audio + message(2, "x") + audio, "unknown command", 4},
        // The pipe stays open: the join's abort wakes the worker's read.
        {"the user closes the window", UserCloses, format + audio, "user abort", 4},
        {"standard input", StandardInput, format + audio, "", 4},
    };
    for (const Row& row : rows) {
        ScopedTempFolder folder;
        const std::wstring data = folder.path() + L"settings.bin", title = uniqueTitle();
        // clang-format off
        std::vector<std::wstring> arguments = {L"configure-live", L"--vst", testPlugin(row.plugin), L"--bits", L"32",
                                               L"--formattag", L"3", L"--window-title", title, L"--data", data};
        // clang-format on
        PipeServer pipe(PIPE_ACCESS_DUPLEX);
        if (row.parent != StandardInput)
            arguments.insert(arguments.end(), {L"--pipe", pipe.name()});
        CallLog log;
        RunningHost host(simulating(arguments, row.parent == StandardInput ? row.sent : ""));
        if (row.parent != StandardInput) {
            pipe.waitForClient();
            HWND window = row.parent == PipeClosedAtOnce ? NULL : host.window(title);
            EXPECT_TRUE(window || row.parent == PipeClosedAtOnce) << row.name << ": no window";
            pipe.write(row.sent);
            if (row.parent == UserCloses) {
                Sleep(300); // for the audio to go through first
                PostMessageW(window, WM_CLOSE, 0, 0);
                pipe.read(1); // returns once the host has gone
            }
            pipe.close();
        }
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, 0u) << row.name << ": the window's answer";
        EXPECT_EQ(run.error, row.error.empty() ? "" : "Live data processing error: " + row.error) << row.name;
        EXPECT_EQ(run.output, "") << row.name;
        EXPECT_EQ(log.callsStartingWith("processReplacing 512").size(), row.blocks) << row.name;
        const bool dialog = row.plugin == std::wstring(L"fx_effect.dll");
        EXPECT_EQ(readWholeFile(data), dialog ? std::string(8, '\0') : "chunk of fx_editor_chunk")
            << row.name << ": saved as the window closed";
    }
}

TEST(ConfigureLive, TheStreamStartsOnceTheDialogHasProbedItsParameters) {
    // Audio waits in the pipe before the window exists; the dialog's sweep
    // of every parameter must not be heard.
    PipeServer pipe(PIPE_ACCESS_DUPLEX);
    const std::wstring title = uniqueTitle();
    CallLog log;
    RunningHost host(simulating({L"configure-live", L"--vst", testPlugin(L"fx_effect.dll"), L"--bits", L"32",
                                 L"--formattag", L"3", L"--window-title", title, L"--pipe", pipe.name()}));
    pipe.waitForClient();
    pipe.write(message(3, formatRecord(44100, 2, 0, 2, 0)) + message(1, floatFrames(2048, 2)));
    EXPECT_TRUE(host.window(title));
    pipe.close();
    EXPECT_EQ(host.finish().exitCode, 0u);
    std::vector<std::string> calls = log.calls();
    size_t lastSet = 0, firstBlock = calls.size();
    for (size_t i = 0; i < calls.size(); ++i) {
        if (calls[i].compare(0, 12, "setParameter") == 0)
            lastSet = i;
        if (calls[i].compare(0, 16, "processReplacing") == 0 && firstBlock == calls.size())
            firstBlock = i;
    }
    EXPECT_LT(lastSet, firstBlock) << joined(calls);
    EXPECT_LT(firstBlock, calls.size()) << "the audio went through";
}

TEST(ConfigureLive, AWindowThatCannotBeMadeEndsTheRunAtOnce) {
    // The parent holds its pipe open and sends nothing: the run must not
    // wait for the stream, and the stream never starts.
    for (const wchar_t* plugin : {L"fx_effect.dll", L"fx_editor.dll"}) {
        PipeServer pipe(PIPE_ACCESS_DUPLEX);
        RunningHost host(simulating({L"configure-live", L"--vst", testPlugin(plugin), L"--bits", L"32", L"--formattag",
                                     L"3", L"--parent-window", L"7FFFFFF0", L"--pipe", pipe.name()}));
        pipe.waitForClient();
        HostRun run = host.finish();
        pipe.close();
        EXPECT_EQ(run.exitCode, exitFailure) << narrow(plugin);
        EXPECT_EQ(run.error, "") << narrow(plugin);
    }
}

} // namespace
