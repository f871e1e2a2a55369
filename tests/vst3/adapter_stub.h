// A VST 3 plug-in in the test process: one object that is component,
// processor, controller, unit information, MIDI mapping and connection point,
// whose answers a test sets through its fields and whose calls it records.
// Tests of the adapter and of the state forms run against it without
// loading a library. Two of them can share one journal (component and
// controller apart), each line then starting with its prefix.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/gui/iplugview.h"
#include "pluginterfaces/vst/ivstattributes.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "pluginterfaces/vst/ivstmidicontrollers.h"
#include "pluginterfaces/vst/ivstunits.h"
#include "vst3/preset_keys.h"

namespace stub {

using namespace Steinberg;
using namespace Steinberg::Vst;

struct Bus {
    std::u16string name;
    MediaType type;
    BusType busType;
    int32 channels;
};

struct Parameter {
    ParamID id;
    std::u16string title, shortTitle, units;
    int32 stepCount;
    int32 flags;
    UnitID unitId;
};

inline void copy16(TChar* field, const std::u16string& text) {
    std::memset(field, 0, 128 * sizeof(TChar));
    std::memcpy(field, text.data(), std::min<size_t>(text.size(), 127) * sizeof(TChar));
}

// What is left in a stream, and the StateType attribute it carries ("-"
// for none).
inline std::string contentOf(IBStream* stream) {
    std::string bytes;
    char buffer[256];
    int32 got = 0;
    while (stream->read(buffer, sizeof buffer, &got) == kResultOk && got > 0)
        bytes.append(buffer, size_t(got));
    std::string type = "-";
    FUnknownPtr<IStreamAttributes> attributes(stream);
    String128 value = {};
    if (attributes && attributes->getAttributes() &&
        attributes->getAttributes()->getString(PresetAttributes::kStateType, value, sizeof value) == kResultOk)
        type.assign(value, value + std::char_traits<char16_t>::length(reinterpret_cast<char16_t*>(value)));
    return bytes + " " + type;
}

// An editor view of the size a test gives; its calls go to the journal of
// the plug-in that made it, as "view <call> [<arguments>]".
class View : public IPlugView {
public:
    View(std::vector<std::string>* journal, ViewRect size, tresult sizeAnswer)
        : journal(journal), size(size), sizeAnswer(sizeAnswer) {}
    std::vector<std::string>* journal;
    ViewRect size;
    tresult sizeAnswer;
    IPlugFrame* frame = nullptr;
    std::atomic<int32> references{1};

    tresult logged(const std::string& call, tresult answer = kResultOk) {
        journal->push_back("view " + call);
        return answer;
    }
    static std::string key(char16 key, int16 keyCode, int16 modifiers) {
        return std::to_string(key) + " " + std::to_string(keyCode) + " " + std::to_string(modifiers);
    }
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        bool known = FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IPlugView::iid);
        *obj = known ? this : nullptr;
        return known ? (addRef(), kResultOk) : kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return uint32(++references); }
    uint32 PLUGIN_API release() override {
        int32 left = --references;
        if (left == 0) {
            logged("deleted");
            delete this;
        }
        return uint32(left);
    }
    virtual ~View() {}

    tresult PLUGIN_API isPlatformTypeSupported(FIDString) override { return kResultTrue; }
    tresult PLUGIN_API attached(void*, FIDString type) override { return logged(std::string("attached ") + type); }
    tresult PLUGIN_API removed() override { return logged("removed"); }
    tresult PLUGIN_API onWheel(float distance) override { return logged("onWheel " + std::to_string(distance)); }
    tresult PLUGIN_API onKeyDown(char16 k, int16 keyCode, int16 modifiers) override {
        return logged("onKeyDown " + key(k, keyCode, modifiers));
    }
    tresult PLUGIN_API onKeyUp(char16 k, int16 keyCode, int16 modifiers) override {
        return logged("onKeyUp " + key(k, keyCode, modifiers));
    }
    tresult PLUGIN_API getSize(ViewRect* rect) override {
        *rect = size;
        return sizeAnswer;
    }
    tresult PLUGIN_API onSize(ViewRect* rect) override {
        return logged("onSize " + std::to_string(rect->getWidth()) + " " + std::to_string(rect->getHeight()));
    }
    tresult PLUGIN_API onFocus(TBool) override { return kResultOk; }
    tresult PLUGIN_API setFrame(IPlugFrame* plugFrame) override {
        frame = plugFrame;
        return logged(plugFrame ? "setFrame" : "setFrame null");
    }
    tresult PLUGIN_API canResize() override { return kResultTrue; }
    tresult PLUGIN_API checkSizeConstraint(ViewRect*) override { return kResultOk; }
};

class Plugin : public IComponent,
               public IAudioProcessor,
               public IEditController,
               public IEditController2,
               public IUnitInfo,
               public IMidiMapping,
               public IConnectionPoint {
public:
    std::vector<std::string> calls;
    std::vector<std::string>* journal = &calls;
    std::string prefix;
    std::vector<Bus> inputs{{u"In", kAudio, kMain, 2}};
    std::vector<Bus> outputs{{u"Out", kAudio, kMain, 2}};
    std::vector<Parameter> parameters;
    std::map<ParamID, ParamValue> values;
    std::vector<UnitInfo> units;
    std::vector<ProgramListInfo> programLists;
    std::vector<std::u16string> programNames; // of every list
    std::string state;                        // what getState writes
    tresult getStateAnswer = kResultOk, setStateAnswer = kResultOk, initializeAnswer = kResultOk;
    bool can32 = true;
    std::function<void(ProcessData&)> onProcess;
    std::function<tresult(CtrlNumber, ParamID&)> mapping;
    // With a size: createView makes views of it; `view` is the last one made
    // (not counted).
    std::function<IPlugView*()> makeView;
    View* view = nullptr;
    void offerView(ViewRect size, tresult sizeAnswer = kResultOk) {
        makeView = [this, size, sizeAnswer] { return view = new View(journal, size, sizeAnswer); };
    }
    std::atomic<int32> references{1};

    tresult logged(const std::string& call, tresult answer = kResultOk) {
        journal->push_back(prefix + call);
        return answer;
    }
    int32 count(const std::string& call) const { return int32(std::count(calls.begin(), calls.end(), call)); }
    std::vector<Bus> list(MediaType type, BusDirection direction) const {
        std::vector<Bus> buses;
        for (const Bus& bus : direction == kInput ? inputs : outputs)
            if (bus.type == type)
                buses.push_back(bus);
        return buses;
    }

    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        auto is = [&](const FUID& id) { return FUnknownPrivate::iidEqual(iid, id); };
        if (is(FUnknown::iid) || is(IPluginBase::iid) || is(IComponent::iid))
            *obj = static_cast<IComponent*>(this);
        else if (is(IAudioProcessor::iid))
            *obj = static_cast<IAudioProcessor*>(this);
        else if (is(IEditController::iid))
            *obj = static_cast<IEditController*>(this);
        else if (is(IEditController2::iid))
            *obj = static_cast<IEditController2*>(this);
        else if (is(IUnitInfo::iid))
            *obj = static_cast<IUnitInfo*>(this);
        else if (is(IMidiMapping::iid))
            *obj = static_cast<IMidiMapping*>(this);
        else if (is(IConnectionPoint::iid))
            *obj = static_cast<IConnectionPoint*>(this);
        else
            *obj = nullptr;
        return *obj ? (addRef(), kResultOk) : kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return uint32(++references); }
    uint32 PLUGIN_API release() override {
        int32 left = --references;
        if (left == 0)
            delete this;
        return uint32(left);
    }
    virtual ~Plugin() {}

    // IPluginBase, of component and controller alike
    tresult PLUGIN_API initialize(FUnknown*) override { return logged("initialize", initializeAnswer); }
    tresult PLUGIN_API terminate() override { return logged("terminate"); }

    // IComponent; setState and getState serve the controller as well
    tresult PLUGIN_API getControllerClassId(TUID) override { return kNotImplemented; }
    tresult PLUGIN_API setIoMode(IoMode) override { return kResultOk; }
    int32 PLUGIN_API getBusCount(MediaType type, BusDirection direction) override {
        return int32(list(type, direction).size());
    }
    tresult PLUGIN_API getBusInfo(MediaType type, BusDirection direction, int32 index, BusInfo& info) override {
        std::vector<Bus> buses = list(type, direction);
        if (index < 0 || size_t(index) >= buses.size())
            return kInvalidArgument;
        info.mediaType = type;
        info.direction = direction;
        info.channelCount = buses[size_t(index)].channels;
        copy16(info.name, buses[size_t(index)].name);
        info.busType = buses[size_t(index)].busType;
        info.flags = BusInfo::kDefaultActive;
        return kResultOk;
    }
    tresult PLUGIN_API getRoutingInfo(RoutingInfo&, RoutingInfo&) override { return kNotImplemented; }
    tresult PLUGIN_API activateBus(MediaType type, BusDirection direction, int32 index, TBool state) override {
        return logged("activateBus " + std::to_string(type) + " " + std::to_string(direction) + " " +
                      std::to_string(index) + " " + std::to_string(state ? 1 : 0));
    }
    tresult PLUGIN_API setActive(TBool state) override {
        return logged(std::string("setActive ") + (state ? "1" : "0"));
    }
    tresult PLUGIN_API setState(IBStream* stream) override {
        return logged("setState " + contentOf(stream), setStateAnswer);
    }
    tresult PLUGIN_API getState(IBStream* stream) override {
        stream->write(&state[0], int32(state.size()), nullptr);
        return getStateAnswer;
    }

    // IAudioProcessor
    tresult PLUGIN_API setBusArrangements(SpeakerArrangement*, int32, SpeakerArrangement*, int32) override {
        return kResultFalse;
    }
    tresult PLUGIN_API getBusArrangement(BusDirection, int32, SpeakerArrangement& arrangement) override {
        arrangement = SpeakerArr::kStereo;
        return kResultOk;
    }
    tresult PLUGIN_API canProcessSampleSize(int32 size) override {
        return size == kSample64 || (size == kSample32 && can32) ? kResultOk : kResultFalse;
    }
    uint32 PLUGIN_API getLatencySamples() override { return 0; }
    tresult PLUGIN_API setupProcessing(ProcessSetup& setup) override {
        return logged("setupProcessing " + std::to_string(setup.processMode) + " " +
                          std::to_string(setup.symbolicSampleSize),
                      canProcessSampleSize(setup.symbolicSampleSize));
    }
    tresult PLUGIN_API setProcessing(TBool state) override {
        return logged(std::string("setProcessing ") + (state ? "1" : "0"));
    }
    tresult PLUGIN_API process(ProcessData& data) override {
        if (onProcess)
            onProcess(data);
        return logged("process " + std::to_string(data.numSamples));
    }
    uint32 PLUGIN_API getTailSamples() override { return kNoTail; }

    // IEditController
    tresult PLUGIN_API setComponentState(IBStream* stream) override {
        return logged("setComponentState " + contentOf(stream));
    }
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
    // "v" and the value in tenths.
    tresult PLUGIN_API getParamStringByValue(ParamID, ParamValue value, String128 text) override {
        copy16(text, u"v" + std::u16string(1, char16_t('0' + int(value * 10 + 0.5))));
        return kResultOk;
    }
    tresult PLUGIN_API getParamValueByString(ParamID, TChar*, ParamValue&) override { return kResultFalse; }
    ParamValue PLUGIN_API normalizedParamToPlain(ParamID, ParamValue value) override { return value; }
    ParamValue PLUGIN_API plainParamToNormalized(ParamID, ParamValue value) override { return value; }
    ParamValue PLUGIN_API getParamNormalized(ParamID id) override { return values.count(id) ? values[id] : 0.0; }
    tresult PLUGIN_API setParamNormalized(ParamID id, ParamValue value) override {
        values[id] = value;
        return logged("setParamNormalized " + std::to_string(id) + " " + std::to_string(value));
    }
    tresult PLUGIN_API setComponentHandler(IComponentHandler* handler) override {
        return logged(handler ? "setComponentHandler" : "setComponentHandler null");
    }
    IPlugView* PLUGIN_API createView(FIDString) override { return makeView ? makeView() : nullptr; }

    // IEditController2
    tresult PLUGIN_API setKnobMode(KnobMode mode) override { return logged("setKnobMode " + std::to_string(mode)); }
    tresult PLUGIN_API openHelp(TBool) override { return kResultFalse; }
    tresult PLUGIN_API openAboutBox(TBool) override { return kResultFalse; }

    // IUnitInfo
    int32 PLUGIN_API getUnitCount() override { return int32(units.size()); }
    tresult PLUGIN_API getUnitInfo(int32 index, UnitInfo& info) override {
        return size_t(index) < units.size() ? (info = units[size_t(index)], kResultOk) : kInvalidArgument;
    }
    int32 PLUGIN_API getProgramListCount() override { return int32(programLists.size()); }
    tresult PLUGIN_API getProgramListInfo(int32 index, ProgramListInfo& info) override {
        return size_t(index) < programLists.size() ? (info = programLists[size_t(index)], kResultOk) : kInvalidArgument;
    }
    tresult PLUGIN_API getProgramName(ProgramListID, int32 index, String128 name) override {
        if (size_t(index) >= programNames.size())
            return kResultFalse;
        copy16(name, programNames[size_t(index)]);
        return kResultOk;
    }
    tresult PLUGIN_API getProgramInfo(ProgramListID, int32, Vst::CString, String128) override { return kResultFalse; }
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
    tresult PLUGIN_API getMidiControllerAssignment(int32, int16, CtrlNumber number, ParamID& id) override {
        return mapping ? mapping(number, id) : kResultFalse;
    }

    // IConnectionPoint
    tresult PLUGIN_API connect(IConnectionPoint*) override { return logged("connect"); }
    tresult PLUGIN_API disconnect(IConnectionPoint*) override { return logged("disconnect"); }
    tresult PLUGIN_API notify(IMessage*) override { return kResultOk; }
};

// A factory of one class, the stub; it hands out counted references to the
// object the test holds.
class Factory : public IPluginFactory {
public:
    explicit Factory(Plugin* plugin) : plugin(plugin) {}
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        bool known =
            FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IPluginFactory::iid);
        *obj = known ? this : nullptr;
        return known ? kResultOk : kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
    tresult PLUGIN_API getFactoryInfo(PFactoryInfo*) override { return kResultFalse; }
    int32 PLUGIN_API countClasses() override { return 1; }
    tresult PLUGIN_API getClassInfo(int32, PClassInfo*) override { return kResultFalse; }
    tresult PLUGIN_API createInstance(FIDString, FIDString iid, void** obj) override {
        return plugin->queryInterface(iid, obj);
    }
    Plugin* plugin;
};

} // namespace stub
