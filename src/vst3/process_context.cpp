#include "vst3/process_context.h"

using Steinberg::int64;
using Steinberg::Vst::FrameRate;
using Steinberg::Vst::ProcessContext;

namespace {

// Frames per second and pull-down/drop flags of a VST 2 SMPTE rate; false
// for a rate with no VST 3 counterpart.
bool frameRateOf(VstInt32 smpteFrameRate, FrameRate& rate) {
    const Steinberg::uint32 pullDown = FrameRate::kPullDownRate;
    const Steinberg::uint32 drop = FrameRate::kDropRate;
    switch (smpteFrameRate) {
    case kVstSmpte24fps:
        rate = {24, 0};
        return true;
    case kVstSmpte25fps:
        rate = {25, 0};
        return true;
    case kVstSmpte2997fps:
        rate = {30, pullDown};
        return true;
    case kVstSmpte30fps:
        rate = {30, 0};
        return true;
    case kVstSmpte2997dfps:
        rate = {30, pullDown | drop};
        return true;
    case kVstSmpte30dfps:
        rate = {30, drop};
        return true;
    case kVstSmpte239fps:
        rate = {24, pullDown};
        return true;
    case kVstSmpte249fps:
        rate = {25, pullDown};
        return true;
    case kVstSmpte599fps:
        rate = {60, pullDown};
        return true;
    case kVstSmpte60fps:
        rate = {60, 0};
        return true;
    default:
        return false;
    }
}

} // namespace

void fillProcessContext(const VstTimeInfo& t, ProcessContext& context) {
    const VstInt32 flags = t.flags;
    context = ProcessContext();
    context.state = static_cast<Steinberg::uint32>(flags & 0xFF0E);
    context.sampleRate = t.sampleRate;
    context.projectTimeSamples = static_cast<int64>(t.samplePos);
    if (flags & kVstNanosValid)
        context.systemTime = static_cast<int64>(t.nanoSeconds);
    if (flags & kVstPpqPosValid)
        context.projectTimeMusic = t.ppqPos;
    if (flags & kVstBarsValid)
        context.barPositionMusic = t.barStartPos;
    if (flags & kVstCyclePosValid) {
        context.cycleStartMusic = t.cycleStartPos;
        context.cycleEndMusic = t.cycleEndPos;
    }
    context.tempo = (flags & kVstTempoValid) ? t.tempo : 120.0;
    context.timeSigNumerator = (flags & kVstTimeSigValid) ? t.timeSigNumerator : 4;
    context.timeSigDenominator = (flags & kVstTimeSigValid) ? t.timeSigDenominator : 4;
    if (flags & kVstSmpteValid) {
        context.smpteOffsetSubframes = t.smpteOffset;
        if (!frameRateOf(t.smpteFrameRate, context.frameRate))
            context.state &= ~static_cast<Steinberg::uint32>(ProcessContext::kSmpteValid);
    }
    if (flags & kVstClockValid)
        context.samplesToNextClock = t.samplesToNextClock;
}
