// VSTEffect against an in-process stand-in plug-in, for what a whole run
// cannot reach cheaply: exact host answers, the speaker arrangement offered
// for a mask, and settings blobs that do not fit the parameters.

#include "effect/vst_effect.h"

#include <gtest/gtest.h>

#include <cstring>

#include "fake_plugin.h"

namespace {

// The stand-in, opened at 44100 Hz.
struct Opened {
    FakePlugin plugin;
    VSTEffect effect;
    Opened() {
        effect.sampleRate = 44100;
        EXPECT_TRUE(effect.openEffect(&plugin.record));
    }
};

TEST(HostCallback, CanDoIsExact) {
    struct Case {
        const char* text;
        VstIntPtr expected;
    } cases[] = {{"sendVstTimeInfo", 1}, {"sizeWindow", 1},  {"supplyIdle", 1}, {"sendVstEvents", 0},
                 {"sizewindow", 0},      {"supplyIdle ", 0}, {"supplyIdl", 0},  {"", 0}};
    for (const Case& c : cases)
        EXPECT_EQ(VSTEffect::hostCallback(nullptr, audioMasterCanDo, 0, 0, const_cast<char*>(c.text), 0), c.expected)
            << c.text;
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
        Opened p;
        VstSpeakerArrangement seen;
        std::memset(&seen, 0xAA, sizeof seen);
        p.plugin.answer = [&](VstInt32 opcode, VstInt32, VstIntPtr, void* ptr, float) -> VstIntPtr {
            if (opcode == effSetSpeakerArrangement)
                seen = *static_cast<VstSpeakerArrangement*>(ptr);
            return 0;
        };
        StreamFormat format = {44100, c.channels, c.mask, c.channels, 0};
        p.effect.negotiateFormat(format);
        EXPECT_EQ(seen.type, c.type) << "mask " << c.mask;
        EXPECT_EQ(seen.numChannels, VstInt32(c.channels)) << "mask " << c.mask;
        for (size_t i = 0; i < 8; ++i)
            EXPECT_EQ(seen.speakers[i].type, i < c.speakers.size() ? c.speakers[i] : 0)
                << "mask " << c.mask << ", speaker " << i;
    }
}

std::vector<float> parameterStore;
void VSTCALLBACK storeParameter(AEffect*, VstInt32 index, float value) {
    parameterStore.at(size_t(index)) = value;
}

TEST(Settings, ParameterPluginGetsWholeFloatsOnly) {
    struct Case {
        size_t bytes;
        std::vector<float> expected;
    } cases[] = {{8, {-1.5f, 2.0f, 0.0f}}, {14, {-1.5f, 2.0f, 1e9f}}, {3, {0.0f, 0.0f, 0.0f}}};
    const float values[4] = {-1.5f, 2.0f, 1e9f, 3.0f}; // one more than the plug-in has
    uint8_t blob[16];
    std::memcpy(blob, values, sizeof blob);
    for (const Case& c : cases) {
        Opened p;
        p.plugin.record.numParams = 3;
        p.plugin.record.setParameter = &storeParameter;
        parameterStore.assign(3, 0.0f);
        p.effect.applySettings(blob, c.bytes);
        EXPECT_EQ(parameterStore, c.expected) << c.bytes << " bytes";
    }
}

} // namespace
