// Stand-ins for the two halves of a VST 3 plug-in, for host-side tests that
// must not load a library: StubComponent (IComponent and IAudioProcessor) and
// StubController (IEditController). Each call goes to a std::function hook
// when the test set one, else answers as a plain effect with no buses and no
// parameters would. A test records what it needs to see (order, bytes) in its
// hooks.
//
// Both are reference counted as plug-in objects are and die with their last
// release: make them with `Steinberg::owned(new StubComponent)`.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"

// Everything left in a stream from its position on.
inline std::vector<uint8_t> readAll(Steinberg::IBStream* stream) {
    std::vector<uint8_t> bytes;
    uint8_t buffer[256];
    Steinberg::int32 got = 0;
    while (stream->read(buffer, sizeof buffer, &got) == Steinberg::kResultOk && got > 0)
        bytes.insert(bytes.end(), buffer, buffer + got);
    return bytes;
}

// Writes all of `bytes`; what write answered.
inline Steinberg::tresult writeAll(Steinberg::IBStream* stream, const std::vector<uint8_t>& bytes) {
    if (bytes.empty())
        return Steinberg::kResultOk;
    return stream->write(const_cast<uint8_t*>(bytes.data()), static_cast<Steinberg::int32>(bytes.size()), nullptr);
}

// The shared reference count and queryInterface: FUnknown and IPluginBase
// (through First, which derives from it), First and Rest.
template <class First, class... Rest> class StubObject : public First, public Rest... {
public:
    StubObject(const StubObject&) = delete;
    StubObject& operator=(const StubObject&) = delete;

    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** object) override {
        if (Steinberg::FUnknownPrivate::iidEqual(iid, Steinberg::FUnknown::iid) ||
            Steinberg::FUnknownPrivate::iidEqual(iid, Steinberg::IPluginBase::iid)) {
            *object = static_cast<First*>(this);
        } else if (!findInterface<First, Rest...>(iid, object)) {
            *object = nullptr;
            return Steinberg::kNoInterface;
        }
        addRef();
        return Steinberg::kResultOk;
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return ++references; }
    Steinberg::uint32 PLUGIN_API release() override {
        Steinberg::uint32 left = --references;
        if (left == 0)
            delete this;
        return left;
    }
    Steinberg::uint32 referenceCount() const { return references; }

protected:
    StubObject() = default;
    virtual ~StubObject() = default;

private:
    template <class I, class... More> bool findInterface(const Steinberg::TUID iid, void** object) {
        if (Steinberg::FUnknownPrivate::iidEqual(iid, I::iid)) {
            *object = static_cast<I*>(this);
            return true;
        }
        if constexpr (sizeof...(More) > 0)
            return findInterface<More...>(iid, object);
        else
            return false;
    }

    std::atomic<Steinberg::uint32> references{1};
};

class StubComponent : public StubObject<Steinberg::Vst::IComponent, Steinberg::Vst::IAudioProcessor> {
public:
    using tresult = Steinberg::tresult;
    using int32 = Steinberg::int32;
    using uint32 = Steinberg::uint32;
    using TBool = Steinberg::TBool;
    using IBStream = Steinberg::IBStream;
    using MediaType = Steinberg::Vst::MediaType;
    using BusDirection = Steinberg::Vst::BusDirection;
    using BusInfo = Steinberg::Vst::BusInfo;
    using SpeakerArrangement = Steinberg::Vst::SpeakerArrangement;

    // IPluginBase
    std::function<tresult(Steinberg::FUnknown*)> initializeFunc;
    std::function<tresult()> terminateFunc;
    // IComponent
    std::function<tresult(Steinberg::TUID)> getControllerClassIdFunc;
    std::function<tresult(Steinberg::Vst::IoMode)> setIoModeFunc;
    std::function<int32(MediaType, BusDirection)> getBusCountFunc;
    std::function<tresult(MediaType, BusDirection, int32, BusInfo&)> getBusInfoFunc;
    std::function<tresult(MediaType, BusDirection, int32, TBool)> activateBusFunc;
    std::function<tresult(TBool)> setActiveFunc;
    std::function<tresult(IBStream*)> setStateFunc;
    std::function<tresult(IBStream*)> getStateFunc;
    // IAudioProcessor
    std::function<tresult(SpeakerArrangement*, int32, SpeakerArrangement*, int32)> setBusArrangementsFunc;
    std::function<tresult(BusDirection, int32, SpeakerArrangement&)> getBusArrangementFunc;
    std::function<tresult(int32)> canProcessSampleSizeFunc;
    std::function<uint32()> getLatencySamplesFunc;
    std::function<tresult(Steinberg::Vst::ProcessSetup&)> setupProcessingFunc;
    std::function<tresult(TBool)> setProcessingFunc;
    std::function<tresult(Steinberg::Vst::ProcessData&)> processFunc;
    std::function<uint32()> getTailSamplesFunc;

    tresult PLUGIN_API initialize(Steinberg::FUnknown* context) override {
        return initializeFunc ? initializeFunc(context) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API terminate() override { return terminateFunc ? terminateFunc() : Steinberg::kResultOk; }

    tresult PLUGIN_API getControllerClassId(Steinberg::TUID classId) override {
        return getControllerClassIdFunc ? getControllerClassIdFunc(classId) : Steinberg::kResultFalse;
    }
    tresult PLUGIN_API setIoMode(Steinberg::Vst::IoMode mode) override {
        return setIoModeFunc ? setIoModeFunc(mode) : Steinberg::kResultOk;
    }
    int32 PLUGIN_API getBusCount(MediaType type, BusDirection dir) override {
        return getBusCountFunc ? getBusCountFunc(type, dir) : 0;
    }
    tresult PLUGIN_API getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& bus) override {
        return getBusInfoFunc ? getBusInfoFunc(type, dir, index, bus) : Steinberg::kInvalidArgument;
    }
    tresult PLUGIN_API getRoutingInfo(Steinberg::Vst::RoutingInfo&, Steinberg::Vst::RoutingInfo&) override {
        return Steinberg::kNotImplemented;
    }
    tresult PLUGIN_API activateBus(MediaType type, BusDirection dir, int32 index, TBool state) override {
        return activateBusFunc ? activateBusFunc(type, dir, index, state) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API setActive(TBool state) override {
        return setActiveFunc ? setActiveFunc(state) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API setState(IBStream* state) override {
        return setStateFunc ? setStateFunc(state) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API getState(IBStream* state) override {
        return getStateFunc ? getStateFunc(state) : Steinberg::kResultOk;
    }

    tresult PLUGIN_API setBusArrangements(SpeakerArrangement* inputs, int32 numIns, SpeakerArrangement* outputs,
                                          int32 numOuts) override {
        return setBusArrangementsFunc ? setBusArrangementsFunc(inputs, numIns, outputs, numOuts)
                                      : Steinberg::kResultFalse;
    }
    tresult PLUGIN_API getBusArrangement(BusDirection dir, int32 index, SpeakerArrangement& arr) override {
        return getBusArrangementFunc ? getBusArrangementFunc(dir, index, arr) : Steinberg::kInvalidArgument;
    }
    tresult PLUGIN_API canProcessSampleSize(int32 symbolicSampleSize) override {
        if (canProcessSampleSizeFunc)
            return canProcessSampleSizeFunc(symbolicSampleSize);
        return symbolicSampleSize == Steinberg::Vst::kSample32 ? Steinberg::kResultTrue : Steinberg::kResultFalse;
    }
    uint32 PLUGIN_API getLatencySamples() override { return getLatencySamplesFunc ? getLatencySamplesFunc() : 0; }
    tresult PLUGIN_API setupProcessing(Steinberg::Vst::ProcessSetup& setup) override {
        return setupProcessingFunc ? setupProcessingFunc(setup) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API setProcessing(TBool state) override {
        return setProcessingFunc ? setProcessingFunc(state) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API process(Steinberg::Vst::ProcessData& data) override {
        return processFunc ? processFunc(data) : Steinberg::kResultOk;
    }
    uint32 PLUGIN_API getTailSamples() override { return getTailSamplesFunc ? getTailSamplesFunc() : 0; }
};

class StubController : public StubObject<Steinberg::Vst::IEditController> {
public:
    using tresult = Steinberg::tresult;
    using int32 = Steinberg::int32;
    using IBStream = Steinberg::IBStream;
    using ParamID = Steinberg::Vst::ParamID;
    using ParamValue = Steinberg::Vst::ParamValue;

    // IPluginBase
    std::function<tresult(Steinberg::FUnknown*)> initializeFunc;
    std::function<tresult()> terminateFunc;
    // IEditController
    std::function<tresult(IBStream*)> setComponentStateFunc;
    std::function<tresult(IBStream*)> setStateFunc;
    std::function<tresult(IBStream*)> getStateFunc;
    std::function<int32()> getParameterCountFunc;
    std::function<tresult(int32, Steinberg::Vst::ParameterInfo&)> getParameterInfoFunc;
    std::function<tresult(ParamID, ParamValue, Steinberg::Vst::String128)> getParamStringByValueFunc;
    std::function<tresult(ParamID, Steinberg::Vst::TChar*, ParamValue&)> getParamValueByStringFunc;
    std::function<ParamValue(ParamID, ParamValue)> normalizedParamToPlainFunc;
    std::function<ParamValue(ParamID, ParamValue)> plainParamToNormalizedFunc;
    std::function<ParamValue(ParamID)> getParamNormalizedFunc;
    std::function<tresult(ParamID, ParamValue)> setParamNormalizedFunc;
    std::function<tresult(Steinberg::Vst::IComponentHandler*)> setComponentHandlerFunc;
    std::function<Steinberg::IPlugView*(Steinberg::FIDString)> createViewFunc;

    tresult PLUGIN_API initialize(Steinberg::FUnknown* context) override {
        return initializeFunc ? initializeFunc(context) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API terminate() override { return terminateFunc ? terminateFunc() : Steinberg::kResultOk; }

    tresult PLUGIN_API setComponentState(IBStream* state) override {
        return setComponentStateFunc ? setComponentStateFunc(state) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API setState(IBStream* state) override {
        return setStateFunc ? setStateFunc(state) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API getState(IBStream* state) override {
        return getStateFunc ? getStateFunc(state) : Steinberg::kResultOk;
    }
    int32 PLUGIN_API getParameterCount() override { return getParameterCountFunc ? getParameterCountFunc() : 0; }
    tresult PLUGIN_API getParameterInfo(int32 paramIndex, Steinberg::Vst::ParameterInfo& info) override {
        return getParameterInfoFunc ? getParameterInfoFunc(paramIndex, info) : Steinberg::kInvalidArgument;
    }
    tresult PLUGIN_API getParamStringByValue(ParamID id, ParamValue valueNormalized,
                                             Steinberg::Vst::String128 string) override {
        return getParamStringByValueFunc ? getParamStringByValueFunc(id, valueNormalized, string)
                                         : Steinberg::kResultFalse;
    }
    tresult PLUGIN_API getParamValueByString(ParamID id, Steinberg::Vst::TChar* string,
                                             ParamValue& valueNormalized) override {
        return getParamValueByStringFunc ? getParamValueByStringFunc(id, string, valueNormalized)
                                         : Steinberg::kResultFalse;
    }
    ParamValue PLUGIN_API normalizedParamToPlain(ParamID id, ParamValue valueNormalized) override {
        return normalizedParamToPlainFunc ? normalizedParamToPlainFunc(id, valueNormalized) : valueNormalized;
    }
    ParamValue PLUGIN_API plainParamToNormalized(ParamID id, ParamValue plainValue) override {
        return plainParamToNormalizedFunc ? plainParamToNormalizedFunc(id, plainValue) : plainValue;
    }
    ParamValue PLUGIN_API getParamNormalized(ParamID id) override {
        return getParamNormalizedFunc ? getParamNormalizedFunc(id) : 0.0;
    }
    tresult PLUGIN_API setParamNormalized(ParamID id, ParamValue value) override {
        return setParamNormalizedFunc ? setParamNormalizedFunc(id, value) : Steinberg::kResultOk;
    }
    tresult PLUGIN_API setComponentHandler(Steinberg::Vst::IComponentHandler* handler) override {
        return setComponentHandlerFunc ? setComponentHandlerFunc(handler) : Steinberg::kResultOk;
    }
    Steinberg::IPlugView* PLUGIN_API createView(Steinberg::FIDString name) override {
        return createViewFunc ? createViewFunc(name) : nullptr;
    }
};
