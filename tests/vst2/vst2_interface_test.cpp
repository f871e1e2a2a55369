// The records cross a binary boundary into plug-ins built with other
// compilers and headers: their layout on each width must match the published
// interface exactly. Our own test plug-ins share this header, so only these
// checks would notice a shifted field.

#include "vst2/vst2_interface.h"

#include <cstddef>

constexpr bool wide = sizeof(void*) == 8;
static_assert(sizeof(AEffect) == (wide ? 192 : 144) && offsetof(AEffect, flags) == (wide ? 56 : 36) &&
                  offsetof(AEffect, initialDelay) == (wide ? 80 : 48) && offsetof(AEffect, user) == (wide ? 104 : 68) &&
                  offsetof(AEffect, processDoubleReplacing) == (wide ? 128 : 84),
              "AEffect");
static_assert(sizeof(VstTimeInfo) == 88 && offsetof(VstTimeInfo, flags) == 84, "VstTimeInfo");
static_assert(sizeof(VstPinProperties) == 128 && offsetof(VstPinProperties, arrangementType) == 68, "VstPinProperties");
static_assert(sizeof(VstSpeakerArrangement) == 8 + 8 * 112, "VstSpeakerArrangement");
static_assert(sizeof(VstMidiEvent) == 32 && offsetof(VstEvents, events) == (wide ? 16 : 8), "events");
