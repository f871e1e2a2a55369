// What the VST 3 test plug-ins say of themselves, shared with the tests that
// check the host reads it back unchanged.
#pragma once

#include "pluginterfaces/base/funknown.h"

namespace fx3 {

// Class identifiers, laid out by INLINE_UID as the plug-ins' own factory
// lays them out.
const Steinberg::TUID effectClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A01);
const Steinberg::TUID componentOnlyClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A02);
const Steinberg::TUID controllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A03);
const Steinberg::TUID lowercaseClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A04);

// The factory.
constexpr const char* factoryVendor = "fxhost tests";
constexpr const char* factoryUrl = "https://fxhost.invalid/tests";
constexpr const char* factoryEmail = "mailto:tests@fxhost.invalid";

// The effect class of fx3_effect (and fx3_twoclasses).
constexpr const char* effectName = "Fx3 Effect";
constexpr const char* effectVendor = "fxhost test vendor";
constexpr const char* effectVersion = "1.2.3.4";
constexpr const char* effectSubCategories = "Fx";

// fx3_twoclasses: a first class of the right category that is a component
// but no audio processor, with a name beyond Latin-1 and beyond the basic
// plane (U+00E9 and U+1D11E, as UTF-8).
constexpr const char* componentOnlyName = "Fx3 Caf\xC3\xA9 \xF0\x9D\x84\x9E";

// fx3_factory2: sub-categories with several items, and a name that fills its
// 64-byte field with no terminator.
constexpr const char* fullFieldName = "Fx3 Factory2 name that fills all of the sixty-four bytes exactly";
constexpr const char* factory2SubCategories = "Fx|Delay|Stereo";
constexpr const char* factory2Version = "2.5";

// fx3_noclass: the category names that are not "Audio Module Class".
constexpr const char* controllerName = "Fx3 Controller";
constexpr const char* lowercaseName = "Fx3 Lowercase";
constexpr const char* lowercaseCategory = "audio module class";

} // namespace fx3
