// The state of a VST 3 plug-in in the two forms a VST 2 host sees:
//
// - the settings blob (what fxhost keeps in its --data file): a VST 3 preset
//   image, the layout of a .vstpreset file, holding the component's state
//   ("Comp") and the controller's ("Cont");
// - the chunk of effGetChunk/effSetChunk: {int64 c, int64 k, c bytes of
//   component state, k bytes of controller state}, little-endian.
//
// None of these catch a plug-in's exceptions. Threads: the thread that hosts
// the plug-in (the main thread), as every state call of a VST 3 plug-in.
#pragma once

#include <cstdint>
#include <vector>

#include "pluginterfaces/base/funknown.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "public.sdk/source/common/memorystream.h"
#include "vst3/vst_preset_stream.h"

// The preset image of the plug-in's current state, tagged with `classId`
// (the component's class). The controller's state is left out when
// `controller` is null. If a plug-in fails to give its state, saving stops
// where it failed and the image is whatever was written by then: a header
// whose list offset is still 0, which applyPresetImage refuses. `component`
// must not be null.
std::vector<uint8_t> savePresetImage(const Steinberg::FUID& classId, Steinberg::Vst::IComponent* component,
                                     Steinberg::Vst::IEditController* controller);

// Gives a settings blob to the plug-in. A blob starting with "VST3" is a
// preset image: loaded only if its class is `classId`, and only if it holds
// a component state; then the component gets it, the controller gets the
// same as its component state and then its own state if the image has one.
// Any other blob is controller state (as a plug-in's own settings would be):
// controller->setState, and if the controller does not implement that, a
// blob of 12-byte records {uint32 id, double normalized value} sets those
// parameters in order. A blob of any other size is then dropped.
// Nothing reports whether the plug-in took the state. `component` must not
// be null.
void applyPresetImage(const uint8_t* blob, uint64_t size, const Steinberg::FUID& classId,
                      Steinberg::Vst::IComponent* component, Steinberg::Vst::IEditController* controller);

// Fills `chunk` (emptied first) with the adapter chunk and answers its size:
// 16 + c + k, or 0 with `chunk` empty when neither part gave any state. A
// part whose getState does not answer kResultOk counts as empty, whatever it
// wrote. `chunk.getData()` is what effGetChunk hands out; it stays valid
// until `chunk` changes. A state too large for the int32 of effGetChunk also
// gives 0. Either pointer may be null.
Steinberg::int32 buildAdapterChunk(Steinberg::MemoryStream& chunk, Steinberg::Vst::IComponent* component,
                                   Steinberg::Vst::IEditController* controller);

// The sizes c and k at the start of a chunk of `byteSize` bytes; a field that
// the chunk ends before counts as 0. False (refuse the chunk) when a size is
// negative or the parts reach past `byteSize`. Two empty parts need no bytes,
// so a chunk too short for even the sizes is accepted as empty.
bool readAdapterChunkSizes(const void* data, Steinberg::int32 byteSize, Steinberg::int64& c, Steinberg::int64& k);

// effSetChunk: does nothing to a chunk that readAdapterChunkSizes refuses.
// Else the component's setState reads the component part in place, and the
// controller (if any) reads the same part rewound through setComponentState,
// then its own part through setState. Unless `isPreset`, both streams carry
// the attribute StateType = "Project" by the time the controller reads them
// (not yet when the component does). Results are not looked at. The caller
// has cleared its parameter rings; `data` must stay valid for the call.
void applyAdapterChunk(const void* data, Steinberg::int32 byteSize, bool isPreset,
                       Steinberg::Vst::IComponent* component, Steinberg::Vst::IEditController* controller);
