// Between VST 3 speaker arrangements (bit masks of speakers) and the VST 2
// arrangement types and records the adapter hands to a VST 2 host. Pure code.
#pragma once

#include "pluginterfaces/vst/vsttypes.h"
#include "vst2/vst2_interface.h"

// The VST 3 mask of a named VST 2 arrangement (kSpeakerArrMono to
// kSpeakerArr102); 0 for any other type, user-defined and empty included.
Steinberg::Vst::SpeakerArrangement speakerArrangementFromVst2(VstInt32 type);

// The named VST 2 arrangement of exactly this mask; kSpeakerArrUserDefined
// for any other mask, 0 included.
VstInt32 vst2ArrangementType(Steinberg::Vst::SpeakerArrangement arrangement);

// Describes `mask` in *record, one speaker per set bit from the lowest up,
// and the arrangement's type. The record is reused when it is big enough,
// else freed and allocated again (zeroed, std::calloc, room for at least 8
// speakers as the fixed part of the struct has); a reused record keeps
// whatever its speakers held besides type and name. An empty mask leaves
// *record null. Bits that are no VST 2 speaker become kSpeakerUndefined
// named by their position among the set bits ("3"). Throws std::bad_alloc
// when no memory is left (the old record is then already freed and null).
void makeVstSpeakerArrangement(VstSpeakerArrangement*& record, Steinberg::Vst::SpeakerArrangement mask);

// Frees a record of makeVstSpeakerArrangement (null is fine) and nulls it.
void freeVstSpeakerArrangement(VstSpeakerArrangement*& record);
