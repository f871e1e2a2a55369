// One small VST 3 module, built into several test plug-ins by compile
// definitions. Each DLL exists to show the host one kind of module:
//
//   fx3_effect        well-behaved: a factory with IPluginFactory3 and one
//                     class, "Audio Module Class" with sub-category "Fx": a
//                     single-component effect (component, processor and edit
//                     controller in one object), stereo in, stereo out, 32-
//                     and 64-bit processing that copies in to out, no
//                     parameters, no state. Also laid out as the bundle
//                     fx3_bundle.vst3\Contents\x86_64-win\fx3_bundle.vst3.
//   fx3_twoclasses    IPluginFactory3 with two classes of that category: the
//                     first is a component but no audio processor and has a
//                     name outside ASCII; the second is the effect
//   fx3_factory2      IPluginFactory2 only: the effect with several
//                     sub-categories, no vendor of its own and a name that
//                     fills its field without a terminator; exports neither
//                     InitDll nor ExitDll
//   fx3_noclass       IPluginFactory only, with no class of the category:
//                     one "Component Controller Class", one that can be
//                     neither described nor created, one "audio module
//                     class" (wrong case); its factory flags its classes
//                     discardable
//   fx3_initfail      its InitDll returns false
//   fx3_nullfactory   its GetPluginFactory returns null
//
// Every one logs (see ../vst2/plugin_log.h) the module calls it receives:
// "InitDll", "ExitDll", "GetPluginFactory", "setHostContext", and "factory
// released" when the host lets go of the last reference to its factory.

#include <cstring>

#include "../vst2/plugin_log.h"
#include "test_effect_ids.h"
#include "test_factory.h"

#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "public.sdk/source/vst/vstcomponent.h"

#ifndef FX3_FACTORY_LEVEL
#define FX3_FACTORY_LEVEL 3
#endif

using namespace Steinberg;

namespace {

// ---------------------------------------------------------------------------
// The effect: one object is component, processor and controller, as a
// single-component plug-in is. The host finds the controller by asking the
// processor for IEditController.

template <typename Sample>
void passThrough(const Vst::AudioBusBuffers* input, Vst::AudioBusBuffers& output, Sample** inputs, Sample** outputs,
                 int32 frames) {
    output.silenceFlags = 0;
    for (int32 channel = 0; channel < output.numChannels; ++channel) {
        if (!outputs || !outputs[channel])
            continue;
        bool fromInput = input && inputs && channel < input->numChannels && inputs[channel];
        // memmove: a host may hand the same buffer for input and output.
        if (fromInput)
            std::memmove(outputs[channel], inputs[channel], sizeof(Sample) * static_cast<size_t>(frames));
        else
            std::memset(outputs[channel], 0, sizeof(Sample) * static_cast<size_t>(frames));
        bool silent = !fromInput || (channel < 64 && ((input->silenceFlags >> channel) & 1) != 0);
        if (silent && channel < 64)
            output.silenceFlags |= uint64(1) << channel;
    }
}

class Fx3Effect : public Vst::Component, public Vst::IAudioProcessor, public Vst::IEditController {
public:
    // IPluginBase, shared by the component and the controller.
    tresult PLUGIN_API initialize(FUnknown* context) override {
        tresult result = Component::initialize(context);
        if (result != kResultOk)
            return result;
        audioInputs.push_back(IPtr<Vst::Bus>(
            new Vst::AudioBus(STR16("Stereo In"), Vst::kMain, Vst::BusInfo::kDefaultActive, Vst::SpeakerArr::kStereo),
            false));
        audioOutputs.push_back(IPtr<Vst::Bus>(
            new Vst::AudioBus(STR16("Stereo Out"), Vst::kMain, Vst::BusInfo::kDefaultActive, Vst::SpeakerArr::kStereo),
            false));
        return kResultOk;
    }
    tresult PLUGIN_API terminate() override { return Component::terminate(); }

    // State of component and controller alike: there is none to keep.
    tresult PLUGIN_API setState(IBStream*) override { return kResultOk; }
    tresult PLUGIN_API getState(IBStream*) override { return kResultOk; }

    // IAudioProcessor
    tresult PLUGIN_API setBusArrangements(Vst::SpeakerArrangement* inputs, int32 numIns,
                                          Vst::SpeakerArrangement* outputs, int32 numOuts) override {
        bool stereo = numIns == 1 && numOuts == 1 && inputs[0] == Vst::SpeakerArr::kStereo &&
                      outputs[0] == Vst::SpeakerArr::kStereo;
        return stereo ? kResultTrue : kResultFalse;
    }
    tresult PLUGIN_API getBusArrangement(Vst::BusDirection dir, int32 index, Vst::SpeakerArrangement& arr) override {
        Vst::BusList* list = getBusList(Vst::kAudio, dir);
        if (!list || index < 0 || index >= static_cast<int32>(list->size()))
            return kInvalidArgument;
        arr = static_cast<Vst::AudioBus*>(list->at(static_cast<size_t>(index)).get())->getArrangement();
        return kResultTrue;
    }
    tresult PLUGIN_API canProcessSampleSize(int32 symbolicSampleSize) override {
        return symbolicSampleSize == Vst::kSample32 || symbolicSampleSize == Vst::kSample64 ? kResultTrue
                                                                                            : kResultFalse;
    }
    uint32 PLUGIN_API getLatencySamples() override { return 0; }
    tresult PLUGIN_API setupProcessing(Vst::ProcessSetup& setup) override {
        return canProcessSampleSize(setup.symbolicSampleSize);
    }
    tresult PLUGIN_API setProcessing(TBool) override { return kResultOk; }
    tresult PLUGIN_API process(Vst::ProcessData& data) override {
        if (data.numSamples <= 0)
            return kResultOk; // a parameter flush: nothing to render
        for (int32 bus = 0; bus < data.numOutputs; ++bus) {
            const Vst::AudioBusBuffers* input = bus < data.numInputs ? &data.inputs[bus] : nullptr;
            Vst::AudioBusBuffers& output = data.outputs[bus];
            if (data.symbolicSampleSize == Vst::kSample64)
                passThrough(input, output, input ? input->channelBuffers64 : nullptr, output.channelBuffers64,
                            data.numSamples);
            else
                passThrough(input, output, input ? input->channelBuffers32 : nullptr, output.channelBuffers32,
                            data.numSamples);
        }
        return kResultOk;
    }
    uint32 PLUGIN_API getTailSamples() override { return Vst::kNoTail; }

    // IEditController: no parameters and no view.
    tresult PLUGIN_API setComponentState(IBStream*) override { return kResultOk; }
    int32 PLUGIN_API getParameterCount() override { return 0; }
    tresult PLUGIN_API getParameterInfo(int32, Vst::ParameterInfo&) override { return kInvalidArgument; }
    tresult PLUGIN_API getParamStringByValue(Vst::ParamID, Vst::ParamValue, Vst::String128) override {
        return kInvalidArgument;
    }
    tresult PLUGIN_API getParamValueByString(Vst::ParamID, Vst::TChar*, Vst::ParamValue&) override {
        return kInvalidArgument;
    }
    Vst::ParamValue PLUGIN_API normalizedParamToPlain(Vst::ParamID, Vst::ParamValue value) override { return value; }
    Vst::ParamValue PLUGIN_API plainParamToNormalized(Vst::ParamID, Vst::ParamValue value) override { return value; }
    Vst::ParamValue PLUGIN_API getParamNormalized(Vst::ParamID) override { return 0.0; }
    tresult PLUGIN_API setParamNormalized(Vst::ParamID, Vst::ParamValue) override { return kInvalidArgument; }
    tresult PLUGIN_API setComponentHandler(Vst::IComponentHandler*) override { return kResultOk; }
    IPlugView* PLUGIN_API createView(FIDString) override { return nullptr; }

    OBJ_METHODS(Fx3Effect, Component)
    DEFINE_INTERFACES
    DEF_INTERFACE(Vst::IAudioProcessor)
    DEF_INTERFACE(Vst::IEditController)
    END_DEFINE_INTERFACES(Component)
    REFCOUNT_METHODS(Component)
};

// ---------------------------------------------------------------------------
// The class table of this variant.

FUnknown* createEffect() {
    return static_cast<Vst::IAudioProcessor*>(new Fx3Effect());
}

#if defined(FX3_CLASSES_TWO)
FUnknown* createComponentOnly() {
    return static_cast<Vst::IComponent*>(new Vst::Component());
}
#endif

const fx3::FactoryClass classes[] = {
#if defined(FX3_CLASSES_TWO)
    {fx3::componentOnlyClassId, kVstAudioEffectClass, fx3::componentOnlyName, fx3::effectSubCategories,
     fx3::effectVendor, fx3::effectVersion, Vst::kDistributable, createComponentOnly},
    {fx3::effectClassId, kVstAudioEffectClass, fx3::effectName, fx3::effectSubCategories, fx3::effectVendor,
     fx3::effectVersion, Vst::kDistributable, createEffect},
#elif defined(FX3_CLASSES_FULL_FIELDS)
    {fx3::effectClassId, kVstAudioEffectClass, fx3::fullFieldName, fx3::factory2SubCategories, "", fx3::factory2Version,
     Vst::kDistributable, createEffect},
#elif defined(FX3_CLASSES_NONE)
    {fx3::controllerClassId, kVstComponentControllerClass, fx3::controllerName, "", "", "", Vst::kDistributable,
     createEffect},
    {fx3::effectClassId, "", "", "", "", "", 0, createEffect, true},
    {fx3::lowercaseClassId, fx3::lowercaseCategory, fx3::lowercaseName, "", "", "", Vst::kDistributable, createEffect},
#else
    {fx3::effectClassId, kVstAudioEffectClass, fx3::effectName, fx3::effectSubCategories, fx3::effectVendor,
     fx3::effectVersion, Vst::kDistributable, createEffect},
#endif
};

#if defined(FX3_CLASSES_NONE)
const int32 factoryFlags = PFactoryInfo::kClassesDiscardable;
#else
const int32 factoryFlags = FX3_FACTORY_LEVEL >= 3 ? PFactoryInfo::kUnicode : PFactoryInfo::kNoFlags;
#endif

const fx3::FactorySetup factorySetup = {FX3_FACTORY_LEVEL, factoryFlags, classes,
                                        static_cast<int32>(sizeof classes / sizeof classes[0])};

} // namespace

// ---------------------------------------------------------------------------
// Module entries.

extern "C" {

SMTG_EXPORT_SYMBOL IPluginFactory* PLUGIN_API GetPluginFactory() {
    pluginLog("GetPluginFactory");
#if defined(FX3_NULL_FACTORY)
    return nullptr;
#else
    return fx3::sharedFactory(factorySetup);
#endif
}

#if !defined(FX3_NO_MODULE_ENTRIES)
SMTG_EXPORT_SYMBOL bool PLUGIN_API InitDll() {
    pluginLog("InitDll");
#if defined(FX3_INIT_FAILS)
    return false;
#else
    return true;
#endif
}

SMTG_EXPORT_SYMBOL bool PLUGIN_API ExitDll() {
    pluginLog("ExitDll");
    return true;
}
#endif

} // extern "C"
