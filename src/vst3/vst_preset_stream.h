// VstPresetStream, under the SDK's name (the SDK copy we build from lacks
// it): a MemoryStream over memory it does not own that also answers
// IStreamAttributes, so that a plug-in can ask what kind of state it is
// being given (PresetAttributes::kStateType in preset_keys.h).
//
// Threads: one thread at a time, like any MemoryStream. Objects live on the
// heap and die with their last release; the memory must outlive them.
#pragma once

#include "pluginterfaces/base/smartpointer.h"
#include "pluginterfaces/vst/ivstattributes.h"
#include "public.sdk/source/common/memorystream.h"
#include "public.sdk/source/vst/hosting/hostclasses.h"

class VstPresetStream : public Steinberg::MemoryStream, public Steinberg::Vst::IStreamAttributes {
public:
    // Reads the `size` bytes at `memory` in place, without copying; `memory`
    // may be null when `size` is 0.
    VstPresetStream(void* memory, Steinberg::TSize size);

    VstPresetStream(const VstPresetStream&) = delete;
    VstPresetStream& operator=(const VstPresetStream&) = delete;

    // IStreamAttributes
    // There is no file behind the stream: kNotImplemented.
    Steinberg::tresult PLUGIN_API getFileName(Steinberg::Vst::String128 name) override;
    // The stream's own list, alive as long as the stream; not add-ref'ed for
    // the caller, as IMessage::getAttributes does it.
    Steinberg::Vst::IAttributeList* PLUGIN_API getAttributes() override;

    // FUnknown: IStreamAttributes besides what MemoryStream answers; one
    // reference count for both bases.
    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** object) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;

private:
    Steinberg::IPtr<Steinberg::Vst::HostAttributeList> attributes;
};
