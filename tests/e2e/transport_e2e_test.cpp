// The parent's usual set-ups: named pipes it creates as server, files for
// input and output, the --data settings file, non-ASCII paths for all, and
// a slow stream through --inpipe that gives the idle timer its turn.

#include <gtest/gtest.h>

#include <thread>

#include "parent.h"
#include "stream_bytes.h"
#include "support/win32.h"

namespace {

std::vector<std::wstring> processWith(const std::wstring& plugin, std::vector<std::wstring> options) {
    options.insert(options.begin(), {L"process", L"--vst", plugin, L"--bits", L"32", L"--formattag", L"3"});
    return options;
}

TEST(NamedPipes, WorkedExchangeOverOnePipe) {
    // The parent's side: one message at a time, each reply read in full.
    PipeServer pipe(PIPE_ACCESS_DUPLEX);
    const std::string format = formatRecord(44100, 2, 3, 2, 3), audio = floatFrames(2048, 2);
    std::string replies;
    std::thread parent([&] {
        EXPECT_TRUE(pipe.waitForClient());
        pipe.write(message(3, format));
        replies += pipe.read(20);
        pipe.write(message(1, audio));
        replies += pipe.read(16384 + 4);
        pipe.write(message(4, ""));
        replies += pipe.read(4 + 4096);
        pipe.write(message(2, std::string(8, '\0')) + message(5, "") + message(3, format));
        replies += pipe.read(20);
        pipe.close();
    });
    CallLog log;
    HostRun run =
        runHost(processWith(testPlugin(L"fx_delay.dll"), {L"--pipe", pipe.name(), L"--protocol", L"chunked"}));
    parent.join();
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.error, "");
    EXPECT_EQ(run.output, "") << "nothing on standard output when a pipe carries the stream";
    // The audio 512 frames late, then the latency; the last 512 frames as
    // the tail; the settings and the reopen answer nothing.
    EXPECT_TRUE(sameBytes(replies, format + std::string(512 * 8, '\0') + audio.substr(0, 1536 * 8) + le32(512) +
                                       le32(4096) + audio.substr(1536 * 8) + format));
    EXPECT_EQ(log.callsStartingWith("processReplacing 512").size(), 4u + 2) << "4 slices, 2 tail blocks";
    EXPECT_EQ(joined(log.callsStartingWith("setParameter")), "setParameter 0 0; setParameter 1 0; ");
    EXPECT_EQ(log.callsStartingWith("dispatch effClose").size(), 2u) << "reopened once";
}

TEST(Files, NonAsciiPathsEverywhereAndTheTailAtTheEnd) {
    ScopedTempFolder folder(L"fxhost-\u00e9t\u00e9 \u97f3");
    std::wstring plugin = folder.path() + L"\u0444\u0438\u043b\u044c\u0442\u0440.dll";
    std::wstring input = folder.path() + L"entr\u00e9e.raw", output = folder.path() + L"sortie \u266b.raw";
    std::wstring data = folder.path() + L"r\u00e9glages.bin";
    ASSERT_TRUE(CopyFileW(testPlugin(L"fx_delay.dll").c_str(), plugin.c_str(), FALSE));
    const std::string audio = floatFrames(1000, 2);
    writeWholeFile(input, audio);
    writeWholeFile(data, std::string(8, '\0'));
    CallLog log;
    HostRun run = runHost(processWith(
        plugin, {L"--input", input, L"--output", output, L"--data", data, L"--rate", L"48000", L"--channels", L"2"}));
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.error, "");
    EXPECT_TRUE(sameBytes(readWholeFile(output), std::string(512 * 8, '\0') + audio));
    EXPECT_EQ(joined(log.callsStartingWith("setParameter")), "setParameter 0 0; setParameter 1 0; ");
}

TEST(Files, SettingsAreReadBeforeTheCommandWhenThereIsSomethingToRead) {
    ScopedTempFolder folder;
    std::wstring data = folder.path() + L"floats.bin", preset = folder.path() + L"preset.bin";
    std::wstring empty = folder.path() + L"empty.bin";
    float values[3] = {0.5f, -2.0f, 0.125f};
    writeWholeFile(data, std::string(reinterpret_cast<const char*>(values), sizeof values));
    writeWholeFile(preset, "preset=bright");
    writeWholeFile(empty, "");
    const std::string floats = "setParameter 0 0.5; setParameter 1 -2; "; // whole floats, one per parameter
    struct Row {
        const char* name;
        const wchar_t* command;
        const wchar_t* plugin;
        std::wstring file;
        std::string calls;
    } rows[] = {
        {"process", L"process", L"fx_effect.dll", data, floats},
        {"an unknown command reads them too", L"frobnicate", L"fx_effect.dll", data, floats},
        {"a chunk plug-in gets them whole", L"process", L"fx_chunk.dll", preset, "chunk preset=bright; "},
        {"test returns before", L"test", L"fx_effect.dll", data, ""},
        {"has-editor returns before", L"has-editor", L"fx_effect.dll", data, ""},
        {"no parameters to give them to", L"process", L"fx_bare.dll", data, ""},
        {"a missing file", L"process", L"fx_effect.dll", folder.path() + L"absent.bin", ""},
        {"an empty file", L"process", L"fx_effect.dll", empty, ""},
    };
    for (const Row& row : rows) {
        CallLog log;
        runHost({row.command, L"--vst", testPlugin(row.plugin), L"--data", row.file});
        EXPECT_EQ(joined(log.callsStartingWith("setParameter")) + joined(log.callsStartingWith("chunk ")), row.calls)
            << row.name;
    }
}

TEST(IdleTimer, RunsBetweenBlocksOfASlowStream) {
    // The idle timer fires only while the host pumps messages, which a
    // stream does between blocks; a parent that feeds slowly gives it time.
    PipeServer pipe(PIPE_ACCESS_OUTBOUND);
    std::thread parent([&] {
        pipe.waitForClient();
        for (int i = 0; i < 4; ++i) {
            pipe.write(floatFrames(512, 2));
            Sleep(150);
        }
        pipe.close();
    });
    CallLog log;
    HostRun run = runHost(
        processWith(testPlugin(L"fx_asks.dll"), {L"--inpipe", pipe.name(), L"--rate", L"44100", L"--channels", L"2"}));
    parent.join();
    EXPECT_EQ(run.exitCode, 0u);
    // effIdle answers 0 ("done"), so the plug-in is called once, and only
    // once the stream has begun.
    std::string calls = joined(log.calls());
    EXPECT_EQ(log.callsStartingWith("dispatch effIdle").size(), 1u);
    EXPECT_LT(calls.find("processReplacing 512"), calls.find("dispatch effIdle"));
}

} // namespace
