// The VST 3 process context built from a VST 2 host's time information:
// fields without their flag must not leak through, and the defaults must be
// what plug-ins that ignore the flags can live with.

#include "vst3/process_context.h"

#include <gtest/gtest.h>

#include <cstring>

using Steinberg::Vst::FrameRate;
using Steinberg::Vst::ProcessContext;

namespace {

// Every field set, so that a field copied without its flag shows.
VstTimeInfo fullTimeInfo(VstInt32 flags) {
    VstTimeInfo t{};
    t.samplePos = 44100.9;
    t.sampleRate = 48000;
    t.nanoSeconds = 123456789.0;
    t.ppqPos = 8.5;
    t.tempo = 97.5;
    t.barStartPos = 8;
    t.cycleStartPos = 4;
    t.cycleEndPos = 12;
    t.timeSigNumerator = 7;
    t.timeSigDenominator = 8;
    t.smpteOffset = 33;
    t.smpteFrameRate = kVstSmpte25fps;
    t.samplesToNextClock = 55;
    t.flags = flags;
    return t;
}

} // namespace

TEST(ProcessContext, FieldsFollowTheirFlags) {
    ProcessContext context;
    std::memset(&context, 0x5A, sizeof context); // every field is overwritten
    fillProcessContext(fullTimeInfo(0), context);
    EXPECT_EQ(context.state, 0u);
    EXPECT_EQ(context.sampleRate, 48000);
    EXPECT_EQ(context.projectTimeSamples, 44100);
    EXPECT_EQ(context.systemTime, 0);
    EXPECT_EQ(context.continousTimeSamples, 0);
    EXPECT_EQ(context.projectTimeMusic, 0);
    EXPECT_EQ(context.barPositionMusic, 0);
    EXPECT_EQ(context.cycleStartMusic, 0);
    EXPECT_EQ(context.cycleEndMusic, 0);
    EXPECT_EQ(context.tempo, 120);
    EXPECT_EQ(context.timeSigNumerator, 4);
    EXPECT_EQ(context.timeSigDenominator, 4);
    EXPECT_EQ(context.chord.keyNote, 0);
    EXPECT_EQ(context.chord.rootNote, 0);
    EXPECT_EQ(context.chord.chordMask, 0);
    EXPECT_EQ(context.smpteOffsetSubframes, 0);
    EXPECT_EQ(context.frameRate.framesPerSecond, 0u);
    EXPECT_EQ(context.frameRate.flags, 0u);
    EXPECT_EQ(context.samplesToNextClock, 0);

    // All bits: the transport bits and validity flags pass, the others
    // (transport changed, automation, anything above 15) do not.
    fillProcessContext(fullTimeInfo(-1), context);
    EXPECT_EQ(context.state, 0xFF0Eu);
    EXPECT_EQ(context.systemTime, 123456789);
    EXPECT_EQ(context.continousTimeSamples, 0);
    EXPECT_EQ(context.projectTimeMusic, 8.5);
    EXPECT_EQ(context.barPositionMusic, 8);
    EXPECT_EQ(context.cycleStartMusic, 4);
    EXPECT_EQ(context.cycleEndMusic, 12);
    EXPECT_EQ(context.tempo, 97.5);
    EXPECT_EQ(context.timeSigNumerator, 7);
    EXPECT_EQ(context.timeSigDenominator, 8);
    EXPECT_EQ(context.smpteOffsetSubframes, 33);
    EXPECT_EQ(context.frameRate.framesPerSecond, 25u);
    EXPECT_EQ(context.samplesToNextClock, 55);

    // One flag at a time reaches only its own fields.
    fillProcessContext(fullTimeInfo(kVstTempoValid | kVstTransportPlaying), context);
    EXPECT_EQ(context.state, static_cast<Steinberg::uint32>(ProcessContext::kTempoValid | ProcessContext::kPlaying));
    EXPECT_EQ(context.tempo, 97.5);
    EXPECT_EQ(context.timeSigNumerator, 4);
    EXPECT_EQ(context.projectTimeMusic, 0);
    fillProcessContext(fullTimeInfo(kVstCyclePosValid), context);
    EXPECT_EQ(context.cycleEndMusic, 12);
    EXPECT_EQ(context.barPositionMusic, 0);
}

TEST(ProcessContext, SmpteRates) {
    const Steinberg::uint32 pullDown = FrameRate::kPullDownRate;
    const Steinberg::uint32 drop = FrameRate::kDropRate;
    struct Case {
        VstInt32 rate;
        Steinberg::uint32 framesPerSecond;
        Steinberg::uint32 flags;
        bool valid;
    } cases[] = {
        {kVstSmpte24fps, 24, 0, true},
        {kVstSmpte25fps, 25, 0, true},
        {kVstSmpte2997fps, 30, pullDown, true},
        {kVstSmpte30fps, 30, 0, true},
        {kVstSmpte2997dfps, 30, pullDown | drop, true},
        {kVstSmpte30dfps, 30, drop, true},
        {kVstSmpte239fps, 24, pullDown, true},
        {kVstSmpte249fps, 25, pullDown, true},
        {kVstSmpte599fps, 60, pullDown, true},
        {kVstSmpte60fps, 60, 0, true},
        // Film rates and unknown values have no VST 3 counterpart.
        {kVstSmpteFilm16mm, 0, 0, false},
        {kVstSmpteFilm35mm, 0, 0, false},
        {8, 0, 0, false},
        {-1, 0, 0, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.rate);
        VstTimeInfo t = fullTimeInfo(kVstSmpteValid | kVstTransportPlaying);
        t.smpteFrameRate = c.rate;
        ProcessContext context;
        fillProcessContext(t, context);
        EXPECT_EQ(context.frameRate.framesPerSecond, c.framesPerSecond);
        EXPECT_EQ(context.frameRate.flags, c.flags);
        Steinberg::uint32 state = ProcessContext::kPlaying;
        if (c.valid)
            state |= ProcessContext::kSmpteValid;
        EXPECT_EQ(context.state, state);

        // Without the flag the rate is not looked at.
        t.flags = 0;
        fillProcessContext(t, context);
        EXPECT_EQ(context.frameRate.framesPerSecond, 0u);
    }
}
