// Plug-ins made with a public framework (the DISTRHO Plugin Framework), each
// built from one source as VST 2 and as VST 3: every command opens both
// builds, the VST 3 build's audio equals the VST 2 build's, and settings
// saved by the host come back through --data and the stream. Also the shape
// such plug-ins have, on modules of our own: a processor that is an object
// apart from its component, and classes that give no processor at all.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "host/vst_globals.h"
#include "parent.h"
#include "public.sdk/source/common/memorystream.h"
#include "stream_bytes.h"
#include "support/win32.h"
#include "vst3/open_module.h"
#include "vst3/vst3_adapter.h"

namespace {

const std::string newline = "\r\n";
const size_t latencyFrames = 300; // fxd_latency's delay

std::wstring vst2Build(const std::wstring& name) {
    return testPlugin(name + L"-vst.dll");
}
std::wstring vst3Build(const std::wstring& name) {
    return testPlugin(name + L".vst3");
}

std::vector<std::wstring> with(std::vector<std::wstring> arguments, const std::vector<std::wstring>& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST(FrameworkPlugins, EveryCommandOpensBothBuilds) {
    const std::wstring module = vst3Build(L"fxd_gain") + L"\\Contents\\x86_64-win\\fxd_gain.vst3";
    for (const std::wstring& plugin : {vst2Build(L"fxd_gain"), vst3Build(L"fxd_gain"), module}) {
        HostRun opened = runHost({L"test", L"--vst", plugin});
        EXPECT_EQ(opened.exitCode, 0u) << narrow(plugin);
        // The framework complains on standard error of a host that frees its
        // objects in the wrong order; nothing else writes there.
        EXPECT_EQ(opened.error, "") << narrow(plugin);
        EXPECT_EQ(runHost({L"has-editor", L"--vst", plugin}).exitCode, 0u) << "a parameter: " << narrow(plugin);
        HostRun info = runHost({L"info", L"--vst", plugin});
        EXPECT_EQ(info.error.find("Number of inputs: 2" + newline), 0u) << info.error;
        EXPECT_NE(info.error.find(newline + "Number of outputs: 2" + newline), std::string::npos) << info.error;
    }
    EXPECT_EQ(runHost({L"test", L"--vst", module, L"--vst-version", L"3"}).exitCode, 0u);

    // The VST 3 build is refused as VST 3 and then, as VST 2, is a folder.
    HostRun refused2 = runHost({L"test", L"--vst", vst2Build(L"fxd_instrument")});
    EXPECT_EQ(refused2.exitCode, exitFailure);
    EXPECT_EQ(refused2.error,
              "Could not load VST: " + narrow(vst2Build(L"fxd_instrument")) + newline + "Could not open VST.");
    HostRun refused3 = runHost({L"test", L"--vst", vst3Build(L"fxd_instrument")});
    EXPECT_EQ(refused3.exitCode, exitFailure);
    EXPECT_EQ(refused3.error,
              "Could not load VST bundle: " + narrow(vst3Build(L"fxd_instrument")) + newline + "Could not open VST.");
    HostRun only3 = runHost({L"test", L"--vst", vst3Build(L"fxd_instrument"), L"--vst-version", L"3"});
    EXPECT_EQ(only3.error, "Could not open VST.");
}

struct Encoding {
    const char* name;
    std::vector<std::wstring> options;
    size_t frameBytes; // stereo
};

const Encoding encodings[] = {
    {"16-bit", {L"--bits", L"16"}, 4},
    {"float 32", {L"--bits", L"32", L"--formattag", L"3"}, 8},
    {"float 64", {L"--bits", L"64", L"--formattag", L"3"}, 16},
};

// Stereo frames of the encoding, none of them silent.
std::string framesOf(const Encoding& encoding, size_t frames) {
    if (encoding.frameBytes == 4)
        return pcm16(signal16(2 * frames));
    std::string floats = floatFrames(frames, 2);
    if (encoding.frameBytes == 8)
        return floats;
    std::string doubles;
    for (size_t i = 0; i < floats.size(); i += 4) {
        float single;
        std::memcpy(&single, &floats[i], 4);
        double value = single;
        doubles.append(reinterpret_cast<const char*>(&value), 8);
    }
    return doubles;
}

TEST(FrameworkPlugins, Vst3BuildSoundsAsTheVst2Build) {
    const std::vector<std::wstring> plain = {L"--rate", L"44100", L"--channels", L"2"};
    const std::vector<std::wstring> chunked = {L"--protocol", L"chunked"};
    const std::string format = formatRecord(44100, 2, 3, 2, 3);
    for (const wchar_t* name : {L"fxd_gain", L"fxd_latency"}) {
        bool delays = std::wstring(name) == L"fxd_latency";
        for (const Encoding& encoding : encodings) {
            const std::string audio = framesOf(encoding, 2000);
            std::string label = narrow(name) + " " + encoding.name;
            // Plain: the output alone. Chunked: the format, the output and
            // the latency, then the tail.
            for (bool isChunked : {false, true}) {
                std::vector<std::wstring> options = with(isChunked ? chunked : plain, encoding.options);
                std::string input = isChunked ? message(3, format) + message(1, audio) + message(4, "") : audio;
                HostRun vst2 = runHost(with({L"process", L"--vst", vst2Build(name)}, options), input);
                HostRun vst3 = runHost(with({L"process", L"--vst", vst3Build(name)}, options), input);
                std::string what = label + (isChunked ? " chunked" : " plain");
                ASSERT_EQ(vst3.exitCode, 0u) << what << ": " << vst3.error;
                ASSERT_EQ(vst2.exitCode, 0u) << what << ": " << vst2.error;
                EXPECT_TRUE(sameBytes(vst3.output, vst2.output)) << what;
                // And both really ran the effect: the gain passes its input,
                // the delay shifts it by its latency.
                std::string output = vst3.output.substr(isChunked ? format.size() : 0);
                size_t shift = delays ? latencyFrames * encoding.frameBytes : 0;
                ASSERT_GE(output.size(), audio.size()) << what;
                EXPECT_TRUE(
                    sameBytes(output.substr(shift, audio.size() - shift), audio.substr(0, audio.size() - shift)))
                    << what;
                if (isChunked) {
                    EXPECT_EQ(output.substr(audio.size(), 4), le32(uint32_t(delays ? latencyFrames : 0))) << what;
                }
            }
        }
    }
}

// The framework's own forms of a state of fxd_gain: its VST 3 component
// state, and its VST 2 chunk.
std::string frameworkVst3State(const std::string& polarity, const std::string& gain) {
    const std::string nul(1, '\0');
    return "__dpf_state_begin__" + nul + "polarity" + nul + polarity + nul + "__dpf_state_end__" + nul +
           "__dpf_parameters_begin__" + nul + "gain" + nul + gain + nul + "__dpf_parameters_end__" + nul + "\xFE" + nul;
}

std::string frameworkVst2Chunk(const std::string& polarity, const std::string& gain) {
    const std::string nul(1, '\0');
    return "polarity" + nul + polarity + nul + nul + "gain" + nul + gain + nul + nul;
}

// An instance of fxd_gain opened in this process, as the host opens it.
void openGain(VSTEffect& effect, bool vst3) {
    if (vst3) {
        EXPECT_TRUE(openModule(effect, narrow(vst3Build(L"fxd_gain")).c_str()));
        return;
    }
    HMODULE library = LoadLibraryW(vst2Build(L"fxd_gain").c_str());
    void* entry = reinterpret_cast<void*>(GetProcAddress(library, "VSTPluginMain"));
    EXPECT_TRUE(effect.openEntry(reinterpret_cast<VstPluginMainProc>(entry)));
}

// Settings as the host writes them (the configure commands' writer) for an
// instance given the framework's own form of a state.
std::string savedSettings(bool vst3, const std::string& state) {
    ScopedTempFolder folder(L"fxhost framework settings");
    VSTGlobals globals;
    globals.effect = VSTEffect::create(OptionMap());
    VSTEffect& effect = *globals.effect;
    openGain(effect, vst3);
    if (!effect.aeffect)
        return "";
    std::string copy = state;
    if (vst3) {
        Steinberg::MemoryStream stream(&copy[0], Steinberg::TSize(copy.size()));
        EXPECT_EQ(effect.adapter->component->setState(&stream), Steinberg::kResultOk);
    } else {
        effect.aeffect->dispatcher(effect.aeffect, effSetChunk, 0, VstIntPtr(copy.size()), &copy[0], 0.0f);
    }
    globals.dataPath = narrow(folder.path() + L"settings.bin");
    globals.saveSettings();
    FILE* file = _wfopen((folder.path() + L"settings.bin").c_str(), L"rb");
    std::string bytes;
    char buffer[4096];
    for (size_t got; file && (got = fread(buffer, 1, sizeof buffer, file)) > 0;)
        bytes.append(buffer, got);
    if (file)
        fclose(file);
    return bytes;
}

TEST(FrameworkPlugins, SavedSettingsComeBackThroughDataAndStream) {
    ScopedTempFolder folder(L"fxhost framework data");
    const std::wstring dataPath = folder.path() + L"settings.bin";
    const std::string format = formatRecord(44100, 2, 3, 2, 3);
    const std::string audio = floatFrames(700, 2);
    const std::vector<std::wstring> chunked = {L"--protocol", L"chunked", L"--bits", L"32", L"--formattag", L"3"};
    for (bool vst3 : {false, true}) {
        const char* label = vst3 ? "VST 3" : "VST 2";
        std::string inverted = savedSettings(vst3, vst3 ? frameworkVst3State("invert", "0.500000")
                                                        : frameworkVst2Chunk("invert", "0.500000"));
        std::string doubled = savedSettings(vst3, vst3 ? frameworkVst3State("normal", "2.000000")
                                                       : frameworkVst2Chunk("normal", "2.000000"));
        ASSERT_FALSE(inverted.empty()) << label;
        EXPECT_NE(inverted.find(std::string("invert\0", 7)), std::string::npos) << label << ": the state value";
        if (vst3) {
            EXPECT_EQ(inverted.substr(0, 4), "VST3");
        }

        FILE* file = _wfopen(dataPath.c_str(), L"wb");
        fwrite(inverted.data(), 1, inverted.size(), file);
        fclose(file);
        std::wstring plugin = vst3 ? vst3Build(L"fxd_gain") : vst2Build(L"fxd_gain");
        HostRun run = runHost(with({L"process", L"--vst", plugin, L"--data", dataPath}, chunked),
                              message(3, format) + message(1, audio) + message(2, doubled) + message(1, audio));
        EXPECT_EQ(run.exitCode, 0u) << label << ": " << run.error;
        EXPECT_TRUE(sameBytes(run.output, format + scaled(audio, -0.5f) + le32(0) + scaled(audio, 2.0f) + le32(0)))
            << label;
    }
}

// The framework's VST 3 plug-ins return from a block of no frames before
// they read its parameter changes: what the host flushed must still reach
// the next block of audio.
TEST(FrameworkPlugins, HostParameterChangeReachesAudioAfterAFlush) {
    VSTGlobals globals;
    globals.effect = VSTEffect::create(OptionMap());
    VSTEffect& effect = *globals.effect;
    openGain(effect, true);
    ASSERT_TRUE(effect.aeffect);
    effect.setParameter(0, 0.25f); // a gain of 0.5
    effect.flushParameters();
    std::vector<float> left(64, 1.0f), right(64, 1.0f);
    float* channels[] = {left.data(), right.data()};
    effect.aeffect->processReplacing(effect.aeffect, channels, channels, 64);
    EXPECT_EQ(left[0], 0.5f);
    EXPECT_EQ(right[63], 0.5f);
}

// Our own modules of the same shape. fx3_split's factory makes only the
// component, whose processor is an object apart that dies with it.
TEST(FrameworkShape, ProcessorApartFromItsComponentRunsAndIsFreedLast) {
    CallLog log;
    const std::string audio = floatFrames(900, 2);
    HostRun run = runHost({L"process", L"--vst", testPlugin(L"fx3_split.vst3"), L"--rate", L"44100", L"--channels",
                           L"2", L"--bits", L"32", L"--formattag", L"3"},
                          audio);
    EXPECT_EQ(run.exitCode, 0u) << run.error;
    EXPECT_TRUE(sameBytes(run.output.substr(0, audio.size()), audio));
    std::vector<std::string> lines = log.calls();
    auto has = [&](const char* line) { return std::find(lines.begin(), lines.end(), line) != lines.end(); };
    // Connected through the component, since the processor is no connection point.
    EXPECT_TRUE(has("component connect"));
    EXPECT_TRUE(has("controller notify gainHello 42"));
    EXPECT_FALSE(has("component deleted while its processor is held"));
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.back(), "component deleted") << "held to the end, and freed";
}

TEST(FrameworkShape, ClassesWithoutAProcessorOpenNothingAndLeakNothing) {
    CallLog log;
    std::wstring plugin = testPlugin(L"fx3_refuse.vst3");
    HostRun run = runHost({L"test", L"--vst", plugin});
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_EQ(run.error, "Could not load VST: " + narrow(plugin) + newline + "Could not open VST.");
    EXPECT_EQ(runHost({L"test", L"--vst", plugin, L"--vst-version", L"3"}).error, "Could not open VST.");
    std::vector<std::string> lines = log.calls();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "factory createInstance component"), 2);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "component deleted"), 2);
}

} // namespace
