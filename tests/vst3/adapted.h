// The adapter over the stub plug-in, made and closed through its record as
// the host does, with a host callback that records what it was asked.
#pragma once

#include <string>
#include <vector>

#include "adapter_stub.h"
#include "vst3/vst3_adapter.h"

namespace stub {

typedef std::vector<std::string> Lines;

// What the host callback was asked, and how it answers.
struct Host {
    Lines calls;
    std::vector<VstMidiEvent> events;
    VstIntPtr sizeWindowAnswer = 1;
};
inline Host* host = nullptr;

inline VstIntPtr VSTCALLBACK hostCallback(AEffect*, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                          float opt) {
    switch (opcode) {
    case audioMasterGetCurrentProcessLevel:
        return kVstProcessLevelOffline;
    case audioMasterAutomate:
        host->calls.push_back("automate " + std::to_string(index) + " " + std::to_string(opt));
        return 0;
    case audioMasterProcessEvents:
        for (VstInt32 i = 0; i < static_cast<VstEvents*>(ptr)->numEvents; ++i)
            host->events.push_back(*reinterpret_cast<VstMidiEvent*>(static_cast<VstEvents*>(ptr)->events[i]));
        return 1;
    case audioMasterWantMidi:
        host->calls.push_back("wantMidi " + std::to_string(value));
        return 1;
    case audioMasterSizeWindow:
        host->calls.push_back("sizeWindow " + std::to_string(index) + " " + std::to_string(value));
        return host->sizeWindowAnswer;
    default:
        return 0;
    }
}

const TUID classId = INLINE_UID(0x11111111, 0x22222222, 0x33333333, 0x44444444);

struct Adapted {
    Host calls;
    Plugin* plugin = new Plugin;
    Factory factory{plugin};
    Vst3Adapter* adapter = nullptr;
    AEffect* effect = nullptr;

    Adapted() { host = &calls; }
    bool create() {
        VstEffectBase* base = Vst3Adapter::create(&factory, classId, hostCallback);
        adapter = static_cast<Vst3Adapter*>(base);
        effect = base ? base->getAeffect() : nullptr;
        return base != nullptr;
    }
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                       float opt = 0.0f) {
        return effect->dispatcher(effect, opcode, index, value, ptr, opt);
    }
    std::string text(VstInt32 opcode, VstInt32 index = 0) {
        char buffer[1024] = {};
        dispatch(opcode, index, 0, buffer);
        return buffer;
    }
    // A block of `frames`; none has null channels, as the host's flush.
    void block(VstInt32 frames) {
        float buffer[8] = {};
        float* planes[2] = {frames ? buffer : nullptr, frames ? buffer : nullptr};
        effect->processReplacing(effect, planes, planes, frames);
    }
    ~Adapted() {
        if (effect)
            dispatch(effClose);
        plugin->release();
        host = nullptr;
    }
};

} // namespace stub
