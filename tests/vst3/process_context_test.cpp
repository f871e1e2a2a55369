// The VST 3 process context made from the host's time information: a field
// without its flag must not leak through, and where the flag is missing
// the defaults are what plug-ins that ignore the flags can live with.

#include "vst3/process_context.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

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
    // Tempo, musical position, bar, signature and system time follow the
    // flags; rate and position are given always, the continuous time never.
    const std::string fixed = "48000 44100 0";
    struct Case {
        const char* name;
        VstInt32 flags;
        Steinberg::uint32 state;
        std::string context;
    } cases[] = {
        {"none", 0, 0, "120 0 0 4/4 0"},
        {"tempo, playing", kVstTempoValid | kVstTransportPlaying,
         ProcessContext::kTempoValid | ProcessContext::kPlaying, "97.5 0 0 4/4 0"},
        {"time signature, nanoseconds", kVstTimeSigValid | kVstNanosValid,
         ProcessContext::kTimeSigValid | ProcessContext::kSystemTimeValid, "120 0 0 7/8 123456789"},
        // Transport changed, automation and bits above 15 do not pass.
        {"all", -1, 0xFF0E, "97.5 8.5 8 7/8 123456789"},
    };
    for (const Case& c : cases) {
        time.flags = c.flags;
        ProcessContext context;
        std::memset(&context, 0x5A, sizeof context); // every field is written
        fillProcessContext(time, context);
        std::ostringstream shown;
        shown << context.tempo << " " << context.projectTimeMusic << " " << context.barPositionMusic << " "
              << context.timeSigNumerator << "/" << context.timeSigDenominator << " " << context.systemTime << " "
              << context.sampleRate << " " << context.projectTimeSamples << " " << context.continousTimeSamples;
        EXPECT_EQ(context.state, c.state) << c.name;
        EXPECT_EQ(shown.str(), c.context + " " + fixed) << c.name;
    }
}
