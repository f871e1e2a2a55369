// An in-process stand-in for a VST 2 plug-in, for host-side unit tests: a
// real AEffect record whose dispatcher answers through `answer` and whose
// processReplacing runs `render`. Tests set fields and hooks to provoke
// what they need.
#pragma once

#include <cstring>
#include <functional>
#include <vector>

#include "vst2/vst2_interface.h"

struct FakePlugin {
    AEffect record;
    // Replaces the default answers (0, the tail answer, and stereo pins).
    std::function<VstIntPtr(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt)> answer;
    // The audio; by default output pin c copies input pin c (0 beyond).
    std::function<void(float** in, float** out, VstInt32 frames)> render;
    std::vector<VstInt32> blocks; // frame count of every audio call
    VstIntPtr tailAnswer = 0;

    explicit FakePlugin(VstInt32 flags = effFlagsCanReplacing) {
        std::memset(&record, 0, sizeof record);
        record.magic = kEffectMagic;
        record.dispatcher = &FakePlugin::dispatcher;
        record.processReplacing = &FakePlugin::processReplacing;
        record.flags = flags;
        record.numInputs = record.numOutputs = 2;
        record.object = this;
    }

private:
    static FakePlugin& of(AEffect* effect) { return *static_cast<FakePlugin*>(effect->object); }

    static VstIntPtr VSTCALLBACK dispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value,
                                            void* ptr, float opt) {
        FakePlugin& self = of(effect);
        if (self.answer)
            return self.answer(opcode, index, value, ptr, opt);
        if (opcode == effGetInputProperties || opcode == effGetOutputProperties) {
            static_cast<VstPinProperties*>(ptr)->arrangementType = kSpeakerArrStereo;
            static_cast<VstPinProperties*>(ptr)->flags = kVstPinIsActive;
            return 1;
        }
        return opcode == effGetTailSize ? self.tailAnswer : 0;
    }

    static void VSTCALLBACK processReplacing(AEffect* effect, float** in, float** out, VstInt32 frames) {
        FakePlugin& self = of(effect);
        self.blocks.push_back(frames);
        if (self.render)
            return self.render(in, out, frames);
        for (VstInt32 c = 0; c < effect->numOutputs; ++c)
            for (VstInt32 i = 0; i < frames; ++i)
                out[c][i] = c < effect->numInputs ? in[c][i] : 0.0f;
    }
};
