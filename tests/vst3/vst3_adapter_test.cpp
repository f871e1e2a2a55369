// The adapter against the stub plug-in, in this process: the parameters and
// programs VST 2 sees, changes on their way to the processor (the zero-frame
// flush among them), buses and precision, a restart that meets a block, MIDI
// both ways, and the set-up and teardown of a plug-in that is one object.

#include "vst3/vst3_adapter.h"

#include <gtest/gtest.h>

#include <cstring>

#include "adapted.h"

namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;
using namespace stub;

Lines after(const Lines& calls, size_t from) {
    return Lines(calls.begin() + std::ptrdiff_t(from), calls.end());
}

// "id=value@offset" for every point of every queue of a block.
Lines changesOf(ProcessData& data) {
    Lines changes;
    for (int32 q = 0; data.inputParameterChanges && q < data.inputParameterChanges->getParameterCount(); ++q) {
        IParamValueQueue* queue = data.inputParameterChanges->getParameterData(q);
        for (int32 p = 0; p < queue->getPointCount(); ++p) {
            int32 offset = 0;
            ParamValue value = 0;
            queue->getPoint(p, offset, value);
            changes.push_back(std::to_string(queue->getParameterId()) + "=" + std::to_string(value).substr(0, 4) + "@" +
                              std::to_string(offset));
        }
    }
    return changes;
}

TEST(Vst3Adapter, ParametersAndProgramsVst2Sees) {
    Adapted a;
    a.plugin->parameters = {
        {1, u"Locked", u"", u"", 0, ParameterInfo::kIsReadOnly, kRootUnitId},
        {2, u"Bypass", u"", u"", 1, ParameterInfo::kIsBypass, kRootUnitId},
        {3, u"Program", u"", u"", 4, ParameterInfo::kIsProgramChange, kRootUnitId},
        {4, u"Hidden", u"H", u"dB", 2, ParameterInfo::kIsHidden | ParameterInfo::kCanAutomate, kRootUnitId},
        {5, u"A title much longer than thirty-two units", u"A short title also over thirty-two units", u"", 0, 0,
         kRootUnitId},
        {6, u"Cutoff", u"", u"Hz", 0, 0, 2},
    };
    a.plugin->units = {UnitInfo{kRootUnitId, kNoParentUnitId, {'R', 'o', 'o', 't'}, 1},
                       UnitInfo{1, kRootUnitId, {'O', 's', 'c'}, kNoProgramListId},
                       UnitInfo{2, 1, {'F', 'i', 'l', 't', 'e', 'r'}, kNoProgramListId}};
    a.plugin->programLists = {ProgramListInfo{1, {}, 3}};
    a.plugin->programNames = {u"Init", u"Warm", u"Bright"};
    ASSERT_TRUE(a.create());

    // Read-only, bypass and program change are no VST 2 parameters; names
    // carry their unit's path below the root, else the title, else the
    // short title, cut to 32 bytes.
    EXPECT_EQ(a.effect->numParams, 3);
    const char* names[] = {"Root.Hidden", "A short title also over thirty-t", "Osc.Filter.Cutoff"};
    for (VstInt32 i = 0; i < 3; ++i)
        EXPECT_EQ(a.text(effGetParamName, i), names[i]) << "parameter " << i;
    EXPECT_EQ(a.text(effGetParamLabel, 0), "dB");
    EXPECT_EQ(a.text(effGetParamLabel, 2), "Hz");
    VstParameterProperties properties = {};
    EXPECT_EQ(a.dispatch(effGetParameterProperties, 0, 0, &properties), 1);
    EXPECT_EQ(properties.flags, kVstParameterUsesIntegerMinMax);
    EXPECT_EQ(properties.maxInteger, 2);
    EXPECT_EQ(a.dispatch(effCanDo, 0, 0, const_cast<char*>("bypass")), 1);

    // Programs: counted from the root unit's list; a program beyond them is
    // ignored, one within sets the program change parameter.
    EXPECT_EQ(a.effect->numPrograms, 3);
    EXPECT_EQ(a.text(effGetProgramName), "Init");
    a.dispatch(effSetProgram, 0, 2);
    a.dispatch(effSetProgram, 0, 3);
    EXPECT_EQ(a.dispatch(effGetProgram), 2);
    EXPECT_EQ(a.text(effGetProgramName), "Bright");

    // A value just set shows in the display at once; the controller hears of
    // it only at the timer.
    a.effect->setParameter(a.effect, 0, 0.5f);
    EXPECT_EQ(a.text(effGetParamDisplay, 0), "v5");
    EXPECT_EQ(a.effect->getParameter(a.effect, 0), 0.0f);
    a.adapter->onTimer(nullptr);
    EXPECT_EQ(a.effect->getParameter(a.effect, 0), 0.5f);

    // The plug-in's own edits reach the processor; only an exported
    // parameter is automated.
    a.adapter->performEdit(2, 1.0);
    a.adapter->performEdit(4, 0.25);
    EXPECT_EQ(a.calls.calls, Lines({"automate 0 0.250000"}));

    // A block hands them over, the later 0.25 in place of the host's 0.5
    // at the same offset; the processor's own changes reach the controller
    // at the timer.
    Lines delivered;
    a.plugin->onProcess = [&](ProcessData& data) {
        delivered = changesOf(data);
        int32 index;
        data.outputParameterChanges->addParameterData(6, index)->addPoint(0, 0.75, index);
    };
    a.block(4);
    EXPECT_EQ(delivered, Lines({"3=0.50@0", "4=0.25@0", "2=1.00@0"}));
    a.adapter->onTimer(nullptr);
    EXPECT_EQ(a.effect->getParameter(a.effect, 2), 0.75f);
}

// A plug-in that returns from a block of no frames unread (as DPF's do)
// gets the flush's changes once more in one frame of silence; one that read
// them, or a flush with nothing to read, does not.
TEST(Vst3Adapter, AFlushLeftUnreadIsCarriedByOneSilentFrame) {
    struct Row {
        const char* name;
        bool readsEmptyBlocks, edit;
        Lines blocks; // frames, then the changes it read
    } rows[] = {
        {"reads the flush", true, true, {"0 4=0.25@0", "4 4=0.25@0", "4"}},
        {"ignores the flush", false, true, {"0", "1 4=0.25@0 silent", "4", "4"}},
        {"ignores a flush with nothing in it", false, false, {"0", "4", "4"}},
    };
    for (const Row& row : rows) {
        Adapted a;
        a.plugin->parameters = {{4, u"Gain", u"", u"", 0, ParameterInfo::kCanAutomate, kRootUnitId}};
        ASSERT_TRUE(a.create()) << row.name;
        Lines blocks;
        a.plugin->onProcess = [&](ProcessData& data) {
            blocks.push_back(std::to_string(data.numSamples));
            for (const std::string& change : data.numSamples || row.readsEmptyBlocks ? changesOf(data) : Lines())
                blocks.back() += " " + change;
            float** in = data.inputs[0].channelBuffers32;
            if (data.numSamples == 1 && in[0] && in[1] && !in[0][0] && !in[1][0] && data.outputs[0].channelBuffers32[1])
                blocks.back() += " silent";
        };
        if (row.edit)
            a.adapter->performEdit(4, 0.25);
        a.block(0);
        a.block(4);
        a.block(4);
        EXPECT_EQ(blocks, row.blocks) << row.name;
    }
}

TEST(Vst3Adapter, BusesPrecisionAndBlocks) {
    Adapted a;
    a.plugin->inputs.push_back({u"Side", kAudio, kAux, 2});
    a.plugin->can32 = false;
    ASSERT_TRUE(a.create());
    EXPECT_EQ(a.effect->numInputs, 2) << "the main bus only";
    EXPECT_EQ(a.plugin->count("activateBus 0 0 1 0"), 1) << "the sidechain is switched off";
    EXPECT_TRUE(a.effect->flags & effFlagsCanDoubleReplacing);
    EXPECT_EQ(a.dispatch(effSetProcessPrecision, 0, kVstProcessPrecision32), 0);

    a.dispatch(effMainsChanged, 0, 1);
    float in[2][4] = {}, out[2][4] = {{9, 9, 9, 9}, {9, 9, 9, 9}};
    float* ins[2] = {in[0], in[1]};
    float* outs[2] = {out[0], out[1]};
    a.effect->processReplacing(a.effect, ins, outs, 4);
    EXPECT_EQ(a.plugin->count("process 4"), 0) << "a float block to a 64-bit-only plug-in is dropped";
    EXPECT_EQ(out[0][0], 9.0f);

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
    EXPECT_EQ(after(a.plugin->calls, before), Lines({"setProcessing 1", "process 4"}));
    // The dropped block still moved the plug-in to the host's offline level.
    EXPECT_EQ(a.plugin->count("setupProcessing 2 1"), 1);
}

TEST(Vst3Adapter, RestartInsideABlockWaitsForItsEnd) {
    Adapted a;
    ASSERT_TRUE(a.create());
    a.dispatch(effMainsChanged, 0, 1);
    a.plugin->onProcess = [&](ProcessData&) {
        a.plugin->onProcess = nullptr;
        a.plugin->inputs[0].channels = 1;
        a.plugin->logged(a.adapter->restartComponent(kIoChanged) == kResultOk ? "restart ok" : "restart refused");
        EXPECT_EQ(a.effect->numInputs, 2) << "the buses change under a running block";
    };
    size_t before = a.plugin->calls.size();
    a.block(4);
    Lines calls = after(a.plugin->calls, before);
    auto restart = std::find(calls.begin(), calls.end(), "restart ok");
    ASSERT_NE(restart, calls.end());
    EXPECT_NE(std::find(restart, calls.end(), "activateBus 0 0 0 1"), calls.end()) << "applied after the block";
    EXPECT_EQ(a.effect->numInputs, 1);
    EXPECT_EQ(a.adapter->restartComponent(kReloadComponent), kResultFalse);
}

TEST(Vst3Adapter, MidiBothWays) {
    Adapted a;
    a.plugin->inputs.push_back({u"Events", kEvent, kMain, 16});
    a.plugin->outputs.push_back({u"Events", kEvent, kMain, 16});
    a.plugin->parameters = {{7, u"Volume", u"", u"", 0, 0, kRootUnitId},
                            {9, u"Program", u"", u"", 10, ParameterInfo::kIsProgramChange, kRootUnitId}};
    a.plugin->units = {UnitInfo{kRootUnitId, kNoParentUnitId, {}, 1}};
    a.plugin->mapping = [](CtrlNumber number, ParamID& id) {
        id = 7;
        return number == 7 ? kResultOk : kResultFalse;
    };
    ASSERT_TRUE(a.create());
    a.dispatch(effMainsChanged, 0, 1);
    EXPECT_EQ(a.calls.calls, Lines({"wantMidi 1"}));

    // Offset, status and data bytes; every note-off velocity is 64.
    const int messages[][4] = {{1, 0x91, 60, 0},  {2, 0x92, 61, 127}, {3, 0x80, 62, 5},
                               {5, 0xB0, 7, 127}, {5, 0xB0, 0x87, 1}, {6, 0xC0, 5, 0}};
    VstMidiEvent in[6] = {};
    struct {
        VstInt32 numEvents;
        VstIntPtr reserved;
        VstEvent* events[6];
    } list = {6, 0, {}};
    for (int i = 0; i < 6; ++i) {
        in[i].type = kVstMidiType;
        in[i].byteSize = VstInt32(sizeof(VstMidiEvent));
        in[i].deltaFrames = messages[i][0];
        for (int b = 0; b < 3; ++b)
            in[i].midiData[b] = char(messages[i][b + 1]);
        in[i].noteOffVelocity = 64;
        list.events[i] = reinterpret_cast<VstEvent*>(&in[i]);
    }
    a.dispatch(effProcessEvents, 0, 0, &list);

    Lines notes, changes;
    a.plugin->onProcess = [&](ProcessData& data) {
        for (int32 i = 0; i < data.inputEvents->getEventCount(); ++i) {
            Event e = {};
            data.inputEvents->getEvent(i, e);
            bool on = e.type == Event::kNoteOnEvent;
            notes.push_back(std::string(on ? "on " : "off ") + std::to_string(on ? e.noteOn.pitch : e.noteOff.pitch) +
                            " " + std::to_string(on ? e.noteOn.velocity : e.noteOff.velocity).substr(0, 4));
        }
        changes = changesOf(data);
        // Out again: a velocity that rounds to 0 leaves as a note off.
        for (float velocity : {1.0f, 0.001f}) {
            Event out = {};
            out.type = Event::kNoteOnEvent;
            out.sampleOffset = 2;
            out.noteOn.channel = 3;
            out.noteOn.pitch = 64;
            out.noteOn.velocity = velocity;
            data.outputEvents->addEvent(out);
        }
    };
    a.block(8);
    // A note on of velocity 0 is a note off with the event's note-off
    // velocity; controller 7 goes to its assigned parameter, a controller
    // number above 127 nowhere, program 5 to the program change parameter
    // as 5 of its 10 steps.
    EXPECT_EQ(notes, Lines({"off 60 0.50", "on 61 1.00", "off 62 0.50"}));
    EXPECT_EQ(changes, Lines({"7=1.00@5", "9=0.50@6"}));
    Lines out;
    for (const VstMidiEvent& e : a.calls.events)
        out.push_back(std::to_string(uint8_t(e.midiData[0])) + " " + std::to_string(e.midiData[1]) + " " +
                      std::to_string(e.midiData[2]) + " @" + std::to_string(e.deltaFrames));
    EXPECT_EQ(out, Lines({"147 64 127 @2", "131 64 0 @2"})) << "0x93 and 0x83";
}

TEST(Vst3Adapter, OneObjectIsSetUpOnceAndTornDownInOrder) {
    Adapted a;
    ASSERT_TRUE(a.create());
    EXPECT_EQ(a.plugin->count("initialize"), 1) << "component and controller are one object";
    char fuid[16] = {};
    EXPECT_EQ(a.dispatch(effVendorSpecific, 0x73744341, 0x46554944, fuid), 1);
    EXPECT_EQ(std::memcmp(fuid, classId, 16), 0);
    a.dispatch(effMainsChanged, 0, 1);
    a.block(4);

    size_t before = a.plugin->calls.size();
    a.dispatch(effMainsChanged, 0, 0);
    a.dispatch(effClose);
    a.effect = nullptr;
    EXPECT_EQ(after(a.plugin->calls, before), Lines({"setProcessing 0", "setActive 0", "disconnect", "disconnect",
                                                     "setComponentHandler null", "terminate"}));
    EXPECT_EQ(a.plugin->references, 1) << "nothing of the plug-in is kept";
}

TEST(Vst3Adapter, AFailedInitializeIsUndoneAndRefused) {
    Adapted a;
    a.plugin->initializeAnswer = kResultFalse;
    EXPECT_FALSE(a.create());
    EXPECT_EQ(a.plugin->count("terminate"), 1) << "a begun initialize is still undone";
    EXPECT_EQ(a.plugin->references, 1) << "nothing of the plug-in is kept";
}

TEST(Vst3Adapter, HostServicesThePlugInMayAskFor) {
    Adapted a;
    ASSERT_TRUE(a.create());
    TUID message, attributes, none = {};
    IMessage::iid.toTUID(message);
    IAttributeList::iid.toTUID(attributes);
    struct Row {
        const char* name;
        TUID *cid, *iid;
        const FUID* made; // the interface the new object answers, or null for none
    } rows[] = {
        {"a message", &message, &message, &IMessage::iid},
        {"an attribute list", &attributes, &attributes, &IAttributeList::iid},
        {"a message as an attribute list", &message, &attributes, nullptr},
        {"an attribute list as a message", &attributes, &message, nullptr},
        {"no class", nullptr, &message, nullptr},
        {"nothing", &none, &none, nullptr},
    };
    for (const Row& row : rows) {
        void* object = &a; // must be overwritten
        tresult result = a.adapter->createInstance(row.cid ? *row.cid : nullptr, *row.iid, &object);
        EXPECT_EQ(result, row.made ? kResultOk : kResultFalse) << row.name;
        if (!row.made) {
            EXPECT_EQ(object, nullptr) << row.name;
            continue;
        }
        ASSERT_NE(object, nullptr) << row.name;
        FUnknown* made = static_cast<FUnknown*>(object);
        void* answer = nullptr;
        EXPECT_EQ(made->queryInterface(*row.made, &answer), kResultOk) << row.name;
        static_cast<FUnknown*>(answer)->release();
        EXPECT_EQ(made->release(), 0u) << row.name << ": the caller holds the one reference";
    }
}

} // namespace
