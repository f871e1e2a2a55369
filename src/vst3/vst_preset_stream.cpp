#include "vst3/vst_preset_stream.h"

using namespace Steinberg;

VstPresetStream::VstPresetStream(void* memory, TSize size)
    : MemoryStream(memory, size), attributes(owned(new Vst::HostAttributeList)) {}

tresult PLUGIN_API VstPresetStream::getFileName(Vst::String128 /*name*/) {
    return kNotImplemented;
}

Vst::IAttributeList* PLUGIN_API VstPresetStream::getAttributes() {
    return attributes.get();
}

tresult PLUGIN_API VstPresetStream::queryInterface(const TUID iid, void** object) {
    if (FUnknownPrivate::iidEqual(iid, Vst::IStreamAttributes::iid)) {
        addRef();
        *object = static_cast<Vst::IStreamAttributes*>(this);
        return kResultOk;
    }
    return MemoryStream::queryInterface(iid, object);
}

uint32 PLUGIN_API VstPresetStream::addRef() {
    return MemoryStream::addRef();
}

uint32 PLUGIN_API VstPresetStream::release() {
    return MemoryStream::release();
}
