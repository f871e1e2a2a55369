// configure-live as a parent meets it: audio through the plug-in while its
// window is open, over a named pipe and over standard input; the window
// closing when the stream ends or fails, and the stream stopped when the
// user closes the window. The window's answer is the exit code throughout.

#include <gtest/gtest.h>

#include <thread>

#include "parent.h"
#include "stream_bytes.h"
#include "support/win32.h"

namespace {

// What a parent does while the host runs, through whichever transport.
struct Parent {
    std::function<bool(const std::string&)> write;
    std::function<void()> waitForHostEnd; // a pipe only
    std::wstring title;

    HWND window() const {
        HWND found = HWND(waitForWindow(title));
        EXPECT_TRUE(found) << "no window titled " << narrow(title);
        return found;
    }
};

enum class Transport { Pipe, StandardInput };

const std::string format = message(3, formatRecord(44100, 2, 0, 2, 0));
const std::string fourBlocks = message(1, floatFrames(4 * 512, 2));

TEST(ConfigureLive, TheStreamAndTheWindowEndEachOther) {
    const std::string error = "Live data processing error: ";
    struct Row {
        const char* name;
        Transport transport;
        std::function<void(Parent&)> talk; // the stream closes when it returns
        std::string error;
        size_t blocks;                            // of 512 frames that reached the plug-in
        const wchar_t* plugin = L"fx_effect.dll"; // parameters, no editor: the generic dialog
    } rows[] = {
        {"a pipe, closed after the audio", Transport::Pipe,
         [&](Parent& parent) {
             parent.window();
             parent.write(format + fourBlocks);
         },
         "", 4},
        {"a pipe closed at once", Transport::Pipe, [](Parent&) {}, "", 0},
        {"the plug-in's own editor", Transport::Pipe,
         [&](Parent& parent) {
             parent.window();
             parent.write(format + fourBlocks);
         },
         "", 4, L"fx_editor_chunk.dll"},
        // An anonymous pipe's close is a failed read, not an end of data.
        {"standard input, closed after the audio", Transport::StandardInput,
         [&](Parent& parent) {
             parent.window();
             parent.write(format + fourBlocks);
         },
         error + "file access error", 4},
        {"an unknown command", Transport::Pipe,
         [&](Parent& parent) {
             parent.window();
             parent.write(format + fourBlocks + message(2, "settings") + fourBlocks);
         },
         error + "unknown command", 4},
        {"a format of 19 bytes", Transport::StandardInput,
         [&](Parent& parent) {
             parent.window();
             parent.write(message(3, std::string(19, '\0')));
         },
         error + "bad input", 0},
        // The pipe stays open: the join's abort wakes the worker's read.
        {"the user closes the window", Transport::Pipe,
         [&](Parent& parent) {
             HWND window = parent.window();
             parent.write(format + fourBlocks);
             Sleep(300); // for the audio to go through first
             PostMessageW(window, WM_CLOSE, 0, 0);
             parent.waitForHostEnd();
         },
         error + "user abort", 4},
    };
    const double timeout = 20; // a host that never ends its window is killed
    int runs = 0;
    for (const Row& row : rows) {
        ScopedTempFolder folder;
        const std::wstring data = folder.path() + L"settings.bin";
        Parent parent;
        parent.title = L"fxhost live " + std::to_wstring(GetCurrentProcessId()) + L" " + std::to_wstring(++runs);
        std::vector<std::wstring> arguments = {L"configure-live",
                                               L"--vst",
                                               testPlugin(row.plugin),
                                               L"--bits",
                                               L"32",
                                               L"--formattag",
                                               L"3",
                                               L"--window-title",
                                               parent.title,
                                               L"--data",
                                               data};
        CallLog log;
        HostRun run;
        if (row.transport == Transport::Pipe) {
            PipeServer pipe(PIPE_ACCESS_DUPLEX);
            parent.write = [&](const std::string& bytes) { return pipe.write(bytes); };
            parent.waitForHostEnd = [&] { pipe.read(1); }; // its end closes as it exits
            std::thread talker([&] {
                EXPECT_TRUE(pipe.waitForClient()) << row.name;
                row.talk(parent);
                pipe.close();
            });
            arguments.insert(arguments.end(), {L"--pipe", pipe.name()});
            run = runHost(arguments, std::string(), StandardInput::File, timeout);
            talker.join();
        } else {
            run = runHostFed(
                arguments,
                [&](const std::function<bool(const std::string&)>& write) {
                    parent.write = write;
                    row.talk(parent);
                },
                timeout);
        }
        EXPECT_EQ(run.exitCode, 0u) << row.name << ": the window's answer";
        EXPECT_EQ(run.error, row.error) << row.name;
        EXPECT_EQ(run.output, "") << row.name;
        EXPECT_EQ(log.callsStartingWith("processReplacing 512").size(), row.blocks) << row.name;
        const std::string settings = row.plugin == std::wstring(L"fx_effect.dll") ? std::string(8, '\0') // 2 floats
                                                                                  : "chunk of fx_editor_chunk";
        EXPECT_EQ(readWholeFile(data), settings) << row.name << ": saved as the window closed";
    }
}

} // namespace
