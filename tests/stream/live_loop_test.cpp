// The live loop over a stream in memory and the real pass-through test
// plug-in (2 inputs, 2 outputs): which audio reaches it, how the loop ends,
// and the one line it prints.

#include "stream/live_loop.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "../e2e/stream_bytes.h"
#include "common/test_files.h"
#include "run/vst_globals.h"
#include "support/error/error.h"
#include "support/thread/worker_thread.h"
#include "support/win32.h"

namespace {

// The parent's bytes; at their end the end of data, or a failed transport.
// Reaching `abortAt` bytes signals `abort`, as the window closing then would.
struct MemoryReader : Qz::fileReader {
    std::string bytes;
    bool failAtEnd = false;
    size_t position = 0, abortAt = 0;
    Qz::abortEvent* abort = nullptr;
    uint64_t read(void* buffer, uint64_t size) override {
        if (failAtEnd && position == bytes.size())
            throw Qz::file_access_error();
        size_t n = std::min(size_t(size), bytes.size() - position);
        std::copy_n(bytes.data() + position, n, static_cast<char*>(buffer));
        if ((position += n) == abortAt)
            abort->set();
        return n;
    }
};

std::string format(uint32_t inputs, uint32_t outputs = 2) {
    return message(3, formatRecord(44100, inputs, 0, outputs, 0));
}

std::string audio(uint32_t frames, uint32_t channels) { // float 32
    return message(1, std::string(frames * channels * 4, '\0'));
}

TEST(LiveLoop, WhatReachesThePluginAndHowTheLoopEnds) {
    struct Row {
        const char* name;
        std::string input;
        std::vector<int> blocks; // frames of each processReplacing, in order
        std::string error = "";  // after "Live data processing error: "
        bool failAtEnd = false, noPlugin = false;
        size_t abortAt = 0;
    } rows[] = {
        {"audio before the first format is dropped", audio(512, 2) + format(2) + audio(700, 2), {512, 188}},
        {"fewer inputs granted: dropped until a format is accepted",
         format(6) + audio(512, 6) + format(2) + audio(100, 2),
         {100}},
        {"fewer outputs granted are accepted", format(2, 8) + audio(512, 2), {512}},
        {"a format of 19 bytes", format(2) + audio(10, 2) + message(3, std::string(19, '\0')), {10}, "bad input"},
        // Settings (command 2) are shown unknown by the end-to-end run.
        {"drain is none", message(4, ""), {}, "unknown command"},
        {"reopen is none", message(5, ""), {}, "unknown command"},
        {"command 6", message(6, "x"), {}, "unknown command"},
        {"a header cut short ends quietly", format(2) + audio(10, 2) + std::string("\x01\x00\x00", 3), {10}},
        {"a payload cut short ends quietly", format(2) + le32(1) + le32(80) + std::string(40, '\0'), {}},
        {"half a frame", format(2) + message(1, std::string(12, '\0')), {}, "bad data alignment"},
        {"the transport fails", format(2) + audio(10, 2), {10}, "file access error", true},
        {"no plug-in", format(2), {}, "no VST set", false, true},
        // The message whose payload was being read is never processed.
        {"aborted", format(2) + audio(10, 2) + audio(20, 2), {10}, "user abort", false, false, 28 + 88 + 168},
    };
    HMODULE library = LoadLibraryW(testPlugin(L"fx_effect.dll").c_str());
    auto entry = reinterpret_cast<VstPluginMainProc>(reinterpret_cast<void*>(GetProcAddress(library, "VSTPluginMain")));
    for (const Row& row : rows) {
        CallLog log;
        VSTGlobals globals;
        globals.arguments = OptionMap({{"--bits", "32"}, {"--formattag", "3"}});
        auto input = std::make_shared<MemoryReader>();
        input->bytes = row.input, input->failAtEnd = row.failAtEnd, input->abortAt = row.abortAt;
        globals.input = input;
        if (!row.noPlugin) {
            globals.effect.reset(new VSTEffect());
            ASSERT_TRUE(entry && globals.effect->openEntry(entry)) << row.name;
        }
        testing::internal::CaptureStderr();
        {
            // Where it runs in a live run: on a worker bound to its abort
            // event. Waited for, not joined: a join is an abort.
            Qz::workerThread worker("", Qz::workerThread::withAbortEvent);
            worker.abort.emplace(Qz::abortEvent::create()); // start keeps it
            input->abort = &*worker.abort;
            worker.start([&] { liveLoop(globals); }, THREAD_PRIORITY_NORMAL);
        }
        std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_EQ(printed, row.error.empty() ? "" : "Live data processing error: " + row.error) << row.name;
        std::vector<std::string> expected;
        for (int frames : row.blocks)
            expected.push_back("processReplacing " + std::to_string(frames));
        EXPECT_EQ(log.callsStartingWith("process"), expected) << row.name;
    }
}

} // namespace
