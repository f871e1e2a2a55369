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
#include <cwchar>
#include <string>

#include "../vst2/plugin_log.h"
#include "test_effect_ids.h"

#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "public.sdk/source/vst/vstcomponent.h"

#include "support/win32.h"

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

enum class Kind { effect, componentOnly, unreadable };

struct ClassEntry {
    const int8* cid;
    Kind kind;
    const char* category;
    const char* name; // UTF-8
    const char* subCategories;
    const char* vendor;
    const char* version;
};

const ClassEntry classes[] = {
#if defined(FX3_CLASSES_TWO)
    {fx3::componentOnlyClassId, Kind::componentOnly, kVstAudioEffectClass, fx3::componentOnlyName,
     fx3::effectSubCategories, fx3::effectVendor, fx3::effectVersion},
    {fx3::effectClassId, Kind::effect, kVstAudioEffectClass, fx3::effectName, fx3::effectSubCategories,
     fx3::effectVendor, fx3::effectVersion},
#elif defined(FX3_CLASSES_FULL_FIELDS)
    {fx3::effectClassId, Kind::effect, kVstAudioEffectClass, fx3::fullFieldName, fx3::factory2SubCategories, "",
     fx3::factory2Version},
#elif defined(FX3_CLASSES_NONE)
    {fx3::controllerClassId, Kind::effect, kVstComponentControllerClass, fx3::controllerName, "", "", ""},
    {fx3::effectClassId, Kind::unreadable, "", "", "", "", ""},
    {fx3::lowercaseClassId, Kind::effect, fx3::lowercaseCategory, fx3::lowercaseName, "", "", ""},
#else
    {fx3::effectClassId, Kind::effect, kVstAudioEffectClass, fx3::effectName, fx3::effectSubCategories,
     fx3::effectVendor, fx3::effectVersion},
#endif
};
const int32 classCount = static_cast<int32>(sizeof classes / sizeof classes[0]);

// Texts go into their fields without a forced terminator, so that a text as
// long as its field fills it completely, as a careless plug-in's would.
template <size_t N> void putText(char8 (&field)[N], const char* text) {
    size_t length = std::strlen(text);
    std::memset(field, 0, N);
    std::memcpy(field, text, length < N ? length : N);
}

template <size_t N> void putText(char16 (&field)[N], const char* text) {
    std::memset(field, 0, sizeof field);
    int units = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    std::wstring wide(static_cast<size_t>(units > 0 ? units : 1), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, &wide[0], units);
    size_t length = std::wcslen(wide.c_str());
    std::memcpy(field, wide.data(), sizeof(char16) * (length < N ? length : N));
}

const ClassEntry* readableClass(int32 index) {
    if (index < 0 || index >= classCount || classes[index].kind == Kind::unreadable)
        return nullptr;
    return &classes[index];
}

// ---------------------------------------------------------------------------
// The factory: one per module while the host holds it, answering the
// interfaces of its level only.

class Fx3Factory;
Fx3Factory* theFactory = nullptr;

class Fx3Factory final : public IPluginFactory3 {
public:
    tresult PLUGIN_API queryInterface(const TUID interfaceId, void** obj) override {
        bool known = FUnknownPrivate::iidEqual(interfaceId, FUnknown::iid) ||
                     FUnknownPrivate::iidEqual(interfaceId, IPluginFactory::iid) ||
                     (FX3_FACTORY_LEVEL >= 2 && FUnknownPrivate::iidEqual(interfaceId, IPluginFactory2::iid)) ||
                     (FX3_FACTORY_LEVEL >= 3 && FUnknownPrivate::iidEqual(interfaceId, IPluginFactory3::iid));
        if (!known) {
            *obj = nullptr;
            return kNoInterface;
        }
        addRef();
        *obj = this;
        return kResultOk;
    }
    uint32 PLUGIN_API addRef() override { return static_cast<uint32>(FUnknownPrivate::atomicAdd(references, 1)); }
    uint32 PLUGIN_API release() override {
        int32 left = FUnknownPrivate::atomicAdd(references, -1);
        if (left == 0) {
            pluginLog("factory released");
            theFactory = nullptr;
            delete this;
        }
        return static_cast<uint32>(left);
    }

    tresult PLUGIN_API getFactoryInfo(PFactoryInfo* info) override {
#if defined(FX3_CLASSES_NONE)
        int32 flags = PFactoryInfo::kClassesDiscardable;
#else
        int32 flags = FX3_FACTORY_LEVEL >= 3 ? PFactoryInfo::kUnicode : PFactoryInfo::kNoFlags;
#endif
        *info = PFactoryInfo(fx3::factoryVendor, fx3::factoryUrl, fx3::factoryEmail, flags);
        // The constructor adds kUnicode whenever the SDK is built for
        // Unicode, which it always is; say only what this variant means.
        info->flags = flags;
        return kResultOk;
    }
    int32 PLUGIN_API countClasses() override {
        return classCount;
    }
    tresult PLUGIN_API getClassInfo(int32 index, PClassInfo* info) override {
        const ClassEntry* entry = readableClass(index);
        if (!entry)
            return kInvalidArgument;
        *info = PClassInfo();
        std::memcpy(info->cid, entry->cid, sizeof(TUID));
        info->cardinality = PClassInfo::kManyInstances;
        putText(info->category, entry->category);
        putText(info->name, entry->name);
        return kResultOk;
    }
    tresult PLUGIN_API createInstance(FIDString cid, FIDString interfaceId, void** obj) override {
        *obj = nullptr;
        for (const ClassEntry& entry : classes) {
            if (entry.kind == Kind::unreadable || !FUnknownPrivate::iidEqual(entry.cid, cid))
                continue;
            FUnknown* object = nullptr;
            if (entry.kind == Kind::componentOnly)
                object = static_cast<Vst::IComponent*>(new Vst::Component());
            else
                object = static_cast<Vst::IAudioProcessor*>(new Fx3Effect());
            tresult result = object->queryInterface(interfaceId, obj);
            object->release();
            return result;
        }
        return kInvalidArgument;
    }

    tresult PLUGIN_API getClassInfo2(int32 index, PClassInfo2* info) override { return fillExtended(index, info); }

    tresult PLUGIN_API getClassInfoUnicode(int32 index, PClassInfoW* info) override {
        return fillExtended(index, info);
    }

    // The two extended records differ only in their character type.
    template <class Info> tresult fillExtended(int32 index, Info* info) {
        const ClassEntry* entry = readableClass(index);
        if (!entry)
            return kInvalidArgument;
        *info = Info();
        std::memcpy(info->cid, entry->cid, sizeof(TUID));
        info->cardinality = PClassInfo::kManyInstances;
        putText(info->category, entry->category);
        putText(info->name, entry->name);
        info->classFlags = Vst::kDistributable;
        putText(info->subCategories, entry->subCategories);
        putText(info->vendor, entry->vendor);
        putText(info->version, entry->version);
        putText(info->sdkVersion, kVstVersionString);
        return kResultOk;
    }

    tresult PLUGIN_API setHostContext(FUnknown*) override {
        pluginLog("setHostContext");
        return kResultOk;
    }

private:
    int32 references = 1;
};

} // namespace

// ---------------------------------------------------------------------------
// Module entries.

extern "C" {

SMTG_EXPORT_SYMBOL IPluginFactory* PLUGIN_API GetPluginFactory() {
    pluginLog("GetPluginFactory");
#if defined(FX3_NULL_FACTORY)
    return nullptr;
#else
    // The caller owns one reference to what it gets, as it would from
    // queryInterface.
    if (theFactory)
        theFactory->addRef();
    else
        theFactory = new Fx3Factory();
    return theFactory;
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
