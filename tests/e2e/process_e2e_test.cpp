// The `process` command as a parent meets it: the chunked protocol through
// the client, and byte for byte over the standard handles where a message
// is one no client sends; the plain protocol; every failure with its text
// and exit code, the precision chosen, and the calls of a whole run.

#include <gtest/gtest.h>

#include "parent.h"
#include "running_host.h"
#include "stream_bytes.h"

namespace {

const std::string nl = "\r\n";

std::vector<std::wstring> processWith(const wchar_t* plugin, std::vector<std::wstring> options) {
    options.insert(options.begin(), {L"process", L"--vst", testPlugin(plugin)});
    return options;
}

TEST(ChunkedProtocol, WhatTheClientSendsAndGets) {
    using fxhost::Stream;
    // The replies as the protocol puts them: a granted format's record, audio.
    auto format = [](const fxhost::StreamFormat& f) {
        return formatRecord(f.sampleRate, f.inputChannels, f.inputMask, f.outputChannels, f.outputMask);
    };
    const std::string granted = formatRecord(44100, 2, 3, 2, 3), block = floatFrames(512, 2);
    struct Row {
        const char* name;
        const wchar_t* plugin;
        std::function<void(Stream&, std::string& got)> act;
        std::string got;
        std::string error = ""; // and exit code -1, if any
    } rows[] = {
        {"immediate close", L"fx_delay.dll", [](Stream&, std::string&) {}, ""},
        {"latency alone, after empty settings that do nothing", L"fx_delay.dll",
         [&](Stream& s, std::string& got) {
             s.setSettings("");
             got = format(s.setFormat(44100, 2));
             got += le32(s.queryLatency());
         },
         granted + le32(512)},
        // The new instance starts with an empty delay line.
        {"reopen gives a fresh instance", L"fx_delay.dll",
         [&](Stream& s, std::string& got) {
             got = format(s.setFormat(44100, 2));
             got += s.processBytes(block.data(), 100 * 8);
             got += format(s.reopen());
             got += s.processBytes(block.data(), block.size());
             got += le32(s.latency());
         },
         granted + std::string(100 * 8, '\0') + granted + std::string(512 * 8, '\0') + le32(512)},
        {"fewer channels are granted", L"fx_mixedpins.dll",
         [&](Stream& s, std::string& got) {
             got = format(s.setFormat({48000, 4, 0, 2, 0}));
         },
         formatRecord(48000, 2, 3, 2, 3)},
        {"a plug-in without inputs", L"fx_noinputs.dll", [](Stream& s, std::string&) { s.setFormat(44100, 2); }, "",
         "VST refused audio format\n"},
        {"reopen that fails", L"fx_once.dll", [](Stream& s, std::string&) { s.setFormat(44100, 2), s.reopen(); }, "",
         "Could not reopen VST\n"},
    };
    for (const Row& row : rows) {
        std::string got;
        HostRun run = outcome([&] {
            std::unique_ptr<Stream> stream = clientFor(testPlugin(row.plugin)).openStream(fxhost::SampleType::Float32);
            row.act(*stream, got);
            stream->close();
        });
        EXPECT_EQ(run.exitCode, row.error.empty() ? 0u : exitFailure) << row.name;
        EXPECT_EQ(run.error, row.error) << row.name;
        EXPECT_TRUE(sameBytes(got, row.got)) << row.name;
    }
}

// Messages that no client sends: cut short, unknown, out of order, too
// large.
TEST(ChunkedProtocol, OddMessagesEndingsAndFailures) {
    const std::string format = message(3, formatRecord(44100, 2, 0, 2, 0)), granted = formatRecord(44100, 2, 3, 2, 3);
    const std::string block = floatFrames(512, 2);
    struct Row {
        const char* name;
        const wchar_t* plugin;
        std::string input;
        uint32_t exitCode;
        std::string error;
        std::string output; // what went out, before a failure too
    } rows[] = {
        {"a header cut short", L"fx_delay.dll", std::string("\x01\x00\x00", 3), 0, "", ""},
        {"a header without all its size", L"fx_delay.dll", le32(1) + std::string("\x08\x00", 2), 0, "", ""},
        {"a payload cut short", L"fx_delay.dll", le32(2) + le32(8) + "abcd", exitFailure, "", ""},
        {"drain and reopen payloads are ignored", L"fx_delay.dll", message(5, "xyz") + format + message(4, "abc"), 0,
         "", granted + le32(0)},
        {"audio before a format", L"fx_delay.dll", message(1, ""), exitFailure, "audio format not set" + nl, ""},
        {"drain before a format", L"fx_delay.dll", message(4, ""), exitFailure, "audio format not set" + nl, ""},
        {"short format", L"fx_delay.dll", message(3, std::string(19, '\0')), exitFailure, "bad input" + nl, ""},
        {"long format", L"fx_delay.dll", message(3, std::string(21, '\0')), exitFailure, "bad input" + nl, ""},
        {"unknown command", L"fx_delay.dll", message(6, ""), exitFailure, "unknown command" + nl, ""},
        {"half a frame after whole blocks", L"fx_effect.dll", format + message(1, block + "abcd"), exitFailure,
         "bad data alignment" + nl, granted + block},
        {"a size beyond any real message", L"fx_effect.dll", le32(1) + le32(0xFFFFFFFFu), exitFailure,
         "message too large" + nl, ""},
    };
    for (const Row& row : rows) {
        HostRun run = runHost(
            processWith(row.plugin, {L"--protocol", L"chunked", L"--bits", L"32", L"--formattag", L"3"}), row.input);
        EXPECT_EQ(run.exitCode, row.exitCode) << row.name;
        EXPECT_EQ(run.error, row.error) << row.name;
        EXPECT_TRUE(sameBytes(run.output, row.output)) << row.name;
    }
}

TEST(PlainProtocol, Failures) {
    const std::wstring rate = L"--rate", channels = L"--channels", bits = L"--bits";
    const std::vector<std::wstring> stereo16 = {rate, L"44100", channels, L"2", bits, L"16"};
    const std::string input = pcm16(signal16(2 * 700));
    struct Row {
        const char* name;
        const wchar_t* plugin;
        std::vector<std::wstring> options;
        std::string error;
        std::string input = pcm16(signal16(64));
        std::string output = "";
        StandardInput kind = StandardInput::File;
    } rows[] = {
        // clang-format off
        {"no options", L"fx_effect.dll", {}, "audio format not set"},
        {"rate below bounds", L"fx_effect.dll", {rate, L"99", channels, L"2", bits, L"16"}, "audio format not set"},
        {"too many channels", L"fx_effect.dll", {rate, L"44100", channels, L"33", bits, L"16"}, "audio format not set"},
        {"chunked is spelt exactly", L"fx_effect.dll", {L"--protocol", L"CHUNKED"}, "audio format not set"},
        {"fewer input channels granted", L"fx_mixedpins.dll", {rate, L"44100", channels, L"4", bits, L"16"},
         "unsupported stream format"},
        {"fewer output channels granted", L"fx_effect.dll", {rate, L"44100", channels, L"2", L"--channels-output",
         L"4", bits, L"16"}, "unsupported stream format"},
        {"64 bits without the float tag", L"fx_effect.dll", {rate, L"44100", channels, L"2", bits, L"64"},
         "Format conversion failure"},
        {"a plug-in without inputs", L"fx_noinputs.dll", stereo16, "VST refused audio format"},
        {"no processing call", L"fx_noprocess.dll", stereo16, "VST processing failure"},
        {"a partial frame at the end", L"fx_effect.dll", stereo16, "bad data alignment", input + "x",
         input.substr(0, 512 * 4)},
        // Only a file gives a clean end on standard input.
        {"a closed standard input pipe", L"fx_effect.dll", stereo16, "file access error", input,
         input.substr(0, 512 * 4), StandardInput::Pipe},
        // clang-format on
    };
    for (const Row& row : rows) {
        HostRun run = runHost(processWith(row.plugin, row.options), row.input, row.kind);
        EXPECT_EQ(run.exitCode, exitFailure) << row.name;
        EXPECT_EQ(run.error, row.error + nl) << row.name;
        EXPECT_TRUE(sameBytes(run.output, row.output)) << row.name;
    }
}

TEST(PlainProtocol, PrecisionChosenByOptionsAndPlugin) {
    struct Row {
        const wchar_t* plugin;
        int bits;
        std::vector<std::wstring> options;
        std::string call;
    } rows[] = {
        {L"fx_effect.dll", 32, {}, "processDoubleReplacing"},
        {L"fx_effect.dll", 32, {L"--float64", L"0"}, "processReplacing"},
        {L"fx_effect.dll", 16, {L"--float64", L"1"}, "processDoubleReplacing"},
        {L"fx_effect.dll", 24, {}, "processReplacing"},
        {L"fx_floatonly.dll", 32, {}, "processReplacing"},
        {L"fx_accumulate.dll", 16, {}, "process"},
    };
    for (const Row& row : rows) {
        std::vector<std::wstring> options = {L"--rate", L"44100",  L"--channels",
                                             L"2",      L"--bits", std::to_wstring(row.bits)};
        options.insert(options.end(), row.options.begin(), row.options.end());
        std::string in(512 * 2 * size_t(row.bits / 8), '\x11'), expected = in;
        // 0x11111111 has more significant bits than a float holds: only the
        // double path brings it back whole.
        for (size_t i = 0; row.bits == 32 && row.call != "processDoubleReplacing" && i < in.size(); i += 4)
            expected[i] = '\x20';
        CallLog log;
        HostRun run = runHost(processWith(row.plugin, options), in);
        std::string what = narrow(row.plugin) + ", " + std::to_string(row.bits) + " bits, " + row.call;
        EXPECT_EQ(run.exitCode, 0u) << what;
        EXPECT_TRUE(sameBytes(run.output, expected)) << what;
        for (const char* call : {"processDoubleReplacing", "processReplacing", "process"})
            EXPECT_EQ(log.callsStartingWith(call + std::string(" ")).empty(), call != row.call) << what << ": " << call;
    }
}

TEST(PlainProtocol, AWholeRunPassesSixteenBitsThroughExactly) {
    // Four input pins, of which the first pair is a group and the stream
    // feeds two: the others are connected off. The tail is one silent
    // block, which is not written.
    const std::string input = pcm16(signal16(2 * 600));
    CallLog log;
    HostRun run = runHost(processWith(L"fx_mixedpins.dll", {L"--rate", L"48000", L"--channels", L"2", L"--chanmask",
                                                            L"3", L"--bits", L"16"}),
                          input);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.error, "");
    EXPECT_TRUE(sameBytes(run.output, input));
    EXPECT_EQ(joined(log.calls()),
              "entry; dispatch effOpen 0 0 0; dispatch effSetSampleRate 0 0 48000; dispatch effSetBlockSize 0 512 0; "
              "dispatch effMainsChanged 0 1 0; dispatch effSetProcessPrecision 0 0 0; "
              "dispatch effSetSpeakerArrangement 0 1 0; dispatch effGetInputProperties 0 0 0; "
              "dispatch effGetInputProperties 1 0 0; dispatch effGetInputProperties 2 0 0; "
              "dispatch effGetOutputProperties 0 0 0; dispatch effGetOutputProperties 1 0 0; "
              "dispatch effConnectInput 0 1 0; dispatch effConnectInput 1 1 0; dispatch effConnectInput 2 0 0; "
              "dispatch effConnectInput 3 0 0; dispatch effConnectOutput 0 1 0; dispatch effConnectOutput 1 1 0; "
              "processReplacing 512; processReplacing 88; dispatch effGetTailSize 0 0 0; processReplacing 512; "
              "dispatch effMainsChanged 0 0 0; dispatch effClose 0 0 0; ");
}

} // namespace
