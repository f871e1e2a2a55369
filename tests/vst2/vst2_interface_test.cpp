// The records cross a binary boundary into plug-ins built with other
// compilers and headers: their 64-bit layout must match the published
// interface exactly. Our own test plug-ins share this header, so only these
// checks would notice a shifted field.

#include "vst2/vst2_interface.h"

#include <cstddef>

static_assert(sizeof(AEffect) == 192 && offsetof(AEffect, flags) == 56 && offsetof(AEffect, initialDelay) == 80 &&
                  offsetof(AEffect, user) == 104 && offsetof(AEffect, processDoubleReplacing) == 128,
              "AEffect");
static_assert(sizeof(VstTimeInfo) == 88 && offsetof(VstTimeInfo, flags) == 84, "VstTimeInfo");
static_assert(sizeof(VstPinProperties) == 128 && offsetof(VstPinProperties, arrangementType) == 68, "VstPinProperties");
static_assert(sizeof(VstSpeakerArrangement) == 8 + 8 * 112, "VstSpeakerArrangement");
static_assert(sizeof(VstMidiEvent) == 32 && offsetof(VstEvents, events) == 16, "events");
