// Which classes of a VST 3 module the host can take as an audio effect.
// Pure selection over what the factory reported; no plug-in code runs.
#pragma once

#include <vector>

#include "vst3/module.h"

// The classes whose category is exactly "Audio Module Class" (compared whole
// and case-sensitively), in factory order. The host tries them in this order
// and takes the first that makes an effect: there is no ranking by
// sub-category, name or version.
std::vector<VST3::Hosting::ClassInfo> audioEffectClasses(const VST3::Hosting::PluginFactory& factory);
