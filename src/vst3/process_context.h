// The VST 3 process context of one block, from the time information a VST 2
// host answers to audioMasterGetTime. Pure code.
#pragma once

#include "pluginterfaces/vst/ivstprocesscontext.h"
#include "vst2/vst2_interface.h"

// Overwrites every field of `context`. The VST 2 validity flags and
// transport bits keep their positions (state = t.flags & 0xFF0E); a field
// whose flag is clear is 0, except tempo (120) and the time signature (4/4),
// which plug-ins tend to use without looking at the flag. A SMPTE frame rate
// that VST 3 cannot express (the film rates, unknown values) gives frame
// rate 0 and clears kSmpteValid.
void fillProcessContext(const VstTimeInfo& t, Steinberg::Vst::ProcessContext& context);
