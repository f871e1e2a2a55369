// The adapter against a stub plug-in in this process: which parameters VST 2
// sees, buses and blocks, precision, restarts that meet a block, MIDI both
// ways, and that effClose destroys the adapter whatever the plug-in holds.

#include <gtest/gtest.h>

#include <cstring>

#include "../plugins/vst3/test_effect_ids.h"
#include "adapter_stub.h"
#include "test_plugins.h"
#include "vst3/module.h"
#include "vst3/vst3_adapter.h"

namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;

// What the host callback was asked, and what it answers.
struct Host {
    std::vector<std::string> calls;
    VstInt32 processLevel = kVstProcessLevelOffline;
    VstEvents* events = nullptr;
    int32 eventCount = 0;
    VstMidiEvent firstEvent = {};
};
Host* host = nullptr;

VstIntPtr VSTCALLBACK hostCallback(AEffect*, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
    if (!host)
        return 0;
    switch (opcode) {
    case audioMasterGetCurrentProcessLevel:
        return host->processLevel;
    case audioMasterAutomate:
        host->calls.push_back("automate " + std::to_string(index) + " " + std::to_string(opt));
        return 0;
    case audioMasterProcessEvents:
        host->events = static_cast<VstEvents*>(ptr);
        host->eventCount = host->events->numEvents;
        if (host->eventCount > 0)
            std::memcpy(&host->firstEvent, host->events->events[0], sizeof host->firstEvent);
        return 1;
    case audioMasterWantMidi:
        host->calls.push_back("wantMidi " + std::to_string(value));
        return 1;
    default:
        return 0;
    }
}

const TUID classId = INLINE_UID(0x11111111, 0x22222222, 0x33333333, 0x44444444);

// One adapter over one stub, closed through its record as the host does.
struct Adapted {
    Host calls;
    stub::Plugin* plugin = new stub::Plugin;
    stub::Factory factory{plugin};
    Vst3Adapter* adapter = nullptr;
    AEffect* effect = nullptr;

    Adapted() { host = &calls; }
    bool create() {
        VstEffectBase* base = Vst3Adapter::create(&factory, classId, hostCallback);
        adapter = static_cast<Vst3Adapter*>(base);
        effect = base ? base->getAeffect() : nullptr;
        return base != nullptr;
    }
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                       float opt = 0.0f) {
        return effect->dispatcher(effect, opcode, index, value, ptr, opt);
    }
    ~Adapted() {
        if (effect)
            dispatch(effClose);
        plugin->release();
        host = nullptr;
    }
};

std::vector<std::string> after(const std::vector<std::string>& calls, size_t from) {
    return std::vector<std::string>(calls.begin() + std::ptrdiff_t(from), calls.end());
}

TEST(Vst3Adapter, ParametersVst2Sees) {
    Adapted a;
    a.plugin->parameters = {
        {1, u"Locked", u"L", u"", 0, ParameterInfo::kIsReadOnly, kRootUnitId},
        {2, u"Bypass", u"B", u"", 1, ParameterInfo::kIsBypass, kRootUnitId},
        {3, u"Program", u"P", u"", 4, ParameterInfo::kIsProgramChange, kRootUnitId},
        {4, u"Hidden", u"H", u"dB", 2, ParameterInfo::kIsHidden | ParameterInfo::kCanAutomate, kRootUnitId},
        {5, u"A title much longer than thirty-two units", u"A short title also over thirty-two units", u"", 0,
         0, kRootUnitId},
    };
    ASSERT_TRUE(a.create());
    EXPECT_EQ(a.effect->numParams, 2) << "read-only, bypass and program change are not exported";
    EXPECT_EQ(a.adapter->parameterIndexMap.at(4), 0);
    EXPECT_EQ(a.adapter->parameterIndexMap.count(2), 0u);
    EXPECT_EQ(a.adapter->bypassParamId, 2u);
    EXPECT_EQ(a.dispatch(effCanDo, 0, 0, const_cast<char*>("BYPASS")), 1);

    char text[1024];
    a.dispatch(effGetParamName, 0, 0, text);
    EXPECT_STREQ(text, "Hidden");
    a.dispatch(effGetParamName, 1, 0, text);
    EXPECT_STREQ(text, "A short title also over thirty-t") << "title, then short title, cut at 32 bytes";
    a.dispatch(effGetParamLabel, 0, 0, text);
    EXPECT_STREQ(text, "dB");
    VstParameterProperties properties = {};
    EXPECT_EQ(a.dispatch(effGetParameterProperties, 0, 0, &properties), 1);
    EXPECT_EQ(properties.flags, kVstParameterUsesIntegerMinMax);
    EXPECT_EQ(properties.maxInteger, 2);
    EXPECT_THROW(a.dispatch(effGetParamLabel, 7, 0, text), std::out_of_range);

    // A value just set shows in the display at once; the controller hears of
    // it only at the timer.
    a.effect->setParameter(a.effect, 0, 0.5f);
    a.dispatch(effGetParamDisplay, 0, 0, text);
    EXPECT_STREQ(text, "v5");
    EXPECT_EQ(a.effect->getParameter(a.effect, 0), 0.0f);
    a.adapter->onTimer(nullptr);
    EXPECT_EQ(a.effect->getParameter(a.effect, 0), 0.5f);

    // The plug-in's own edit of the bypass reaches the processor and the
    // editor, but has no VST 2 index to automate.
    std::vector<std::pair<ParamID, double>> edits;
    a.adapter->onParamEdit = [&](ParamID id, double& value) { edits.push_back({id, value}); };
    a.adapter->performEdit(2, 1.0);
    a.adapter->performEdit(4, 0.25);
    EXPECT_EQ(a.calls.calls, std::vector<std::string>({"automate 0 0.250000"}));
    EXPECT_EQ(edits.size(), 2u);

    std::vector<std::pair<ParamID, double>> delivered;
    a.plugin->onProcess = [&](ProcessData& data) {
        for (int32 q = 0; data.inputParameterChanges && q < data.inputParameterChanges->getParameterCount(); ++q) {
            IParamValueQueue* queue = data.inputParameterChanges->getParameterData(q);
            int32 offset;
            ParamValue value;
            queue->getPoint(queue->getPointCount() - 1, offset, value);
            delivered.push_back({queue->getParameterId(), value});
        }
    };
    // A block of no frames with null channels is how pending changes reach
    // the processor before its state is read.
    float* none[2] = {nullptr, nullptr};
    a.effect->processReplacing(a.effect, none, none, 0);
    EXPECT_EQ(a.plugin->calls.back(), "process 0");
    // 0.25 replaced the host's 0.5 at the same sample offset.
    std::vector<std::pair<ParamID, double>> expected = {{4, 0.25}, {2, 1.0}};
    EXPECT_EQ(delivered, expected);
}

TEST(Vst3Adapter, BusesPrecisionAndBlocks) {
    Adapted a;
    a.plugin->inputs.push_back({u"Side", kAudio, kAux, 2, BusInfo::kDefaultActive});
    a.plugin->can32 = false;
    ASSERT_TRUE(a.create());
    EXPECT_EQ(a.effect->numInputs, 2);
    EXPECT_EQ(a.effect->numOutputs, 2);
    EXPECT_EQ(a.plugin->count("activateBus 0 0 1 0"), 1) << "the sidechain is switched off";
    EXPECT_TRUE(a.effect->flags & effFlagsCanDoubleReplacing);
    EXPECT_TRUE(a.effect->flags & effFlagsNoSoundInStop);
    EXPECT_EQ(a.dispatch(effGetTailSize), 0);

    a.dispatch(effMainsChanged, 0, 1);
    float in[2][4] = {}, out[2][4] = {{9, 9, 9, 9}, {9, 9, 9, 9}};
    float* ins[2] = {in[0], in[1]};
    float* outs[2] = {out[0], out[1]};
    a.effect->processReplacing(a.effect, ins, outs, 4);
    EXPECT_EQ(a.plugin->count("process 4"), 0) << "a float block to a 64-bit-only plug-in is dropped";
    EXPECT_EQ(out[0][0], 9.0f);
    EXPECT_EQ(a.dispatch(effSetProcessPrecision, 0, kVstProcessPrecision32), 0);

    double din[2][4] = {}, dout[2][4] = {};
    double* dins[2] = {din[0], din[1]};
    double* douts[2] = {dout[0], dout[1]};
    bool checked = false;
    a.plugin->onProcess = [&](ProcessData& data) {
        ASSERT_EQ(data.numInputs, 2);
        EXPECT_EQ(data.inputs[0].channelBuffers64[1], din[1]);
        EXPECT_EQ(data.inputs[1].silenceFlags, ~uint64(0));
        EXPECT_EQ(data.inputs[1].channelBuffers64[0], nullptr);
        EXPECT_EQ(data.outputs[0].channelBuffers64[0], dout[0]);
        checked = true;
    };
    size_t before = a.plugin->calls.size();
    a.effect->processDoubleReplacing(a.effect, dins, douts, 4);
    EXPECT_TRUE(checked);
    EXPECT_EQ(after(a.plugin->calls, before), std::vector<std::string>({"setProcessing 1", "process 4"}));
    // The dropped block still moved the plug-in to the host's offline level.
    EXPECT_EQ(a.plugin->count("setupProcessing 2 1 256 44100"), 1);
}

TEST(Vst3Adapter, RestartInsideABlockWaitsForItsEnd) {
    Adapted a;
    ASSERT_TRUE(a.create());
    a.dispatch(effMainsChanged, 0, 1);
    bool restarted = false;
    a.plugin->onProcess = [&](ProcessData&) {
        if (restarted)
            return;
        restarted = true;
        a.plugin->inputs[0].channels = 1;
        a.plugin->log(a.adapter->restartComponent(kIoChanged) == kResultOk ? "restart ok" : "restart refused");
        EXPECT_EQ(a.effect->numInputs, 2) << "the buses change under a running block";
    };
    float buffer[4] = {};
    float* planes[2] = {buffer, buffer};
    size_t before = a.plugin->calls.size();
    a.effect->processReplacing(a.effect, planes, planes, 4);
    std::vector<std::string> calls = after(a.plugin->calls, before);
    auto restart = std::find(calls.begin(), calls.end(), "restart ok");
    ASSERT_NE(restart, calls.end());
    EXPECT_NE(std::find(restart, calls.end(), "activateBus 0 0 0 1"), calls.end()) << "applied after the block";
    EXPECT_EQ(a.effect->numInputs, 1);
    EXPECT_EQ(a.adapter->restartComponent(kReloadComponent), kResultFalse);
}

TEST(Vst3Adapter, MidiBothWays) {
    Adapted a;
    a.plugin->inputs.push_back({u"Events", kEvent, kMain, 16, 0});
    a.plugin->outputs.push_back({u"Events", kEvent, kMain, 16, 0});
    a.plugin->answersMapping = true;
    a.plugin->answersUnits = true;
    a.plugin->parameters = {{7, u"Volume", u"Vol", u"", 0, 0, kRootUnitId},
                            {9, u"Program", u"Prg", u"", 10, ParameterInfo::kIsProgramChange, kRootUnitId}};
    a.plugin->units = {UnitInfo{kRootUnitId, kNoParentUnitId, {}, 1}};
    a.plugin->mapping = [](int32, int16, CtrlNumber number, ParamID& id) {
        id = 7;
        return number == 7 ? kResultOk : kResultFalse;
    };
    ASSERT_TRUE(a.create());
    EXPECT_EQ(a.dispatch(effCanDo, 0, 0, const_cast<char*>("receiveVstMidiEvent")), 1);
    a.dispatch(effMainsChanged, 0, 1);
    EXPECT_EQ(a.calls.calls, std::vector<std::string>({"wantMidi 1"}));

    VstMidiEvent noteOff = {kVstMidiType, VstInt32(sizeof(VstMidiEvent)), 3, 0, 0, 0, {char(0x91), 60, 0, 0}, 0, 64, 0, 0};
    VstMidiEvent control = {kVstMidiType, VstInt32(sizeof(VstMidiEvent)), 5, 0, 0, 0, {char(0xB0), 7, 127, 0}, 0, 0, 0, 0};
    VstMidiEvent badControl = {kVstMidiType, VstInt32(sizeof(VstMidiEvent)), 5, 0, 0, 0, {char(0xB0), char(0x87), 1, 0},
                               0, 0, 0, 0};
    VstMidiEvent program = {kVstMidiType, VstInt32(sizeof(VstMidiEvent)), 6, 0, 0, 0, {char(0xC0), 5, 0, 0}, 0, 0, 0, 0};
    struct {
        VstInt32 numEvents;
        VstIntPtr reserved;
        VstEvent* events[4];
    } list = {4, 0, {reinterpret_cast<VstEvent*>(&noteOff), reinterpret_cast<VstEvent*>(&control),
                     reinterpret_cast<VstEvent*>(&badControl), reinterpret_cast<VstEvent*>(&program)}};
    a.dispatch(effProcessEvents, 0, 0, &list);

    std::vector<std::string> seen;
    a.plugin->onProcess = [&](ProcessData& data) {
        Event event = {};
        ASSERT_EQ(data.inputEvents->getEventCount(), 1);
        data.inputEvents->getEvent(0, event);
        EXPECT_EQ(event.type, Event::kNoteOffEvent) << "a note on of velocity 0 is a note off";
        EXPECT_FLOAT_EQ(event.noteOff.velocity, 64.0f / 127.0f);
        EXPECT_EQ(event.noteOff.channel, 1);
        for (int32 q = 0; q < data.inputParameterChanges->getParameterCount(); ++q) {
            IParamValueQueue* queue = data.inputParameterChanges->getParameterData(q);
            int32 offset;
            ParamValue value;
            queue->getPoint(0, offset, value);
            seen.push_back(std::to_string(queue->getParameterId()) + "@" + std::to_string(offset) + "=" +
                           std::to_string(value));
        }
        // Out again: a note on of a tiny velocity leaves as a note off.
        Event out = {};
        out.type = Event::kNoteOnEvent;
        out.sampleOffset = 2;
        out.noteOn.channel = 3;
        out.noteOn.pitch = 64;
        out.noteOn.velocity = 0.001f;
        data.outputEvents->addEvent(out);
    };
    float buffer[8] = {};
    float* planes[2] = {buffer, buffer};
    a.effect->processReplacing(a.effect, planes, planes, 8);
    EXPECT_EQ(seen, std::vector<std::string>({"7@5=1.000000", "9@6=0.500000"}))
        << "controller 7 by its assignment, controller 0x87 dropped, program 5 of 10 steps";
    ASSERT_EQ(a.calls.eventCount, 1);
    EXPECT_EQ(uint8_t(a.calls.firstEvent.midiData[0]), 0x83);
    EXPECT_EQ(a.calls.firstEvent.midiData[2], 0);
    EXPECT_EQ(a.calls.firstEvent.deltaFrames, 2);
}

TEST(Vst3Adapter, SetUpAndTearDownOrder) {
    Adapted a;
    ASSERT_TRUE(a.create());
    // A single-component plug-in is initialised and terminated once.
    EXPECT_EQ(a.plugin->count("initialize"), 1);
    EXPECT_EQ(a.effect->uniqueID, 0);
    EXPECT_EQ(a.effect->flags & (effFlagsCanReplacing | effFlagsProgramChunks),
              effFlagsCanReplacing | effFlagsProgramChunks);
    EXPECT_EQ(a.dispatch(effGetVstVersion), 2400);
    char fuid[16] = {};
    EXPECT_EQ(a.dispatch(effVendorSpecific, 0x73744341, 0x46554944, fuid), 1);
    EXPECT_EQ(std::memcmp(fuid, classId, 16), 0);

    // The plug-in keeps a reference of its own to the host's interfaces.
    FUnknown* kept = nullptr;
    a.adapter->queryInterface(IComponentHandler::iid, reinterpret_cast<void**>(&kept));
    ASSERT_NE(kept, nullptr);
    FUnknown* wrapper = nullptr;
    EXPECT_EQ(a.adapter->queryInterface(IVst3ToVst2Wrapper::iid, reinterpret_cast<void**>(&wrapper)), kResultOk);
    FUnknown* none = nullptr;
    EXPECT_EQ(a.adapter->queryInterface(IConnectionPoint::iid, reinterpret_cast<void**>(&none)), kNoInterface);

    size_t before = a.plugin->calls.size();
    a.dispatch(effClose);
    a.effect = nullptr;
    EXPECT_EQ(after(a.plugin->calls, before),
              std::vector<std::string>({"disconnect", "disconnect", "setComponentHandler null", "terminate"}));
}

TEST(Vst3Adapter, ProcessorWithoutComponentOrFailingInitIsRefused) {
    struct FailingInit : stub::Plugin {
        tresult PLUGIN_API initialize(FUnknown*) override {
            log("initialize");
            return kResultFalse;
        }
    };
    Host calls;
    host = &calls;
    FailingInit* plugin = new FailingInit;
    stub::Factory factory(plugin);
    EXPECT_EQ(Vst3Adapter::create(&factory, classId, hostCallback), nullptr);
    EXPECT_EQ(plugin->count("terminate"), 1) << "a begun initialize is still undone";
    EXPECT_EQ(plugin->references, 1) << "nothing of the plug-in is kept";
    plugin->release();
    host = nullptr;
}

// An adapter over the first class of a test module, as the host makes it.
struct ModuleAdapter {
    Host calls;
    VST3::Hosting::Module::Ptr module;
    AEffect* effect = nullptr;
    Vst3Adapter* adapter = nullptr;

    explicit ModuleAdapter(const char* fileName) {
        host = &calls;
        std::string error;
        module = VST3::Hosting::Module::create(testPluginPath(fileName), error);
        if (!module)
            return;
        const VST3::Hosting::PluginFactory& factory = module->getFactory();
        VstEffectBase* base =
            Vst3Adapter::create(factory.get(), factory.classInfos().front().ID().data(), hostCallback);
        adapter = static_cast<Vst3Adapter*>(base);
        effect = base ? base->getAeffect() : nullptr;
    }
    ~ModuleAdapter() {
        if (effect)
            dispatch(effClose);
        host = nullptr;
    }
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                       float opt = 0.0f) {
        return effect->dispatcher(effect, opcode, index, value, ptr, opt);
    }
    std::string text(VstInt32 opcode, VstInt32 index) {
        char buffer[1024] = {};
        dispatch(opcode, index, 0, buffer);
        return buffer;
    }
};

TEST(Vst3AdapterModules, ClassInformationBecomesVst2Answers) {
    ModuleAdapter gain("fx3_gain.vst3");
    ASSERT_NE(gain.effect, nullptr);
    EXPECT_EQ(gain.text(effGetEffectName, 0), fx3::gainName);
    EXPECT_EQ(gain.dispatch(effGetVendorVersion), 0x02010300) << "version 2.1.3";
    EXPECT_EQ(gain.dispatch(effGetPlugCategory), kPlugCategMastering) << "Fx|Dynamics";
    EXPECT_EQ(gain.text(effGetParamName, 0), "Gain");
    EXPECT_EQ(gain.text(effGetParamLabel, 0), "dB");
    EXPECT_EQ(gain.text(effGetParamDisplay, 0), "1.00");
    char text[] = "0.5";
    EXPECT_EQ(gain.dispatch(effString2Parameter, 0, 0, text), 0) << "answers 0 even when it worked";
    EXPECT_EQ(gain.text(effGetParamDisplay, 0), "0.50");

    ModuleAdapter only64("fx3_double.vst3");
    ASSERT_NE(only64.effect, nullptr);
    EXPECT_TRUE(only64.effect->flags & effFlagsCanDoubleReplacing);
    EXPECT_EQ(only64.adapter->sampleSize, kSample64);
    EXPECT_EQ(only64.dispatch(effSetProcessPrecision, 0, kVstProcessPrecision32), 0);

    // An instrument is marked so; the host refuses it.
    ModuleAdapter instrument("fx3_instrument.vst3");
    ASSERT_NE(instrument.effect, nullptr);
    EXPECT_TRUE(instrument.effect->flags & effFlagsIsSynth);
}

TEST(Vst3AdapterModules, UnitsProgramsAndMidiProgramNames) {
    ModuleAdapter params("fx3_params.vst3");
    ASSERT_NE(params.effect, nullptr);
    // Locked (read-only), Bypass and Program are not VST 2 parameters.
    EXPECT_EQ(params.effect->numParams, 5);
    EXPECT_EQ(params.text(effGetParamName, 0), "Root.Gain") << "the root's own parameters carry its name";
    EXPECT_EQ(params.text(effGetParamName, 1), "Osc.Filter.Cutoff") << "the walk stops below the root";
    EXPECT_EQ(params.text(effGetParamName, 2), "Root.Hidden");
    EXPECT_EQ(params.text(effGetParamName, 3), "Osc.Steps");
    EXPECT_EQ(params.text(effGetParamName, 4), "Long") << "too long with and without its path";
    EXPECT_EQ(params.dispatch(effCanDo, 0, 0, const_cast<char*>("midiProgramNames")), 1);
    EXPECT_EQ(params.dispatch(effCanDo, 0, 0, const_cast<char*>("bypass")), 1);

    // Programs: counted from the root unit's list, named from the first.
    EXPECT_EQ(params.effect->numPrograms, 3);
    EXPECT_EQ(params.text(effGetProgramName, 0), "Other A");
    params.dispatch(effSetProgram, 0, 2);
    EXPECT_EQ(params.dispatch(effGetProgram), 2);
    params.dispatch(effSetProgram, 0, 3);
    EXPECT_EQ(params.dispatch(effGetProgram), 2) << "beyond numPrograms: ignored";

    MidiProgramCategory category = {};
    EXPECT_EQ(params.dispatch(effGetMidiProgramCategory, 0, 0, &category), 4)
        << "Piano, Piano|Grand, Piano|Upright, Organ";
    category.thisCategoryIndex = 1;
    params.dispatch(effGetMidiProgramCategory, 0, 0, &category);
    EXPECT_STREQ(category.name, "Grand");
    EXPECT_EQ(category.parentCategoryIndex, 0);

    MidiProgramName program = {};
    program.thisProgramIndex = 1;
    EXPECT_EQ(params.dispatch(effGetMidiProgramName, 0, 0, &program), 3);
    EXPECT_STREQ(program.name, "Warm");
    EXPECT_EQ(program.midiProgram, 1);
    EXPECT_EQ(program.parentCategoryIndex, 2);

    MidiKeyName key = {};
    key.thisKeyNumber = fx3::pitchNameKey;
    EXPECT_EQ(params.dispatch(effGetMidiKeyName, 0, 0, &key), 1);
    EXPECT_STREQ(key.keyName, fx3::pitchName);
    EXPECT_EQ(params.dispatch(effGetNumMidiInputChannels), 16);
    EXPECT_EQ(params.dispatch(effGetNumMidiOutputChannels), 0);
}

} // namespace
