// Three small effects written on the DISTRHO Plugin Framework, each built
// as a VST 2 DLL and a VST 3 bundle by the framework's own makefiles, so
// that the host meets plug-ins the way much of the field makes them:
//
//   fxd_gain        stereo; out = in x Gain (parameter 0, "gain", 0 to 2,
//                   default 1); the state value "polarity" = "invert"
//                   flips the sign, anything else leaves it
//   fxd_latency     stereo; out = in delayed by fxdLatencyFrames, reported
//                   as the plug-in's latency
//   fxd_instrument  an instrument with two outputs, which hosts of effects
//                   must refuse
//   fxd_editor      fxd_gain with an editor of its own (dpf_ui.cpp)
//   fxd_many        stereo, passes its input through; fxdManyParameters
//                   parameters "p0", "p1", ... from -8 to 8, whose defaults
//                   are no round numbers, as a large equaliser's are: more
//                   parameters than a host's queues are made for
#include <cstring>

#include "DistrhoPlugin.hpp"

START_NAMESPACE_DISTRHO

namespace {
const uint32_t fxdLatencyFrames = 300;
const uint32_t fxdManyParameters = 80;

#if FXD_KIND == FXD_MANY
const uint32_t fxdParameters = fxdManyParameters;
#elif FXD_HAS_GAIN
const uint32_t fxdParameters = 1;
#else
const uint32_t fxdParameters = 0;
#endif
} // namespace

class FxdEffect : public Plugin {
public:
    FxdEffect() : Plugin(fxdParameters, 0, FXD_HAS_GAIN ? 1 : 0) {
#if FXD_KIND == FXD_LATENCY
        setLatency(fxdLatencyFrames);
#endif
        for (uint32_t i = 0; i < fxdManyParameters; ++i)
            values[i] = manyDefault(i);
    }

protected:
    const char* getLabel() const override {
        return DISTRHO_PLUGIN_NAME;
    }
    const char* getMaker() const override {
        return DISTRHO_PLUGIN_BRAND;
    }
    const char* getLicense() const override {
        return "ISC";
    }
    uint32_t getVersion() const override {
        return d_version(1, 2, 3);
    }
    int64_t getUniqueId() const override {
        return d_cconst('f', 'x', 'D', '0' + FXD_KIND);
    }

#if FXD_KIND == FXD_MANY
    void initParameter(uint32_t index, Parameter& parameter) override {
        parameter.hints = kParameterIsAutomatable;
        parameter.name = String("Band ") + String(index);
        parameter.symbol = String("p") + String(index);
        parameter.ranges = ParameterRanges(manyDefault(index), -8.0f, 8.0f);
    }
    float getParameterValue(uint32_t index) const override {
        return values[index];
    }
    void setParameterValue(uint32_t index, float value) override {
        values[index] = value;
    }
#else
    void initParameter(uint32_t, Parameter& parameter) override {
        parameter.hints = kParameterIsAutomatable;
        parameter.name = "Gain";
        parameter.symbol = "gain";
        parameter.ranges = ParameterRanges(1.0f, 0.0f, 2.0f);
    }
    float getParameterValue(uint32_t) const override {
        return gain;
    }
    void setParameterValue(uint32_t, float value) override {
        gain = value;
    }
#endif

#if DISTRHO_PLUGIN_WANT_STATE
    void initState(uint32_t, State& state) override {
        state.key = "polarity";
        state.defaultValue = "normal";
        state.label = "Polarity";
    }
    void setState(const char*, const char* value) override {
        inverted = std::strcmp(value, "invert") == 0;
    }
#endif

    void activate() override {
        std::memset(delay, 0, sizeof delay);
        position = 0;
    }

#if DISTRHO_PLUGIN_WANT_MIDI_INPUT
    void run(const float**, float** outputs, uint32_t frames, const MidiEvent*, uint32_t) override {
        for (uint32_t channel = 0; channel < DISTRHO_PLUGIN_NUM_OUTPUTS; ++channel)
            std::memset(outputs[channel], 0, sizeof(float) * frames);
    }
#else
    void run(const float** inputs, float** outputs, uint32_t frames) override {
        const float factor = inverted ? -gain : gain;
        for (uint32_t i = 0; i < frames; ++i) {
            for (uint32_t channel = 0; channel < 2; ++channel) {
                // Read before write: the host may hand one buffer for both.
                float sample = inputs[channel][i];
                if (FXD_KIND == FXD_MANY) {
                    outputs[channel][i] = sample;
                    continue;
                }
                if (FXD_KIND == FXD_LATENCY) {
                    float delayed = delay[channel][position];
                    delay[channel][position] = sample;
                    sample = delayed;
                }
                outputs[channel][i] = sample * factor;
            }
            position = (position + 1) % fxdLatencyFrames;
        }
    }
#endif

private:
    // Spread over the range, none of them a round number.
    static float manyDefault(uint32_t index) {
        return -7.3f + 0.1717f * float(index);
    }

    float gain = 1.0f;
    float values[fxdManyParameters];
    bool inverted = false;
    float delay[2][fxdLatencyFrames];
    uint32_t position = 0;

    DISTRHO_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(FxdEffect)
};

Plugin* createPlugin() {
    return new FxdEffect();
}

END_NAMESPACE_DISTRHO
