#include "vst3/vst_effect_base.h"

#include <cstring>

namespace {

VstEffectBase* objectOf(AEffect* effect) { return static_cast<VstEffectBase*>(effect->object); }

VstIntPtr VSTCALLBACK dispatchEntry(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                    float opt) {
    VstEffectBase* object = objectOf(effect);
    VstIntPtr result = object->dispatcher(opcode, index, value, ptr, opt);
    if (opcode == effClose) {
        // The host is done with the record; whatever references the plug-in
        // still holds to our interfaces must not keep it alive.
        delete object;
        return 1;
    }
    return result;
}

// The accumulating call of old VST 2 hosts; nothing uses it any more.
void VSTCALLBACK processEntry(AEffect*, float**, float**, VstInt32) {}

void VSTCALLBACK setParameterEntry(AEffect* effect, VstInt32 index, float value) {
    objectOf(effect)->setParameter(index, value);
}

float VSTCALLBACK getParameterEntry(AEffect* effect, VstInt32 index) { return objectOf(effect)->getParameter(index); }

void VSTCALLBACK processReplacingEntry(AEffect* effect, float** inputs, float** outputs, VstInt32 frames) {
    objectOf(effect)->processReplacing(inputs, outputs, frames);
}

void VSTCALLBACK processDoubleReplacingEntry(AEffect* effect, double** inputs, double** outputs, VstInt32 frames) {
    objectOf(effect)->processDoubleReplacing(inputs, outputs, frames);
}

} // namespace

VstEffectBase::VstEffectBase(audioMasterCallback host) : audioMaster(host) {
    std::memset(&cEffect, 0, sizeof cEffect);
    cEffect.magic = kEffectMagic;
    cEffect.dispatcher = dispatchEntry;
    cEffect.process = processEntry;
    cEffect.setParameter = setParameterEntry;
    cEffect.getParameter = getParameterEntry;
    cEffect.processReplacing = processReplacingEntry;
    cEffect.processDoubleReplacing = processDoubleReplacingEntry;
    cEffect.numInputs = 1;
    cEffect.numOutputs = 2;
    cEffect.ioRatio = 1.0f;
    cEffect.object = this;
    cEffect.version = 1;
}

VstEffectBase::~VstEffectBase() = default;

void VstEffectBase::enableDoubleReplacingFlag() { cEffect.flags |= effFlagsCanDoubleReplacing; }

VstIntPtr VstEffectBase::callHost(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
    return audioMaster ? audioMaster(&cEffect, opcode, index, value, ptr, opt) : 0;
}

bool VstEffectBase::hostIoChanged() { return callHost(audioMasterIOChanged) != 0; }

bool VstEffectBase::hostUpdateDisplay() { return callHost(audioMasterUpdateDisplay) != 0; }

bool VstEffectBase::hostSizeWindow(VstInt32 width, VstInt32 height) {
    return callHost(audioMasterSizeWindow, width, height) != 0;
}
