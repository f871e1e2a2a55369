// One small VST 2 effect, built into several test plug-ins: FX_PLUGIN_NAME
// picks the variant from the table below, and each variant exists to
// provoke one behaviour of the host. Output pin c is input pin c delayed by
// the variant's latency (silence where there is no such input): a known
// function of the input, so the tests can check every byte. Every call
// received and every host answer is logged (see plugin_log.h).

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "plugin_log.h"
#include "vst2/vst2_interface.h"

namespace {

enum Trait : unsigned {
    Editor = 1 << 0,     // has an editor
    Synth = 1 << 1,      // flags itself an instrument, which the host refuses
    BadMagic = 1 << 2,   // a record without the VST magic
    NullEntry = 1 << 3,  // the entry hands back no record
    ThrowEntry = 1 << 4, // throws out of its entry
    ThrowOpen = 1 << 5,  // throws out of effOpen
    Asks = 1 << 6,       // asks the host the usual questions, in its entry and in effOpen; wants idle calls
    FloatOnly = 1 << 7,  // no 64-bit processing
    Accumulate = 1 << 8, // only the old accumulating process call
    Chunks = 1 << 9,     // keeps its settings as a program chunk
    Once = 1 << 10,      // the entry hands back nothing after the first record
    NoProcess = 1 << 11, // claims replacing processing but has no such call
    MixedPins = 1 << 12, // input pins stereo, stereo, mono, mono
};

struct Variant {
    const char* name;
    VstInt32 inputs, outputs, params, latency;
    unsigned traits;
};

// fx_mainonly exports its entry only as "main" and fx_noentry not at all
// (see their .def files).
constexpr Variant variants[] = {
    {"fx_effect", 2, 2, 2, 0, 0},         {"fx_editor", 2, 2, 0, 0, Editor},
    {"fx_bare", 2, 2, 0, 0, 0},           {"fx_synth", 2, 2, 2, 0, Synth},
    {"fx_badmagic", 2, 2, 2, 0, BadMagic}, {"fx_nullentry", 2, 2, 2, 0, NullEntry},
    {"fx_throw_entry", 2, 2, 2, 0, ThrowEntry}, {"fx_throw_open", 2, 2, 2, 0, ThrowOpen},
    {"fx_mainonly", 2, 2, 2, 0, 0},       {"fx_noentry", 2, 2, 2, 0, 0},
    {"fx_asks", 2, 2, 2, 0, Asks},        {"fx_delay", 2, 2, 2, 512, 0},
    {"fx_mixedpins", 4, 2, 2, 0, MixedPins}, {"fx_noinputs", 0, 2, 2, 0, 0},
    {"fx_floatonly", 2, 2, 2, 0, FloatOnly}, {"fx_accumulate", 2, 2, 2, 0, Accumulate},
    {"fx_chunk", 2, 2, 2, 0, Chunks},     {"fx_once", 2, 2, 2, 0, Once},
    {"fx_noprocess", 2, 2, 2, 0, NoProcess},
};

constexpr bool sameText(const char* a, const char* b) { return *a == *b && (*a == 0 || sameText(a + 1, b + 1)); }
// A name missing from the table does not compile.
constexpr Variant pick(size_t i = 0) { return sameText(variants[i].name, FX_PLUGIN_NAME) ? variants[i] : pick(i + 1); }
constexpr Variant v = pick();
constexpr bool has(unsigned trait) { return (v.traits & trait) != 0; }

struct Plugin {
    AEffect effect{};
    audioMasterCallback host = nullptr;
    float params[2] = {0.5f, 0.25f};
    std::vector<double> delay[4]; // per output pin, the last `latency` inputs
    VstInt32 position = 0;
    std::string chunk = "chunk of " FX_PLUGIN_NAME;
};

Plugin* pluginOf(AEffect* effect) { return static_cast<Plugin*>(effect->object); }

std::string utf8(const std::wstring& text) {
    int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(size_t(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), &result[0], size, nullptr, nullptr);
    return result;
}

// What plug-ins commonly ask, with an instance and without (effect null):
// one line, so that a test compares all the answers at once.
void askHost(audioMasterCallback host, AEffect* effect) {
    auto ask = [&](VstInt32 opcode, void* ptr = nullptr, VstIntPtr value = 0) {
        return static_cast<long long>(host(effect, opcode, 0, value, ptr, 0.0f));
    };
    char vendor[256] = {}, product[256] = {}, time[128] = "null";
    long long vendorAnswer = ask(audioMasterGetVendorString, vendor);
    long long productAnswer = ask(audioMasterGetProductString, product);
    std::string canDo;
    for (const char* what : {"sendVstTimeInfo", "sizeWindow", "supplyIdle", "receiveVstEvents"})
        canDo += std::to_string(ask(audioMasterCanDo, const_cast<char*>(what)));
    if (const VstTimeInfo* t = reinterpret_cast<const VstTimeInfo*>(
            ask(audioMasterGetTime, nullptr, kVstNanosValid | kVstTempoValid | kVstTimeSigValid)))
        std::snprintf(time, sizeof time, "flags=%d tempo=%g sig=%d/%d rate=%g", t->flags, t->tempo,
                      t->timeSigNumerator, t->timeSigDenominator, t->sampleRate);
    pluginLog("host version=%lld rate=%lld block=%lld vendor=%lld:%s product=%lld:%s vendorVersion=%lld canDo=%s "
              "level=%lld language=%lld time=%s",
              ask(audioMasterVersion), ask(audioMasterGetSampleRate), ask(audioMasterGetBlockSize), vendorAnswer,
              vendor, productAnswer, product, ask(audioMasterGetVendorVersion), canDo.c_str(),
              ask(audioMasterGetCurrentProcessLevel), ask(audioMasterGetLanguage), time);
}

#define NAMED(opcode)                                                                                                 \
    case opcode:                                                                                                      \
        return #opcode;
// The opcodes the host sends, so that the log reads like the host's code.
const char* opcodeName(VstInt32 opcode) {
    switch (opcode) {
        NAMED(effOpen) NAMED(effClose) NAMED(effSetSampleRate) NAMED(effSetBlockSize) NAMED(effMainsChanged)
        NAMED(effEditGetRect) NAMED(effEditClose) NAMED(effEditIdle) NAMED(effGetChunk) NAMED(effSetChunk)
        NAMED(effConnectInput) NAMED(effConnectOutput) NAMED(effGetInputProperties) NAMED(effGetOutputProperties)
        NAMED(effSetSpeakerArrangement) NAMED(effGetTailSize) NAMED(effIdle) NAMED(effSetProcessPrecision)
    }
    return "other";
}

VstIntPtr fillPin(VstInt32 index, void* ptr, bool input) {
    if (index < 0 || index >= (input ? v.inputs : v.outputs) || !ptr)
        return 0;
    VstPinProperties* pin = static_cast<VstPinProperties*>(ptr);
    std::memset(pin, 0, sizeof *pin);
    std::snprintf(pin->label, sizeof pin->label, "%s %d", input ? "In" : "Out", int(index) + 1);
    bool mono = (input && has(MixedPins) && index >= 2) || (input ? v.inputs : v.outputs) == 1;
    pin->arrangementType = mono ? kSpeakerArrMono : kSpeakerArrStereo;
    pin->flags = kVstPinIsActive | (mono ? 0 : kVstPinIsStereo);
    return 1;
}

VstIntPtr VSTCALLBACK dispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                 float opt) {
    // Logged before acting, so that a call that throws still shows; an
    // arrangement by its type, not by its address.
    if (opcode == effSetSpeakerArrangement)
        value = static_cast<VstSpeakerArrangement*>(ptr)->type;
    pluginLog("dispatch %s %d %lld %g", opcodeName(opcode), index, static_cast<long long>(value), opt);
    Plugin* plugin = pluginOf(effect);
    switch (opcode) {
    case effOpen:
        if (has(ThrowOpen))
            throw std::runtime_error("fails in effOpen on purpose");
        if (has(Asks)) {
            askHost(plugin->host, effect);
            plugin->host(effect, audioMasterNeedIdle, 0, 0, nullptr, 0.0f);
        }
        return 0;
    case effClose:
        delete plugin; // the host never touches the record again
        return 1;
    case effGetInputProperties:
    case effGetOutputProperties:
        return fillPin(index, ptr, opcode == effGetInputProperties);
    case effSetProcessPrecision:
        return has(FloatOnly) && value == kVstProcessPrecision64 ? 0 : 1;
    case effGetChunk:
        if (!has(Chunks))
            return 0;
        *static_cast<void**>(ptr) = &plugin->chunk[0];
        return VstIntPtr(plugin->chunk.size());
    case effSetChunk:
        plugin->chunk.assign(static_cast<const char*>(ptr), size_t(value));
        pluginLog("chunk %s", plugin->chunk.c_str());
        return 1;
    }
    return 0; // including effIdle: "no more idle calls"
}

void VSTCALLBACK setParameter(AEffect* effect, VstInt32 index, float value) {
    pluginLog("setParameter %d %g", index, value);
    if (index >= 0 && index < v.params)
        pluginOf(effect)->params[index] = value;
}

float VSTCALLBACK getParameter(AEffect* effect, VstInt32 index) {
    return index >= 0 && index < v.params ? pluginOf(effect)->params[index] : 0.0f;
}

template <typename Sample> void render(AEffect* effect, Sample** inputs, Sample** outputs, VstInt32 frames) {
    Plugin* plugin = pluginOf(effect);
    for (VstInt32 c = 0; c < v.outputs && frames > 0; ++c) {
        VstInt32 at = plugin->position;
        for (VstInt32 i = 0; i < frames; ++i) {
            double x = c < v.inputs ? double(inputs[c][i]) : 0.0;
            if (v.latency > 0) {
                std::swap(x, plugin->delay[c][size_t(at)]);
                at = (at + 1) % v.latency;
            }
            // The accumulating call adds to what the outputs hold.
            outputs[c][i] = Sample(has(Accumulate) ? outputs[c][i] + x : x);
        }
    }
    if (v.latency > 0)
        plugin->position = (plugin->position + frames) % v.latency;
}

void VSTCALLBACK processReplacing(AEffect* effect, float** inputs, float** outputs, VstInt32 frames) {
    pluginLog("processReplacing %d", frames);
    render(effect, inputs, outputs, frames);
}

void VSTCALLBACK processDoubleReplacing(AEffect* effect, double** inputs, double** outputs, VstInt32 frames) {
    pluginLog("processDoubleReplacing %d", frames);
    render(effect, inputs, outputs, frames);
}

void VSTCALLBACK process(AEffect* effect, float** inputs, float** outputs, VstInt32 frames) {
    pluginLog("process %d", frames);
    render(effect, inputs, outputs, frames);
}

} // namespace

// Exported under the names the variant's .def file gives it.
extern "C" AEffect* VSTCALLBACK plugin_main_entry(audioMasterCallback host) {
    pluginLog("entry");
    static int opened = 0;
    if (has(ThrowEntry))
        throw std::runtime_error("fails in its entry on purpose");
    if (has(Asks)) {
        wchar_t folder[MAX_PATH * 4];
        DWORD length = GetCurrentDirectoryW(MAX_PATH * 4, folder);
        pluginLog("cwd %s", utf8(std::wstring(folder, length)).c_str());
        askHost(host, nullptr);
    }
    if (has(NullEntry) || (has(Once) && opened++ > 0))
        return nullptr;

    Plugin* plugin = new Plugin;
    plugin->host = host;
    for (std::vector<double>& line : plugin->delay)
        line.assign(size_t(v.latency), 0.0);
    AEffect& effect = plugin->effect;
    effect.magic = has(BadMagic) ? 0 : kEffectMagic;
    effect.dispatcher = dispatcher;
    effect.process = process;
    effect.setParameter = setParameter;
    effect.getParameter = getParameter;
    effect.numPrograms = 1;
    effect.numParams = v.params;
    effect.numInputs = v.inputs;
    effect.numOutputs = v.outputs;
    effect.initialDelay = v.latency;
    effect.flags = (has(Accumulate) ? 0 : effFlagsCanReplacing) | (has(FloatOnly) ? 0 : effFlagsCanDoubleReplacing) |
                   (has(Chunks) ? effFlagsProgramChunks : 0) | (has(Editor) ? effFlagsHasEditor : 0) |
                   (has(Synth) ? effFlagsIsSynth : 0);
    effect.ioRatio = 1.0f;
    effect.object = plugin;
    effect.processReplacing = has(Accumulate) || has(NoProcess) ? nullptr : processReplacing;
    effect.processDoubleReplacing = has(FloatOnly) ? nullptr : processDoubleReplacing;
    return &effect;
}
