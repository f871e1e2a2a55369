// The parent's usual set-ups: named pipes it creates as server, files for
// input and output, the --data settings file, and non-ASCII paths for all.

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "parent.h"
#include "stream_bytes.h"
#include "support/win32.h"

namespace {

typedef std::vector<std::string> Lines;
const std::string newline = "\r\n";

const std::vector<std::wstring> floatStereo = {L"--bits", L"32", L"--formattag", L"3"};

std::vector<std::wstring> with(std::vector<std::wstring> a, const std::vector<std::wstring>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(NamedPipes, WorkedExchangeOverOnePipe) {
    PipeServer pipe(PIPE_ACCESS_DUPLEX);
    const std::string format = formatRecord(44100, 2, 3, 2, 3);
    const std::string audio = floatFrames(2048, 2);
    std::string replies;
    bool connected = false;
    // The parent's side: one message at a time, each reply read in full.
    std::thread parent([&] {
        connected = pipe.waitForClient();
        pipe.write(message(3, format));
        replies += pipe.read(20);
        pipe.write(message(1, audio));
        replies += pipe.read(16384 + 4);
        pipe.write(message(4, ""));
        replies += pipe.read(4 + 4096);
        pipe.write(message(2, std::string(64, '\0')));
        pipe.write(message(5, ""));
        pipe.write(message(3, format));
        replies += pipe.read(20);
        pipe.close();
    });
    HostRun run = runHost(with({L"process", L"--vst", testPlugin(L"fx_delay.dll"), L"--pipe", pipe.name(),
                                L"--protocol", L"chunked"},
                               floatStereo));
    parent.join();
    EXPECT_TRUE(connected);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.error, "");
    EXPECT_EQ(run.output, "") << "nothing on standard output when a pipe carries the stream";
    std::string expected = format + std::string(512 * 8, '\0') + audio.substr(0, 1536 * 8) + le32(512) + le32(4096) +
                           audio.substr(1536 * 8) + format;
    EXPECT_TRUE(sameBytes(replies, expected));
}

TEST(NamedPipes, InpipeAndOutputFileGetTheTail) {
    ScopedTempFolder folder(L"fxhost-inpipe");
    std::wstring output = folder.path() + L"out.raw";
    PipeServer pipe(PIPE_ACCESS_OUTBOUND);
    const std::string audio = floatFrames(1000, 2);
    std::thread parent([&] {
        pipe.waitForClient();
        pipe.write(audio);
        pipe.close(); // the end of the input
    });
    HostRun run = runHost(with({L"process", L"--vst", testPlugin(L"fx_delay.dll"), L"--inpipe", pipe.name(),
                                L"--output", output, L"--rate", L"44100", L"--channels", L"2"},
                               floatStereo));
    parent.join();
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.error, "");
    EXPECT_TRUE(sameBytes(readWholeFile(output), std::string(512 * 8, '\0') + audio));
}

TEST(NamedPipes, TailOnAClosedTwoWayPipeFails) {
    // With one two-way pipe, the input ends only when the parent closes the
    // pipe, and then the tail has nowhere to go.
    PipeServer pipe(PIPE_ACCESS_DUPLEX);
    const std::string audio = floatFrames(1024, 2);
    std::string received;
    std::thread parent([&] {
        pipe.waitForClient();
        pipe.write(audio);
        received = pipe.read(audio.size());
        pipe.close();
    });
    HostRun run = runHost(with({L"process", L"--vst", testPlugin(L"fx_delay.dll"), L"--pipe", pipe.name(), L"--rate",
                                L"44100", L"--channels", L"2"},
                               floatStereo));
    parent.join();
    EXPECT_TRUE(sameBytes(received, std::string(512 * 8, '\0') + audio.substr(0, 512 * 8)));
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_EQ(run.error, "file access error" + newline);
}

TEST(Transports, FailuresComeBeforeThePlugin) {
    ScopedTempFolder folder(L"fxhost-transport");
    struct Case {
        const char* what;
        std::vector<std::wstring> arguments;
        std::string error;
    } cases[] = {
        {"pipe nobody serves", {L"test", L"--pipe", L"\\\\.\\pipe\\fxhost-nobody"}, "could not connect pipe"},
        {"inpipe nobody serves", {L"test", L"--inpipe", L"\\\\.\\pipe\\fxhost-nobody"}, "could not connect pipe"},
        {"missing input file",
         {L"process", L"--vst", testPlugin(L"fx_effect.dll"), L"--input", folder.path() + L"absent.raw"},
         "file not found"},
        {"output in a missing folder",
         {L"test", L"--vst", testPlugin(L"fx_effect.dll"), L"--output", folder.path() + L"no\\such\\out.raw"},
         "file not found"},
        {"an URL needs the HTTP client", {L"test", L"--input", L"HTTPS://example.invalid/a.wav"}, "not implemented"},
    };
    for (const Case& c : cases) {
        HostRun run = runHost(c.arguments);
        EXPECT_EQ(run.exitCode, exitFailure) << c.what;
        EXPECT_EQ(run.error, c.error + newline) << c.what;
    }
}

TEST(Transports, OutputIsTruncatedEvenWhenThePluginFails) {
    ScopedTempFolder folder(L"fxhost-truncate");
    std::wstring output = folder.path() + L"out.raw";
    writeWholeFile(output, "old contents");
    HostRun run = runHost({L"process", L"--vst", folder.path() + L"absent.dll", L"--output", output});
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_EQ(readWholeFile(output), "");
}

TEST(Transports, NonAsciiPathsEverywhere) {
    ScopedTempFolder folder(L"fxhost-\u00e9t\u00e9 \u97f3");
    std::wstring plugin = folder.path() + L"\u0444\u0438\u043b\u044c\u0442\u0440.dll";
    std::wstring input = folder.path() + L"entr\u00e9e.raw";
    std::wstring output = folder.path() + L"sortie \u266b.raw";
    std::wstring data = folder.path() + L"r\u00e9glages.bin";
    ASSERT_TRUE(CopyFileW(testPlugin(L"fx_chunk.dll").c_str(), plugin.c_str(), FALSE));
    const std::string audio = floatFrames(700, 2);
    writeWholeFile(input, audio);
    writeWholeFile(data, "preset=bright");
    CallLog log;
    HostRun run = runHost(with({L"process", L"--vst", plugin, L"--input", input, L"--output", output, L"--data", data,
                                L"--rate", L"48000", L"--channels", L"2"},
                               floatStereo));
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.error, "");
    EXPECT_TRUE(sameBytes(readWholeFile(output), audio));
    EXPECT_EQ(log.callsStartingWith("chunk "), Lines({"chunk preset=bright"}));
}

TEST(SettingsFile, LoadedBeforeTheCommandOnlyWhenUsable) {
    ScopedTempFolder folder(L"fxhost-data");
    std::wstring data = folder.path() + L"settings.bin";
    float values[3] = {0.5f, -2.0f, 0.125f};
    writeWholeFile(data, std::string(reinterpret_cast<const char*>(values), sizeof values));
    {
        CallLog log;
        runHost({L"process", L"--vst", testPlugin(L"fx_params_noeditor.dll"), L"--data", data});
        EXPECT_EQ(log.callsStartingWith("setParameter"),
                  Lines({"setParameter 0 0.5", "setParameter 1 -2", "setParameter 2 0.125"}));
    }
    {
        // test and has-editor return before settings are read.
        CallLog log;
        runHost({L"test", L"--vst", testPlugin(L"fx_params_noeditor.dll"), L"--data", data});
        runHost({L"has-editor", L"--vst", testPlugin(L"fx_params_noeditor.dll"), L"--data", data});
        EXPECT_TRUE(log.callsStartingWith("setParameter").empty());
    }
    {
        // Neither an editor nor parameters: nothing to give the blob to.
        CallLog log;
        runHost({L"frobnicate", L"--vst", testPlugin(L"fx_bare.dll"), L"--data", data});
        EXPECT_TRUE(log.callsStartingWith("setParameter").empty());
        EXPECT_TRUE(log.callsStartingWith("dispatch effSetChunk").empty());
    }
    {
        // A missing file is quietly no settings.
        CallLog log;
        HostRun run = runHost({L"frobnicate", L"--vst", testPlugin(L"fx_params_noeditor.dll"), L"--data",
                               folder.path() + L"absent.bin"});
        EXPECT_EQ(run.error, "Invalid arguments, no command found." + newline);
        EXPECT_TRUE(log.callsStartingWith("setParameter").empty());
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
    HostRun run = runHost(with({L"process", L"--vst", testPlugin(L"fx_needidle.dll"), L"--inpipe", pipe.name(),
                                L"--rate", L"44100", L"--channels", L"2"},
                               floatStereo));
    parent.join();
    EXPECT_EQ(run.exitCode, 0u);
    // effIdle answers 0 ("done"), so the plug-in is called once.
    EXPECT_EQ(log.callsStartingWith("dispatch effIdle").size(), 1u);
    Lines calls = log.calls();
    auto idle = std::find(calls.begin(), calls.end(), "dispatch effIdle 0 0 0");
    auto firstBlock = std::find(calls.begin(), calls.end(), "processReplacing 512");
    EXPECT_TRUE(firstBlock < idle) << "between blocks, not before the stream began";
}

} // namespace
