// Between VST 2 arrangement types, which the host offers as it negotiates a
// stream, and VST 3 speaker masks, which the plug-in is given and answers.

#include "vst3/speaker_arrangement.h"

#include <gtest/gtest.h>

#include "pluginterfaces/vst/vstspeaker.h"

using Steinberg::Vst::SpeakerArrangement;
namespace SpeakerArr = Steinberg::Vst::SpeakerArr;

TEST(SpeakerArrangement, NamedArrangementsBothWays) {
    struct Case {
        VstInt32 type;
        SpeakerArrangement mask;
    } cases[] = {{kSpeakerArrMono, SpeakerArr::kMono},     {kSpeakerArrStereo, SpeakerArr::kStereo},
                 {kSpeakerArr50, SpeakerArr::k50},         {kSpeakerArr51, SpeakerArr::k51},
                 {kSpeakerArr71Cine, SpeakerArr::k71Cine}, {kSpeakerArr102, 0x6F03F}};
    for (const Case& c : cases) {
        EXPECT_EQ(speakerArrangementFromVst2(c.type), c.mask) << "type " << c.type;
        EXPECT_EQ(vst2ArrangementType(c.mask), c.type) << "type " << c.type;
    }
    // Every named type has a mask of its own.
    for (VstInt32 type = kSpeakerArrMono; type < kNumSpeakerArr; ++type)
        EXPECT_EQ(vst2ArrangementType(speakerArrangementFromVst2(type)), type) << "type " << type;
    for (VstInt32 type : {VstInt32(kSpeakerArrUserDefined), VstInt32(kSpeakerArrEmpty), VstInt32(kNumSpeakerArr)})
        EXPECT_EQ(speakerArrangementFromVst2(type), 0u) << "type " << type;
    for (SpeakerArrangement mask : {SpeakerArrangement(0), SpeakerArrangement(0x80003)})
        EXPECT_EQ(vst2ArrangementType(mask), kSpeakerArrUserDefined) << "mask " << mask;
}
