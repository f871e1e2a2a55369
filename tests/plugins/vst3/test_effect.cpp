// The VST 3 test plug-ins, on the SDK's component classes, built into
// several modules by compile definitions. Each shows the host one kind of
// module:
//
//   fx3_gain          two classes: "Fx3 Gain" ("Audio Module Class", "Fx|
//                     Dynamics", version 2.1.3), component and processor in
//                     one object, and the controller class it names. Stereo
//                     in and out, 32 and 64 bits: out = in x 2 x Gain, the
//                     one parameter (100, "Gain", "dB"), which starts at
//                     0.5. The component's state is Gain as binary64 and
//                     "G1" (10 bytes), the controller's "UI" and one byte (3
//                     bytes). On connect the component sends the controller
//                     "gainHello" with the value 42. Also laid out as the
//                     bundle fx3_bundle.vst3.
//   fx3_twoclasses    first a class of that category whose object is a
//                     component but no processor, then fx3_gain's
//   fx3_noeffect      no class the host may open: a controller class and an
//                     "audio module class" (wrong case), both of which would
//                     make a working effect, an "Audio Module Class" the
//                     factory makes as nothing, and one whose component is
//                     no processor
//   fx3_initfail      InitDll answers false
//   fx3_nullfactory   GetPluginFactory answers null
//   fx3_throwfactory  the factory throws instead of making anything
//   fx3_view          fx3_gain whose controller makes an editor view of 400
//                     by 300: `attached` makes a
//                     child window of class "fx3_view" on the window it is
//                     given. Messages to that child make the view act as if
//                     the user did: WM_APP asks the frame for the size
//                     wParam by lParam (resizeView), WM_APP + 1 sets Gain to
//                     wParam / 1000 (beginEdit, performEdit, endEdit).
//   fx3_view_fail     the same view, whose `attached` fails
//   fx3_rude          fx3_gain, whose copies misbehave as their names say
//                     (../vst2/misbehaviour.h): initialize opens,
//                     terminate closes, each process call with frames is a
//                     block
//
// The log (../vst2/plugin_log.h) gets "InitDll", "GetPluginFactory",
// "factory createInstance <object>" and "<object> <call> [<arguments>]" for
// the calls that set a plug-in up, run it, tear it down and move its state;
// the process lines only when FXHOST_TEST_LOG was set at the last
// setActive, so that a run without a log costs nothing. The component's
// initialize names the host as IHostApplication does. A view logs
// "view <n> <call> [<arguments>]", n counting the views of the process
// from 1.

#include <atomic>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>

#include "../vst2/misbehaviour.h"
#include "../vst2/plugin_log.h"
#include "base/source/fobject.h"
#include "pluginterfaces/gui/iplugview.h"
#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivsthostapplication.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"
#include "public.sdk/source/vst/vstcomponent.h"
#include "support/win32.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace Steinberg {
// The SDK's own sources define no identifiers of the GUI folder.
DEF_CLASS_IID(IPlugView)
DEF_CLASS_IID(IPlugFrame)
} // namespace Steinberg

namespace {

#if defined(FX3_RUDE)
const bool rude = true;
#else
const bool rude = false;
#endif

const TUID controllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B02);
const ParamID gainId = 100;

// Logs `call`, then answers `result`.
tresult logged(tresult result, const std::string& call) {
    pluginLog("%s", call.c_str());
    return result;
}

int32 readUpTo(IBStream* stream, void* into, int32 size) {
    int32 got = 0;
    return stream && stream->read(into, size, &got) == kResultOk ? got : 0;
}

tresult writeAll(IBStream* stream, const void* bytes, int32 size) {
    int32 written = 0;
    bool whole = stream && stream->write(const_cast<void*>(bytes), size, &written) == kResultOk && written == size;
    return whole ? kResultOk : kResultFalse;
}

// Gain as binary64 (the machine is little-endian, as the state is) and "G1".
tresult decodeGain(const char* call, IBStream* stream, std::atomic<double>& gain) {
    char bytes[10] = {};
    int32 size = readUpTo(stream, bytes, sizeof bytes);
    if (size == 10 && bytes[8] == 'G' && bytes[9] == '1') {
        double value;
        std::memcpy(&value, bytes, 8);
        gain = value;
    }
    return logged(kResultOk, call + std::to_string(size));
}

template <typename Sample>
void render(AudioBusBuffers& in, AudioBusBuffers& out, Sample** from, Sample** to, ProcessData& data, double factor) {
    for (int32 c = 0; c < out.numChannels && c < in.numChannels; ++c) {
        if (factor == 1.0) { // unity, the default: a plain copy, so that a benchmark measures the host
            std::memmove(to[c], from[c], size_t(data.numSamples) * sizeof(Sample));
            continue;
        }
        for (int32 i = 0; i < data.numSamples; ++i)
            to[c][i] = Sample(from[c][i] * factor);
    }
}

class Processor : public Component, public IAudioProcessor {
public:
    explicit Processor(bool isProcessor) : isProcessor(isProcessor) {
        setControllerClass(FUID::fromTUID(controllerClassId));
    }
    ~Processor() override { pluginLog("component deleted"); }

    tresult PLUGIN_API initialize(FUnknown* context) override {
        // The host's name, as a plug-in shows it in its about box.
        String128 host = {};
        FUnknownPtr<IHostApplication> application(context);
        tresult named = application ? application->getName(host) : kResultFalse;
        std::string name;
        for (int i = 0; named == kResultOk && i < 128 && host[i]; ++i)
            name += char(host[i]);
        pluginLog("component initialize in %s", named == kResultOk ? name.c_str() : "(no name)");
        if (rude)
            misbehave(Moment::Open);
        audioInputs.push_back(
            owned<Bus>(new AudioBus(STR16("Stereo In"), kMain, BusInfo::kDefaultActive, SpeakerArr::kStereo)));
        audioOutputs.push_back(
            owned<Bus>(new AudioBus(STR16("Stereo Out"), kMain, BusInfo::kDefaultActive, SpeakerArr::kStereo)));
        return Component::initialize(context);
    }
    tresult PLUGIN_API terminate() override {
        if (rude)
            misbehave(Moment::Close);
        return logged(Component::terminate(), "component terminate");
    }
    tresult PLUGIN_API connect(IConnectionPoint* other) override {
        tresult result = logged(Component::connect(other), "component connect");
        IPtr<IMessage> message = owned(allocateMessage());
        if (message) {
            message->setMessageID("gainHello");
            message->getAttributes()->setInt("value", 42);
            pluginLog("component send gainHello %d", sendMessage(message));
        }
        return result;
    }
    tresult PLUGIN_API disconnect(IConnectionPoint* other) override {
        return logged(Component::disconnect(other), "component disconnect");
    }
    tresult PLUGIN_API setActive(TBool state) override {
        logging = GetEnvironmentVariableW(L"FXHOST_TEST_LOG", nullptr, 0) != 0;
        return logged(kResultOk, "component setActive " + std::to_string(state ? 1 : 0));
    }
    tresult PLUGIN_API setState(IBStream* state) override { return decodeGain("component setState ", state, gain); }
    tresult PLUGIN_API getState(IBStream* state) override {
        char bytes[10] = {0, 0, 0, 0, 0, 0, 0, 0, 'G', '1'};
        double value = gain;
        std::memcpy(bytes, &value, 8);
        return logged(writeAll(state, bytes, 10), "component getState");
    }

    tresult PLUGIN_API setBusArrangements(SpeakerArrangement* ins, int32 numIns, SpeakerArrangement* outs,
                                          int32 numOuts) override {
        bool stereo = numIns == 1 && numOuts == 1 && ins[0] == SpeakerArr::kStereo && outs[0] == SpeakerArr::kStereo;
        return stereo ? kResultTrue : kResultFalse;
    }
    tresult PLUGIN_API getBusArrangement(BusDirection, int32 index, SpeakerArrangement& arrangement) override {
        arrangement = SpeakerArr::kStereo;
        return index == 0 ? kResultTrue : kInvalidArgument;
    }
    tresult PLUGIN_API canProcessSampleSize(int32) override { return kResultTrue; }
    uint32 PLUGIN_API getLatencySamples() override { return 0; }
    tresult PLUGIN_API setupProcessing(ProcessSetup& setup) override {
        pluginLog("component setupProcessing %d %d %d %g", setup.processMode, setup.symbolicSampleSize,
                  setup.maxSamplesPerBlock, setup.sampleRate);
        return kResultOk;
    }
    tresult PLUGIN_API setProcessing(TBool state) override {
        return logged(kResultOk, "component setProcessing " + std::to_string(state ? 1 : 0));
    }
    tresult PLUGIN_API process(ProcessData& data) override {
        if (logging)
            pluginLog("component process %d %d", data.numSamples, data.symbolicSampleSize);
        for (int32 q = 0; data.inputParameterChanges && q < data.inputParameterChanges->getParameterCount(); ++q) {
            IParamValueQueue* queue = data.inputParameterChanges->getParameterData(q);
            int32 offset = 0;
            ParamValue value = 0;
            if (queue->getParameterId() == gainId &&
                queue->getPoint(queue->getPointCount() - 1, offset, value) == kResultOk)
                gain = value;
        }
        if (data.numSamples <= 0 || data.numInputs < 1 || data.numOutputs < 1)
            return kResultOk;
        if (rude)
            misbehave(Moment::Block);
        AudioBusBuffers& in = data.inputs[0];
        AudioBusBuffers& out = data.outputs[0];
        if (data.symbolicSampleSize == kSample64)
            render(in, out, in.channelBuffers64, out.channelBuffers64, data, 2 * gain);
        else
            render(in, out, in.channelBuffers32, out.channelBuffers32, data, 2 * gain);
        return kResultOk;
    }
    uint32 PLUGIN_API getTailSamples() override { return kNoTail; }

    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (!isProcessor || !FUnknownPrivate::iidEqual(iid, IAudioProcessor::iid))
            return Component::queryInterface(iid, obj);
        addRef();
        *obj = static_cast<IAudioProcessor*>(this);
        return kResultOk;
    }
    REFCOUNT_METHODS(Component)

private:
    const bool isProcessor;
    // Set on the host's main thread, read by its audio thread.
    std::atomic<double> gain{0.5};
    std::atomic<bool> logging{false};
};

#if defined(FX3_VIEW)
#if defined(FX3_VIEW_ATTACH_FAILS)
const bool attachFails = true;
#else
const bool attachFails = false;
#endif
const UINT viewAskSize = WM_APP;
const UINT viewEdit = WM_APP + 1;
const wchar_t viewClassName[] = L"fx3_view";
std::atomic<int> viewsMade{0};

LRESULT CALLBACK viewProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

class View : public FObject, public IPlugView {
public:
    // `edit` moves Gain as the controller's own control would.
    explicit View(std::function<void(double)> edit) : number(++viewsMade), edit(std::move(edit)) {
        log("created");
    }
    ~View() override { log("deleted"); }

    tresult PLUGIN_API isPlatformTypeSupported(FIDString type) override {
        return std::strcmp(type, kPlatformTypeHWND) == 0 ? kResultTrue : kResultFalse;
    }
    tresult PLUGIN_API attached(void* parent, FIDString type) override {
        log(std::string("attached ") + type);
        if (attachFails)
            return kResultFalse;
        WNDCLASSEXW windowClass = {};
        windowClass.cbSize = sizeof windowClass;
        windowClass.lpfnWndProc = viewProcedure;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = viewClassName;
        RegisterClassExW(&windowClass); // fails harmlessly once registered
        window = CreateWindowExW(0, viewClassName, L"", WS_CHILD | WS_VISIBLE, 0, 0, rect.getWidth(),
                                 rect.getHeight(), static_cast<HWND>(parent), nullptr, GetModuleHandleW(nullptr), this);
        return window ? kResultOk : kResultFalse;
    }
    tresult PLUGIN_API removed() override {
        log("removed");
        if (window)
            DestroyWindow(window);
        window = nullptr;
        return kResultOk;
    }
    tresult PLUGIN_API onWheel(float) override { return kResultOk; }
    tresult PLUGIN_API onKeyDown(char16, int16, int16) override { return kResultOk; }
    tresult PLUGIN_API onKeyUp(char16, int16, int16) override { return kResultOk; }
    tresult PLUGIN_API getSize(ViewRect* size) override {
        *size = rect;
        return kResultOk;
    }
    tresult PLUGIN_API onSize(ViewRect* newSize) override {
        log("onSize " + std::to_string(newSize->getWidth()) + " " + std::to_string(newSize->getHeight()));
        rect = *newSize;
        if (window)
            SetWindowPos(window, nullptr, 0, 0, rect.getWidth(), rect.getHeight(), SWP_NOMOVE | SWP_NOZORDER);
        return kResultOk;
    }
    tresult PLUGIN_API onFocus(TBool) override { return kResultOk; }
    tresult PLUGIN_API setFrame(IPlugFrame* plugFrame) override {
        frame = plugFrame; // not counted, as the SDK's views do
        log(plugFrame ? "setFrame set" : "setFrame null");
        return kResultOk;
    }
    tresult PLUGIN_API canResize() override { return kResultTrue; }
    tresult PLUGIN_API checkSizeConstraint(ViewRect*) override { return kResultOk; }

    // What the child window's messages ask for.
    void askSize(int32 width, int32 height) {
        ViewRect size(0, 0, width, height);
        tresult result = frame ? frame->resizeView(this, &size) : kResultFalse;
        log("resizeView " + std::to_string(width) + " " + std::to_string(height) + " " + std::to_string(result));
    }
    void editGain(double value) { edit(value); }

    OBJ_METHODS(View, FObject)
    DEFINE_INTERFACES
    DEF_INTERFACE(IPlugView)
    END_DEFINE_INTERFACES(FObject)
    REFCOUNT_METHODS(FObject)

private:
    void log(const std::string& text) { pluginLog("view %d %s", number, text.c_str()); }

    const int number;
    std::function<void(double)> edit;
    ViewRect rect{0, 0, 400, 300};
    IPlugFrame* frame = nullptr;
    HWND window = nullptr;
};

LRESULT CALLBACK viewProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE)
        SetWindowLongPtrW(window, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams));
    View* view = reinterpret_cast<View*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (view && message == viewAskSize) {
        view->askSize(int32(wParam), int32(lParam));
        return 0;
    }
    if (view && message == viewEdit) {
        view->editGain(double(wParam) / 1000.0);
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}
#endif

class Controller : public ComponentBase, public IEditController {
public:
    ~Controller() override { pluginLog("controller deleted"); }

    tresult PLUGIN_API initialize(FUnknown* context) override {
        return logged(ComponentBase::initialize(context), "controller initialize");
    }
    tresult PLUGIN_API terminate() override { return logged(ComponentBase::terminate(), "controller terminate"); }
    tresult PLUGIN_API connect(IConnectionPoint* other) override {
        return logged(ComponentBase::connect(other), "controller connect");
    }
    tresult PLUGIN_API disconnect(IConnectionPoint* other) override {
        return logged(ComponentBase::disconnect(other), "controller disconnect");
    }
    tresult PLUGIN_API notify(IMessage* message) override {
        int64 value = 0;
        message->getAttributes()->getInt("value", value);
        return logged(kResultOk,
                      std::string("controller notify ") + message->getMessageID() + " " + std::to_string(value));
    }

    tresult PLUGIN_API setComponentState(IBStream* state) override {
        return decodeGain("controller setComponentState ", state, gain);
    }
    tresult PLUGIN_API setState(IBStream* state) override {
        char bytes[3] = {};
        int32 size = readUpTo(state, bytes, 3);
        if (size == 3 && bytes[0] == 'U' && bytes[1] == 'I')
            kept = bytes[2];
        return logged(kResultOk, "controller setState " + std::to_string(size));
    }
    tresult PLUGIN_API getState(IBStream* state) override {
        const char bytes[3] = {'U', 'I', kept};
        return logged(writeAll(state, bytes, 3), "controller getState");
    }
    int32 PLUGIN_API getParameterCount() override { return 1; }
    tresult PLUGIN_API getParameterInfo(int32 index, ParameterInfo& info) override {
        info = ParameterInfo();
        info.id = gainId;
        std::memcpy(info.title, STR16("Gain"), 5 * sizeof(TChar));
        std::memcpy(info.units, STR16("dB"), 3 * sizeof(TChar));
        info.defaultNormalizedValue = 0.5;
        info.flags = ParameterInfo::kCanAutomate;
        return index == 0 ? kResultOk : kInvalidArgument;
    }
    tresult PLUGIN_API getParamStringByValue(ParamID, ParamValue, String128) override { return kResultFalse; }
    tresult PLUGIN_API getParamValueByString(ParamID, TChar*, ParamValue&) override { return kResultFalse; }
    ParamValue PLUGIN_API normalizedParamToPlain(ParamID, ParamValue value) override { return value; }
    ParamValue PLUGIN_API plainParamToNormalized(ParamID, ParamValue value) override { return value; }
    ParamValue PLUGIN_API getParamNormalized(ParamID id) override { return id == gainId ? gain.load() : 0.0; }
    tresult PLUGIN_API setParamNormalized(ParamID id, ParamValue value) override {
        if (id == gainId)
            gain = value;
        return id == gainId ? kResultOk : kInvalidArgument;
    }
    tresult PLUGIN_API setComponentHandler(IComponentHandler* componentHandler) override {
        handler = componentHandler;
        return logged(kResultOk,
                      std::string("controller setComponentHandler ") + (componentHandler ? "set" : "null"));
    }
    IPlugView* PLUGIN_API createView(FIDString name) override {
#if defined(FX3_VIEW)
        if (name && std::strcmp(name, ViewType::kEditor) == 0)
            return new View([this](double value) { editGain(value); });
#else
        (void)name;
#endif
        return nullptr;
    }

    OBJ_METHODS(Controller, ComponentBase)
    DEFINE_INTERFACES
    DEF_INTERFACE(IEditController)
    END_DEFINE_INTERFACES(ComponentBase)
    REFCOUNT_METHODS(ComponentBase)

private:
    // A move of the view's control: the host hears of it as of a user's edit.
    void editGain(double value) {
        gain = value;
        if (handler) {
            handler->beginEdit(gainId);
            handler->performEdit(gainId, value);
            handler->endEdit(gainId);
        }
    }

    IPtr<IComponentHandler> handler;
    std::atomic<double> gain{0.5};
    char kept = 1;
};

enum class Makes { effect, controller, component, nothing };

struct Class {
    TUID id;
    const char* category;
    Makes makes;
};

const Class classes[] = {
#if defined(FX3_TWO_CLASSES)
    {INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A02), kVstAudioEffectClass, Makes::component},
#endif
#if defined(FX3_NO_EFFECT)
    {INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A03), kVstComponentControllerClass, Makes::effect},
    {INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A04), "audio module class", Makes::effect},
    {INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A05), kVstAudioEffectClass, Makes::nothing},
    {INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A06), kVstAudioEffectClass, Makes::component},
#else
    {INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B01), kVstAudioEffectClass, Makes::effect},
#endif
    {INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B02), kVstComponentControllerClass, Makes::controller},
};
const int32 classCount = int32(sizeof classes / sizeof classes[0]);

// One factory for the module's whole life: no count to keep.
class Factory : public IPluginFactory2 {
public:
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        bool known = FUnknownPrivate::iidEqual(iid, FUnknown::iid) ||
                     FUnknownPrivate::iidEqual(iid, IPluginFactory::iid) ||
                     FUnknownPrivate::iidEqual(iid, IPluginFactory2::iid);
        *obj = known ? this : nullptr;
        return known ? kResultOk : kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
    tresult PLUGIN_API getFactoryInfo(PFactoryInfo* info) override {
        *info = PFactoryInfo("fxhost tests", "", "", PFactoryInfo::kNoFlags);
        return kResultOk;
    }
    int32 PLUGIN_API countClasses() override { return classCount; }
    tresult PLUGIN_API getClassInfo(int32 index, PClassInfo* info) override {
        if (index < 0 || index >= classCount)
            return kInvalidArgument;
        *info = PClassInfo(classes[index].id, PClassInfo::kManyInstances, classes[index].category, "Fx3 Gain");
        return kResultOk;
    }
    tresult PLUGIN_API getClassInfo2(int32 index, PClassInfo2* info) override {
        if (index < 0 || index >= classCount)
            return kInvalidArgument;
        *info = PClassInfo2(classes[index].id, PClassInfo::kManyInstances, classes[index].category, "Fx3 Gain", 0,
                            "Fx|Dynamics", nullptr, "2.1.3", kVstVersionString);
        return kResultOk;
    }
    tresult PLUGIN_API createInstance(FIDString cid, FIDString iid, void** obj) override {
        *obj = nullptr;
        for (const Class& entry : classes) {
            if (!FUnknownPrivate::iidEqual(entry.id, cid) || entry.makes == Makes::nothing)
                continue;
#if defined(FX3_THROW_CREATE)
            throw std::runtime_error("fx3_throwfactory makes nothing");
#endif
            bool controller = entry.makes == Makes::controller;
            pluginLog("factory createInstance %s", controller ? "controller" : "component");
            FUnknown* object = controller ? static_cast<FUnknown*>(static_cast<IEditController*>(new Controller))
                                          : static_cast<IComponent*>(new Processor(entry.makes == Makes::effect));
            tresult result = object->queryInterface(iid, obj);
            object->release();
            return result;
        }
        return kNoInterface;
    }
};

Factory factory;

} // namespace

extern "C" {

SMTG_EXPORT_SYMBOL IPluginFactory* PLUGIN_API GetPluginFactory() {
    pluginLog("GetPluginFactory");
#if defined(FX3_NULL_FACTORY)
    return nullptr;
#else
    return &factory;
#endif
}

SMTG_EXPORT_SYMBOL bool PLUGIN_API InitDll() {
    pluginLog("InitDll");
#if defined(FX3_INIT_FAILS)
    return false;
#else
    return true;
#endif
}

} // extern "C"
