#include "vst2/speakers.h"

#include <cstring>

namespace {

struct NamedArrangement {
    VstInt32 type;
    uint32_t mask;
};

const NamedArrangement namedArrangements[] = {
    {kSpeakerArrMono, 0x4},       {kSpeakerArrStereo, 0x3},     {kSpeakerArr40Music, 0x33},
    {kSpeakerArr51, 0x3F},        {kSpeakerArr71Music, 0x63F},
};

} // namespace

VstInt32 arrangementForMask(uint32_t mask) {
    for (const NamedArrangement& named : namedArrangements)
        if (named.mask == mask)
            return named.type;
    return kSpeakerArrUserDefined;
}

uint32_t maskForArrangement(VstInt32 type) {
    for (const NamedArrangement& named : namedArrangements)
        if (named.type == type)
            return named.mask;
    return 0;
}

void describeArrangement(VstSpeakerArrangement& arrangement, uint32_t mask, uint32_t channels) {
    std::memset(&arrangement, 0, sizeof arrangement);
    arrangement.numChannels = VstInt32(channels);
    arrangement.type = arrangementForMask(mask);
    if (mask == 0x4)
        return;
    int speaker = 0;
    for (int bit = 0; bit < 32 && speaker < 8; ++bit)
        if (mask & (1u << bit))
            arrangement.speakers[speaker++].type = bit + 1;
}
