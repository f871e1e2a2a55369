// Attribute keys and values that a host sets on the state streams it hands
// to a plug-in, under the SDK's names (vstpresetkeys.h, which the SDK copy we
// build from lacks). Plug-ins compare these texts, so they must be exact.
#pragma once

#include "pluginterfaces/base/ftypes.h"

namespace Steinberg {
namespace Vst {

namespace PresetAttributes {
// What kind of state a stream carries; its values are in StateType.
const CString kStateType = "StateType";
} // namespace PresetAttributes

namespace StateType {
// The state belongs to a saved project: a plug-in restores all of it,
// including what it leaves out of an ordinary preset.
const CString kProject = "Project";
} // namespace StateType

} // namespace Vst
} // namespace Steinberg
