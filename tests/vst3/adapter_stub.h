// A VST 3 plug-in in the test process: one object that is component,
// processor, controller, unit information and MIDI mapping, whose answers a
// test sets through std::function members and whose calls it records. The
// adapter's tests run against it without loading a library.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "pluginterfaces/vst/ivstmidicontrollers.h"
#include "pluginterfaces/vst/ivstunits.h"

namespace stub {

using namespace Steinberg;
using namespace Steinberg::Vst;

struct Bus {
    std::u16string name;
    MediaType type;
    BusType busType;
    int32 channels;
    int32 flags;
};

struct Parameter {
    ParamID id;
    std::u16string title;
    std::u16string shortTitle;
    std::u16string units;
    int32 stepCount;
    int32 flags;
    UnitID unitId;
};

inline void copy16(TChar* field, const std::u16string& text, size_t units = 128) {
    std::memset(field, 0, units * sizeof(TChar));
    std::memcpy(field, text.data(), std::min(text.size(), units) * sizeof(TChar));
}

class Plugin : public IComponent,
               public IAudioProcessor,
               public IEditController,
               public IUnitInfo,
               public IMidiMapping,
               public IConnectionPoint {
public:
    std::vector<std::string> calls;
    std::vector<Bus> inputs{{u"In", kAudio, kMain, 2, BusInfo::kDefaultActive}};
    std::vector<Bus> outputs{{u"Out", kAudio, kMain, 2, BusInfo::kDefaultActive}};
    std::vector<Parameter> parameters;
    std::vector<UnitInfo> units;
    std::vector<ProgramListInfo> programLists;
    std::vector<ParamValue> values; // normalized, by parameter position
    bool can32 = true, can64 = true;
    bool answersController = true; // the processor is its own controller
    bool answersUnits = false, answersMapping = false;
    uint32 latency = 0, tail = kNoTail;
    std::function<void(ProcessData&)> onProcess;
    std::function<tresult(int32 bus, int16 channel, CtrlNumber number, ParamID& id)> mapping;
    std::function<tresult(ParamID, ParamValue, String128)> display;
    std::atomic<int32> references{1};

    void log(const std::string& call) { calls.push_back(call); }
    int32 count(const std::string& call) const { return int32(std::count(calls.begin(), calls.end(), call)); }

    std::vector<Bus>& list(MediaType type, BusDirection direction, std::vector<Bus>& out) {
        out.clear();
        for (const Bus& bus : direction == kInput ? inputs : outputs)
            if (bus.type == type)
                out.push_back(bus);
        return out;
    }

    // FUnknown
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
#define STUB_ANSWER(Interface, Base)                                                                                  \
    if (FUnknownPrivate::iidEqual(iid, Interface::iid)) {                                                            \
        addRef();                                                                                                    \
        *obj = static_cast<Interface*>(static_cast<Base*>(this));                                                    \
        return kResultOk;                                                                                            \
    }
        STUB_ANSWER(FUnknown, IComponent)
        STUB_ANSWER(IPluginBase, IComponent)
        STUB_ANSWER(IComponent, IComponent)
        STUB_ANSWER(IAudioProcessor, IAudioProcessor)
        STUB_ANSWER(IConnectionPoint, IConnectionPoint)
        if (answersController)
            STUB_ANSWER(IEditController, IEditController)
        if (answersUnits)
            STUB_ANSWER(IUnitInfo, IUnitInfo)
        if (answersMapping)
            STUB_ANSWER(IMidiMapping, IMidiMapping)
#undef STUB_ANSWER
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return uint32(++references); }
    uint32 PLUGIN_API release() override {
        int32 left = --references;
        if (left == 0)
            delete this;
        return uint32(left);
    }
    virtual ~Plugin() {}

    // IPluginBase (component and controller alike)
    tresult PLUGIN_API initialize(FUnknown*) override {
        log("initialize");
        return kResultOk;
    }
    tresult PLUGIN_API terminate() override {
        log("terminate");
        return kResultOk;
    }

    // IComponent
    tresult PLUGIN_API getControllerClassId(TUID) override { return kNotImplemented; }
    tresult PLUGIN_API setIoMode(IoMode) override { return kResultOk; }
    int32 PLUGIN_API getBusCount(MediaType type, BusDirection direction) override {
        std::vector<Bus> buses;
        return int32(list(type, direction, buses).size());
    }
    tresult PLUGIN_API getBusInfo(MediaType type, BusDirection direction, int32 index, BusInfo& info) override {
        std::vector<Bus> buses;
        list(type, direction, buses);
        if (index < 0 || size_t(index) >= buses.size())
            return kInvalidArgument;
        info.mediaType = type;
        info.direction = direction;
        info.channelCount = buses[size_t(index)].channels;
        copy16(info.name, buses[size_t(index)].name);
        info.busType = buses[size_t(index)].busType;
        info.flags = uint32(buses[size_t(index)].flags);
        return kResultOk;
    }
    tresult PLUGIN_API getRoutingInfo(RoutingInfo&, RoutingInfo&) override { return kNotImplemented; }
    tresult PLUGIN_API activateBus(MediaType type, BusDirection direction, int32 index, TBool state) override {
        log("activateBus " + std::to_string(type) + " " + std::to_string(direction) + " " + std::to_string(index) +
            " " + std::to_string(state ? 1 : 0));
        return kResultOk;
    }
    tresult PLUGIN_API setActive(TBool state) override {
        log(std::string("setActive ") + (state ? "1" : "0"));
        return kResultOk;
    }
    tresult PLUGIN_API setState(IBStream*) override { return kResultOk; }
    tresult PLUGIN_API getState(IBStream*) override { return kResultOk; }

    // IAudioProcessor
    tresult PLUGIN_API setBusArrangements(SpeakerArrangement*, int32, SpeakerArrangement*, int32) override {
        return kResultFalse;
    }
    tresult PLUGIN_API getBusArrangement(BusDirection, int32, SpeakerArrangement& arrangement) override {
        arrangement = SpeakerArr::kStereo;
        return kResultOk;
    }
    tresult PLUGIN_API canProcessSampleSize(int32 size) override {
        return (size == kSample32 && can32) || (size == kSample64 && can64) ? kResultOk : kResultFalse;
    }
    uint32 PLUGIN_API getLatencySamples() override { return latency; }
    tresult PLUGIN_API setupProcessing(ProcessSetup& setup) override {
        log("setupProcessing " + std::to_string(setup.processMode) + " " + std::to_string(setup.symbolicSampleSize) +
            " " + std::to_string(setup.maxSamplesPerBlock) + " " + std::to_string(int(setup.sampleRate)));
        return canProcessSampleSize(setup.symbolicSampleSize);
    }
    tresult PLUGIN_API setProcessing(TBool state) override {
        log(std::string("setProcessing ") + (state ? "1" : "0"));
        return kResultOk;
    }
    tresult PLUGIN_API process(ProcessData& data) override {
        log("process " + std::to_string(data.numSamples));
        if (onProcess)
            onProcess(data);
        return kResultOk;
    }
    uint32 PLUGIN_API getTailSamples() override { return tail; }

    // IEditController
    tresult PLUGIN_API setComponentState(IBStream*) override { return kResultOk; }
    int32 PLUGIN_API getParameterCount() override { return int32(parameters.size()); }
    tresult PLUGIN_API getParameterInfo(int32 index, ParameterInfo& info) override {
        if (index < 0 || size_t(index) >= parameters.size())
            return kInvalidArgument;
        const Parameter& p = parameters[size_t(index)];
        info.id = p.id;
        copy16(info.title, p.title);
        copy16(info.shortTitle, p.shortTitle);
        copy16(info.units, p.units);
        info.stepCount = p.stepCount;
        info.flags = p.flags;
        info.unitId = p.unitId;
        return kResultOk;
    }
    tresult PLUGIN_API getParamStringByValue(ParamID id, ParamValue value, String128 text) override {
        if (display)
            return display(id, value, text);
        copy16(text, u"v" + std::u16string(1, char16_t('0' + int(value * 10 + 0.5))));
        return kResultOk;
    }
    tresult PLUGIN_API getParamValueByString(ParamID, TChar*, ParamValue&) override { return kResultFalse; }
    ParamValue PLUGIN_API normalizedParamToPlain(ParamID, ParamValue value) override { return value; }
    ParamValue PLUGIN_API plainParamToNormalized(ParamID, ParamValue value) override { return value; }
    int32 position(ParamID id) const {
        for (size_t i = 0; i < parameters.size(); ++i)
            if (parameters[i].id == id)
                return int32(i);
        return -1;
    }
    ParamValue PLUGIN_API getParamNormalized(ParamID id) override {
        int32 at = position(id);
        return at >= 0 && size_t(at) < values.size() ? values[size_t(at)] : 0.0;
    }
    tresult PLUGIN_API setParamNormalized(ParamID id, ParamValue value) override {
        int32 at = position(id);
        if (at < 0)
            return kInvalidArgument;
        values.resize(parameters.size(), 0.0);
        values[size_t(at)] = value;
        return kResultOk;
    }
    tresult PLUGIN_API setComponentHandler(IComponentHandler* handler) override {
        log(handler ? "setComponentHandler" : "setComponentHandler null");
        return kResultOk;
    }
    IPlugView* PLUGIN_API createView(FIDString) override { return nullptr; }

    // IUnitInfo
    int32 PLUGIN_API getUnitCount() override { return int32(units.size()); }
    tresult PLUGIN_API getUnitInfo(int32 index, UnitInfo& info) override {
        if (index < 0 || size_t(index) >= units.size())
            return kInvalidArgument;
        info = units[size_t(index)];
        return kResultOk;
    }
    int32 PLUGIN_API getProgramListCount() override { return int32(programLists.size()); }
    tresult PLUGIN_API getProgramListInfo(int32 index, ProgramListInfo& info) override {
        if (index < 0 || size_t(index) >= programLists.size())
            return kInvalidArgument;
        info = programLists[size_t(index)];
        return kResultOk;
    }
    tresult PLUGIN_API getProgramName(ProgramListID, int32, String128) override { return kResultFalse; }
    tresult PLUGIN_API getProgramInfo(ProgramListID, int32, Steinberg::Vst::CString, String128) override { return kResultFalse; }
    tresult PLUGIN_API hasProgramPitchNames(ProgramListID, int32) override { return kResultFalse; }
    tresult PLUGIN_API getProgramPitchName(ProgramListID, int32, int16, String128) override { return kResultFalse; }
    UnitID PLUGIN_API getSelectedUnit() override { return kRootUnitId; }
    tresult PLUGIN_API selectUnit(UnitID) override { return kResultOk; }
    tresult PLUGIN_API getUnitByBus(MediaType, BusDirection, int32, int32, UnitID& unit) override {
        unit = kRootUnitId;
        return kResultOk;
    }
    tresult PLUGIN_API setUnitProgramData(int32, int32, IBStream*) override { return kNotImplemented; }

    // IMidiMapping
    tresult PLUGIN_API getMidiControllerAssignment(int32 bus, int16 channel, CtrlNumber number, ParamID& id) override {
        return mapping ? mapping(bus, channel, number, id) : kResultFalse;
    }

    // IConnectionPoint
    tresult PLUGIN_API connect(IConnectionPoint*) override {
        log("connect");
        return kResultOk;
    }
    tresult PLUGIN_API disconnect(IConnectionPoint*) override {
        log("disconnect");
        return kResultOk;
    }
    tresult PLUGIN_API notify(IMessage*) override { return kResultOk; }
};

// A factory of one class, the stub plug-in; it hands out counted references
// to the object the test holds.
class Factory : public IPluginFactory {
public:
    explicit Factory(Plugin* plugin) : plugin(plugin) {}
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IPluginFactory::iid)) {
            addRef();
            *obj = this;
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return ++references; }
    uint32 PLUGIN_API release() override { return --references; }
    tresult PLUGIN_API getFactoryInfo(PFactoryInfo*) override { return kResultFalse; }
    int32 PLUGIN_API countClasses() override { return 1; }
    tresult PLUGIN_API getClassInfo(int32, PClassInfo*) override { return kResultFalse; }
    tresult PLUGIN_API createInstance(FIDString, FIDString iid, void** obj) override {
        return plugin->queryInterface(iid, obj);
    }
    Plugin* plugin;
    uint32 references = 1;
};

} // namespace stub
