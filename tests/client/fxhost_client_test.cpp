// The C++ client against the real program and the test plug-ins, where the
// end-to-end tests (which run through the client) do not reach: answers
// they never ask for, blocks of any length, 64-bit samples, settings with
// a reopening, a hang, and how a run's end becomes an exception's kind.

#include "fxhost_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "common/test_files.h"
#include "support/win32.h"

namespace {

using fxhost::Host;
using fxhost::SampleType;
using fxhost::Stream;

// Interleaved stereo frames whose every sample is exact and non-zero.
std::vector<float> frames(size_t count, size_t first = 0) {
    std::vector<float> samples;
    for (size_t i = first; i < first + count; ++i)
        for (size_t c = 0; c < 2; ++c)
            samples.push_back(float(int((i * 7 + c * 3) % 199) - 99 + (c ? 0.5f : 0.25f)) / 128.0f);
    return samples;
}

// What threw, by type, or "nothing".
std::string thrown(const std::function<void()>& action, std::string* text = nullptr) {
    std::string ignored;
    std::string& errorText = text ? *text : ignored;
    try {
        action();
    } catch (const fxhost::CrashError& e) {
        errorText = e.errorText();
        return "CrashError";
    } catch (const fxhost::TimeoutError& e) {
        errorText = e.errorText();
        return "TimeoutError";
    } catch (const fxhost::OpenError& e) {
        errorText = e.errorText();
        return "OpenError";
    } catch (const fxhost::FormatError& e) {
        errorText = e.errorText();
        return "FormatError";
    } catch (const fxhost::Error& e) {
        errorText = e.errorText();
        return "Error";
    }
    return "nothing";
}

TEST(ClientCommands, AnswersAndFailures) {
    struct Row {
        const char* name;
        const wchar_t* plugin;
        std::function<std::string(const Host&)> ask;
        std::string expected;
    } rows[] = {
        {"has-editor, nothing to show", L"fx_bare.dll", [](const Host& h) { return std::to_string(h.hasEditor()); },
         "0"},
        {"has-editor, does not open", L"missing.dll", [](const Host& h) { return thrown([&] { h.hasEditor(); }); },
         "OpenError"},
        {"info, no inputs", L"fx_noinputs.dll",
         [](const Host& h) { return std::to_string(h.info().inputs.size()) + std::to_string(h.info().outputs.size()); },
         "02"},
        {"info, does not open", L"fx_badmagic.dll", [](const Host& h) { return thrown([&] { h.info(); }); },
         "OpenError"},
    };
    for (const Row& row : rows) {
        Host host(testPlugin(row.plugin));
        EXPECT_EQ(row.ask(host), row.expected) << row.name;
    }
}

TEST(ClientStream, BlocksOfAnyLengthLatencyAndTail) {
    Host host(testPlugin(L"fx_delay.dll"));
    std::unique_ptr<Stream> stream = host.openStream(SampleType::Float32);
    fxhost::StreamFormat granted = stream->setFormat(44100, 2);
    EXPECT_EQ(granted.inputChannels, 2u);
    EXPECT_EQ(granted.outputMask, 3u);
    // The delay line carries over from block to block, whatever their size.
    // The last block goes out as several messages at once.
    std::vector<float> in = frames(3000 + 1100000), out;
    size_t done = 0;
    for (size_t size : {700u, 1u, 0u, 1299u, 1000u, 1100000u}) {
        std::vector<float> part = stream->process(in.data() + 2 * done, size);
        EXPECT_EQ(part.size(), 2 * size) << "a block of " << size;
        out.insert(out.end(), part.begin(), part.end());
        done += size;
    }
    std::vector<float> expected(2 * 512, 0.0f);
    expected.insert(expected.end(), in.begin(), in.end() - 2 * 512);
    EXPECT_EQ(out, expected);
    EXPECT_EQ(stream->latency(), 512u);
    std::vector<float> tail = stream->drainFloat();
    EXPECT_EQ(tail, std::vector<float>(in.end() - 2 * 512, in.end()));
    stream->close();
}

TEST(ClientStream, PrecisionAndSettings) {
    {
        Host host(testPlugin(L"fx_effect.dll"));
        std::unique_ptr<Stream> stream = host.openStream(SampleType::Float64);
        stream->setFormat(96000, 1);
        std::vector<double> in = {0.1, -0.123456789012345, 1e-300, 0.75};
        EXPECT_EQ(stream->process(in.data(), in.size()), in);
        EXPECT_EQ(thrown([&] { stream->process(frames(1).data(), 1); }), "FormatError");
        stream->close();
    }
    {
        CallLog log;
        Host host(testPlugin(L"fx_chunk.dll"));
        std::unique_ptr<Stream> stream = host.openStream(SampleType::Float32);
        stream->setFormat(44100, 2);
        stream->setSettings("settings one");
        stream->reopen("settings two");
        stream->close();
        EXPECT_EQ(log.callsStartingWith("chunk"),
                  (std::vector<std::string>{"chunk settings one", "chunk settings two"}));
    }
}

TEST(ClientStream, FailuresAreExceptionsOfTheirKind) {
    struct Row {
        const char* name;
        const wchar_t* plugin;
        std::function<void(Stream&)> act;
        std::string kind;
    } rows[] = {
        {"a plug-in that hangs", L"fx_hang_tail.dll",
         [](Stream& s) {
             s.setFormat(44100, 2);
             s.drainFloat();
         },
         "TimeoutError"},
        {"a plug-in that does not open", L"fx_synth.dll", [](Stream& s) { s.setFormat(44100, 2); }, "OpenError"},
    };
    for (const Row& row : rows) {
        fxhost::HostOptions options;
        options.timeoutSeconds = 3;
        Host host(testPlugin(row.plugin), options);
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(thrown([&] { row.act(*host.openStream(SampleType::Float32)); }), row.kind) << row.name;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << row.name;
    }
}

// How a run's end becomes an exception: the crash line wins wherever it
// stands; an exit code the program never gives is a crash too.
TEST(ClientErrors, KindByExitCodeAndText) {
    struct Row {
        const char* name;
        uint32_t exitCode;
        std::string errorText;
        std::string kind;
    } rows[] = {
        {"the crash line among others", 0xFFFFFFFFu, "chatter\r\nplug-in crashed: access violation\r\n", "CrashError"},
        {"an exception's status", 0xC0000005u, "", "CrashError"},
        {"a plug-in's own exit", 3, "", "CrashError"},
        {"a library that does not load", 0xFFFFFFFFu, "Could not load VST bundle: x.dll\r\nCould not open VST.",
         "OpenError"},
        {"a refused format", 0xFFFFFFFFu, "VST refused audio format\r\n", "FormatError"},
        {"a transport failure", 0xFFFFFFFFu, "file access error\r\n", "Error"},
    };
    for (const Row& row : rows) {
        std::string text;
        EXPECT_EQ(thrown([&] { fxhost::throwFor("process", row.exitCode, row.errorText); }, &text), row.kind)
            << row.name;
        EXPECT_EQ(text.find('\r'), std::string::npos) << row.name;
    }
}

TEST(ClientProgram, ThirtyTwoBitPluginsRunInTheirOwnProgram) {
    ScopedTempFolder folder;
    // A minimal PE header: "MZ", the offset of "PE\0\0", the machine field.
    std::string image(64, '\0');
    image[0] = 'M', image[1] = 'Z', image[0x3C] = 64;
    writeWholeFile(folder.path() + L"x86.dll", image + std::string("PE\0\0\x4c\x01", 6));
    writeWholeFile(folder.path() + L"x64.dll", image + std::string("PE\0\0\x64\x86", 6));
    writeWholeFile(folder.path() + L"fxhost.exe", "");
    fxhost::HostOptions options;
    options.program = folder.path() + L"fxhost.exe";
    EXPECT_EQ(Host(folder.path() + L"x64.dll", options).programPath(), options.program);
    EXPECT_EQ(thrown([&] { Host(folder.path() + L"x86.dll", options); }), "Error");
    writeWholeFile(folder.path() + L"fxhost32.exe", "");
    EXPECT_EQ(Host(folder.path() + L"x86.dll", options).programPath(), folder.path() + L"fxhost32.exe");
}

} // namespace
