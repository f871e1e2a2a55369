// VSTEffect against an in-process stand-in plug-in: the open and close
// sequences, the host callback's answers with and without an instance, the
// time record, and the idle timer.

#include "vst2/vst_effect.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "fake_plugin.h"
#include "support/win32.h"

namespace {

typedef std::vector<std::string> Lines;

VstIntPtr ask(AEffect* effect, VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr) {
    return VSTEffect::hostCallback(effect, opcode, index, value, ptr, 0.0f);
}

// Lets the thread's message queue run, so that thread timers fire.
void pumpFor(DWORD milliseconds) {
    ULONGLONG end = GetTickCount64() + milliseconds;
    while (GetTickCount64() < end) {
        MSG msg;
        while (PeekMessageW(&msg, NULL, 0, 0, PM_REMOVE))
            DispatchMessageW(&msg);
        Sleep(5);
    }
}

const VstInt32 opOpen = effOpen, opClose = effClose, opRate = effSetSampleRate, opBlock = effSetBlockSize,
               opMains = effMainsChanged;

TEST(VSTEffectOpen, SequenceAndClose) {
    FakePlugin plugin;
    {
        VSTEffect effect;
        ASSERT_TRUE(effect.openEffect(&plugin.record));
        EXPECT_EQ(plugin.record.user, &effect);
        EXPECT_TRUE(effect.running);
        EXPECT_EQ(plugin.calls, Lines({"0 0 0", "11 0 512", "12 0 1"}));
        plugin.calls.clear();
    }
    EXPECT_EQ(plugin.calls, Lines({"12 0 0", "1 0 0"}));
}

TEST(VSTEffectOpen, KnownRateIsGivenBeforeTheBlockSize) {
    FakePlugin plugin;
    VSTEffect effect;
    effect.sampleRate = 96000;
    ASSERT_TRUE(effect.openEffect(&plugin.record));
    EXPECT_EQ(plugin.calls, Lines({"0 0 0", "10 0 0 96000", "11 0 512", "12 0 1"}));
}

TEST(VSTEffectOpen, RefusesWithoutTouchingThePlugin) {
    FakePlugin wrongMagic, instrument(effFlagsIsSynth | effFlagsCanReplacing);
    wrongMagic.record.magic = 0x12345678;
    for (FakePlugin* plugin : {&wrongMagic, &instrument}) {
        {
            VSTEffect effect;
            EXPECT_FALSE(effect.openEffect(&plugin->record));
            EXPECT_EQ(effect.aeffect, nullptr);
        }
        EXPECT_TRUE(plugin->calls.empty());
    }
    VSTEffect effect;
    EXPECT_FALSE(effect.openEffect(nullptr));
    EXPECT_FALSE(effect.openEntry(nullptr));
}

TEST(VSTEffectOpen, ThrowingPluginIsRefusedAndStillClosed) {
    for (VstInt32 failing : {opOpen, opBlock}) {
        FakePlugin plugin;
        plugin.answer = [failing](VstInt32 opcode, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
            if (opcode == failing)
                throw std::runtime_error("plug-in failure");
            return 0;
        };
        {
            VSTEffect effect;
            EXPECT_FALSE(effect.openEffect(&plugin.record));
            plugin.calls.clear();
        }
        EXPECT_EQ(plugin.calls, Lines({"12 0 0", "1 0 0"})) << "failing opcode " << failing;
    }
}

TEST(VSTEffectOpen, MainsChangedExceptionsAreSwallowed) {
    FakePlugin plugin;
    plugin.answer = [](VstInt32 opcode, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
        if (opcode == opMains)
            throw std::runtime_error("no");
        return 0;
    };
    VSTEffect effect;
    ASSERT_TRUE(effect.openEffect(&plugin.record));
    EXPECT_TRUE(effect.running);
    effect.suspend();
    EXPECT_FALSE(effect.running);
}

TEST(VSTEffectClose, OpenEditorIsClosedFirstOnlyWhenFlagged) {
    for (VstInt32 flags : {VstInt32(effFlagsHasEditor), VstInt32(0)}) {
        FakePlugin plugin(flags);
        {
            VSTEffect effect;
            ASSERT_TRUE(effect.openEffect(&plugin.record));
            effect.editorOpen = true;
            plugin.calls.clear();
        }
        Lines expected = flags ? Lines({"12 0 0", "15 0 0", "1 0 0"}) : Lines({"12 0 0", "1 0 0"});
        EXPECT_EQ(plugin.calls, expected);
    }
}

TEST(VSTEffectConfigure, EditorFlagOrParameters) {
    struct Case {
        VstInt32 flags, numParams;
        bool expected;
    } cases[] = {{effFlagsHasEditor, 0, true}, {0, 1, true}, {0, 0, false}, {0, -3, false}};
    for (const Case& c : cases) {
        FakePlugin plugin(c.flags, c.numParams);
        VSTEffect effect;
        ASSERT_TRUE(effect.openEffect(&plugin.record));
        EXPECT_EQ(effect.canConfigure(), c.expected) << c.flags << " " << c.numParams;
    }
}

TEST(HostCallback, AnswersWithoutAnInstance) {
    char text[256];
    // Null record, and a record whose user field is not set yet.
    FakePlugin unopened;
    for (AEffect* effect : {static_cast<AEffect*>(nullptr), &unopened.record}) {
        EXPECT_EQ(ask(effect, audioMasterVersion), 2400);
        EXPECT_EQ(ask(effect, audioMasterGetSampleRate), 44100);
        EXPECT_EQ(ask(effect, audioMasterGetBlockSize), 512);
        EXPECT_EQ(ask(effect, audioMasterGetCurrentProcessLevel), kVstProcessLevelOffline);
        EXPECT_EQ(ask(effect, audioMasterGetTime, 0, 0xFFFF), 0);
        EXPECT_EQ(ask(effect, audioMasterIdle), 0);
        EXPECT_EQ(ask(effect, audioMasterNeedIdle), 1);
        EXPECT_EQ(ask(effect, audioMasterSizeWindow, 10, 10), 1);
        EXPECT_EQ(ask(effect, audioMasterUpdateDisplay), 0);
        EXPECT_EQ(ask(effect, audioMasterProcessEvents), 1);
        EXPECT_EQ(ask(effect, audioMasterIOChanged), 1);
        EXPECT_EQ(ask(effect, audioMasterGetLanguage), kVstLangEnglish);
        EXPECT_EQ(ask(effect, audioMasterGetDirectory), 0);
        EXPECT_EQ(ask(effect, audioMasterGetVendorVersion), 1);
        std::memset(text, 'x', sizeof text);
        EXPECT_EQ(ask(effect, audioMasterGetVendorString, 0, 0, text), 1);
        EXPECT_STREQ(text, "Tonewell");
        EXPECT_EQ(ask(effect, audioMasterGetProductString, 0, 0, text), 1);
        EXPECT_STREQ(text, "Tonewell VST Adapter");
        EXPECT_EQ(ask(effect, audioMasterAutomate, 3), 0);
        EXPECT_EQ(ask(effect, 1000), 0);
        EXPECT_EQ(ask(effect, -1), 0);
    }
}

TEST(HostCallback, CanDoIsExact) {
    struct Case {
        const char* text;
        VstIntPtr expected;
    } cases[] = {{"sendVstTimeInfo", 1}, {"sizeWindow", 1},          {"supplyIdle", 1},
                 {"sendVstEvents", 0},   {"sizewindow", 0},          {"supplyIdle ", 0},
                 {"", 0},                {"receiveVstMidiEvent", 0}};
    for (const Case& c : cases)
        EXPECT_EQ(ask(nullptr, audioMasterCanDo, 0, 0, const_cast<char*>(c.text)), c.expected) << c.text;
    EXPECT_EQ(ask(nullptr, audioMasterCanDo), 0);
}

TEST(HostCallback, AnswersWithAnInstance) {
    FakePlugin plugin;
    VSTEffect effect;
    effect.sampleRate = 48000;
    effect.processLevel = kVstProcessLevelRealtime;
    ASSERT_TRUE(effect.openEffect(&plugin.record));
    EXPECT_EQ(ask(&plugin.record, audioMasterGetSampleRate), 48000);
    EXPECT_EQ(ask(&plugin.record, audioMasterGetCurrentProcessLevel), kVstProcessLevelRealtime);
    EXPECT_EQ(ask(&plugin.record, audioMasterNeedIdle), 1);
    EXPECT_TRUE(effect.needIdle);

    effect.sampleRate = 0;
    EXPECT_EQ(ask(&plugin.record, audioMasterGetSampleRate), 44100);
}

TEST(HostCallback, OtherOpcodesReachTheChangeCallbackWithTheIndex) {
    FakePlugin plugin;
    VSTEffect effect;
    ASSERT_TRUE(effect.openEffect(&plugin.record));
    std::vector<int32_t> seen;
    effect.changeCallback = [&seen](int32_t index) { seen.push_back(index); };
    EXPECT_EQ(ask(&plugin.record, audioMasterAutomate, 7), 0);
    EXPECT_EQ(ask(&plugin.record, audioMasterBeginEdit, 2), 0);
    EXPECT_EQ(ask(&plugin.record, audioMasterWantMidi, 1), 0);
    EXPECT_EQ(ask(&plugin.record, 99, 5), 0);
    // Answered questions are not notifications.
    ask(&plugin.record, audioMasterVersion, 11);
    ask(&plugin.record, audioMasterGetTime, 12);
    EXPECT_EQ(seen, std::vector<int32_t>({7, 2, 1, 5}));
}

TEST(HostCallback, TimeRecordFollowsTheMask) {
    FakePlugin plugin;
    VSTEffect effect;
    ASSERT_TRUE(effect.openEffect(&plugin.record));

    VstTimeInfo* info = reinterpret_cast<VstTimeInfo*>(ask(&plugin.record, audioMasterGetTime, 0, 0));
    ASSERT_EQ(info, &effect.timeInfo);
    EXPECT_EQ(info->flags, kVstTransportChanged | kVstTransportPlaying);

    effect.suspend();
    info = reinterpret_cast<VstTimeInfo*>(ask(&plugin.record, audioMasterGetTime, 0, 0));
    EXPECT_EQ(info->flags, kVstTransportChanged);

    // Positions, bars, cycles and clocks are never claimed, whatever is asked.
    info = reinterpret_cast<VstTimeInfo*>(ask(&plugin.record, audioMasterGetTime, 0, 0xFFFF));
    EXPECT_EQ(info->flags, kVstTransportChanged | kVstNanosValid | kVstTempoValid | kVstTimeSigValid);
    EXPECT_EQ(info->tempo, 120.0);
    EXPECT_EQ(info->timeSigNumerator, 4);
    EXPECT_EQ(info->timeSigDenominator, 4);
    EXPECT_EQ(info->samplePos, 0.0);
    EXPECT_EQ(info->sampleRate, 44100.0);
    EXPECT_GT(info->nanoSeconds, 0.0);

    effect.timeSignature = (6u << 16) | 3; // 6/8
    info = reinterpret_cast<VstTimeInfo*>(ask(&plugin.record, audioMasterGetTime, 0, kVstTimeSigValid));
    EXPECT_EQ(info->timeSigNumerator, 6);
    EXPECT_EQ(info->timeSigDenominator, 8);
}

TEST(HostCallback, IdleRequestLeavesNeedIdleAsItWas) {
    FakePlugin plugin;
    VSTEffect effect;
    ASSERT_TRUE(effect.openEffect(&plugin.record));
    // effIdle asks to be called again: needIdle would stay true if kept.
    plugin.answer = [](VstInt32 opcode, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
        return opcode == effIdle ? 1 : 0;
    };
    plugin.calls.clear();
    EXPECT_EQ(ask(&plugin.record, audioMasterIdle), 1);
    EXPECT_EQ(plugin.callsOf(effIdle).size(), 2u);
    EXPECT_FALSE(effect.needIdle);

    effect.needIdle = true;
    plugin.answer = nullptr; // effIdle now answers 0: done
    ask(&plugin.record, audioMasterIdle);
    EXPECT_TRUE(effect.needIdle);
}

TEST(IdleTick, IdleEditorIdleAndSizeCheck) {
    FakePlugin plugin(effFlagsHasEditor);
    ERect rect = {0, 0, 200, 300}; // 300 wide, 200 high
    plugin.answer = [&rect](VstInt32 opcode, VstInt32, VstIntPtr, void* ptr, float) -> VstIntPtr {
        if (opcode == effEditGetRect) {
            *static_cast<ERect**>(ptr) = &rect;
            return 1;
        }
        return 0;
    };
    VSTEffect effect;
    ASSERT_TRUE(effect.openEffect(&plugin.record));
    plugin.calls.clear();

    effect.idleTick(); // nothing asked for
    EXPECT_TRUE(plugin.calls.empty());

    effect.needIdle = true;
    effect.editorOpen = true;
    effect.editorWidth = 300;
    effect.editorHeight = 200;
    effect.sizeCheckCount = 2;
    effect.idleTick();
    EXPECT_EQ(plugin.calls, Lines({"53 0 0", "19 0 0", "13 0 0"}));
    EXPECT_FALSE(effect.needIdle) << "effIdle answered 0";
    EXPECT_EQ(effect.sizeCheckCount, 1) << "same size: keep looking";

    rect.right = 400; // the editor grew
    effect.idleTick();
    EXPECT_EQ(effect.sizeCheckCount, 0) << "a change stops the search";
    effect.editorOpen = false;
}

TEST(IdleTimer, RunsWhileInstancesAreOpen) {
    FakePlugin first;
    {
        VSTEffect effect;
        ASSERT_TRUE(effect.openEffect(&first.record));
        effect.needIdle = true;
        pumpFor(350);
        EXPECT_EQ(first.callsOf(effIdle).size(), 1u) << "effIdle answered 0, so only once";
        effect.needIdle = true;
        pumpFor(350);
        EXPECT_EQ(first.callsOf(effIdle).size(), 2u);
    }
    // The last instance closed: the timer is gone, and a new open starts one.
    FakePlugin second;
    VSTEffect effect;
    ASSERT_TRUE(effect.openEffect(&second.record));
    effect.needIdle = true;
    pumpFor(350);
    EXPECT_EQ(second.callsOf(effIdle).size(), 1u);
    EXPECT_EQ(first.callsOf(effIdle).size(), 2u);
}

TEST(IdleTimer, TicksEveryOpenInstance) {
    FakePlugin a, b;
    VSTEffect first, second;
    ASSERT_TRUE(first.openEffect(&a.record));
    ASSERT_TRUE(second.openEffect(&b.record));
    first.needIdle = second.needIdle = true;
    pumpFor(350);
    EXPECT_EQ(a.callsOf(effIdle).size(), 1u);
    EXPECT_EQ(b.callsOf(effIdle).size(), 1u);
}

struct OpenedPlugin {
    FakePlugin plugin;
    VSTEffect effect;
    explicit OpenedPlugin(VstInt32 ins = 2, VstInt32 outs = 2, VstInt32 flags = effFlagsCanReplacing)
        : plugin(flags) {
        plugin.record.numInputs = ins;
        plugin.record.numOutputs = outs;
        effect.sampleRate = 44100;
        if (!effect.openEffect(&plugin.record))
            throw std::runtime_error("could not open the stand-in");
        plugin.calls.clear();
    }
};

TEST(NegotiateFormat, CallsInOrderAndGrantedRecord) {
    OpenedPlugin p;
    StreamFormat format = {48000, 2, 3, 2, 3};
    ASSERT_TRUE(p.effect.negotiateFormat(format));
    EXPECT_EQ(p.plugin.calls[0], "10 0 0 48000");
    EXPECT_EQ(p.plugin.calls[1].substr(0, 5), "42 0 ");
    EXPECT_EQ(Lines(p.plugin.calls.begin() + 2, p.plugin.calls.end()),
              Lines({"33 0 0", "33 1 0", "34 0 0", "34 1 0", "31 0 1", "31 1 1", "32 0 1", "32 1 1"}));
    EXPECT_EQ(format.inputChannels, 2u);
    EXPECT_EQ(format.inputMask, 3u);
    EXPECT_EQ(format.outputMask, 3u);
    EXPECT_TRUE(p.effect.configured);

    // Same rate, no mask: neither call is repeated.
    p.plugin.calls.clear();
    StreamFormat again = {48000, 1, 0, 1, 0};
    ASSERT_TRUE(p.effect.negotiateFormat(again));
    EXPECT_TRUE(p.plugin.callsOf(effSetSampleRate).empty());
    EXPECT_TRUE(p.plugin.callsOf(effSetSpeakerArrangement).empty());
    EXPECT_EQ(p.plugin.callsOf(effConnectInput), Lines({"31 0 1", "31 1 0"}));
    EXPECT_EQ(again.inputMask, 0u) << "stereo pins, one channel: the mask no longer fits";
}

TEST(NegotiateFormat, ArrangementOfferedForTheInputMask) {
    struct Case {
        uint32_t mask, channels;
        VstInt32 type;
        std::vector<VstInt32> speakers;
    } cases[] = {
        {0x4, 1, kSpeakerArrMono, {0}},
        {0x3, 2, kSpeakerArrStereo, {1, 2}},
        {0x7, 3, kSpeakerArrUserDefined, {1, 2, 3}},
        {0x63F, 8, kSpeakerArr71Music, {1, 2, 3, 4, 5, 6, 10, 11}},
        {0xFFF, 12, kSpeakerArrUserDefined, {1, 2, 3, 4, 5, 6, 7, 8}},
    };
    for (const Case& c : cases) {
        OpenedPlugin p;
        VstSpeakerArrangement seen;
        std::memset(&seen, 0xAA, sizeof seen);
        bool sameRecord = false;
        p.plugin.answer = [&](VstInt32 opcode, VstInt32, VstIntPtr value, void* ptr, float) -> VstIntPtr {
            if (opcode == effSetSpeakerArrangement) {
                seen = *static_cast<VstSpeakerArrangement*>(ptr);
                sameRecord = reinterpret_cast<void*>(value) == ptr;
            }
            return 0;
        };
        StreamFormat format = {44100, c.channels, c.mask, c.channels, 0};
        p.effect.negotiateFormat(format);
        EXPECT_TRUE(sameRecord) << c.mask;
        EXPECT_EQ(seen.type, c.type) << c.mask;
        EXPECT_EQ(seen.numChannels, VstInt32(c.channels)) << c.mask;
        for (size_t i = 0; i < 8; ++i)
            EXPECT_EQ(seen.speakers[i].type, i < c.speakers.size() ? c.speakers[i] : 0) << c.mask << " speaker " << i;
    }
}

TEST(NegotiateFormat, PinGroupsAndMonoPairs) {
    struct Case {
        std::vector<VstInt32> inputs, outputs;
        uint32_t asked, grantedIn, grantedOut, maskIn, maskOut;
    } cases[] = {
        // stereo, stereo, mono, mono: only the leading run of two counts.
        {{1, 1, 0, 0}, {1, 1}, 4, 2, 2, 3, 3},
        // two mono pins stand for stereo
        {{0, 0}, {0, 0}, 2, 2, 2, 3, 3},
        {{0}, {0}, 2, 1, 1, 4, 4},
        {{15, 15, 15, 15, 15, 15}, {1, 1}, 6, 6, 2, 0x3F, 3},
        {{-2, -2, -2}, {-2, -2, -2}, 3, 3, 3, 0, 0},
    };
    for (const Case& c : cases) {
        OpenedPlugin p(VstInt32(c.inputs.size()), VstInt32(c.outputs.size()));
        p.plugin.inputArrangements = c.inputs;
        p.plugin.outputArrangements = c.outputs;
        StreamFormat format = {44100, c.asked, 0, c.asked, 0};
        ASSERT_TRUE(p.effect.negotiateFormat(format));
        EXPECT_EQ(format.inputChannels, c.grantedIn) << c.inputs.size() << " input pins";
        EXPECT_EQ(format.outputChannels, c.grantedOut) << c.outputs.size() << " output pins";
        EXPECT_EQ(format.inputMask, c.maskIn) << c.inputs.size() << " input pins";
        EXPECT_EQ(format.outputMask, c.maskOut) << c.outputs.size() << " output pins";
        EXPECT_EQ(p.effect.usedInputs, c.grantedIn);
        EXPECT_EQ(p.plugin.callsOf(effConnectInput).size(), c.inputs.size()) << "every pin is told";
    }
}

TEST(NegotiateFormat, NoInputsOrNoOutputsIsRefused) {
    for (VstInt32 ins : {0, -1, 2}) {
        OpenedPlugin p(ins, ins == 2 ? 0 : 2);
        StreamFormat format = {44100, 2, 0, 2, 0};
        EXPECT_FALSE(p.effect.negotiateFormat(format)) << ins;
        EXPECT_TRUE(p.plugin.callsOf(effConnectInput).empty());
    }
}

TEST(ProcessBlocks, UnusedPinsGetZeroedScratch) {
    OpenedPlugin p(4, 4);
    StreamFormat format = {44100, 2, 0, 2, 0};
    ASSERT_TRUE(p.effect.negotiateFormat(format));
    std::vector<float*> seenIn, seenOut;
    bool scratchSilent = true;
    p.plugin.render = [&](float** in, float** out, VstInt32 frames) {
        seenIn.assign(in, in + 4);
        seenOut.assign(out, out + 4);
        for (int c = 2; c < 4; ++c)
            for (VstInt32 i = 0; i < frames; ++i) {
                scratchSilent = scratchSilent && in[c][i] == 0.0f;
                out[c][i] = 7.0f; // dirty the scratch outputs for the next call
                in[c][i] = 7.0f;
            }
    };
    float a[512] = {}, b[512] = {}, x[512] = {}, y[512] = {};
    float* ins[] = {a, b};
    float* outs[] = {x, y};
    for (int round = 0; round < 2; ++round)
        ASSERT_TRUE(p.effect.processFloat(ins, outs, 512));
    EXPECT_TRUE(scratchSilent) << "scratch is zeroed on every call";
    EXPECT_EQ(seenIn[0], a);
    EXPECT_EQ(seenIn[1], b);
    EXPECT_EQ(seenOut[0], x);
    EXPECT_EQ(seenOut[1], y);
    std::set<float*> distinct(seenIn.begin() + 2, seenIn.end());
    distinct.insert(seenOut.begin() + 2, seenOut.end());
    EXPECT_EQ(distinct.size(), 4u) << "every unused pin has a plane of its own";
}

TEST(ProcessBlocks, AccumulatingPluginsGetClearedOutputs) {
    OpenedPlugin p(2, 2, 0); // no effFlagsCanReplacing: only the old process call
    StreamFormat format = {44100, 2, 0, 2, 0};
    ASSERT_TRUE(p.effect.negotiateFormat(format));
    float a[4] = {1, 2, 3, 4}, b[4] = {5, 6, 7, 8}, x[4] = {9, 9, 9, 9}, y[4] = {9, 9, 9, 9};
    float* ins[] = {a, b};
    float* outs[] = {x, y};
    ASSERT_TRUE(p.effect.processFloat(ins, outs, 4));
    EXPECT_EQ(std::vector<float>(x, x + 4), std::vector<float>(a, a + 4));
    EXPECT_EQ(std::vector<float>(y, y + 4), std::vector<float>(b, b + 4));
}

TEST(ProcessBlocks, NotRunningIsAFailure) {
    OpenedPlugin p;
    float a[1] = {}, x[1] = {};
    float* planes[] = {a, a};
    float* outs[] = {x, x};
    p.effect.suspend();
    EXPECT_FALSE(p.effect.processFloat(planes, outs, 1));
    EXPECT_TRUE(p.plugin.blocks.empty());
}

TEST(Settings, ChunkPluginGetsTheBlobAsItIs) {
    OpenedPlugin p(2, 2, effFlagsCanReplacing | effFlagsProgramChunks);
    const uint8_t blob[5] = {1, 2, 3, 4, 5};
    const void* given = nullptr;
    p.plugin.answer = [&](VstInt32 opcode, VstInt32, VstIntPtr, void* ptr, float) -> VstIntPtr {
        if (opcode == effSetChunk)
            given = ptr;
        return 0;
    };
    p.effect.applySettings(blob, sizeof blob);
    EXPECT_EQ(p.plugin.callsOf(effSetChunk), Lines({"24 0 5"}));
    EXPECT_EQ(given, static_cast<const void*>(blob));
}

std::vector<float> parameterStore;
void VSTCALLBACK storeParameter(AEffect*, VstInt32 index, float value) { parameterStore.at(index) = value; }

TEST(Settings, ParameterPluginGetsWholeFloatsOnly) {
    struct Case {
        size_t bytes;
        std::vector<float> expected;
    } cases[] = {{8, {-1.5f, 2.0f, 0.0f}}, {14, {-1.5f, 2.0f, 1e9f}}, {3, {0.0f, 0.0f, 0.0f}}};
    const float values[4] = {-1.5f, 2.0f, 1e9f, 3.0f};
    uint8_t blob[16];
    std::memcpy(blob, values, sizeof blob);
    for (const Case& c : cases) {
        OpenedPlugin p;
        p.plugin.record.numParams = 3;
        p.plugin.record.setParameter = &storeParameter;
        parameterStore.assign(3, 0.0f);
        p.effect.applySettings(blob, c.bytes);
        EXPECT_EQ(parameterStore, c.expected) << c.bytes << " bytes";
    }
}

float VSTCALLBACK throwingGet(AEffect*, VstInt32) { throw std::runtime_error("get"); }
void VSTCALLBACK throwingSet(AEffect*, VstInt32, float) { throw std::runtime_error("set"); }

TEST(Settings, PluginExceptionsStopAtTheParameterCalls) {
    OpenedPlugin p;
    p.plugin.record.getParameter = &throwingGet;
    p.plugin.record.setParameter = &throwingSet;
    EXPECT_EQ(p.effect.getParameter(0), 0.5f);
    EXPECT_NO_THROW(p.effect.setParameter(0, 1.0f));
    p.plugin.answer = [](VstInt32 opcode, VstInt32, VstIntPtr, void* ptr, float) -> VstIntPtr {
        if (opcode == effGetParamName) {
            std::strcpy(static_cast<char*>(ptr), "Gain");
            return 1;
        }
        if (opcode == effGetParamLabel) {
            std::strcpy(static_cast<char*>(ptr), "part");
            throw std::runtime_error("label");
        }
        if (opcode == effGetParamDisplay)
            std::memset(ptr, 'x', 1024); // no terminator: the host supplies one
        return 0;
    };
    EXPECT_EQ(p.effect.getText(0, effGetParamName), "Gain");
    EXPECT_EQ(p.effect.getText(0, effGetParamLabel), "part");
    EXPECT_EQ(p.effect.getText(0, effGetParamDisplay), std::string(1023, 'x'));
}

TEST(Settings, OpenEditorIsToldAndWatchedForANewSize) {
    OpenedPlugin p(2, 2, effFlagsCanReplacing | effFlagsHasEditor);
    ERect rect = {0, 0, 120, 340};
    p.plugin.answer = [&rect](VstInt32 opcode, VstInt32, VstIntPtr, void* ptr, float) -> VstIntPtr {
        if (opcode == effEditGetRect)
            *static_cast<ERect**>(ptr) = &rect;
        return 0;
    };
    p.effect.editorOpen = true;
    uint8_t blob[4] = {};
    p.effect.applySettings(blob, 0);
    EXPECT_EQ(p.effect.editorWidth, 340);
    EXPECT_EQ(p.effect.editorHeight, 120);
    EXPECT_EQ(p.effect.sizeCheckCount, 100);
    EXPECT_EQ(p.plugin.callsOf(effEditIdle).size(), 2u) << "once directly, once through updateDisplay";
    p.effect.editorOpen = false;
}

} // namespace
