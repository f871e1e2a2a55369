// VST 3 plug-ins seen from a parent: which modules open and which fall
// through to VST 2, the information report of both kinds, audio through the
// adapter, and settings as preset images through --data and the stream.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "parent.h"
#include "stream_bytes.h"

namespace {

typedef std::vector<std::string> Lines;
const std::string newline = "\r\n";

HostRun command(const wchar_t* word, const std::wstring& plugin, std::vector<std::wstring> extra = {}) {
    std::vector<std::wstring> arguments = {word, L"--vst", plugin};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return runHost(arguments);
}

std::string le64(uint64_t v) {
    return le32(uint32_t(v)) + le32(uint32_t(v >> 32));
}

std::string binary64(double value) {
    std::string bytes(8, '\0');
    std::memcpy(&bytes[0], &value, 8);
    return bytes;
}

// fx3_gain's class identifier as a preset image writes it.
const std::string gainClassText = "6A4F1C528E3B4D7A9C21F0B35D7E8B01";

// The preset image of fx3_gain with a gain (normalized) and the
// controller's byte.
std::string gainImage(double gain, char controllerByte = 1, const std::string& classText = gainClassText) {
    std::string component = binary64(gain) + "G1";
    std::string controller = std::string("UI") + controllerByte;
    std::string image = "VST3" + le32(1) + classText + le64(48 + component.size() + controller.size());
    image += component + controller;
    image += "List" + le32(2);
    image += "Comp" + le64(48) + le64(component.size());
    image += "Cont" + le64(48 + component.size()) + le64(controller.size());
    return image;
}

class DataFile {
public:
    DataFile() : folder(L"fxhost vst3 data") { path = folder.path() + L"settings.bin"; }
    void write(const std::string& bytes) const {
        FILE* file = _wfopen(path.c_str(), L"wb");
        fwrite(bytes.data(), 1, bytes.size(), file);
        fclose(file);
    }
    ScopedTempFolder folder;
    std::wstring path;
};

const std::vector<std::wstring> plainFloat = {L"--bits",     L"32", L"--formattag", L"3",
                                              L"--channels", L"2",  L"--rate",      L"48000"};
const std::vector<std::wstring> chunkedFloat = {L"--protocol", L"chunked", L"--bits", L"32", L"--formattag", L"3"};

TEST(Vst3Open, ModulesAndBundles) {
    EXPECT_EQ(command(L"test", testPlugin(L"fx3_effect.vst3")).exitCode, 0u);
    HostRun bundle = command(L"test", testPlugin(L"fx3_bundle.vst3"));
    EXPECT_EQ(bundle.exitCode, 0u) << bundle.error;
    EXPECT_EQ(bundle.error, "");
    // The first class refuses to be an audio processor; the second opens.
    EXPECT_EQ(command(L"test", testPlugin(L"fx3_twoclasses.vst3")).exitCode, 0u);
    EXPECT_EQ(command(L"test", testPlugin(L"fx3_gain.vst3"), {L"--vst-version", L"3"}).exitCode, 0u);
}

TEST(Vst3Open, FailuresFallThroughToVst2Silently) {
    // Each is a loadable library without a VST 2 entry: the VST 3 attempt
    // says nothing, the VST 2 attempt names the path.
    for (const wchar_t* name :
         {L"fx3_noclass.vst3", L"fx3_instrument.vst3", L"fx3_initfail.vst3", L"fx3_nullfactory.vst3"}) {
        std::wstring path = testPlugin(name);
        HostRun run = command(L"test", path);
        EXPECT_EQ(run.exitCode, exitFailure) << narrow(name);
        EXPECT_EQ(run.error, "Could not load VST: " + narrow(path) + newline + "Could not open VST.") << narrow(name);
    }
    // Only VST 3 allowed: nothing but the last line.
    HostRun only3 = command(L"test", testPlugin(L"fx_effect.dll"), {L"--vst-version", L"3"});
    EXPECT_EQ(only3.exitCode, exitFailure);
    EXPECT_EQ(only3.error, "Could not open VST.");
    // A module as VST 2 only is a library without its entry.
    std::wstring module = testPlugin(L"fx3_effect.vst3");
    HostRun only2 = command(L"test", module, {L"--vst-version", L"2"});
    EXPECT_EQ(only2.error, "Could not load VST: " + narrow(module) + newline + "Could not open VST.");
    // A trailing separator leaves the bundle's last component empty.
    HostRun trailing = command(L"test", testPlugin(L"fx3_bundle.vst3") + L"\\");
    EXPECT_EQ(trailing.exitCode, exitFailure);
}

TEST(Vst3Open, FactoryThatThrowsEndsTheRunWithItsText) {
    HostRun run = command(L"test", testPlugin(L"fx3_throwfactory.vst3"));
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_NE(run.error, "");
    EXPECT_EQ(run.output, "");
}

TEST(Vst3Commands, HasEditorFollowsTheExportedParameters) {
    EXPECT_EQ(command(L"has-editor", testPlugin(L"fx3_gain.vst3")).exitCode, 0u);
    EXPECT_EQ(command(L"has-editor", testPlugin(L"fx3_effect.vst3")).exitCode, exitFailure);
}

TEST(Info, ReportsPinsOfBothKinds) {
    HostRun vst3 = command(L"info", testPlugin(L"fx3_sidechain.vst3"));
    EXPECT_EQ(vst3.exitCode, 0u);
    std::string pin = "    .flags = 7" + newline + "    .arrangementType = 1" + newline;
    // The sidechain bus is auxiliary: it is switched off and not shown.
    EXPECT_EQ(vst3.error, "Number of inputs: 2" + newline + "  Input 0:" + newline + "    .label = Stereo In" +
                              newline + pin + "  Input 1:" + newline + "    .label = Stereo In" + newline + pin +
                              "Number of outputs: 2" + newline + "  Output 0:" + newline + "    .label = Stereo Out" +
                              newline + pin + "  Output 1:" + newline + "    .label = Stereo Out" + newline + pin);
    EXPECT_EQ(vst3.output, "");

    HostRun vst2 = command(L"info", testPlugin(L"fx_mixedpins.dll"));
    EXPECT_EQ(vst2.exitCode, 0u);
    EXPECT_EQ(vst2.error.substr(0, vst2.error.find("  Input 1")),
              "Number of inputs: 4" + newline + "  Input 0:" + newline + "    .label = In 1" + newline +
                  "    .flags = 3" + newline + "    .arrangementType = 1" + newline);
    EXPECT_NE(vst2.error.find(newline + "Number of outputs: "), std::string::npos);

    HostRun none = command(L"info", testPlugin(L"fx_noinputs.dll"));
    const std::string noInputs = "Number of inputs: 0" + newline + "Number of outputs: ";
    EXPECT_EQ(none.error.substr(0, noInputs.size()), noInputs);
}

TEST(Vst3Process, PlainStreamPassesThrough) {
    const std::string audio = floatFrames(1500, 2);
    std::vector<std::wstring> arguments = {L"process", L"--vst", testPlugin(L"fx3_gain.vst3")};
    arguments.insert(arguments.end(), plainFloat.begin(), plainFloat.end());
    HostRun run = runHost(arguments, audio);
    EXPECT_EQ(run.exitCode, 0u) << run.error;
    // No tail: the plug-in says it has none, which the host takes as unknown
    // and drains nothing beyond the input.
    ASSERT_GE(run.output.size(), audio.size());
    EXPECT_TRUE(sameBytes(run.output.substr(0, audio.size()), audio));
}

TEST(Vst3Settings, DataFileAndStreamCarryPresetImages) {
    DataFile data;
    data.write(gainImage(0.25)); // half the level
    const std::string audio = floatFrames(600, 2);
    std::string input = message(3, formatRecord(44100, 2, 3, 2, 3)) + message(1, audio) + message(2, gainImage(1.0)) +
                        message(1, audio);
    std::vector<std::wstring> arguments = {L"process", L"--vst", testPlugin(L"fx3_gain.vst3"), L"--data", data.path};
    arguments.insert(arguments.end(), chunkedFloat.begin(), chunkedFloat.end());
    HostRun run = runHost(arguments, input);
    EXPECT_EQ(run.exitCode, 0u) << run.error;
    std::string expected =
        formatRecord(44100, 2, 3, 2, 3) + scaled(audio, 0.5f) + le32(0) + scaled(audio, 2.0f) + le32(0);
    EXPECT_TRUE(sameBytes(run.output, expected));

    // An image of another class is refused whole; one in lower case is not.
    std::string lower = gainClassText;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return char(std::tolower(c)); });
    std::string wrongClass = gainClassText;
    wrongClass[0] = '7';
    input = message(3, formatRecord(44100, 2, 3, 2, 3)) + message(2, gainImage(0.25, 1, wrongClass)) +
            message(1, audio) + message(2, gainImage(0.25, 1, lower)) + message(1, audio);
    run = runHost({L"process", L"--vst", testPlugin(L"fx3_gain.vst3"), L"--protocol", L"chunked", L"--bits", L"32",
                   L"--formattag", L"3"},
                  input);
    EXPECT_TRUE(
        sameBytes(run.output, formatRecord(44100, 2, 3, 2, 3) + audio + le32(0) + scaled(audio, 0.5f) + le32(0)));
}

// The calls a VST 3 plug-in receives over a whole run, leaving out the
// questions that only read (bus and parameter descriptions).
Lines lifecycleCalls(const CallLog& log) {
    Lines calls;
    for (const std::string& line : log.calls())
        if (line.find("getBusCount") == std::string::npos && line.find("getBusInfo") == std::string::npos &&
            line.find("getParamNormalized") == std::string::npos && line.find("getParameterInfo") == std::string::npos)
            calls.push_back(line);
    return calls;
}

TEST(Vst3Lifecycle, CallsOfAWholeRunInOrder) {
    CallLog log;
    DataFile data;
    data.write(gainImage(0.25));
    std::string input = message(3, formatRecord(48000, 2, 3, 2, 3)) + message(1, floatFrames(1024, 2));
    std::vector<std::wstring> arguments = {L"process", L"--vst", testPlugin(L"fx3_gain.vst3"), L"--data", data.path};
    arguments.insert(arguments.end(), chunkedFloat.begin(), chunkedFloat.end());
    HostRun run = runHost(arguments, input);
    ASSERT_EQ(run.exitCode, 0u) << run.error;
    EXPECT_EQ(lifecycleCalls(log), Lines({
                                       // The module, and the adapter's set-up.
                                       "InitDll",
                                       "GetPluginFactory",
                                       "factory createInstance component",
                                       "component getControllerClassId",
                                       "factory createInstance controller",
                                       "component initialize",
                                       "controller initialize",
                                       "controller setComponentHandler set",
                                       "component connect",
                                       "controller notify gainHello 42",
                                       "component send gainHello 0",
                                       "controller connect",
                                       "component getState",
                                       "controller setComponentState 10",
                                       "component canProcessSampleSize 1",
                                       "component canProcessSampleSize 0",
                                       "component getLatencySamples",
                                       "component getTailSamples",
                                       "component setupProcessing 0 0 256 44100",
                                       "controller getParameterCount",
                                       "component activateBus 0 0 0 1",
                                       "component activateBus 0 1 0 1",
                                       "controller createView editor",
                                       // effSetBlockSize 512, effMainsChanged 1.
                                       "component setupProcessing 0 0 512 44100",
                                       "component setActive 1",
                                       // --data, while active.
                                       "component setState 10",
                                       "controller setComponentState 10",
                                       "controller setState 3",
                                       // The stream's format.
                                       "component setupProcessing 0 0 512 48000",
                                       "component getBusArrangement 0 0",
                                       "component getBusArrangement 1 0",
                                       // The first block, at the offline level.
                                       "component setupProcessing 2 0 512 48000",
                                       "component setProcessing 1",
                                       "component process 512 0",
                                       "component process 512 0",
                                       // effMainsChanged 0, effClose.
                                       "component setProcessing 0",
                                       "component setActive 0",
                                       "component disconnect",
                                       "controller disconnect",
                                       "controller setComponentHandler null",
                                       "controller terminate",
                                       "component terminate",
                                       "controller deleted",
                                       "component deleted",
                                   }));
}

TEST(Vst3Lifecycle, ReopenMakesANewAdapterFromTheLoadedModule) {
    CallLog log;
    const std::string format = formatRecord(44100, 2, 3, 2, 3);
    const std::string audio = floatFrames(100, 2);
    HostRun run = runHost({L"process", L"--vst", testPlugin(L"fx3_gain.vst3"), L"--protocol", L"chunked", L"--bits",
                           L"32", L"--formattag", L"3"},
                          message(3, format) + message(2, gainImage(0.25)) + message(5, "") + message(3, format) +
                              message(1, audio));
    EXPECT_EQ(run.exitCode, 0u) << run.error;
    // The settings went with the old instance: the new one has its default.
    EXPECT_TRUE(sameBytes(run.output, format + format + audio + le32(0)));
    Lines calls = log.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "InitDll"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "GetPluginFactory"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "component initialize"), 2);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "component terminate"), 2);
}

TEST(Vst3BadInput, PluginsThatLieOrFailStillEndCleanly) {
    // Two inputs counted, the second not described, no arrangement at all:
    // the pins that can be described are reported and audio still flows.
    HostRun liar = command(L"info", testPlugin(L"fx3_liar.vst3"));
    EXPECT_EQ(liar.exitCode, 0u);
    EXPECT_EQ(liar.error.find("Number of inputs: 2" + newline + "  Input 0:"), 0u);
    const std::string audio = floatFrames(700, 2);
    std::vector<std::wstring> arguments = {L"process", L"--vst", testPlugin(L"fx3_liar.vst3")};
    arguments.insert(arguments.end(), plainFloat.begin(), plainFloat.end());
    HostRun run = runHost(arguments, audio);
    EXPECT_EQ(run.exitCode, 0u) << run.error;
    EXPECT_TRUE(sameBytes(run.output.substr(0, audio.size()), audio));

    // A component whose getState fails: the image stops before its list,
    // and an image whose "Comp" entry is missing or reaches past the data
    // restores nothing and breaks nothing.
    std::string noComp = gainImage(0.25);
    noComp.replace(noComp.size() - 40, 4, "Prog");
    std::string beyond = gainImage(0.25);
    beyond.replace(beyond.size() - 28, 8, le64(4096)); // the size of "Comp"
    std::string input = message(3, formatRecord(44100, 2, 3, 2, 3)) + message(2, noComp) + message(1, audio) +
                        message(2, beyond) + message(1, audio);
    run = runHost({L"process", L"--vst", testPlugin(L"fx3_gain.vst3"), L"--protocol", L"chunked", L"--bits", L"32",
                   L"--formattag", L"3"},
                  input);
    EXPECT_EQ(run.exitCode, 0u) << run.error;
    EXPECT_TRUE(sameBytes(run.output.substr(20, audio.size()), audio)) << "no Comp entry: nothing restored";
    EXPECT_EQ(run.output.size(), 20 + 2 * (audio.size() + 4));
}

} // namespace
