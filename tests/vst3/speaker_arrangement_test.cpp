// Speaker arrangements between VST 3 masks and VST 2 types and records. The
// records go to VST 2 hosts that read as many speakers as numChannels says,
// past the 8 of the declared struct.

#include "vst3/speaker_arrangement.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pluginterfaces/vst/vstspeaker.h"

using Steinberg::Vst::SpeakerArrangement;
namespace SpeakerArr = Steinberg::Vst::SpeakerArr;

TEST(SpeakerArrangement, NamedArrangementsBothWays) {
    // Spot checks against the SDK's own names, where they agree.
    struct Case {
        VstInt32 type;
        SpeakerArrangement mask;
    } cases[] = {
        {kSpeakerArrMono, SpeakerArr::kMono},
        {kSpeakerArrStereo, SpeakerArr::kStereo},
        {kSpeakerArrStereoSurround, 0x30},
        {kSpeakerArr30Music, 0x103},
        {kSpeakerArr50, SpeakerArr::k50},
        {kSpeakerArr51, SpeakerArr::k51},
        {kSpeakerArr71Cine, SpeakerArr::k71Cine},
        {kSpeakerArr71Music, SpeakerArr::k71Music},
        {kSpeakerArr81Music, 0x73F},
        {kSpeakerArr102, 0x6F03F},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        EXPECT_EQ(speakerArrangementFromVst2(c.type), c.mask);
        EXPECT_EQ(vst2ArrangementType(c.mask), c.type);
    }
    // Every named type has its own mask, so each comes back as itself.
    for (VstInt32 type = kSpeakerArrMono; type < kNumSpeakerArr; ++type) {
        SCOPED_TRACE(type);
        EXPECT_NE(speakerArrangementFromVst2(type), 0u);
        EXPECT_EQ(vst2ArrangementType(speakerArrangementFromVst2(type)), type);
    }

    for (VstInt32 type : std::vector<VstInt32>{kSpeakerArrUserDefined, kSpeakerArrEmpty, kNumSpeakerArr, 1000})
        EXPECT_EQ(speakerArrangementFromVst2(type), 0u) << type;
    for (SpeakerArrangement mask : {SpeakerArrangement(0), SpeakerArrangement(0x1), SpeakerArrangement(0x80003),
                                    SpeakerArr::k70Cine | (SpeakerArrangement(1) << 40)})
        EXPECT_EQ(vst2ArrangementType(mask), kSpeakerArrUserDefined) << mask;
}

TEST(SpeakerArrangement, RecordsNameEverySpeaker) {
    struct Speaker {
        VstInt32 type;
        const char* name;
    };
    struct Case {
        const char* name;
        SpeakerArrangement mask;
        VstInt32 type;
        std::vector<Speaker> speakers;
    } cases[] = {
        {"mono", 0x80000, kSpeakerArrMono, {{kSpeakerM, "M"}}},
        {"stereo", 0x3, kSpeakerArrStereo, {{kSpeakerL, "L"}, {kSpeakerR, "R"}}},
        {"5.1",
         0x3F,
         kSpeakerArr51,
         {{kSpeakerL, "L"},
          {kSpeakerR, "R"},
          {kSpeakerC, "C"},
          {kSpeakerLfe, "Lfe"},
          {kSpeakerLs, "Ls"},
          {kSpeakerRs, "Rs"}}},
        // Twelve speakers: past the declared eight.
        {"10.2",
         0x6F03F,
         kSpeakerArr102,
         {{kSpeakerL, "L"},
          {kSpeakerR, "R"},
          {kSpeakerC, "C"},
          {kSpeakerLfe, "Lfe"},
          {kSpeakerLs, "Ls"},
          {kSpeakerRs, "Rs"},
          {kSpeakerTfl, "Tfl"},
          {kSpeakerTfc, "Tfc"},
          {kSpeakerTfr, "Tfr"},
          {kSpeakerTrl, "Trl"},
          {kSpeakerTrr, "Trr"},
          {kSpeakerLfe2, "Lfe2"}}},
        // Mono last in the mask, first in VST 2 numbering; bits that are no
        // VST 2 speaker are named by their place among the set bits.
        {"user-defined",
         0x1 | 0x100 | 0x40000 | 0x80000 | (SpeakerArrangement(1) << 20) | (SpeakerArrangement(1) << 63),
         kSpeakerArrUserDefined,
         {{kSpeakerL, "L"},
          {kSpeakerCs, "Cs"},
          {kSpeakerLfe2, "Lfe2"},
          {kSpeakerM, "M"},
          {kSpeakerUndefined, "5"},
          {kSpeakerUndefined, "6"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VstSpeakerArrangement* record = nullptr;
        makeVstSpeakerArrangement(record, c.mask);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->type, c.type);
        ASSERT_EQ(record->numChannels, static_cast<VstInt32>(c.speakers.size()));
        const VstSpeakerProperties* speakers = record->speakers;
        for (size_t i = 0; i < c.speakers.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(speakers[i].type, c.speakers[i].type);
            EXPECT_STREQ(speakers[i].name, c.speakers[i].name);
            EXPECT_EQ(speakers[i].azimuth, 0.0f);
        }
        freeVstSpeakerArrangement(record);
        EXPECT_EQ(record, nullptr);
    }
}

// A record is reused while it is big enough: the host may keep pointers to
// it between calls. Whether a record was reused shows in a field that is
// never written (a new one is zeroed).
TEST(SpeakerArrangement, RecordsAreReusedWhileTheyFit) {
    const SpeakerArrangement eleven = 0x6F03F & ~SpeakerArrangement(0x40000);
    struct Step {
        SpeakerArrangement mask;
        bool reused;
        VstInt32 channels;
    } steps[] = {
        {0x3, false, 2},      {0x3F, true, 6}, // more channels, still within eight
        {0x6F03F, false, 12},                  // more than eight, more than it had
        {eleven, true, 11},                    // fewer than it had
        {0x6F03F, false, 12},                  // more than it now says it has
        {0x80000, true, 1},
    };
    VstSpeakerArrangement* record = nullptr;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.channels);
        if (record)
            record->speakers[0].future[0] = 42;
        makeVstSpeakerArrangement(record, step.mask);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->speakers[0].future[0] == 42, step.reused);
        EXPECT_EQ(record->numChannels, step.channels);
        EXPECT_EQ(record->type, vst2ArrangementType(step.mask));
    }
    makeVstSpeakerArrangement(record, 0);
    EXPECT_EQ(record, nullptr);
    makeVstSpeakerArrangement(record, 0);
    EXPECT_EQ(record, nullptr);
    freeVstSpeakerArrangement(record);
    EXPECT_EQ(record, nullptr);
}
