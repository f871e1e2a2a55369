// Small VST 3 effects for the adapter's tests, built into several plug-ins by
// compile definitions. Identifiers, names, parameters, units and the state
// layouts are in test_effect_ids.h. Each DLL exists to show the host one
// kind of effect:
//
//   fx3_gain          two classes: "Audio Module Class" "Fx3 Gain" (the
//                     processor: IComponent and IAudioProcessor) with
//                     sub-categories "Fx|Dynamics", version "2.1.3", and
//                     "Component Controller Class" "Fx3 Pair Controller",
//                     which the processor's getControllerClassId names.
//                     Stereo main in "Stereo In", stereo main out "Stereo
//                     Out", 32- and 64-bit processing: out = in x 2 x Gain.
//                     One parameter, 100 "Gain" (default 0.5, so the default
//                     passes the input through exactly); in process it
//                     follows the last point of the parameter's queue. On
//                     connect the processor sends its peer the message
//                     "gainHello" with the int attribute "value" = 42, made
//                     through the host context's IHostApplication. No
//                     latency, no tail, no editor. States of 10 and 3 bytes.
//   fx3_sidechain     fx3_gain with a second audio input, "Sidechain":
//                     stereo, kAux, active by default; it is not heard
//   fx3_double        fx3_gain that processes 64-bit samples only: it
//                     refuses kSample32 in canProcessSampleSize,
//                     setupProcessing and process
//   fx3_statefail     fx3_gain whose processor getState writes nothing and
//                     returns kResultFalse
//   fx3_instrument    fx3_gain with sub-categories "Instrument|Synth"
//   fx3_liar          fx3_gain whose processor counts 2 audio inputs but
//                     cannot describe the second, and whose
//                     getBusArrangement always fails
//   fx3_throwfactory  the classes of fx3_gain, but createInstance throws
//                     std::runtime_error for both; the module itself loads
//   fx3_params        one class, sub-category "Fx": a single-component
//                     effect (processor and controller in one object, which
//                     also answers IUnitInfo): stereo pass-through, an event
//                     input of 16 channels, the parameters, units and program
//                     lists of test_effect_ids.h
//   fx3_split         fx3_gain shaped as framework-made plug-ins are: the
//                     factory makes the processor class only as IComponent
//                     (or FUnknown), and the component hands out its
//                     IAudioProcessor as an object of its own, counted apart,
//                     that answers no other interface and dies with the
//                     component. A component deleted while that object is
//                     still held logs so first.
//   fx3_refuse        two "Audio Module Class" classes, neither of which
//                     gives an audio processor: the factory makes the first
//                     only as IComponent, and that component refuses
//                     IAudioProcessor; it makes the second as neither
//   fx3_midi          one class, sub-category "Fx": a single-component effect
//                     with IMidiMapping: stereo pass-through, event input and
//                     output of 16 channels each; controller 7 of event bus 0
//                     (any channel) maps to parameter 10 "Volume", pitch bend
//                     (129) to 11 "Bend". In process it copies every input
//                     note-on and note-off event to the output list as is.
//
// The gain state: the processor keeps Gain as 8 bytes (IEEE binary64, little
// endian) and "G1"; its setState, and the controller's setComponentState,
// take the value only from all 10 bytes with that mark and otherwise keep
// the old one, successfully. The controller keeps "UI" and one byte, which
// starts at 1 and is what its setState last read. fx3_params and fx3_midi
// keep their parameters' normalized values, 8 bytes each in parameter
// order, in the one state their object has.
//
// Parameter texts are "%.2f" of the normalized value, times 2 for Gain; a
// text is read back as a number and divided likewise, unclamped. A value set
// is clamped to [0, 1]; plain values equal normalized ones.
//
// The call log (see ../vst2/plugin_log.h): each call from the host appends
// one line "<dll> <object> <call> [<arguments>]", object being "component"
// for IComponent, IAudioProcessor and the processor's IPluginBase and
// IConnectionPoint, "controller" for IEditController, IUnitInfo,
// IMidiMapping and the controller's IPluginBase and IConnectionPoint. In the
// single-component plug-ins IPluginBase, setState and getState are one call
// for both roles and log as "component". Numbers are decimal, values "%g",
// 0 and 1 stand for false and true, type and dir are MediaType and
// BusDirection as numbers:
//
//   component initialize | terminate | connect | disconnect
//   component send gainHello <tresult of notify> | nomessage
//       (after connect; nomessage: the host context made no IMessage)
//   component notify <message id> <attribute "value"> | - ; notify null
//   component getControllerClassId | getRoutingInfo
//   component setIoMode <mode>
//   component getBusCount <type> <dir>
//   component getBusInfo <type> <dir> <index>
//   component activateBus <type> <dir> <index> <0|1>
//   component setActive <0|1>
//   component setState <bytes read> | getState
//   component setBusArrangements <inputs> <outputs>
//       (each a comma-separated list of arrangements in hex, "-" if empty)
//   component getBusArrangement <dir> <index>
//   component canProcessSampleSize <symbolicSampleSize>
//   component getLatencySamples | getTailSamples
//   component setupProcessing <processMode> <symbolicSampleSize>
//       <maxSamplesPerBlock> <sampleRate>
//   component setProcessing <0|1>
//   component process <numSamples> <symbolicSampleSize>
//   component param <id> <value> @<sampleOffset>
//       (one per point of each input queue, queue by queue)
//   component event noteon|noteoff <channel> <pitch> <velocity> @<offset>
//   component event polypressure <channel> <pitch> <pressure> @<offset>
//   component event sysex <size> @<offset>
//   component event type <type> @<offset>   (any other event)
//   component deleted while its processor is held      (fx3_split)
//   component deleted                        (last reference released)
//
//   controller initialize | terminate | connect | disconnect
//   controller notify <message id> <attribute "value"> | - ; notify null
//   controller setComponentState <bytes read>
//   controller setState <bytes read> | getState
//   controller getParameterCount
//   controller getParameterInfo <index>
//   controller getParamStringByValue <id> <value>
//   controller getParamValueByString <id> <text>
//   controller normalizedParamToPlain <id> <value>
//   controller plainParamToNormalized <id> <value>
//   controller getParamNormalized <id>
//   controller setParamNormalized <id> <value>
//   controller setComponentHandler set|null
//   controller createView <name>|null
//   controller getUnitCount | getProgramListCount | getSelectedUnit
//   controller getUnitInfo <index>
//   controller getProgramListInfo <index>
//   controller getProgramName <list id> <index>
//   controller getProgramInfo <list id> <index> <attribute>
//   controller hasProgramPitchNames <list id> <index>
//   controller getProgramPitchName <list id> <index> <pitch>
//   controller selectUnit <id>
//   controller getUnitByBus <type> <dir> <bus> <channel>
//   controller setUnitProgramData <list or unit id> <index>
//   controller getMidiControllerAssignment <bus> <channel> <controller>
//   controller deleted
//
// The module itself logs as test_effect.cpp's do ("InitDll", "ExitDll",
// "GetPluginFactory", "setHostContext", "factory released"), and "factory
// createInstance component|controller" before it makes (or throws).
//
// The process, param and event lines are written only if FXHOST_TEST_LOG
// was set at the processor's last initialize, setActive, setupProcessing or
// setProcessing call: without a log, processing costs no look-up.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "../vst2/plugin_log.h"
#include "test_effect_ids.h"
#include "test_factory.h"

#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstevents.h"
#include "pluginterfaces/vst/ivsthostapplication.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"
#include "pluginterfaces/vst/ivstunits.h"
#include "public.sdk/source/vst/vstcomponent.h"

#ifndef FX3_SIDECHAIN
#define FX3_SIDECHAIN 0
#endif
#ifndef FX3_DOUBLE_ONLY
#define FX3_DOUBLE_ONLY 0
#endif
#ifndef FX3_STATE_FAILS
#define FX3_STATE_FAILS 0
#endif
#ifndef FX3_INSTRUMENT
#define FX3_INSTRUMENT 0
#endif
#ifndef FX3_LIAR
#define FX3_LIAR 0
#endif
#ifndef FX3_THROW_CREATE
#define FX3_THROW_CREATE 0
#endif
#ifndef FX3_PARAMS
#define FX3_PARAMS 0
#endif
#ifndef FX3_MIDI
#define FX3_MIDI 0
#endif
#ifndef FX3_SPLIT
#define FX3_SPLIT 0
#endif
#ifndef FX3_REFUSE
#define FX3_REFUSE 0
#endif

using namespace Steinberg;

namespace {

// ---------------------------------------------------------------------------
// What this variant is.

struct Identity {
    const int8* processorId;
    const int8* controllerId; // null: a single-component effect
    const char* name;
    const char* subCategories;
};

#if FX3_SIDECHAIN
const Identity identity = {fx3::sidechainClassId, fx3::sidechainControllerClassId, fx3::sidechainName,
                           fx3::gainSubCategories};
#elif FX3_DOUBLE_ONLY
const Identity identity = {fx3::doubleClassId, fx3::doubleControllerClassId, fx3::doubleName, fx3::gainSubCategories};
#elif FX3_STATE_FAILS
const Identity identity = {fx3::stateFailClassId, fx3::stateFailControllerClassId, fx3::stateFailName,
                           fx3::gainSubCategories};
#elif FX3_INSTRUMENT
const Identity identity = {fx3::instrumentClassId, fx3::instrumentControllerClassId, fx3::instrumentName,
                           fx3::instrumentSubCategories};
#elif FX3_LIAR
const Identity identity = {fx3::liarClassId, fx3::liarControllerClassId, fx3::liarName, fx3::gainSubCategories};
#elif FX3_THROW_CREATE
const Identity identity = {fx3::throwFactoryClassId, fx3::throwFactoryControllerClassId, fx3::throwFactoryName,
                           fx3::gainSubCategories};
#elif FX3_PARAMS
const Identity identity = {fx3::paramsClassId, nullptr, fx3::paramsName, fx3::effectSubCategories};
#elif FX3_MIDI
const Identity identity = {fx3::midiClassId, nullptr, fx3::midiName, fx3::effectSubCategories};
#elif FX3_SPLIT
const Identity identity = {fx3::splitClassId, fx3::splitControllerClassId, fx3::splitName, fx3::gainSubCategories};
#elif FX3_REFUSE
const Identity identity = {fx3::refuseClassId, fx3::refuseControllerClassId, fx3::refuseName, fx3::gainSubCategories};
#else
const Identity identity = {fx3::gainClassId, fx3::gainControllerClassId, fx3::gainName, fx3::gainSubCategories};
#endif

constexpr bool isPair = !(FX3_PARAMS || FX3_MIDI);
constexpr bool hasEventInput = FX3_PARAMS || FX3_MIDI;
constexpr bool hasEventOutput = FX3_MIDI != 0;

// ---------------------------------------------------------------------------
// Small helpers.

Vst::ParamValue clampUnit(Vst::ParamValue value) {
    return value < 0.0 ? 0.0 : value > 1.0 ? 1.0 : value;
}

// As many reads as the stream needs for `size` bytes, or fewer at its end.
int32 readUpTo(IBStream* stream, void* buffer, int32 size) {
    int32 total = 0;
    while (stream && total < size) {
        int32 got = 0;
        if (stream->read(static_cast<char*>(buffer) + total, size - total, &got) != kResultOk || got <= 0)
            break;
        total += got;
    }
    return total;
}

bool writeAll(IBStream* stream, const void* bytes, int32 size) {
    int32 written = 0;
    return stream && stream->write(const_cast<void*>(bytes), size, &written) == kResultOk && written == size;
}

// The processor's state. Windows runs little-endian, so the double's bytes
// are already in the order the state has.
void encodeGain(double gain, char (&bytes)[fx3::gainStateSize]) {
    std::memcpy(bytes, &gain, sizeof gain);
    bytes[8] = fx3::gainStateMark[0];
    bytes[9] = fx3::gainStateMark[1];
}

bool decodeGain(const char (&bytes)[fx3::gainStateSize], int32 size, double& gain) {
    if (size < fx3::gainStateSize || bytes[8] != fx3::gainStateMark[0] || bytes[9] != fx3::gainStateMark[1])
        return false;
    std::memcpy(&gain, bytes, sizeof gain);
    return true;
}

// ASCII of a UTF-16 text from the host, for the log and for parsing.
std::string narrow(const Vst::TChar* text) {
    std::string result;
    for (size_t i = 0; text && text[i] && i < 128; ++i)
        result += text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
    return result;
}

std::string arrangementList(const Vst::SpeakerArrangement* list, int32 count) {
    if (!list || count <= 0)
        return "-";
    std::string text;
    for (int32 i = 0; i < count; ++i) {
        char item[24];
        std::snprintf(item, sizeof item, "%s%llx", i ? "," : "", static_cast<unsigned long long>(list[i]));
        text += item;
    }
    return text;
}

void logNotify(const char* object, Vst::IMessage* message) {
    if (!message) {
        pluginLog("%s notify null", object);
        return;
    }
    FIDString id = message->getMessageID();
    Vst::IAttributeList* attributes = message->getAttributes();
    int64 value = 0;
    if (attributes && attributes->getInt(fx3::helloAttribute, value) == kResultOk)
        pluginLog("%s notify %s %lld", object, id ? id : "null", static_cast<long long>(value));
    else
        pluginLog("%s notify %s -", object, id ? id : "null");
}

void logEvent(const Vst::Event& event) {
    switch (event.type) {
    case Vst::Event::kNoteOnEvent:
        pluginLog("component event noteon %d %d %g @%d", event.noteOn.channel, event.noteOn.pitch,
                  static_cast<double>(event.noteOn.velocity), event.sampleOffset);
        break;
    case Vst::Event::kNoteOffEvent:
        pluginLog("component event noteoff %d %d %g @%d", event.noteOff.channel, event.noteOff.pitch,
                  static_cast<double>(event.noteOff.velocity), event.sampleOffset);
        break;
    case Vst::Event::kPolyPressureEvent:
        pluginLog("component event polypressure %d %d %g @%d", event.polyPressure.channel, event.polyPressure.pitch,
                  static_cast<double>(event.polyPressure.pressure), event.sampleOffset);
        break;
    default:
        if (event.type == Vst::Event::kDataEvent && event.data.type == Vst::DataEvent::kMidiSysEx)
            pluginLog("component event sysex %u @%d", event.data.size, event.sampleOffset);
        else
            pluginLog("component event type %d @%d", event.type, event.sampleOffset);
        break;
    }
}

// out = in x factor, channel by channel; channels without input are silent.
// Element by element, so a host may hand the same buffer for both.
template <typename Sample>
void render(const Vst::AudioBusBuffers* input, Vst::AudioBusBuffers& output, Sample** inputs, Sample** outputs,
            int32 frames, Sample factor) {
    output.silenceFlags = 0;
    for (int32 channel = 0; channel < output.numChannels; ++channel) {
        if (!outputs || !outputs[channel])
            continue;
        Sample* out = outputs[channel];
        bool fromInput = input && inputs && channel < input->numChannels && inputs[channel];
        if (fromInput) {
            const Sample* in = inputs[channel];
            for (int32 i = 0; i < frames; ++i)
                out[i] = in[i] * factor;
        } else {
            std::memset(out, 0, sizeof(Sample) * static_cast<size_t>(frames));
        }
        bool silent = !fromInput || (channel < 64 && ((input->silenceFlags >> channel) & 1) != 0);
        if (silent && channel < 64)
            output.silenceFlags |= uint64(1) << channel;
    }
}

// ---------------------------------------------------------------------------
// The processor: IComponent and IAudioProcessor.

class Processor;

// fx3_split's IAudioProcessor: the processor's calls, on an object of its own.
class ProcessorFace : public Vst::IAudioProcessor {
public:
    explicit ProcessorFace(Processor& owner) : owner(owner) {}
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IAudioProcessor::iid)) {
            addRef();
            *obj = static_cast<IAudioProcessor*>(this);
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return uint32(++references); }
    uint32 PLUGIN_API release() override { return uint32(--references); }
    tresult PLUGIN_API setBusArrangements(Vst::SpeakerArrangement* inputs, int32 numIns,
                                          Vst::SpeakerArrangement* outputs, int32 numOuts) override;
    tresult PLUGIN_API getBusArrangement(Vst::BusDirection dir, int32 index, Vst::SpeakerArrangement& arr) override;
    tresult PLUGIN_API canProcessSampleSize(int32 symbolicSampleSize) override;
    uint32 PLUGIN_API getLatencySamples() override;
    tresult PLUGIN_API setupProcessing(Vst::ProcessSetup& setup) override;
    tresult PLUGIN_API setProcessing(TBool state) override;
    tresult PLUGIN_API process(Vst::ProcessData& data) override;
    uint32 PLUGIN_API getTailSamples() override;

    std::atomic<int> references{0};

private:
    Processor& owner;
};

class Processor : public Vst::Component, public Vst::IAudioProcessor {
public:
    // A host asks for the controller's class before it initialises the
    // component, so the class is known from the start.
    Processor() {
        if (identity.controllerId)
            setControllerClass(FUID::fromTUID(identity.controllerId));
    }
    ~Processor() override {
        if (face.references != 0)
            pluginLog("component deleted while its processor is held");
        pluginLog("component deleted");
    }

    tresult PLUGIN_API initialize(FUnknown* context) override {
        pluginLog("component initialize");
        sampleLogging();
        tresult result = Component::initialize(context);
        if (result != kResultOk)
            return result;
        addBus<Vst::AudioBus>(audioInputs, fx3::stereoInName, Vst::kMain, Vst::SpeakerArr::kStereo);
        if (FX3_SIDECHAIN)
            addBus<Vst::AudioBus>(audioInputs, fx3::sidechainBusName, Vst::kAux, Vst::SpeakerArr::kStereo);
        addBus<Vst::AudioBus>(audioOutputs, fx3::stereoOutName, Vst::kMain, Vst::SpeakerArr::kStereo);
        if (hasEventInput)
            addBus<Vst::EventBus>(eventInputs, fx3::eventInName, Vst::kMain, fx3::eventChannels);
        if (hasEventOutput)
            addBus<Vst::EventBus>(eventOutputs, fx3::eventOutName, Vst::kMain, fx3::eventChannels);
        return kResultOk;
    }
    tresult PLUGIN_API terminate() override {
        pluginLog("component terminate");
        return Component::terminate();
    }

    // IConnectionPoint
    tresult PLUGIN_API connect(Vst::IConnectionPoint* other) override {
        pluginLog("component connect");
        tresult result = Component::connect(other);
        if (result == kResultOk && isPair)
            sayHello();
        return result;
    }
    tresult PLUGIN_API disconnect(Vst::IConnectionPoint* other) override {
        pluginLog("component disconnect");
        return Component::disconnect(other);
    }
    tresult PLUGIN_API notify(Vst::IMessage* message) override {
        logNotify("component", message);
        return message ? kResultOk : kInvalidArgument;
    }

    // IComponent
    tresult PLUGIN_API getControllerClassId(TUID classId) override {
        pluginLog("component getControllerClassId");
        return Component::getControllerClassId(classId);
    }
    tresult PLUGIN_API setIoMode(Vst::IoMode mode) override {
        pluginLog("component setIoMode %d", mode);
        return Component::setIoMode(mode);
    }
    int32 PLUGIN_API getBusCount(Vst::MediaType type, Vst::BusDirection dir) override {
        pluginLog("component getBusCount %d %d", type, dir);
        if (FX3_LIAR && type == Vst::kAudio && dir == Vst::kInput)
            return 2; // one more than it can describe
        return Component::getBusCount(type, dir);
    }
    tresult PLUGIN_API getBusInfo(Vst::MediaType type, Vst::BusDirection dir, int32 index,
                                  Vst::BusInfo& info) override {
        pluginLog("component getBusInfo %d %d %d", type, dir, index);
        return Component::getBusInfo(type, dir, index, info);
    }
    tresult PLUGIN_API getRoutingInfo(Vst::RoutingInfo& inInfo, Vst::RoutingInfo& outInfo) override {
        pluginLog("component getRoutingInfo");
        return Component::getRoutingInfo(inInfo, outInfo);
    }
    tresult PLUGIN_API activateBus(Vst::MediaType type, Vst::BusDirection dir, int32 index, TBool state) override {
        pluginLog("component activateBus %d %d %d %d", type, dir, index, state ? 1 : 0);
        return Component::activateBus(type, dir, index, state);
    }
    tresult PLUGIN_API setActive(TBool state) override {
        pluginLog("component setActive %d", state ? 1 : 0);
        sampleLogging();
        return kResultOk;
    }
    tresult PLUGIN_API setState(IBStream* state) override {
        char bytes[fx3::gainStateSize] = {};
        int32 size = readUpTo(state, bytes, fx3::gainStateSize);
        pluginLog("component setState %d", size);
        if (!state)
            return kInvalidArgument;
        double value = 0.0;
        if (decodeGain(bytes, size, value))
            gain.store(clampUnit(value));
        return kResultOk;
    }
    tresult PLUGIN_API getState(IBStream* state) override {
        pluginLog("component getState");
        if (FX3_STATE_FAILS)
            return kResultFalse;
        char bytes[fx3::gainStateSize];
        encodeGain(gain.load(), bytes);
        return writeAll(state, bytes, fx3::gainStateSize) ? kResultOk : kResultFalse;
    }

    // IAudioProcessor
    tresult PLUGIN_API setBusArrangements(Vst::SpeakerArrangement* inputs, int32 numIns,
                                          Vst::SpeakerArrangement* outputs, int32 numOuts) override {
        pluginLog("component setBusArrangements %s %s", arrangementList(inputs, numIns).c_str(),
                  arrangementList(outputs, numOuts).c_str());
        // Only what it has: every bus stereo.
        if (numIns != static_cast<int32>(audioInputs.size()) || numOuts != static_cast<int32>(audioOutputs.size()))
            return kResultFalse;
        for (int32 i = 0; i < numIns; ++i)
            if (inputs[i] != Vst::SpeakerArr::kStereo)
                return kResultFalse;
        for (int32 i = 0; i < numOuts; ++i)
            if (outputs[i] != Vst::SpeakerArr::kStereo)
                return kResultFalse;
        return kResultTrue;
    }
    tresult PLUGIN_API getBusArrangement(Vst::BusDirection dir, int32 index, Vst::SpeakerArrangement& arr) override {
        pluginLog("component getBusArrangement %d %d", dir, index);
        if (FX3_LIAR)
            return kResultFalse;
        Vst::BusList* list = getBusList(Vst::kAudio, dir);
        if (!list || index < 0 || index >= static_cast<int32>(list->size()))
            return kInvalidArgument;
        arr = static_cast<Vst::AudioBus*>(list->at(static_cast<size_t>(index)).get())->getArrangement();
        return kResultTrue;
    }
    tresult PLUGIN_API canProcessSampleSize(int32 symbolicSampleSize) override {
        pluginLog("component canProcessSampleSize %d", symbolicSampleSize);
        return handlesSampleSize(symbolicSampleSize) ? kResultTrue : kResultFalse;
    }
    uint32 PLUGIN_API getLatencySamples() override {
        pluginLog("component getLatencySamples");
        return 0;
    }
    tresult PLUGIN_API setupProcessing(Vst::ProcessSetup& setup) override {
        pluginLog("component setupProcessing %d %d %d %g", setup.processMode, setup.symbolicSampleSize,
                  setup.maxSamplesPerBlock, setup.sampleRate);
        sampleLogging();
        return handlesSampleSize(setup.symbolicSampleSize) ? kResultOk : kResultFalse;
    }
    tresult PLUGIN_API setProcessing(TBool state) override {
        pluginLog("component setProcessing %d", state ? 1 : 0);
        sampleLogging();
        return kResultOk;
    }
    tresult PLUGIN_API process(Vst::ProcessData& data) override {
        bool log = logging.load(std::memory_order_relaxed);
        if (log)
            pluginLog("component process %d %d", data.numSamples, data.symbolicSampleSize);
        readParameters(data.inputParameterChanges, log);
        readEvents(data, log);
        if (!handlesSampleSize(data.symbolicSampleSize))
            return kResultFalse;
        if (data.numSamples <= 0 || data.numOutputs <= 0 || !data.outputs)
            return kResultOk; // a parameter flush: nothing to render

        const Vst::AudioBusBuffers* input = data.numInputs > 0 && data.inputs ? &data.inputs[0] : nullptr;
        Vst::AudioBusBuffers& output = data.outputs[0];
        double factor = isPair ? 2.0 * gain.load(std::memory_order_relaxed) : 1.0;
        if (data.symbolicSampleSize == Vst::kSample64)
            render(input, output, input ? input->channelBuffers64 : nullptr, output.channelBuffers64, data.numSamples,
                   factor);
        else
            render(input, output, input ? input->channelBuffers32 : nullptr, output.channelBuffers32, data.numSamples,
                   static_cast<float>(factor));
        return kResultOk;
    }
    uint32 PLUGIN_API getTailSamples() override {
        pluginLog("component getTailSamples");
        return Vst::kNoTail;
    }

    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (FUnknownPrivate::iidEqual(iid, Vst::IAudioProcessor::iid)) {
            if (FX3_REFUSE) {
                *obj = nullptr;
                return kNoInterface;
            }
            Vst::IAudioProcessor* processor = FX3_SPLIT ? static_cast<Vst::IAudioProcessor*>(&face) : this;
            processor->addRef();
            *obj = processor;
            return kResultOk;
        }
        return Component::queryInterface(iid, obj);
    }
    OBJ_METHODS(Processor, Component)
    REFCOUNT_METHODS(Component)

private:
    ProcessorFace face{*this};

    static bool handlesSampleSize(int32 symbolicSampleSize) {
        return symbolicSampleSize == Vst::kSample64 || (symbolicSampleSize == Vst::kSample32 && !FX3_DOUBLE_ONLY);
    }

    // Names come as UTF-8 constants; the buses take UTF-16.
    template <class BusClass, class... Arguments>
    void addBus(Vst::BusList& list, const char* name, Vst::BusType type, Arguments... arguments) {
        Vst::String128 text;
        fx3::putText(text, name);
        list.push_back(IPtr<Vst::Bus>(new BusClass(text, type, Vst::BusInfo::kDefaultActive, arguments...), false));
    }

    void sampleLogging() { logging.store(pluginLogEnabled(), std::memory_order_relaxed); }

    void sayHello() {
        IPtr<Vst::IMessage> message = owned(allocateMessage());
        if (!message) {
            pluginLog("component send gainHello nomessage");
            return;
        }
        message->setMessageID(fx3::helloMessageId);
        if (Vst::IAttributeList* attributes = message->getAttributes())
            attributes->setInt(fx3::helloAttribute, fx3::helloValue);
        tresult result = sendMessage(message);
        pluginLog("component send gainHello %d", result);
    }

    void readParameters(Vst::IParameterChanges* changes, bool log) {
        int32 count = changes ? changes->getParameterCount() : 0;
        for (int32 index = 0; index < count; ++index) {
            Vst::IParamValueQueue* queue = changes->getParameterData(index);
            if (!queue)
                continue;
            Vst::ParamID id = queue->getParameterId();
            int32 points = queue->getPointCount();
            for (int32 point = 0; point < points; ++point) {
                int32 offset = 0;
                Vst::ParamValue value = 0.0;
                if (queue->getPoint(point, offset, value) != kResultOk)
                    continue;
                if (log)
                    pluginLog("component param %u %g @%d", id, value, offset);
                if (isPair && id == fx3::gainParamId)
                    gain.store(clampUnit(value), std::memory_order_relaxed);
            }
        }
    }

    void readEvents(Vst::ProcessData& data, bool log) {
        int32 count = data.inputEvents ? data.inputEvents->getEventCount() : 0;
        for (int32 index = 0; index < count; ++index) {
            Vst::Event event{};
            if (data.inputEvents->getEvent(index, event) != kResultOk)
                continue;
            if (log)
                logEvent(event);
            bool note = event.type == Vst::Event::kNoteOnEvent || event.type == Vst::Event::kNoteOffEvent;
            if (hasEventOutput && note && data.outputEvents)
                data.outputEvents->addEvent(event);
        }
    }

    // Read on the audio thread, written on the host's main thread.
    std::atomic<double> gain{fx3::gainParameters[0].defaultValue};
    std::atomic<bool> logging{false};
};

tresult PLUGIN_API ProcessorFace::setBusArrangements(Vst::SpeakerArrangement* inputs, int32 numIns,
                                                     Vst::SpeakerArrangement* outputs, int32 numOuts) {
    return owner.setBusArrangements(inputs, numIns, outputs, numOuts);
}
tresult PLUGIN_API ProcessorFace::getBusArrangement(Vst::BusDirection dir, int32 index, Vst::SpeakerArrangement& arr) {
    return owner.getBusArrangement(dir, index, arr);
}
tresult PLUGIN_API ProcessorFace::canProcessSampleSize(int32 size) { return owner.canProcessSampleSize(size); }
uint32 PLUGIN_API ProcessorFace::getLatencySamples() { return owner.getLatencySamples(); }
tresult PLUGIN_API ProcessorFace::setupProcessing(Vst::ProcessSetup& setup) { return owner.setupProcessing(setup); }
tresult PLUGIN_API ProcessorFace::setProcessing(TBool state) { return owner.setProcessing(state); }
tresult PLUGIN_API ProcessorFace::process(Vst::ProcessData& data) { return owner.process(data); }
uint32 PLUGIN_API ProcessorFace::getTailSamples() { return owner.getTailSamples(); }

// ---------------------------------------------------------------------------
// Parameters as an edit controller shows them: the part of IEditController
// that the separate controller and the single-component effect share. The
// FUnknown, IPluginBase and state calls are the deriving class's.

class ParameterPart : public Vst::IEditController {
public:
    template <size_t N>
    ParameterPart(const fx3::ParamEntry (&list)[N], double textScale) : entries(list, list + N), textScale(textScale) {
        for (const fx3::ParamEntry& entry : entries)
            values.push_back(entry.defaultValue);
    }
    virtual ~ParameterPart() = default;

    int32 PLUGIN_API getParameterCount() override {
        pluginLog("controller getParameterCount");
        return static_cast<int32>(entries.size());
    }
    tresult PLUGIN_API getParameterInfo(int32 index, Vst::ParameterInfo& info) override {
        pluginLog("controller getParameterInfo %d", index);
        if (index < 0 || index >= static_cast<int32>(entries.size()))
            return kInvalidArgument;
        const fx3::ParamEntry& entry = entries[static_cast<size_t>(index)];
        info = Vst::ParameterInfo();
        info.id = entry.id;
        fx3::putText(info.title, entry.title);
        fx3::putText(info.shortTitle, entry.shortTitle);
        fx3::putText(info.units, entry.units);
        info.stepCount = entry.stepCount;
        info.defaultNormalizedValue = entry.defaultValue;
        info.unitId = entry.unitId;
        info.flags = entry.flags;
        return kResultOk;
    }
    tresult PLUGIN_API getParamStringByValue(Vst::ParamID id, Vst::ParamValue value, Vst::String128 text) override {
        pluginLog("controller getParamStringByValue %u %g", id, value);
        if (indexOf(id) < 0)
            return kInvalidArgument;
        char number[64];
        std::snprintf(number, sizeof number, "%.2f", value * textScale);
        fx3::putText(text, 128, number);
        return kResultOk;
    }
    tresult PLUGIN_API getParamValueByString(Vst::ParamID id, Vst::TChar* text, Vst::ParamValue& value) override {
        std::string number = narrow(text);
        pluginLog("controller getParamValueByString %u %s", id, number.c_str());
        if (indexOf(id) < 0)
            return kInvalidArgument;
        char* end = nullptr;
        double parsed = std::strtod(number.c_str(), &end);
        if (end == number.c_str())
            return kResultFalse;
        value = parsed / textScale;
        return kResultOk;
    }
    Vst::ParamValue PLUGIN_API normalizedParamToPlain(Vst::ParamID id, Vst::ParamValue value) override {
        pluginLog("controller normalizedParamToPlain %u %g", id, value);
        return value;
    }
    Vst::ParamValue PLUGIN_API plainParamToNormalized(Vst::ParamID id, Vst::ParamValue value) override {
        pluginLog("controller plainParamToNormalized %u %g", id, value);
        return value;
    }
    Vst::ParamValue PLUGIN_API getParamNormalized(Vst::ParamID id) override {
        pluginLog("controller getParamNormalized %u", id);
        int index = indexOf(id);
        return index < 0 ? 0.0 : values[static_cast<size_t>(index)];
    }
    tresult PLUGIN_API setParamNormalized(Vst::ParamID id, Vst::ParamValue value) override {
        pluginLog("controller setParamNormalized %u %g", id, value);
        return setValue(id, value) ? kResultOk : kInvalidArgument;
    }
    tresult PLUGIN_API setComponentHandler(Vst::IComponentHandler* newHandler) override {
        pluginLog("controller setComponentHandler %s", newHandler ? "set" : "null");
        handler = newHandler;
        return kResultOk;
    }
    IPlugView* PLUGIN_API createView(FIDString name) override {
        pluginLog("controller createView %s", name ? name : "null");
        return nullptr;
    }

protected:
    int indexOf(Vst::ParamID id) const {
        for (size_t index = 0; index < entries.size(); ++index)
            if (entries[index].id == id)
                return static_cast<int>(index);
        return -1;
    }
    bool setValue(Vst::ParamID id, Vst::ParamValue value) {
        int index = indexOf(id);
        if (index < 0)
            return false;
        values[static_cast<size_t>(index)] = clampUnit(value);
        return true;
    }

    // The values in parameter order, 8 bytes each: the state of the
    // single-component effects.
    bool writeValues(IBStream* stream) const {
        return writeAll(stream, values.data(), static_cast<int32>(sizeof(double) * values.size()));
    }
    int32 readValues(IBStream* stream) {
        std::vector<double> read(values.size());
        int32 size = static_cast<int32>(sizeof(double) * read.size());
        int32 got = readUpTo(stream, read.data(), size);
        if (got == size)
            for (size_t i = 0; i < read.size(); ++i)
                values[i] = clampUnit(read[i]);
        return got;
    }

private:
    std::vector<fx3::ParamEntry> entries;
    std::vector<double> values;
    double textScale; // the text shows the normalized value times this
    IPtr<Vst::IComponentHandler> handler;
};

// ---------------------------------------------------------------------------
// The separate controller of the two-class plug-ins.

class Controller : public Vst::ComponentBase, public ParameterPart {
public:
    Controller() : ParameterPart(fx3::gainParameters, 2.0) {}
    ~Controller() override { pluginLog("controller deleted"); }

    tresult PLUGIN_API initialize(FUnknown* context) override {
        pluginLog("controller initialize");
        return ComponentBase::initialize(context);
    }
    tresult PLUGIN_API terminate() override {
        pluginLog("controller terminate");
        return ComponentBase::terminate();
    }

    tresult PLUGIN_API connect(Vst::IConnectionPoint* other) override {
        pluginLog("controller connect");
        return ComponentBase::connect(other);
    }
    tresult PLUGIN_API disconnect(Vst::IConnectionPoint* other) override {
        pluginLog("controller disconnect");
        return ComponentBase::disconnect(other);
    }
    tresult PLUGIN_API notify(Vst::IMessage* message) override {
        logNotify("controller", message);
        return message ? kResultOk : kInvalidArgument;
    }

    tresult PLUGIN_API setComponentState(IBStream* state) override {
        char bytes[fx3::gainStateSize] = {};
        int32 size = readUpTo(state, bytes, fx3::gainStateSize);
        pluginLog("controller setComponentState %d", size);
        if (!state)
            return kInvalidArgument;
        double value = 0.0;
        if (decodeGain(bytes, size, value))
            setValue(fx3::gainParamId, value);
        return kResultOk;
    }
    tresult PLUGIN_API setState(IBStream* state) override {
        char bytes[fx3::controllerStateSize] = {};
        int32 size = readUpTo(state, bytes, fx3::controllerStateSize);
        pluginLog("controller setState %d", size);
        if (!state)
            return kInvalidArgument;
        if (size == fx3::controllerStateSize && bytes[0] == fx3::controllerStateMark[0] &&
            bytes[1] == fx3::controllerStateMark[1])
            kept = static_cast<uint8>(bytes[2]);
        return kResultOk;
    }
    tresult PLUGIN_API getState(IBStream* state) override {
        pluginLog("controller getState");
        char bytes[fx3::controllerStateSize] = {fx3::controllerStateMark[0], fx3::controllerStateMark[1],
                                                static_cast<char>(kept)};
        return writeAll(state, bytes, fx3::controllerStateSize) ? kResultOk : kResultFalse;
    }

    OBJ_METHODS(Controller, ComponentBase)
    DEFINE_INTERFACES
    DEF_INTERFACE(Vst::IEditController)
    END_DEFINE_INTERFACES(ComponentBase)
    REFCOUNT_METHODS(ComponentBase)

private:
    uint8 kept = fx3::controllerStateStart;
};

// ---------------------------------------------------------------------------
// The single-component effects: processor and controller in one object, as
// the host finds out by asking the processor for IEditController.

class SingleEffect : public Processor, public ParameterPart, public Vst::IUnitInfo, public Vst::IMidiMapping {
public:
#if FX3_MIDI
    SingleEffect() : ParameterPart(fx3::midiParameters, 1.0) {}
#else
    SingleEffect() : ParameterPart(fx3::paramsParameters, 1.0) {}
#endif

    // One call for both roles; Processor's logs it.
    tresult PLUGIN_API initialize(FUnknown* context) override {
        return Processor::initialize(context);
    }
    tresult PLUGIN_API terminate() override {
        return Processor::terminate();
    }

    tresult PLUGIN_API setState(IBStream* state) override {
        pluginLog("component setState %d", readValues(state));
        return state ? kResultOk : kInvalidArgument;
    }
    tresult PLUGIN_API getState(IBStream* state) override {
        pluginLog("component getState");
        return writeValues(state) ? kResultOk : kResultFalse;
    }
    tresult PLUGIN_API setComponentState(IBStream* state) override {
        pluginLog("controller setComponentState %d", readValues(state));
        return state ? kResultOk : kInvalidArgument;
    }

    // IUnitInfo (fx3_params)
    int32 PLUGIN_API getUnitCount() override {
        pluginLog("controller getUnitCount");
        return static_cast<int32>(sizeof fx3::paramsUnits / sizeof fx3::paramsUnits[0]);
    }
    tresult PLUGIN_API getUnitInfo(int32 unitIndex, Vst::UnitInfo& info) override {
        pluginLog("controller getUnitInfo %d", unitIndex);
        if (unitIndex < 0 || unitIndex >= static_cast<int32>(sizeof fx3::paramsUnits / sizeof fx3::paramsUnits[0]))
            return kInvalidArgument;
        const fx3::UnitEntry& unit = fx3::paramsUnits[unitIndex];
        info.id = unit.id;
        info.parentUnitId = unit.parentId;
        fx3::putText(info.name, unit.name);
        info.programListId = unit.programListId;
        return kResultOk;
    }
    int32 PLUGIN_API getProgramListCount() override {
        pluginLog("controller getProgramListCount");
        return programListCount;
    }
    tresult PLUGIN_API getProgramListInfo(int32 listIndex, Vst::ProgramListInfo& info) override {
        pluginLog("controller getProgramListInfo %d", listIndex);
        if (listIndex < 0 || listIndex >= programListCount)
            return kInvalidArgument;
        const fx3::ProgramListEntry& list = fx3::paramsProgramLists[listIndex];
        info.id = list.id;
        fx3::putText(info.name, list.name);
        info.programCount = list.programCount;
        return kResultOk;
    }
    tresult PLUGIN_API getProgramName(Vst::ProgramListID listId, int32 programIndex, Vst::String128 name) override {
        pluginLog("controller getProgramName %d %d", listId, programIndex);
        const fx3::ProgramListEntry* list = programList(listId, programIndex);
        if (!list)
            return kInvalidArgument;
        putString128(name, list->programs[programIndex]);
        return kResultOk;
    }
    tresult PLUGIN_API getProgramInfo(Vst::ProgramListID listId, int32 programIndex, Vst::CString attributeId,
                                      Vst::String128 attributeValue) override {
        pluginLog("controller getProgramInfo %d %d %s", listId, programIndex, attributeId ? attributeId : "null");
        if (listId != fx3::instrumentListId || !programList(listId, programIndex) || !attributeId ||
            std::strcmp(attributeId, fx3::instrumentAttribute) != 0)
            return kResultFalse;
        putString128(attributeValue, fx3::factoryInstruments[programIndex]);
        return kResultOk;
    }
    tresult PLUGIN_API hasProgramPitchNames(Vst::ProgramListID listId, int32 programIndex) override {
        pluginLog("controller hasProgramPitchNames %d %d", listId, programIndex);
        return listId == fx3::instrumentListId && programList(listId, programIndex) ? kResultTrue : kResultFalse;
    }
    tresult PLUGIN_API getProgramPitchName(Vst::ProgramListID listId, int32 programIndex, int16 midiPitch,
                                           Vst::String128 name) override {
        pluginLog("controller getProgramPitchName %d %d %d", listId, programIndex, midiPitch);
        if (listId != fx3::instrumentListId || !programList(listId, programIndex) || midiPitch != fx3::pitchNameKey)
            return kResultFalse;
        putString128(name, fx3::pitchName);
        return kResultTrue;
    }
    Vst::UnitID PLUGIN_API getSelectedUnit() override {
        pluginLog("controller getSelectedUnit");
        return selectedUnit;
    }
    tresult PLUGIN_API selectUnit(Vst::UnitID unitId) override {
        pluginLog("controller selectUnit %d", unitId);
        selectedUnit = unitId;
        return kResultTrue;
    }
    tresult PLUGIN_API getUnitByBus(Vst::MediaType type, Vst::BusDirection dir, int32 busIndex, int32 channel,
                                    Vst::UnitID& unitId) override {
        pluginLog("controller getUnitByBus %d %d %d %d", type, dir, busIndex, channel);
        if (type != Vst::kEvent || dir != Vst::kInput || busIndex != 0)
            return kResultFalse;
        unitId = Vst::kRootUnitId;
        return kResultTrue;
    }
    tresult PLUGIN_API setUnitProgramData(int32 listOrUnitId, int32 programIndex, IBStream*) override {
        pluginLog("controller setUnitProgramData %d %d", listOrUnitId, programIndex);
        return kNotImplemented;
    }

    // IMidiMapping (fx3_midi)
    tresult PLUGIN_API getMidiControllerAssignment(int32 busIndex, int16 channel, Vst::CtrlNumber midiControllerNumber,
                                                   Vst::ParamID& id) override {
        pluginLog("controller getMidiControllerAssignment %d %d %d", busIndex, channel, midiControllerNumber);
        if (busIndex != 0)
            return kResultFalse;
        if (midiControllerNumber == fx3::volumeController)
            id = fx3::volumeParamId;
        else if (midiControllerNumber == fx3::bendController)
            id = fx3::bendParamId;
        else
            return kResultFalse;
        return kResultTrue;
    }

    // IUnitInfo and IMidiMapping only where this variant has them.
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        QUERY_INTERFACE(iid, obj, Vst::IEditController::iid, Vst::IEditController)
        if (FX3_PARAMS) {
            QUERY_INTERFACE(iid, obj, Vst::IUnitInfo::iid, Vst::IUnitInfo)
        }
        if (FX3_MIDI) {
            QUERY_INTERFACE(iid, obj, Vst::IMidiMapping::iid, Vst::IMidiMapping)
        }
        return Processor::queryInterface(iid, obj);
    }
    OBJ_METHODS(SingleEffect, Processor)
    REFCOUNT_METHODS(Processor)

private:
    static constexpr int32 programListCount =
        static_cast<int32>(sizeof fx3::paramsProgramLists / sizeof fx3::paramsProgramLists[0]);

    static const fx3::ProgramListEntry* programList(Vst::ProgramListID listId, int32 programIndex) {
        for (const fx3::ProgramListEntry& list : fx3::paramsProgramLists)
            if (list.id == listId)
                return programIndex >= 0 && programIndex < list.programCount ? &list : nullptr;
        return nullptr;
    }
    static void putString128(Vst::String128 field, const char* text) {
        fx3::putText(field, 128, text);
    }

    Vst::UnitID selectedUnit = Vst::kRootUnitId;
};

// ---------------------------------------------------------------------------
// The factory.

FUnknown* createProcessor() {
    pluginLog("factory createInstance component");
    if (FX3_THROW_CREATE)
        throw std::runtime_error("fx3_throwfactory creates nothing");
    if (isPair)
        return static_cast<Vst::IComponent*>(new Processor());
    return static_cast<Vst::IComponent*>(new SingleEffect());
}

FUnknown* createController() {
    pluginLog("factory createInstance controller");
    if (FX3_THROW_CREATE)
        throw std::runtime_error("fx3_throwfactory creates nothing");
    return static_cast<Vst::IEditController*>(new Controller());
}

const int processorRefusals = FX3_SPLIT || FX3_REFUSE ? fx3::refuseProcessor : 0;

const fx3::FactoryClass classes[] = {
    {identity.processorId, kVstAudioEffectClass, identity.name, identity.subCategories, "", fx3::pairVersion,
     isPair ? int32(Vst::kDistributable) : 0, createProcessor, false, processorRefusals},
    {identity.controllerId, kVstComponentControllerClass, fx3::pairControllerName, "", "", fx3::pairVersion,
     Vst::kDistributable, createController},
    // fx3_refuse only: a class the factory makes as nothing the host asks for.
    {fx3::refuseAllClassId, kVstAudioEffectClass, fx3::refuseAllName, identity.subCategories, "", fx3::pairVersion,
     Vst::kDistributable, createProcessor, false, fx3::refuseProcessor | fx3::refuseComponent},
};

const fx3::FactorySetup factorySetup = {3, PFactoryInfo::kUnicode, classes, FX3_REFUSE ? 3 : isPair ? 2 : 1};

} // namespace

// ---------------------------------------------------------------------------
// Module entries.

extern "C" {

SMTG_EXPORT_SYMBOL IPluginFactory* PLUGIN_API GetPluginFactory() {
    pluginLog("GetPluginFactory");
    return fx3::sharedFactory(factorySetup);
}

SMTG_EXPORT_SYMBOL bool PLUGIN_API InitDll() {
    pluginLog("InitDll");
    return true;
}

SMTG_EXPORT_SYMBOL bool PLUGIN_API ExitDll() {
    pluginLog("ExitDll");
    return true;
}

} // extern "C"
