// The VST 3 process context made from the host's time information: a field
// without its flag must not leak through, and where the flag is missing
// the defaults are what plug-ins that ignore the flags can live with.

#include "vst3/process_context.h"

#include <gtest/gtest.h>

#include <cstring>

using Steinberg::Vst::ProcessContext;

TEST(ProcessContext, FieldsFollowTheirFlags) {
    VstTimeInfo time = {};
    time.samplePos = 44100.9;
    time.sampleRate = 48000;
    time.nanoSeconds = 123456789.0;
    time.ppqPos = 8.5;
    time.tempo = 97.5;
    time.barStartPos = 8;
    time.timeSigNumerator = 7;
    time.timeSigDenominator = 8;
    struct Case {
        const char* name;
        VstInt32 flags;
        Steinberg::uint32 state;
        double tempo, ppq, bar;
        Steinberg::int32 numerator, denominator;
        Steinberg::int64 systemTime;
    } cases[] = {
        {"none", 0, 0, 120, 0, 0, 4, 4, 0},
        {"tempo, playing", kVstTempoValid | kVstTransportPlaying,
         ProcessContext::kTempoValid | ProcessContext::kPlaying, 97.5, 0, 0, 4, 4, 0},
        {"time signature, nanoseconds", kVstTimeSigValid | kVstNanosValid,
         ProcessContext::kTimeSigValid | ProcessContext::kSystemTimeValid, 120, 0, 0, 7, 8, 123456789},
        // Transport changed, automation and bits above 15 do not pass.
        {"all", -1, 0xFF0E, 97.5, 8.5, 8, 7, 8, 123456789},
    };
    for (const Case& c : cases) {
        time.flags = c.flags;
        ProcessContext context;
        std::memset(&context, 0x5A, sizeof context); // every field is written
        fillProcessContext(time, context);
        EXPECT_EQ(context.state, c.state) << c.name;
        EXPECT_EQ(context.sampleRate, 48000) << c.name;
        EXPECT_EQ(context.projectTimeSamples, 44100) << c.name;
        EXPECT_EQ(context.tempo, c.tempo) << c.name;
        EXPECT_EQ(context.projectTimeMusic, c.ppq) << c.name;
        EXPECT_EQ(context.barPositionMusic, c.bar) << c.name;
        EXPECT_EQ(context.timeSigNumerator, c.numerator) << c.name;
        EXPECT_EQ(context.timeSigDenominator, c.denominator) << c.name;
        EXPECT_EQ(context.systemTime, c.systemTime) << c.name;
        EXPECT_EQ(context.continousTimeSamples, 0) << c.name;
    }
}
