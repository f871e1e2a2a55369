// An in-process stand-in for a VST 2 plug-in, for host-side unit tests: a
// real AEffect record whose dispatcher writes "<opcode> <index> <value>
// [<opt>]" per call and answers through `answer`, and whose audio calls run
// `render`. Tests set fields and hooks to provoke what they need.
#pragma once

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "vst2/vst2_interface.h"

struct FakePlugin {
    typedef std::vector<std::string> Lines;

    AEffect record;
    Lines calls;
    // Replaces the default answers (0, and pin properties from the vectors).
    std::function<VstIntPtr(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt)> answer;
    // Arrangement type reported for each pin; pins beyond report stereo.
    std::vector<VstInt32> inputArrangements, outputArrangements;
    // The audio; by default output pin c copies input pin c (0 beyond).
    std::function<void(float** in, float** out, VstInt32 frames)> render;
    std::function<void(double** in, double** out, VstInt32 frames)> renderDouble;
    std::vector<VstInt32> blocks; // frame count of every audio call
    VstIntPtr tailAnswer = 0;

    explicit FakePlugin(VstInt32 flags = effFlagsCanReplacing, VstInt32 numParams = 0) {
        std::memset(&record, 0, sizeof record);
        record.magic = kEffectMagic;
        record.dispatcher = &FakePlugin::dispatcher;
        record.processReplacing = &FakePlugin::processReplacing;
        record.processDoubleReplacing = &FakePlugin::processDoubleReplacing;
        record.process = &FakePlugin::processAccumulating;
        record.flags = flags;
        record.numParams = numParams;
        record.numInputs = 2;
        record.numOutputs = 2;
        record.object = this;
    }

    // Only the calls of one opcode.
    Lines callsOf(VstInt32 opcode) const {
        Lines result;
        std::string prefix = std::to_string(opcode) + " ";
        for (const std::string& line : calls)
            if (line.compare(0, prefix.size(), prefix) == 0)
                result.push_back(line);
        return result;
    }

private:
    static FakePlugin& of(AEffect* effect) { return *static_cast<FakePlugin*>(effect->object); }

    static VstIntPtr VSTCALLBACK dispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value,
                                            void* ptr, float opt) {
        FakePlugin& self = of(effect);
        std::string line = std::to_string(opcode) + " " + std::to_string(index) + " " + std::to_string(value);
        if (opt != 0.0f)
            line += " " + std::to_string(int(opt));
        self.calls.push_back(line);
        if (self.answer)
            return self.answer(opcode, index, value, ptr, opt);
        if (opcode == effGetInputProperties || opcode == effGetOutputProperties) {
            const std::vector<VstInt32>& types =
                opcode == effGetInputProperties ? self.inputArrangements : self.outputArrangements;
            VstPinProperties* properties = static_cast<VstPinProperties*>(ptr);
            properties->arrangementType = size_t(index) < types.size() ? types[index] : kSpeakerArrStereo;
            properties->flags = kVstPinIsActive;
            return 1;
        }
        if (opcode == effGetTailSize)
            return self.tailAnswer;
        return 0;
    }

    template <class T> static void copyThrough(AEffect* effect, T** in, T** out, VstInt32 frames, bool add) {
        for (VstInt32 c = 0; c < effect->numOutputs; ++c)
            for (VstInt32 i = 0; i < frames; ++i) {
                T value = c < effect->numInputs ? in[c][i] : T(0);
                out[c][i] = add ? out[c][i] + value : value;
            }
    }

    static void VSTCALLBACK processReplacing(AEffect* effect, float** in, float** out, VstInt32 frames) {
        FakePlugin& self = of(effect);
        self.blocks.push_back(frames);
        if (self.render)
            self.render(in, out, frames);
        else
            copyThrough(effect, in, out, frames, false);
    }

    static void VSTCALLBACK processDoubleReplacing(AEffect* effect, double** in, double** out, VstInt32 frames) {
        FakePlugin& self = of(effect);
        self.blocks.push_back(frames);
        if (self.renderDouble)
            self.renderDouble(in, out, frames);
        else
            copyThrough(effect, in, out, frames, false);
    }

    static void VSTCALLBACK processAccumulating(AEffect* effect, float** in, float** out, VstInt32 frames) {
        of(effect).blocks.push_back(frames);
        copyThrough(effect, in, out, frames, true);
    }
};
