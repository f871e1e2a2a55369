// The `process` command as a parent meets it over the standard handles: the
// plain and chunked protocols byte for byte, every failure with its text and
// exit code, and the calls the plug-in receives.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "parent.h"
#include "stream_bytes.h"

namespace {

typedef std::vector<std::string> Lines;
const std::string newline = "\r\n";

std::vector<std::wstring> processArguments(const wchar_t* plugin, std::vector<std::wstring> extra) {
    std::vector<std::wstring> arguments = {L"process", L"--vst", testPlugin(plugin)};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return arguments;
}

const std::vector<std::wstring> chunkedFloat = {L"--protocol", L"chunked", L"--bits", L"32", L"--formattag", L"3"};

TEST(ChunkedProtocol, WorkedExchange) {
    CallLog log;
    const std::string format = formatRecord(44100, 2, 3, 2, 3);
    const std::string audio = floatFrames(2048, 2);
    const std::string settings(64, '\0');
    std::string input = message(3, format) + message(1, audio) + message(4, "") + message(2, settings) +
                        message(5, "") + message(3, format);
    HostRun run = runHost(processArguments(L"fx_delay.dll", chunkedFloat), input);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.error, "");

    // Step 1: the granted format; 2: the audio 512 frames late, then the
    // latency; 3: the last 512 frames as the tail; 4 and 5: nothing; 6: as 1.
    std::string expected = format;
    expected += std::string(512 * 8, '\0') + audio.substr(0, 1536 * 8) + le32(512);
    expected += le32(4096) + audio.substr(1536 * 8);
    expected += format;
    EXPECT_TRUE(sameBytes(run.output, expected));
    EXPECT_EQ(hex(run.output, 0, 20), "44 AC 00 00 02 00 00 00 03 00 00 00 02 00 00 00 03 00 00 00 ");
    EXPECT_EQ(hex(run.output, 20 + 16384, 4), "00 02 00 00 ");
    EXPECT_EQ(hex(run.output, 20 + 16388, 4), "00 10 00 00 ");

    Lines calls = log.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "processReplacing 512"), 4 + 2) << "4 slices, 2 tail blocks";
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "dispatch effClose 0 0 0"), 2) << "reopened once";
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "setParameter 0 0"), 1) << "64 bytes of settings";
}

TEST(ChunkedProtocol, FewerChannelsAreGrantedNotRefused) {
    HostRun run = runHost(processArguments(L"fx_mono.dll", chunkedFloat),
                          message(3, formatRecord(44100, 2, 3, 2, 3)) + message(1, floatFrames(3, 1)));
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(sameBytes(run.output, formatRecord(44100, 1, 4, 1, 4) + floatFrames(3, 1) + le32(0)));

    run = runHost(processArguments(L"fx_mixedpins.dll", chunkedFloat), message(3, formatRecord(48000, 4, 0, 2, 0)));
    EXPECT_TRUE(sameBytes(run.output, formatRecord(48000, 2, 3, 2, 3)));
}

TEST(ChunkedProtocol, EndingsAndEmptyMessages) {
    struct Case {
        const char* what;
        std::string input;
        uint32_t exitCode;
        std::string output;
    } cases[] = {
        {"immediate close", "", 0, ""},
        {"three bytes of header", std::string("\x01\x00\x00", 3), 0, ""},
        {"header without its size", le32(1) + std::string("\x08\x00", 2), 0, ""},
        {"payload cut short", le32(2) + le32(8) + "abcd", 0xFFFFFFFFu, ""},
        {"latency only", message(3, formatRecord(44100, 2, 0, 2, 0)) + message(1, ""), 0,
         formatRecord(44100, 2, 3, 2, 3) + le32(512)},
        {"drain and reopen payloads are dropped", message(5, "xyz") + message(3, formatRecord(44100, 2, 0, 2, 0)) +
                                                      message(4, "abc"), 0, formatRecord(44100, 2, 3, 2, 3) + le32(0)},
        {"empty settings do nothing", message(2, ""), 0, ""},
    };
    for (const Case& c : cases) {
        HostRun run = runHost(processArguments(L"fx_delay.dll", chunkedFloat), c.input);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.what;
        EXPECT_EQ(run.error, "") << c.what;
        EXPECT_TRUE(sameBytes(run.output, c.output)) << c.what;
    }
}

TEST(ChunkedProtocol, DrainOfAPluginWithoutTail) {
    HostRun run = runHost(processArguments(L"fx_tail1.dll", chunkedFloat),
                          message(3, formatRecord(44100, 2, 0, 2, 0)) + message(1, floatFrames(600, 2)) + message(4, ""));
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(sameBytes(run.output, formatRecord(44100, 2, 3, 2, 3) + floatFrames(600, 2) + le32(0) + le32(0)));
}

TEST(ChunkedProtocol, SettingsReachThePlugin) {
    {
        CallLog log;
        float values[2] = {0.125f, 0.75f};
        std::string blob(reinterpret_cast<const char*>(values), 8);
        runHost(processArguments(L"fx_params_noeditor.dll", chunkedFloat), message(2, blob));
        EXPECT_EQ(log.callsStartingWith("setParameter"), Lines({"setParameter 0 0.125", "setParameter 1 0.75"}));
    }
    {
        CallLog log;
        runHost(processArguments(L"fx_chunk.dll", chunkedFloat), message(2, "preset=warm"));
        EXPECT_EQ(log.callsStartingWith("dispatch effSetChunk"), Lines({"dispatch effSetChunk 0 11 0"}));
        EXPECT_EQ(log.callsStartingWith("chunk "), Lines({"chunk preset=warm"}));
    }
}

TEST(ChunkedProtocol, ReopenGivesAFreshInstance) {
    CallLog log;
    HostRun run = runHost(processArguments(L"fx_delay.dll", chunkedFloat),
                          message(3, formatRecord(44100, 2, 0, 2, 0)) + message(1, floatFrames(100, 2)) +
                              message(5, "") + message(3, formatRecord(44100, 2, 0, 2, 0)) +
                              message(1, floatFrames(512, 2)));
    EXPECT_EQ(run.exitCode, 0u);
    // The new instance starts with an empty delay line: the first 100
    // frames do not come out of it.
    std::string expected = formatRecord(44100, 2, 3, 2, 3) + std::string(100 * 8, '\0') + le32(512) +
                           formatRecord(44100, 2, 3, 2, 3) + std::string(512 * 8, '\0') + le32(512);
    EXPECT_TRUE(sameBytes(run.output, expected));
    EXPECT_EQ(log.callsStartingWith("entry").size(), 2u);
}

TEST(ChunkedProtocol, Failures) {
    const std::string format = message(3, formatRecord(44100, 2, 0, 2, 0));
    const std::string reply = formatRecord(44100, 2, 3, 2, 3);
    struct Case {
        const char* what;
        const wchar_t* plugin;
        std::string input;
        std::string error;
        std::string output; // what went out before the failure
    } cases[] = {
        {"data before a format", L"fx_delay.dll", message(1, ""), "audio format not set", ""},
        {"drain before a format", L"fx_delay.dll", message(4, ""), "audio format not set", ""},
        {"short format", L"fx_delay.dll", message(3, std::string(19, '\0')), "bad input", ""},
        {"long format", L"fx_delay.dll", message(3, std::string(21, '\0')), "bad input", ""},
        {"unknown command", L"fx_delay.dll", message(9, ""), "unknown command", ""},
        {"command zero", L"fx_delay.dll", message(0, ""), "unknown command", ""},
        {"refused by a plug-in without inputs", L"fx_noinputs.dll", format, "VST refused audio format", ""},
        {"refused by a plug-in without outputs", L"fx_nooutputs.dll", format, "VST refused audio format", ""},
        {"half a frame after whole blocks", L"fx_effect.dll", format + message(1, floatFrames(512, 2) + "abcd"),
         "bad data alignment", reply + floatFrames(512, 2)},
        {"size beyond any real message", L"fx_effect.dll", le32(1) + le32(0xFFFFFFFFu), "message too large", ""},
        {"reopen that fails", L"fx_once.dll", message(5, ""), "Could not reopen VST", ""},
    };
    for (const Case& c : cases) {
        HostRun run = runHost(processArguments(c.plugin, chunkedFloat), c.input);
        EXPECT_EQ(run.exitCode, exitFailure) << c.what;
        EXPECT_EQ(run.error, c.error + newline) << c.what;
        EXPECT_TRUE(sameBytes(run.output, c.output)) << c.what;
    }
    HostRun run = runHost(processArguments(L"fx_delay.dll", {L"--protocol", L"chunked", L"--bits", L"12"}), format);
    EXPECT_EQ(run.error, "Format conversion failure" + newline);
}

std::vector<std::wstring> plain16(std::vector<std::wstring> extra = {}) {
    std::vector<std::wstring> arguments = {L"--rate", L"44100", L"--channels", L"2", L"--bits", L"16"};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return arguments;
}

TEST(PlainProtocol, WholeStreamsOfAnyLength) {
    for (size_t frames : {size_t(0), size_t(1), size_t(512), size_t(513), size_t(10000)}) {
        std::vector<int16_t> in = signal16(frames * 2);
        CallLog log;
        HostRun run = runHost(processArguments(L"fx_half.dll", plain16()), pcm16(in));
        EXPECT_EQ(run.exitCode, 0u) << frames;
        EXPECT_EQ(run.error, "") << frames;
        EXPECT_TRUE(sameBytes(run.output, pcm16(halved(in)))) << frames << " frames";
        Lines blocks = log.callsStartingWith("processReplacing");
        EXPECT_EQ(blocks.size(), (frames + 511) / 512 + 1) << "the blocks, then one silent tail block";
        if (frames == 513) {
            EXPECT_EQ(blocks[1], "processReplacing 1");
        }
    }
}

TEST(PlainProtocol, TailFollowsTheInput) {
    std::string in = floatFrames(1000, 2);
    HostRun run = runHost(processArguments(L"fx_delay.dll", {L"--rate", L"48000", L"--channels", L"2", L"--bits",
                                                             L"32", L"--formattag", L"3"}),
                          in);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(sameBytes(run.output, std::string(512 * 8, '\0') + in));
}

TEST(PlainProtocol, TailLengthsThePluginAnswers) {
    // These plug-ins never fall silent, so the tail runs as long as they say,
    // unless that is a minute or more.
    struct Case {
        const wchar_t* plugin;
        size_t frames;
    } cases[] = {{L"fx_sustain_700.dll", 700}, {L"fx_sustain_60s.dll", 0}, {L"fx_sustain_under60s.dll", 2645999}};
    for (const Case& c : cases) {
        HostRun run = runHost(processArguments(c.plugin, plain16()), pcm16(signal16(2 * 10)));
        EXPECT_EQ(run.exitCode, 0u) << narrow(c.plugin);
        ASSERT_EQ(run.output.size(), (10 + c.frames) * 4) << narrow(c.plugin);
        if (c.frames) {
            EXPECT_EQ(hex(run.output, run.output.size() - 4, 4), "00 20 00 20 ") << "0.25 is 0x2000 in 16 bits";
        }
    }
}

TEST(PlainProtocol, PartialFrameAtTheEnd) {
    std::vector<int16_t> in = signal16(600 * 2);
    HostRun run = runHost(processArguments(L"fx_half.dll", plain16()), pcm16(in) + "x");
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_EQ(run.error, "bad data alignment" + newline);
    std::vector<int16_t> firstBlock(in.begin(), in.begin() + 512 * 2);
    EXPECT_TRUE(sameBytes(run.output, pcm16(halved(firstBlock))));
}

TEST(PlainProtocol, FormatFailures) {
    struct Case {
        const char* what;
        const wchar_t* plugin;
        std::vector<std::wstring> arguments;
        std::string error;
    } cases[] = {
        {"no options", L"fx_effect.dll", {}, "audio format not set"},
        {"rate below bounds", L"fx_effect.dll", {L"--rate", L"99", L"--channels", L"2", L"--bits", L"16"},
         "audio format not set"},
        {"too many channels", L"fx_effect.dll", {L"--rate", L"44100", L"--channels", L"33", L"--bits", L"16"},
         "audio format not set"},
        {"chunked must be spelt exactly", L"fx_effect.dll", {L"--protocol", L"CHUNKED"}, "audio format not set"},
        {"fewer channels granted", L"fx_mono.dll", plain16(), "unsupported stream format"},
        {"64 bits without the float tag", L"fx_effect.dll",
         {L"--rate", L"44100", L"--channels", L"2", L"--bits", L"64"}, "Format conversion failure"},
        {"no outputs", L"fx_nooutputs.dll", plain16(), "VST refused audio format"},
        {"no processing call", L"fx_noprocess.dll", plain16(), "VST processing failure"},
    };
    for (const Case& c : cases) {
        HostRun run = runHost(processArguments(c.plugin, c.arguments), pcm16(signal16(64)));
        EXPECT_EQ(run.exitCode, exitFailure) << c.what;
        EXPECT_EQ(run.error, c.error + newline) << c.what;
        EXPECT_EQ(run.output, "") << c.what;
    }
}

TEST(PlainProtocol, ClosedStandardInputPipeIsAReadFailure) {
    // Only a file gives a clean end on standard input; a pipe whose writer
    // goes away fails the next read.
    HostRun run = runHost(processArguments(L"fx_half.dll", plain16()), pcm16(signal16(2 * 700)), StandardInput::Pipe);
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_EQ(run.error, "file access error" + newline);
    EXPECT_EQ(run.output.size(), 512u * 4) << "the whole block before the failure came through";
}

TEST(Precision, ChosenByOptionsAndPlugin) {
    struct Case {
        const wchar_t* plugin;
        int bits;
        std::vector<std::wstring> options;
        std::string call;
    } cases[] = {
        {L"fx_effect.dll", 32, {}, "processDoubleReplacing"},
        {L"fx_effect.dll", 32, {L"--float64", L"0"}, "processReplacing"},
        {L"fx_effect.dll", 16, {L"--float64", L"1"}, "processDoubleReplacing"},
        {L"fx_effect.dll", 24, {}, "processReplacing"},
        {L"fx_floatonly.dll", 32, {}, "processReplacing"},
        {L"fx_accumulate.dll", 16, {}, "process"},
    };
    const std::string calls[] = {"processDoubleReplacing", "processReplacing", "process"};
    for (const Case& c : cases) {
        CallLog log;
        std::vector<std::wstring> arguments = {L"--rate", L"44100", L"--channels", L"2", L"--bits",
                                               std::to_wstring(c.bits)};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        std::string in(512 * 2 * size_t(c.bits / 8), '\x11');
        // 0x11111111 has more significant bits than a float holds: only the
        // double path brings it back whole.
        std::string expected = in;
        if (c.bits == 32 && c.call != "processDoubleReplacing")
            for (size_t i = 0; i < expected.size(); i += 4)
                expected[i] = '\x20';
        HostRun run = runHost(processArguments(c.plugin, arguments), in);
        std::string what = narrow(c.plugin) + " " + std::to_string(c.bits) + " bits " + c.call;
        EXPECT_EQ(run.exitCode, 0u) << what;
        EXPECT_TRUE(sameBytes(run.output, expected)) << what;
        for (const std::string& call : calls)
            EXPECT_EQ(log.callsStartingWith(call + " ").empty(), call != c.call) << what << ": " << call;
    }
}

TEST(Pins, UnusedPinsAreConnectedOff) {
    CallLog log;
    std::string in = floatFrames(300, 2);
    HostRun run = runHost(processArguments(L"fx_quad.dll", {L"--rate", L"44100", L"--channels", L"2", L"--bits",
                                                            L"32", L"--formattag", L"3"}),
                          in);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(sameBytes(run.output, in));
    EXPECT_EQ(log.callsStartingWith("dispatch effConnectInput"),
              Lines({"dispatch effConnectInput 0 1 0", "dispatch effConnectInput 1 1 0",
                     "dispatch effConnectInput 2 0 0", "dispatch effConnectInput 3 0 0"}));
}

TEST(CallOrder, AWholeProcessRun) {
    CallLog log;
    HostRun run = runHost(processArguments(L"fx_effect.dll", {L"--rate", L"48000", L"--channels", L"2",
                                                              L"--chanmask", L"3", L"--bits", L"16"}),
                          std::string(4 * 600, '\x01'));
    EXPECT_EQ(run.exitCode, 0u);
    Lines calls = log.calls();
    Lines withoutParameters;
    for (const std::string& line : calls)
        if (line.compare(0, 12, "getParameter") != 0)
            withoutParameters.push_back(line);
    Lines expected = {
        "entry",
        "dispatch effOpen 0 0 0",
        "dispatch effSetSampleRate 0 0 48000",
        "dispatch effSetBlockSize 0 512 0",
        "dispatch effMainsChanged 0 1 0",
        "dispatch effSetProcessPrecision 0 0 0",
        "SPEAKERS",
        "dispatch effGetInputProperties 0 0 0",
        "dispatch effGetInputProperties 1 0 0",
        "dispatch effGetOutputProperties 0 0 0",
        "dispatch effGetOutputProperties 1 0 0",
        "dispatch effConnectInput 0 1 0",
        "dispatch effConnectInput 1 1 0",
        "dispatch effConnectOutput 0 1 0",
        "dispatch effConnectOutput 1 1 0",
        "processReplacing 512",
        "processReplacing 88",
        "dispatch effGetTailSize 0 0 0",
        "processReplacing 512",
        "dispatch effMainsChanged 0 0 0",
        "dispatch effClose 0 0 0",
    };
    ASSERT_EQ(withoutParameters.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        if (expected[i] == "SPEAKERS")
            EXPECT_EQ(withoutParameters[i].substr(0, 33), "dispatch effSetSpeakerArrangement") << i;
        else
            EXPECT_EQ(withoutParameters[i], expected[i]) << i;
    }
}

} // namespace
