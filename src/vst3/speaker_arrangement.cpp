#include "vst3/speaker_arrangement.h"

#include <cstdio>
#include <cstdlib>
#include <new>

using Steinberg::Vst::SpeakerArrangement;

namespace {

// Indexed by VST 2 arrangement type, kSpeakerArrMono to kSpeakerArr102.
const SpeakerArrangement kMasks[] = {
    0x80000, // Mono
    0x3,     // Stereo
    0x30,    // StereoSurround
    0xC0,    // StereoCenter
    0x600,   // StereoSide
    0xC,     // StereoCLfe
    0x7,     // 30Cine
    0x103,   // 30Music
    0xF,     // 31Cine
    0x10B,   // 31Music
    0x107,   // 40Cine
    0x33,    // 40Music
    0x10F,   // 41Cine
    0x3B,    // 41Music
    0x37,    // 50
    0x3F,    // 51
    0x137,   // 60Cine
    0x633,   // 60Music
    0x13F,   // 61Cine
    0x63B,   // 61Music
    0xF7,    // 70Cine
    0x637,   // 70Music
    0xFF,    // 71Cine
    0x63F,   // 71Music
    0x1F7,   // 80Cine
    0x737,   // 80Music
    0x1FF,   // 81Cine
    0x73F,   // 81Music
    0x6F03F, // 102
};
static_assert(sizeof kMasks / sizeof kMasks[0] == kNumSpeakerArr, "one mask per named arrangement");

// VST 3 puts mono last (bit 19); VST 2 gives it type 0. The other speaker
// bits 0 to 18 are the VST 2 speaker types 1 to 19 in the same order.
const SpeakerArrangement kMonoBit = 0x80000;
const int kLastSpeakerBit = 18;

const char* const kSpeakerNames[] = {"M",  "L",  "R",  "C",   "Lfe", "Ls",  "Rs",  "Lc",  "Rc",  "Cs",
                                     "Sl", "Sr", "Tm", "Tfl", "Tfc", "Tfr", "Trl", "Trc", "Trr", "Lfe2"};
static_assert(sizeof kSpeakerNames / sizeof kSpeakerNames[0] == kSpeakerLfe2 + 1, "one name per speaker type");

int bitCount(SpeakerArrangement mask) {
    int count = 0;
    for (; mask != 0; mask &= mask - 1)
        ++count;
    return count;
}

} // namespace

SpeakerArrangement speakerArrangementFromVst2(VstInt32 type) {
    return type >= 0 && type < kNumSpeakerArr ? kMasks[type] : 0;
}

VstInt32 vst2ArrangementType(SpeakerArrangement arrangement) {
    for (VstInt32 type = 0; type < kNumSpeakerArr; ++type)
        if (kMasks[type] == arrangement)
            return type;
    return kSpeakerArrUserDefined;
}

void makeVstSpeakerArrangement(VstSpeakerArrangement*& record, SpeakerArrangement mask) {
    const int channels = bitCount(mask);
    const int fixedSpeakers = sizeof record->speakers / sizeof record->speakers[0];
    if (record && (channels == 0 || (record->numChannels < channels && channels > fixedSpeakers)))
        freeVstSpeakerArrangement(record);
    if (channels == 0)
        return;
    if (!record) {
        size_t extra = channels > fixedSpeakers ? static_cast<size_t>(channels - fixedSpeakers) : 0;
        record = static_cast<VstSpeakerArrangement*>(
            std::calloc(1, sizeof(VstSpeakerArrangement) + extra * sizeof(VstSpeakerProperties)));
        if (!record)
            throw std::bad_alloc();
    }
    record->type = vst2ArrangementType(mask);
    record->numChannels = channels;

    // The record was allocated for as many speakers as it has channels,
    // though its declared array holds 8.
    VstSpeakerProperties* speakers = record->speakers;
    int k = 0;
    for (int bit = 0; bit < 64; ++bit) {
        SpeakerArrangement flag = SpeakerArrangement(1) << bit;
        if (!(mask & flag))
            continue;
        VstSpeakerProperties& speaker = speakers[k++];
        if (flag == kMonoBit)
            speaker.type = kSpeakerM;
        else if (bit <= kLastSpeakerBit)
            speaker.type = bit + 1;
        else
            speaker.type = kSpeakerUndefined;
        if (speaker.type == kSpeakerUndefined)
            std::snprintf(speaker.name, sizeof speaker.name, "%d", k);
        else
            std::snprintf(speaker.name, sizeof speaker.name, "%s", kSpeakerNames[speaker.type]);
    }
}

void freeVstSpeakerArrangement(VstSpeakerArrangement*& record) {
    std::free(record);
    record = nullptr;
}
