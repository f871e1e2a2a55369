// Between wave channel masks and VST 2 speaker arrangements. Pure code.
#pragma once

#include <cstdint>

#include "vst2/vst2_interface.h"

// The arrangement a mask stands for; kSpeakerArrUserDefined when there is
// no named one.
VstInt32 arrangementForMask(uint32_t mask);
// The mask of a named arrangement; 0 for any other.
uint32_t maskForArrangement(VstInt32 type);
// Fills a zeroed record for `channels` channels of `mask`: the named type
// and one speaker per set bit (type = bit index + 1, at most 8 speakers).
// Mono keeps its single speaker at type 0 (kSpeakerM).
void describeArrangement(VstSpeakerArrangement& arrangement, uint32_t mask, uint32_t channels);
