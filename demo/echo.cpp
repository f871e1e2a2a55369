// fxdemo_echo: the plug-in scripts/demo streams audio through. A stereo
// ping-pong echo, so that a person hears at once that the audio went
// through a plug-in: each repeat bounces to the other side and fades.
//
// Parameters (0..1): Time (50 ms .. 1 s, default 0.3 -> 335 ms), Repeats
// (0 .. 0.9, default 0.5 -> 0.45), Mix (default 0.4). The tail it reports is
// long enough for the repeats to fade below hearing.

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "vst2/vst2_interface.h"

namespace {

// VST 2 names hold 7 characters (8 bytes with the terminator).
const char* const parameterNames[] = {"Time", "Repeats", "Mix"};
const int numParameters = 3;

struct Echo {
    AEffect effect;
    float parameters[numParameters] = {0.3f, 0.5f, 0.4f};
    float sampleRate = 44100.0f;
    std::vector<float> left, right; // delay lines, one second plus a block
    size_t position = 0;

    size_t delayFrames() const { return size_t((0.05f + 0.95f * parameters[0]) * sampleRate); }
    float feedback() const { return 0.9f * parameters[1]; }

    void resize() {
        size_t frames = size_t(sampleRate) + 1024;
        left.assign(frames, 0.0f);
        right.assign(frames, 0.0f);
        position = 0;
    }

    template <class T> void run(T** in, T** out, VstInt32 frames) {
        size_t size = left.size(), delay = delayFrames();
        float fb = feedback(), mix = parameters[2];
        for (VstInt32 i = 0; i < frames; ++i) {
            size_t read = (position + size - delay) % size;
            float dl = left[read], dr = right[read];
            float inL = float(in[0][i]), inR = float(in[1][i]);
            // Ping-pong: what comes back on one side is fed to the other.
            left[position] = inL + dr * fb;
            right[position] = inR + dl * fb;
            out[0][i] = T(inL * (1.0f - mix) + dl * mix);
            out[1][i] = T(inR * (1.0f - mix) + dr * mix);
            position = (position + 1) % size;
        }
    }
};

Echo* echoOf(AEffect* effect) { return static_cast<Echo*>(effect->object); }

VstIntPtr VSTCALLBACK dispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                 float opt) {
    Echo* echo = echoOf(effect);
    switch (opcode) {
    case effClose:
        delete echo;
        return 1;
    case effSetSampleRate:
        if (opt > 0.0f) {
            echo->sampleRate = opt;
            echo->resize();
        }
        return 1;
    case effMainsChanged:
        if (value)
            echo->resize();
        return 1;
    case effGetParamName:
    case effGetParamLabel:
    case effGetParamDisplay:
        if (index >= 0 && index < numParameters) {
            char* text = static_cast<char*>(ptr);
            if (opcode == effGetParamName)
                std::snprintf(text, kVstMaxParamStrLen, "%s", parameterNames[index]);
            else if (opcode == effGetParamLabel)
                std::snprintf(text, kVstMaxParamStrLen, "%s", index == 0 ? "ms" : "%");
            else if (index == 0)
                std::snprintf(text, kVstMaxParamStrLen, "%d", int(echo->delayFrames() * 1000 / echo->sampleRate));
            else
                std::snprintf(text, kVstMaxParamStrLen, "%d", int(echo->parameters[index] * 100.0f));
        }
        return 0;
    case effGetEffectName:
        std::snprintf(static_cast<char*>(ptr), kVstMaxEffectNameLen, "Ping-pong echo");
        return 1;
    case effGetVendorString:
        std::snprintf(static_cast<char*>(ptr), kVstMaxVendorStrLen, "fxhost demo");
        return 1;
    case effGetPlugCategory:
        return kPlugCategEffect;
    case effGetTailSize:
        return VstIntPtr(3.0f * echo->sampleRate);
    case effGetVstVersion:
        return 2400;
    default:
        return 0;
    }
}

void VSTCALLBACK processFloat(AEffect* effect, float** in, float** out, VstInt32 frames) {
    echoOf(effect)->run(in, out, frames);
}

void VSTCALLBACK processDouble(AEffect* effect, double** in, double** out, VstInt32 frames) {
    echoOf(effect)->run(in, out, frames);
}

void VSTCALLBACK setParameter(AEffect* effect, VstInt32 index, float value) {
    if (index >= 0 && index < numParameters)
        echoOf(effect)->parameters[index] = value < 0.0f ? 0.0f : value > 1.0f ? 1.0f : value;
}

float VSTCALLBACK getParameter(AEffect* effect, VstInt32 index) {
    return index >= 0 && index < numParameters ? echoOf(effect)->parameters[index] : 0.0f;
}

} // namespace

extern "C" __declspec(dllexport) AEffect* VSTPluginMain(audioMasterCallback) {
    Echo* echo = new Echo();
    AEffect& e = echo->effect;
    std::memset(&e, 0, sizeof e);
    e.magic = kEffectMagic;
    e.dispatcher = dispatcher;
    e.setParameter = setParameter;
    e.getParameter = getParameter;
    e.processReplacing = processFloat;
    e.processDoubleReplacing = processDouble;
    e.numParams = numParameters;
    e.numInputs = 2;
    e.numOutputs = 2;
    e.flags = effFlagsCanReplacing | effFlagsCanDoubleReplacing;
    e.uniqueID = ('F' << 24) | ('x' << 16) | ('E' << 8) | 'c';
    e.version = 1;
    e.object = echo;
    echo->resize();
    return &e;
}
