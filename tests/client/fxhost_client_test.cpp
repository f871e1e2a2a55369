// The C++ client against the real program and the test plug-ins: commands
// and their answers, a stream's format, blocks, latency, tail, settings and
// reopening, and each kind of failure as its own exception. (A plug-in that
// faults ends with a crash line only where the program contains crashes;
// how that line and the other endings are told apart is tested on texts.)

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
        {"test, opens", L"fx_effect.dll", [](const Host& h) { return std::to_string(h.test()); }, "1"},
        {"test, an instrument", L"fx_synth.dll", [](const Host& h) { return std::to_string(h.test()); }, "0"},
        {"test, no such file", L"missing.dll", [](const Host& h) { return std::to_string(h.test()); }, "0"},
        {"has-editor, an editor", L"fx_editor.dll", [](const Host& h) { return std::to_string(h.hasEditor()); },
         "1"},
        {"has-editor, nothing to show", L"fx_bare.dll", [](const Host& h) { return std::to_string(h.hasEditor()); },
         "0"},
        {"has-editor, does not open", L"missing.dll",
         [](const Host& h) { return thrown([&] { h.hasEditor(); }); }, "OpenError"},
        {"info, mixed pins", L"fx_mixedpins.dll",
         [](const Host& h) {
             fxhost::PluginInfo info = h.info();
             std::string text;
             for (const fxhost::Pin& pin : info.inputs)
                 text += pin.label + "/" + std::to_string(pin.flags) + "/" + std::to_string(pin.arrangement) + " ";
             return text + "| " + std::to_string(info.outputs.size()) + " " + info.outputs[1].label;
         },
         "In 1/3/1 In 2/3/1 In 3/1/0 In 4/1/0 | 2 Out 2"},
        {"info, no inputs", L"fx_noinputs.dll",
         [](const Host& h) { return std::to_string(h.info().inputs.size()) + std::to_string(h.info().outputs.size()); },
         "02"},
        {"info, does not open", L"fx_badmagic.dll", [](const Host& h) { return thrown([&] { h.info(); }); },
         "OpenError"},
        {"configure, a parent that is no window", L"fx_params.dll",
         [](const Host& h) {
             std::string text = "unset";
             return thrown([&] { h.configure(L"", reinterpret_cast<void*>(uintptr_t(0x7ff0))); }, &text) + " [" +
                    text + "]";
         },
         "Error []"},
    };
    for (const Row& row : rows) {
        Host host(testPlugin(row.plugin));
        EXPECT_EQ(row.ask(host), row.expected) << row.name;
    }
}

TEST(ClientStream, BlocksOfAnyLengthLatencyTailAndReopen) {
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
    // A fresh instance starts with a silent delay line.
    stream->process(in.data(), 100);
    EXPECT_EQ(stream->reopen().outputChannels, 2u);
    EXPECT_EQ(stream->process(in.data(), 512), std::vector<float>(2 * 512, 0.0f));
    stream->close();
}

TEST(ClientStream, FormatsPrecisionAndSettings) {
    {
        // Fewer channels granted than asked: the caller learns it.
        Host host(testPlugin(L"fx_mixedpins.dll"));
        std::unique_ptr<Stream> stream = host.openStream(SampleType::Float32);
        fxhost::StreamFormat asked{48000, 4, 0x33, 2, 3};
        EXPECT_EQ(stream->setFormat(asked).inputChannels, 2u);
        stream->close();
    }
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
        std::string errorText;
    } rows[] = {
        {"a plug-in without inputs", L"fx_noinputs.dll", [](Stream& s) { s.setFormat(44100, 2); }, "FormatError",
         "VST refused audio format\n"},
        {"a plug-in that hangs", L"fx_hang_tail.dll",
         [](Stream& s) {
             s.setFormat(44100, 2);
             s.drainFloat();
         },
         "TimeoutError", ""},
        {"a plug-in that faults", L"fx_crash_tail.dll",
         [](Stream& s) {
             s.setFormat(44100, 2);
             s.drainFloat();
         },
         "CrashError", ""},
        {"a plug-in that does not open", L"fx_synth.dll", [](Stream& s) { s.setFormat(44100, 2); }, "OpenError",
         ""},
    };
    for (const Row& row : rows) {
        fxhost::HostOptions options;
        options.timeoutSeconds = 3;
        Host host(testPlugin(row.plugin), options);
        auto start = std::chrono::steady_clock::now();
        std::string text;
        EXPECT_EQ(thrown([&] { row.act(*host.openStream(SampleType::Float32)); }, &text), row.kind) << row.name;
        if (!row.errorText.empty()) {
            EXPECT_EQ(text, row.errorText) << row.name;
        }
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
