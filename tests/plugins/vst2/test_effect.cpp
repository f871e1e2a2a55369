// One small VST 2 effect, built into several test plug-ins by compile
// definitions. Each DLL exists to provoke one behaviour of the host:
//
//   fx_effect           well-behaved: 2 in, 2 out, parameters Gain and Mix,
//                       32- and 64-bit replacing processing copy in to out
//   fx_editor_noparams  has an editor (300x200) and no parameters
//   fx_params_noeditor  3 parameters and no editor
//   fx_bare             neither an editor nor parameters
//   fx_synth            flags itself an instrument, which the host refuses
//   fx_badmagic         hands back a record without the VST magic
//   fx_nullentry        its entry hands back no record at all
//   fx_mainonly         exports its entry only under the old name "main"
//   fx_noentry          exports no entry, only an unrelated function
//   fx_throw_open       throws a C++ exception out of effOpen
//   fx_throw_entry      throws a C++ exception out of its entry
//   fx_asks             asks the host the usual questions from its entry
//                       (without an instance) and again from effOpen, and
//                       logs its working folder once
//   fx_needidle         asks for idle calls from effOpen
//
// and, for the audio stream:
//
//   fx_delay            delays its input by 512 frames and reports that as
//                       its latency; its tail ends 512 frames after the input
//   fx_half             renders exactly half of its input
//   fx_quad             4 inputs and 4 outputs
//   fx_mixedpins        inputs stereo, stereo, mono, mono; outputs stereo
//   fx_mono             1 input and 1 output
//   fx_noinputs         no inputs; fx_nooutputs: no outputs
//   fx_tail1            answers effGetTailSize with 1: no tail
//   fx_floatonly        no 64-bit processing
//   fx_accumulate       only the old accumulating process call
//   fx_chunk            keeps its settings as a program chunk
//   fx_once             opens once; its entry hands back nothing after that
//   fx_sustain_*        adds a constant to its output, so it never falls
//                       silent, and answers effGetTailSize with 700 frames,
//                       exactly 60 s at 44100 Hz, or one frame less
//   fx_noprocess        claims replacing processing but has no such call
//
// Apart from that they all behave like fx_effect, and every one of them logs
// each call it receives and each answer it gets (see plugin_log.h); the
// tests read that log.

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "plugin_log.h"
#include "vst2/vst2_interface.h"

#ifndef FX_UNIQUE_ID
#define FX_UNIQUE_ID "FxEf"
#endif
#ifndef FX_NUM_PARAMS
#define FX_NUM_PARAMS 2
#endif
#ifndef FX_HAS_EDITOR
#define FX_HAS_EDITOR 0
#endif
#ifndef FX_IS_SYNTH
#define FX_IS_SYNTH 0
#endif
#ifndef FX_BAD_MAGIC
#define FX_BAD_MAGIC 0
#endif
#ifndef FX_NULL_ENTRY
#define FX_NULL_ENTRY 0
#endif
#ifndef FX_THROW_ENTRY
#define FX_THROW_ENTRY 0
#endif
#ifndef FX_THROW_OPEN
#define FX_THROW_OPEN 0
#endif
#ifndef FX_ASKS_HOST
#define FX_ASKS_HOST 0
#endif
#ifndef FX_NEEDS_IDLE
#define FX_NEEDS_IDLE 0
#endif
#ifndef FX_INPUTS
#define FX_INPUTS 2
#endif
#ifndef FX_OUTPUTS
#define FX_OUTPUTS 2
#endif
// 1: input pins stereo, stereo, mono, mono (only the first two form a group)
#ifndef FX_MIXED_PINS
#define FX_MIXED_PINS 0
#endif
#ifndef FX_LATENCY
#define FX_LATENCY 0
#endif
#ifndef FX_GAIN
#define FX_GAIN 1.0
#endif
#ifndef FX_TAIL
#define FX_TAIL 0
#endif
#ifndef FX_NO_DOUBLE
#define FX_NO_DOUBLE 0
#endif
#ifndef FX_NO_REPLACING
#define FX_NO_REPLACING 0
#endif
#ifndef FX_CHUNKS
#define FX_CHUNKS 0
#endif
#ifndef FX_OFFSET
#define FX_OFFSET 0.0
#endif
#ifndef FX_NULL_PROCESS
#define FX_NULL_PROCESS 0
#endif
#ifndef FX_ONCE
#define FX_ONCE 0
#endif
// Which names the entry is exported under: by default "VSTPluginMain";
// fx_mainonly exports it as "main" through its .def file instead, and
// fx_noentry exports only an unrelated function.
#ifndef FX_NO_VSTPLUGINMAIN
#define FX_NO_VSTPLUGINMAIN 0
#endif
#ifndef FX_EXPORT_UNRELATED
#define FX_EXPORT_UNRELATED 0
#endif

namespace {

constexpr int kNumParams = FX_NUM_PARAMS;
constexpr bool kHasEditor = FX_HAS_EDITOR != 0;
constexpr bool kIsSynth = FX_IS_SYNTH != 0;
constexpr bool kBadMagic = FX_BAD_MAGIC != 0;
constexpr bool kNullEntry = FX_NULL_ENTRY != 0;
constexpr bool kThrowInEntry = FX_THROW_ENTRY != 0;
constexpr bool kThrowInOpen = FX_THROW_OPEN != 0;
constexpr bool kAsksHost = FX_ASKS_HOST != 0;
constexpr bool kNeedsIdle = FX_NEEDS_IDLE != 0;

constexpr VstInt32 kInputs = FX_INPUTS;
constexpr VstInt32 kOutputs = FX_OUTPUTS;
constexpr bool kMixedPins = FX_MIXED_PINS != 0;
constexpr VstInt32 kLatency = FX_LATENCY;
constexpr double kGain = FX_GAIN;
constexpr double kOffset = FX_OFFSET;
constexpr VstIntPtr kTail = FX_TAIL;
constexpr bool kNoDouble = FX_NO_DOUBLE != 0;
constexpr bool kNoReplacing = FX_NO_REPLACING != 0;
constexpr bool kChunks = FX_CHUNKS != 0;
constexpr VstInt32 kMaxPins = 8;
static_assert(kInputs <= kMaxPins && kOutputs <= kMaxPins, "pin counts");

// 'FxEf' as compilers read multi-character literals, without the warning.
constexpr VstInt32 fourCharCode(const char (&code)[5]) {
    return static_cast<VstInt32>(static_cast<uint32_t>(static_cast<unsigned char>(code[0])) << 24 |
                                 static_cast<uint32_t>(static_cast<unsigned char>(code[1])) << 16 |
                                 static_cast<uint32_t>(static_cast<unsigned char>(code[2])) << 8 |
                                 static_cast<uint32_t>(static_cast<unsigned char>(code[3])));
}

struct Parameter {
    const char* name;
    const char* label;
    float initial;
};

const Parameter kParameters[] = {
    {"Gain", "dB", 0.5f},
    {"Mix", "%", 0.25f},
    {"Tone", "Hz", 0.75f},
};
static_assert(kNumParams >= 0 && kNumParams <= static_cast<int>(sizeof kParameters / sizeof kParameters[0]),
              "FX_NUM_PARAMS exceeds the parameter table");

// The published names, so that the log reads like the host's own code.
const char* const kOpcodeNames[] = {
    "effOpen", "effClose", "effSetProgram", "effGetProgram", "effSetProgramName", "effGetProgramName",
    "effGetParamLabel", "effGetParamDisplay", "effGetParamName", "effGetVu", "effSetSampleRate",
    "effSetBlockSize", "effMainsChanged", "effEditGetRect", "effEditOpen", "effEditClose", "effEditDraw",
    "effEditMouse", "effEditKey", "effEditIdle", "effEditTop", "effEditSleep", "effIdentify", "effGetChunk",
    "effSetChunk", "effProcessEvents", "effCanBeAutomated", "effString2Parameter", "effGetNumProgramCategories",
    "effGetProgramNameIndexed", "effCopyProgram", "effConnectInput", "effConnectOutput", "effGetInputProperties",
    "effGetOutputProperties", "effGetPlugCategory", "effGetCurrentPosition", "effGetDestinationBuffer",
    "effOfflineNotify", "effOfflinePrepare", "effOfflineRun", "effProcessVarIo", "effSetSpeakerArrangement",
    "effSetBlockSizeAndSampleRate", "effSetBypass", "effGetEffectName", "effGetErrorText", "effGetVendorString",
    "effGetProductString", "effGetVendorVersion", "effVendorSpecific", "effCanDo", "effGetTailSize", "effIdle",
    "effGetIcon", "effSetViewPosition", "effGetParameterProperties", "effKeysRequired", "effGetVstVersion",
    "effEditKeyDown", "effEditKeyUp", "effSetEditKnobMode", "effGetMidiProgramName", "effGetCurrentMidiProgram",
    "effGetMidiProgramCategory", "effHasMidiProgramsChanged", "effGetMidiKeyName", "effBeginSetProgram",
    "effEndSetProgram", "effGetSpeakerArrangement", "effShellGetNextPlugin", "effStartProcess", "effStopProcess",
    "effSetTotalSampleToProcess", "effSetPanLaw", "effBeginLoadBank", "effBeginLoadProgram",
    "effSetProcessPrecision", "effGetNumMidiInputChannels", "effGetNumMidiOutputChannels",
};
static_assert(sizeof kOpcodeNames / sizeof kOpcodeNames[0] == effGetNumMidiOutputChannels + 1,
              "one name per dispatcher opcode");

struct Plugin {
    AEffect effect{};
    audioMasterCallback host = nullptr;
    float params[sizeof kParameters / sizeof kParameters[0]] = {};
    ERect editorRect = {0, 0, 200, 300}; // top, left, bottom, right
    // The delay line: the last kLatency input samples of each output pin.
    double history[kMaxPins][kLatency > 0 ? kLatency : 1] = {};
    VstInt32 historyPosition = 0;
    std::string chunk; // what effSetChunk gave, or the parameters as text
};

Plugin* pluginOf(AEffect* effect) { return static_cast<Plugin*>(effect->object); }

bool isParameter(VstInt32 index) { return index >= 0 && index < kNumParams; }

// Host buffers are only as large as the published limits promise.
void copyText(void* ptr, const char* text, size_t capacity) {
    if (!ptr || capacity == 0)
        return;
    char* out = static_cast<char*>(ptr);
    size_t length = std::strlen(text);
    if (length >= capacity)
        length = capacity - 1;
    std::memcpy(out, text, length);
    out[length] = '\0';
}

// ---- Questions to the host -------------------------------------------------

VstIntPtr ask(audioMasterCallback host, AEffect* effect, VstInt32 opcode, VstIntPtr value, void* ptr) {
    return host(effect, opcode, 0, value, ptr, 0.0f);
}

void askNumber(audioMasterCallback host, AEffect* effect, VstInt32 opcode, const char* name) {
    long long answer = ask(host, effect, opcode, 0, nullptr);
    pluginLog("host %s -> %lld", name, answer);
}

void askString(audioMasterCallback host, AEffect* effect, VstInt32 opcode, const char* name) {
    char text[256] = {};
    long long answer = ask(host, effect, opcode, 0, text);
    text[sizeof text - 1] = '\0';
    pluginLog("host %s -> %lld \"%s\"", name, answer, text);
}

void askCanDo(audioMasterCallback host, AEffect* effect, const char* what) {
    long long answer = ask(host, effect, audioMasterCanDo, 0, const_cast<char*>(what));
    pluginLog("host audioMasterCanDo %s -> %lld", what, answer);
}

void askTime(audioMasterCallback host, AEffect* effect) {
    const VstInt32 wanted = kVstNanosValid | kVstTempoValid | kVstTimeSigValid;
    VstIntPtr answer = ask(host, effect, audioMasterGetTime, wanted, nullptr);
    if (answer == 0) {
        pluginLog("host audioMasterGetTime %d -> null", wanted);
        return;
    }
    const VstTimeInfo* time = reinterpret_cast<const VstTimeInfo*>(answer);
    pluginLog("host audioMasterGetTime %d -> flags=%d tempo=%g sig=%d/%d rate=%g pos=%g", wanted, time->flags,
              time->tempo, time->timeSigNumerator, time->timeSigDenominator, time->sampleRate, time->samplePos);
}

// What plug-ins commonly ask, both before they have an instance (effect is
// null) and after; a host has to answer either way.
void askHost(audioMasterCallback host, AEffect* effect) {
    if (!host)
        return;
    askNumber(host, effect, audioMasterVersion, "audioMasterVersion");
    askNumber(host, effect, audioMasterGetSampleRate, "audioMasterGetSampleRate");
    askNumber(host, effect, audioMasterGetBlockSize, "audioMasterGetBlockSize");
    askString(host, effect, audioMasterGetVendorString, "audioMasterGetVendorString");
    askString(host, effect, audioMasterGetProductString, "audioMasterGetProductString");
    askNumber(host, effect, audioMasterGetVendorVersion, "audioMasterGetVendorVersion");
    for (const char* what : {"sendVstTimeInfo", "sizeWindow", "supplyIdle", "receiveVstEvents"})
        askCanDo(host, effect, what);
    askNumber(host, effect, audioMasterGetCurrentProcessLevel, "audioMasterGetCurrentProcessLevel");
    askNumber(host, effect, audioMasterGetLanguage, "audioMasterGetLanguage");
    askTime(host, effect);
}

void logWorkingFolder() {
    DWORD size = GetCurrentDirectoryW(0, nullptr);
    std::wstring folder(size, L'\0');
    DWORD length = GetCurrentDirectoryW(size, &folder[0]);
    folder.resize(length < size ? length : 0);
    pluginLog("cwd %s", toUtf8(folder).c_str());
}

// ---- The record's functions ------------------------------------------------

VstInt32 pinArrangement(VstInt32 index, VstInt32 pins, bool input) {
    if (input && kMixedPins)
        return index < 2 ? kSpeakerArrStereo : kSpeakerArrMono;
    return pins == 1 ? kSpeakerArrMono : kSpeakerArrStereo;
}

VstIntPtr fillPin(VstInt32 index, void* ptr, const char* direction) {
    bool input = direction[0] == 'I';
    VstInt32 pins = input ? kInputs : kOutputs;
    if (index < 0 || index >= pins || !ptr)
        return 0;
    VstPinProperties* pin = static_cast<VstPinProperties*>(ptr);
    std::memset(pin, 0, sizeof *pin);
    std::snprintf(pin->label, sizeof pin->label, "%s %d", direction, static_cast<int>(index) + 1);
    std::snprintf(pin->shortLabel, sizeof pin->shortLabel, "%.3s%d", direction, static_cast<int>(index) + 1);
    pin->arrangementType = pinArrangement(index, pins, input);
    pin->flags = kVstPinIsActive | (pin->arrangementType == kSpeakerArrStereo ? kVstPinIsStereo : 0);
    return 1;
}

VstIntPtr VSTCALLBACK dispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                 float opt) {
    // Logged before acting, so that a call that throws or crashes still shows.
    if (opcode >= 0 && opcode <= effGetNumMidiOutputChannels)
        pluginLog("dispatch %s %d %lld %g", kOpcodeNames[opcode], index, static_cast<long long>(value), opt);
    else
        pluginLog("dispatch op%d %d %lld %g", opcode, index, static_cast<long long>(value), opt);

    Plugin* plugin = pluginOf(effect);
    switch (opcode) {
    case effOpen:
        if constexpr (kThrowInOpen)
            throw std::runtime_error(FX_PLUGIN_NAME " fails in effOpen on purpose");
        if constexpr (kAsksHost)
            askHost(plugin->host, effect);
        if constexpr (kNeedsIdle) {
            if (plugin->host)
                pluginLog("host audioMasterNeedIdle -> %lld",
                          static_cast<long long>(ask(plugin->host, effect, audioMasterNeedIdle, 0, nullptr)));
        }
        return 0;
    case effClose:
        // The host never touches the record again after this.
        delete plugin;
        return 1;
    case effGetProgramName:
    case effGetProgramNameIndexed:
        if (opcode == effGetProgramNameIndexed && index != 0)
            return 0;
        copyText(ptr, "Default", kVstMaxProgNameLen);
        return 1;
    case effGetParamLabel:
        if (isParameter(index))
            copyText(ptr, kParameters[index].label, kVstMaxParamStrLen);
        return 0;
    case effGetParamDisplay:
        if (isParameter(index) && ptr)
            std::snprintf(static_cast<char*>(ptr), kVstMaxParamStrLen, "%g", plugin->params[index]);
        return 0;
    case effGetParamName:
        if (isParameter(index))
            copyText(ptr, kParameters[index].name, kVstMaxParamStrLen);
        return 0;
    case effCanBeAutomated:
        return isParameter(index) ? 1 : 0;
    case effEditGetRect:
        if (!kHasEditor || !ptr)
            return 0;
        *static_cast<ERect**>(ptr) = &plugin->editorRect;
        return 1;
    case effEditOpen:
        return kHasEditor ? 1 : 0;
    case effGetInputProperties:
        return fillPin(index, ptr, "In");
    case effGetOutputProperties:
        return fillPin(index, ptr, "Out");
    case effGetPlugCategory:
        return kIsSynth ? kPlugCategSynth : kPlugCategEffect;
    case effGetEffectName:
        copyText(ptr, FX_PLUGIN_NAME, kVstMaxEffectNameLen);
        return 1;
    case effGetVendorString:
        copyText(ptr, "fxhost tests", kVstMaxVendorStrLen);
        return 1;
    case effGetProductString:
        copyText(ptr, FX_PLUGIN_NAME, kVstMaxProductStrLen);
        return 1;
    case effGetVendorVersion:
        return 1;
    case effCanDo:
        if (kIsSynth && ptr &&
            (std::strcmp(static_cast<const char*>(ptr), "receiveVstEvents") == 0 ||
             std::strcmp(static_cast<const char*>(ptr), "receiveVstMidiEvent") == 0))
            return 1;
        return 0;
    case effGetVstVersion:
        return 2400;
    case effSetProcessPrecision:
        return kNoDouble && value == kVstProcessPrecision64 ? 0 : 1;
    case effGetTailSize:
        return kTail;
    case effGetChunk:
        if (!kChunks || !ptr)
            return 0;
        if (plugin->chunk.empty())
            plugin->chunk = "chunk of " FX_PLUGIN_NAME;
        *static_cast<void**>(ptr) = &plugin->chunk[0];
        return static_cast<VstIntPtr>(plugin->chunk.size());
    case effSetChunk:
        if (!kChunks || !ptr)
            return 0;
        plugin->chunk.assign(static_cast<const char*>(ptr), static_cast<size_t>(value));
        pluginLog("chunk %s", plugin->chunk.c_str());
        return 1;
    default:
        // Including effIdle: nothing to do, and "nothing" is 0.
        return 0;
    }
}

void VSTCALLBACK setParameter(AEffect* effect, VstInt32 index, float value) {
    pluginLog("setParameter %d %g", index, value);
    if (isParameter(index))
        pluginOf(effect)->params[index] = value;
}

float VSTCALLBACK getParameter(AEffect* effect, VstInt32 index) {
    pluginLog("getParameter %d", index);
    return isParameter(index) ? pluginOf(effect)->params[index] : 0.0f;
}

// Output pin c is input pin c delayed by kLatency frames and scaled by
// kGain: a known function of the input, so the tests can check every byte.
// Outputs without an input of the same number stay silent.
template <typename Sample>
void render(AEffect* effect, Sample** inputs, Sample** outputs, VstInt32 frames, bool accumulate) {
    if (!inputs || !outputs || frames <= 0)
        return;
    Plugin* plugin = pluginOf(effect);
    VstInt32 start = plugin->historyPosition;
    for (VstInt32 channel = 0; channel < kOutputs; ++channel) {
        Sample* out = outputs[channel];
        const Sample* in = channel < kInputs ? inputs[channel] : nullptr;
        if (!out)
            continue;
        VstInt32 position = start;
        for (VstInt32 i = 0; i < frames; ++i) {
            double value = in ? static_cast<double>(in[i]) : 0.0;
            if (kLatency > 0) {
                double delayed = plugin->history[channel][position];
                plugin->history[channel][position] = value;
                position = (position + 1) % (kLatency > 0 ? kLatency : 1);
                value = delayed;
            }
            Sample result = static_cast<Sample>(value * kGain + kOffset);
            out[i] = accumulate ? static_cast<Sample>(out[i] + result) : result;
        }
    }
    if (kLatency > 0)
        plugin->historyPosition = (start + frames) % (kLatency > 0 ? kLatency : 1);
}

void VSTCALLBACK processReplacing(AEffect* effect, float** inputs, float** outputs, VstInt32 frames) {
    pluginLog("processReplacing %d", frames);
    render(effect, inputs, outputs, frames, false);
}

void VSTCALLBACK processDoubleReplacing(AEffect* effect, double** inputs, double** outputs, VstInt32 frames) {
    pluginLog("processDoubleReplacing %d", frames);
    render(effect, inputs, outputs, frames, false);
}

// The old accumulating call adds to what is already in the outputs.
void VSTCALLBACK processAccumulating(AEffect* effect, float** inputs, float** outputs, VstInt32 frames) {
    pluginLog("process %d", frames);
    render(effect, inputs, outputs, frames, true);
}

} // namespace

// The entry under its own name; it is exported under the names the variant
// wants below (or through a .def file).
extern "C" AEffect* VSTCALLBACK plugin_main_entry(audioMasterCallback host) {
    pluginLog("entry");
    if constexpr (kThrowInEntry)
        throw std::runtime_error(FX_PLUGIN_NAME " fails in its entry on purpose");
    if constexpr (kAsksHost) {
        logWorkingFolder();
        askHost(host, nullptr);
    }
    if constexpr (kNullEntry)
        return nullptr;
#if FX_ONCE
    static int opened = 0;
    if (opened++ > 0)
        return nullptr;
#endif

    Plugin* plugin = new Plugin;
    plugin->host = host;
    for (int i = 0; i < kNumParams; ++i)
        plugin->params[i] = kParameters[i].initial;

    AEffect& effect = plugin->effect;
    effect.magic = kBadMagic ? fourCharCode("NotV") : kEffectMagic;
    effect.dispatcher = dispatcher;
    effect.process = processAccumulating;
    effect.setParameter = setParameter;
    effect.getParameter = getParameter;
    effect.numPrograms = 1;
    effect.numParams = kNumParams;
    effect.numInputs = kInputs;
    effect.numOutputs = kOutputs;
    effect.initialDelay = kLatency;
    effect.flags = 0;
    if (!kNoReplacing)
        effect.flags |= effFlagsCanReplacing;
    if (!kNoDouble)
        effect.flags |= effFlagsCanDoubleReplacing;
    if (kChunks)
        effect.flags |= effFlagsProgramChunks;
    if (kHasEditor)
        effect.flags |= effFlagsHasEditor;
    if (kIsSynth)
        effect.flags |= effFlagsIsSynth;
    effect.ioRatio = 1.0f;
    effect.object = plugin;
    effect.uniqueID = fourCharCode(FX_UNIQUE_ID);
    effect.version = 1;
    effect.processReplacing = kNoReplacing || FX_NULL_PROCESS ? nullptr : processReplacing;
    effect.processDoubleReplacing = kNoDouble ? nullptr : processDoubleReplacing;
    return &effect;
}

#if !FX_NO_VSTPLUGINMAIN
extern "C" __declspec(dllexport) AEffect* VSTCALLBACK VSTPluginMain(audioMasterCallback host) {
    return plugin_main_entry(host);
}
#endif

#if FX_EXPORT_UNRELATED
// Something to export, so that the DLL is ordinary apart from lacking an entry.
extern "C" __declspec(dllexport) int fxhost_unrelated_export() { return 0; }
#endif
