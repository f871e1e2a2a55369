// The live loop over a stream in memory and the real pass-through test
// plug-in: which audio reaches the plug-in, how the loop ends, and the one
// line it prints.

#include "stream/live_loop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "common/test_files.h"
#include "host/vst_globals.h"
#include "stream/stream_protocol.h"
#include "support/error/error.h"
#include "support/thread/worker_thread.h"
#include "support/win32.h"

namespace {

// The parent's bytes, handed out as asked; at their end either the end of
// data or a transport failure. `onRead` runs after each read.
class MemoryReader : public Qz::fileReader {
public:
    MemoryReader(std::string bytes, bool failAtEnd) : bytes(std::move(bytes)), failAtEnd(failAtEnd) {}
    uint64_t read(void* buffer, uint64_t size) override {
        if (failAtEnd && position == bytes.size())
            throw Qz::file_access_error();
        uint64_t n = std::min<uint64_t>(size, bytes.size() - position);
        std::copy_n(bytes.data() + position, size_t(n), static_cast<char*>(buffer));
        position += size_t(n);
        if (onRead)
            onRead(position);
        return n;
    }
    std::function<void(size_t)> onRead;

private:
    std::string bytes;
    size_t position = 0;
    bool failAtEnd;
};

std::string le32(uint32_t value) {
    uint8_t bytes[4];
    writeLE32(bytes, value);
    return std::string(reinterpret_cast<char*>(bytes), 4);
}

std::string message(uint32_t command, const std::string& payload) {
    return le32(command) + le32(uint32_t(payload.size())) + payload;
}

std::string format(uint32_t inputs, uint32_t outputs = 2) {
    return message(3, le32(44100) + le32(inputs) + le32(0) + le32(outputs) + le32(0));
}

std::string audio(uint32_t frames, uint32_t channels) { // float 32, silence
    return message(1, std::string(frames * channels * 4, '\0'));
}

// Opens fx_effect.dll (2 stereo inputs, 2 outputs) as mainWithGlobals does.
std::unique_ptr<VSTEffect> openTestPlugin() {
    HMODULE library = LoadLibraryW(testPlugin(L"fx_effect.dll").c_str());
    FARPROC entry = library ? GetProcAddress(library, "VSTPluginMain") : nullptr;
    std::unique_ptr<VSTEffect> effect(new VSTEffect());
    if (!entry || !effect->openEntry(reinterpret_cast<VstPluginMainProc>(reinterpret_cast<void*>(entry))))
        return nullptr;
    return effect;
}

TEST(LiveLoop, WhatReachesThePluginAndHowTheLoopEnds) {
    const std::string error = "Live data processing error: ";
    struct Row {
        const char* name;
        std::string input;
        std::vector<std::string> processed; // the plug-in's processReplacing calls
        std::string printed;
        bool failAtEnd = false;
        bool noPlugin = false;
        size_t abortAfter = 0; // bytes read when the owner signals the abort
    } rows[] = {
        {"audio before the first format is dropped",
         audio(512, 2) + format(2) + audio(700, 2),
         {"processReplacing 512", "processReplacing 188"},
         ""},
        {"fewer inputs granted: dropped until a later format is accepted",
         format(6) + audio(512, 6) + format(2) + audio(100, 2),
         {"processReplacing 100"},
         ""},
        {"fewer outputs granted still count as accepted", format(2, 8) + audio(512, 2), {"processReplacing 512"}, ""},
        {"a format of 19 bytes",
         format(2) + audio(10, 2) + message(3, std::string(19, '\0')) + audio(10, 2),
         {"processReplacing 10"},
         error + "bad input"},
        {"a format of 21 bytes", message(3, std::string(21, '\0')), {}, error + "bad input"},
        {"settings are not a live message",
         format(2) + message(2, "abcd") + audio(10, 2),
         {},
         error + "unknown command"},
        {"drain is not a live message", format(2) + message(4, ""), {}, error + "unknown command"},
        {"reopen is not a live message", format(2) + message(5, ""), {}, error + "unknown command"},
        {"command 0", message(0, ""), {}, error + "unknown command"},
        {"command 6", message(6, "x"), {}, error + "unknown command"},
        {"a header cut short ends quietly",
         format(2) + audio(10, 2) + std::string("\x01\x00\x00", 3),
         {"processReplacing 10"},
         ""},
        {"a payload cut short ends quietly, unprocessed",
         format(2) + le32(1) + le32(80) + std::string(40, '\0'),
         {},
         ""},
        {"half a frame", format(2) + message(1, std::string(12, '\0')), {}, error + "bad data alignment"},
        {"a size beyond any real message", le32(1) + le32(0xFFFFFFFFu), {}, error + "message too large"},
        {"the transport fails", format(2) + audio(10, 2), {"processReplacing 10"}, error + "file access error", true},
        {"no plug-in", format(2), {}, error + "no VST set", false, true},
        // Signalled while the message's payload was read: the message is
        // read whole but never processed.
        {"the owner aborts",
         format(2) + audio(10, 2) + audio(20, 2),
         {"processReplacing 10"},
         error + "user abort",
         false,
         false,
         28 + 88 + 168},
    };
    for (Row& row : rows) {
        CallLog log;
        VSTGlobals globals;
        globals.arguments = OptionMap({{"--bits", "32"}, {"--formattag", "3"}});
        std::shared_ptr<MemoryReader> input = std::make_shared<MemoryReader>(row.input, row.failAtEnd);
        globals.input = input;
        if (!row.noPlugin) {
            globals.effect = openTestPlugin();
            ASSERT_TRUE(globals.effect) << row.name;
        }
        testing::internal::CaptureStderr();
        {
            // Where the loop runs in a live run: on a worker bound to its
            // abort event. Waited for, not joined: a join is an abort.
            Qz::workerThread worker("", Qz::workerThread::withAbortEvent);
            if (row.abortAfter)
                input->onRead = [&](size_t position) {
                    if (position == row.abortAfter)
                        SetEvent(static_cast<HANDLE>(worker.abort->handle));
                };
            worker.start([&] { liveLoop(globals); }, THREAD_PRIORITY_NORMAL);
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.printed) << row.name;
        EXPECT_EQ(log.callsStartingWith("process"), row.processed) << row.name;
    }
}

} // namespace
