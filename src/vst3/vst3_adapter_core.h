// Vst3AdapterCore: the host that a VST 3 plug-in sees. It initialises and
// connects the plug-in's component and controller, keeps the bus tables,
// parameter rings and event lists of its process calls, maps parameters and
// programs, and answers the plug-in as IHostApplication, IComponentHandler
// and IUnitHandler. It knows nothing of VST 2: what VST 2 must hear goes
// through the virtual hooks, which Vst3Adapter binds.
//
// Threads:
//  - main thread: construction, init, destruction, the 50 ms timer, every
//    IEditController call, state;
//  - audio thread (the main thread in `process`, the worker of a live run):
//    blocks, and setupProcessing on a change of process level;
//  - any thread of the plug-in: restartComponent, performEdit, beginEdit,
//    endEdit.
// inputTransfer is read only on the audio thread, outputTransfer and
// uiTransfer only on the main thread. Writers of inputTransfer and
// uiTransfer may sit on two threads at once (a parameter set by the worker,
// an edit in the plug-in's editor), so writes to them are serialised by
// `transferWriters`. A block holds `blockLock`, so that a zero-length flush
// from the main thread and a worker's block never run at once, and a
// restart that changes the buses while a block runs waits for its end.
#pragma once

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <vector>

#include "base/source/fobject.h"
#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivsthostapplication.h"
#include "pluginterfaces/vst/ivstmidicontrollers.h"
#include "pluginterfaces/vst/ivstprocesscontext.h"
#include "pluginterfaces/vst/ivstunits.h"
#include "public.sdk/source/common/memorystream.h"
#include "public.sdk/source/vst/hosting/pluginterfacesupport.h"
#include "vst3/event_list.h"
#include "vst3/parameter_changes.h"
#include "vst3/process_data.h"
#include "vst3/timer.h"

class Vst3AdapterCore : public Steinberg::Vst::IHostApplication,
                        public Steinberg::Vst::IComponentHandler,
                        public Steinberg::Vst::IUnitHandler,
                        public Steinberg::ITimerCallback,
                        public Steinberg::FObject {
public:
    using ParamID = Steinberg::Vst::ParamID;
    using int32 = Steinberg::int32;
    using tresult = Steinberg::tresult;

    // Takes a counted reference of `factory`; `processor`, `component` and
    // `controller` are references the caller hands over. `component` is
    // given where the plug-in made its processor a separate object, and is
    // otherwise null, to be asked of the processor in `init`; `controller`
    // may be null.
    Vst3AdapterCore(Steinberg::IPluginFactory* factory, Steinberg::Vst::IAudioProcessor* processor,
                    Steinberg::Vst::IComponent* component, Steinberg::Vst::IEditController* controller,
                    const Steinberg::TUID classId);
    ~Vst3AdapterCore() override;

    // ---- hooks, bound to VST 2 by Vst3Adapter -----------------------------
    // The order of set-up on the VST 3 side. False leaves the object for
    // the destructor to undo what was begun.
    virtual bool init();
    virtual void enableDoubleReplacing() {}
    virtual void setInitialDelay(int32) {}
    virtual void setNoTail() {}
    virtual void ioChanged() {}
    virtual void updateDisplay() {}
    virtual void setNumInputs(int32 count) { numInputs = count; }
    virtual void setNumOutputs(int32 count) { numOutputs = count; }
    virtual bool sizeWindow(int32, int32) { return false; }
    virtual int32 getChunk(void** data, bool isPreset);
    virtual int32 setChunk(void* data, int32 byteSize, bool isPreset);
    virtual void setupParameters();
    // Fills processContext for the coming block; null context if the host
    // has no time to give.
    virtual void setupProcessTimeInfo() { processData.processContext = nullptr; }
    virtual void processOutputEvents() {}
    virtual void processOutputParametersChanges() {}
    virtual void setupBuses();

    // ---- processing -------------------------------------------------------
    bool setupProcessing(int32 processModeOverride = -1);
    // Adds a change on its way to the controller (uiTransfer) and to the
    // processor (inputTransfer).
    void addParameterChange(ParamID id, double value, int32 sampleOffset);
    void setSampleRate(float rate);
    void setBlockSize(int32 size);
    void resume();
    void suspend();
    bool setBypass(bool on);
    bool setProcessPrecision(int32 precision);
    // One block through the plug-in; frames may be 0 with null channels, a
    // flush that delivers pending parameter changes, and delivers them once
    // more with the next block of frames. True when such a flush had
    // changes and the plug-in did not even look at them.
    bool processBlock(int32 frames);
    // A block of one frame of silence, its output thrown away, that carries
    // the changes a flush's plug-in left unread (see runBlock). Under
    // blockLock, on the flushing thread.
    template <typename Sample> void processFrameOfSilence();
    // Puts the host's channel pointers into the bus tables, main buses in
    // order, auxiliary ones silent.
    template <typename Sample> void assignChannels(Sample** inputs, Sample** outputs);
    // ---- parameters -------------------------------------------------------
    bool getLastParamChange(ParamID id, double& value);
    // Forgets every change still on its way to the processor or the
    // controller: once a whole state is handed over, they are out of date.
    // Main thread, never inside a block: it keeps the next block out while
    // it empties the processor's ring.
    void dropPendingChanges();
    bool getProgramListAndUnit(int32 channel, Steinberg::Vst::UnitID& unit, Steinberg::Vst::ProgramListID& list);
    bool getUnitPath(Steinberg::Vst::UnitID id, std::u16string& path);
    void initMidiControllerAssignment();
    // Work of restartComponent, for flags that are due now.
    void applyRestart(int32 flags);

    // ---- FUnknown and the interfaces the plug-in may ask for ---------------
    tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** obj) override;
    Steinberg::uint32 PLUGIN_API addRef() override { return FObject::addRef(); }
    Steinberg::uint32 PLUGIN_API release() override { return FObject::release(); }
    // IHostApplication. getName is the VST 2 host's product name, which
    // only the VST 2 side can ask for.
    tresult PLUGIN_API getName(Steinberg::Vst::String128) override { return Steinberg::kResultFalse; }
    tresult PLUGIN_API createInstance(Steinberg::TUID cid, Steinberg::TUID iid, void** obj) override;
    // IComponentHandler
    tresult PLUGIN_API beginEdit(ParamID id) override;
    tresult PLUGIN_API performEdit(ParamID id, Steinberg::Vst::ParamValue value) override;
    tresult PLUGIN_API endEdit(ParamID id) override;
    tresult PLUGIN_API restartComponent(int32 flags) override;
    // IUnitHandler
    tresult PLUGIN_API notifyUnitSelection(Steinberg::Vst::UnitID) override { return Steinberg::kResultOk; }
    tresult PLUGIN_API notifyProgramListChange(Steinberg::Vst::ProgramListID, int32) override {
        return Steinberg::kResultOk;
    }
    // ITimerCallback: hands what the processor and the host changed to the
    // controller.
    void onTimer(Steinberg::Timer* timer) override;

    // Hooks for the VST 2 side's edits; empty in the core.
    virtual void automate(int32, float) {}
    virtual void beginEditHost(int32) {}
    virtual void endEditHost(int32) {}
    virtual void paramEdited(ParamID, double) {}

    // ---- fields -----------------------------------------------------------
    std::array<ParamID, 16> programChangeParamIds;
    std::array<int32, 16> programChangeParamIndices;
    Steinberg::FUID classId;
    Steinberg::IPtr<Steinberg::Vst::IAudioProcessor> processor;
    Steinberg::IPtr<Steinberg::Vst::IComponent> component;
    Steinberg::IPtr<Steinberg::Vst::IEditController> controller;
    Steinberg::IPtr<Steinberg::Vst::IUnitInfo> unitInfo;
    Steinberg::IPtr<Steinberg::Vst::IMidiMapping> midiMapping;
    Steinberg::IPtr<Steinberg::FUnknown> editorWrapper;
    Steinberg::IPtr<Steinberg::Vst::PlugInterfaceSupport> interfaceSupport;
    int32 sampleSize = Steinberg::Vst::kSample32;
    int32 processMode = Steinberg::Vst::kRealtime;
    char name[64] = {};
    char vendor[64] = {};
    char subCategories[128] = {};
    int32 vendorVersion = 0;
    struct ParamMapEntry {
        ParamID id;
        int32 index;
    };
    std::vector<ParamMapEntry> parameterMap;
    std::map<ParamID, int32> parameterIndexMap;
    ParamID bypassParamId = Steinberg::Vst::kNoParamId;
    ParamID programParamId = Steinberg::Vst::kNoParamId;
    int32 programParamIndex = -1;
    Steinberg::Vst::HostProcessData processData;
    Steinberg::Vst::ProcessContext processContext;
    Steinberg::Vst::ParameterChanges inputChanges;
    Steinberg::Vst::ParameterChanges outputChanges;
    Steinberg::IPtr<Steinberg::Vst::EventList> inputEvents;
    Steinberg::IPtr<Steinberg::Vst::EventList> outputEvents;
    Steinberg::uint64 mainInputBuses = 0;
    Steinberg::uint64 mainOutputBuses = 0;
    Steinberg::Vst::ParameterChangeTransfer inputTransfer;
    Steinberg::Vst::ParameterChangeTransfer outputTransfer;
    Steinberg::Vst::ParameterChangeTransfer uiTransfer;
    Steinberg::MemoryStream chunk;
    Steinberg::IPtr<Steinberg::Timer> timer;
    Steinberg::IPtr<Steinberg::IPluginFactory> factory;
    int32 numPrograms = 0;
    float sampleRate = 44100.0f;
    int32 blockSize = 256;
    int32 numParams = 0;
    int32 numInputs = 0;
    int32 numOutputs = 0;
    // [bus][channel] -> 130 ParamIDs: controllers 0..127, aftertouch, pitch bend.
    int32* midiCCMapping[4][16] = {};
    bool midiMappingMade = false; // the first assignment read has allocated its tables
    bool componentInitialized = false;
    bool controllerInitialized = false;
    bool componentsConnected = false;
    bool exportBypass = false;
    bool active = false;
    bool processing = false;
    bool hasEventInputBuses = false;
    bool hasEventOutputBuses = false;
    bool useSequentialIndex = true;

    // Serialise the writers of inputTransfer and uiTransfer.
    std::mutex transferWriters;
    // Held for the length of one block.
    std::mutex blockLock;
    // The thread inside a block, 0 when none; a restart from that thread
    // (the plug-in's own process call) is left for the block's end.
    std::atomic<unsigned long> blockThread{0};
    // Flags of restartComponent waiting for the block boundary.
    std::atomic<int32> pendingRestart{0};

    OBJ_METHODS(Vst3AdapterCore, FObject)

protected:
    void releaseMidiMapping();
    // The processor side's connection point: the processor's, or the
    // component's where the processor is a separate object without one.
    Steinberg::IPtr<Steinberg::Vst::IConnectionPoint> processorConnectionPoint();
    void applyPendingRestart();
};
