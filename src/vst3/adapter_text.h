// Texts and small tables by which a VST 3 class presents itself to a VST 2
// host: its version, its category, and 16-bit strings in the narrow code
// page that VST 2 texts use.
#pragma once

#include <cstddef>

#include "pluginterfaces/vst/vsttypes.h"
#include "vst2/vst2_interface.h"

// The VST 2 vendor version (effGetVendorVersion) of a class version text
// "a.b.c.d": a in the top byte, then b, c and d, one byte each; missing
// parts count as 0, a missing or unreadable a as 1. Null reads as "".
// "2.1.3" gives 0x02010300.
Steinberg::int32 parseVendorVersion(const char* text);

// effGetPlugCategory of a class from its "|"-separated sub-categories: the
// first of analyzer, room (Delay, Reverb), mastering (Dynamics, Mastering),
// restoration, generator, spatial, effect (Fx), synth (Instrument) whose
// word appears anywhere in the text, case-sensitive; else (and for null or
// "") kPlugCategUnknown. So "Fx|Delay" is a room effect.
VstInt32 plugCategoryFromSubCategories(const char* subCategories);

// A 16-bit string (up to its terminator, at most 128 units) in the system's
// narrow code page, cut to `maxBytes` bytes and terminated: `out` holds
// maxBytes + 1. The cut may split a multi-byte character. Empty when the
// conversion fails.
void narrowText(const Steinberg::Vst::TChar* text, char* out, size_t maxBytes);

// Narrow text in the system's code page as a 16-bit string of at most
// `maxUnits` units, terminated: `out` holds maxUnits + 1. Empty when the
// text is not valid in that code page.
void wideText(const char* text, Steinberg::Vst::TChar* out, size_t maxUnits);
