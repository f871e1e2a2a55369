#include "vst3/vst3_adapter_core.h"

#include <cstdlib>
#include <cstring>

#include "pluginterfaces/vst/ivstmessage.h"
#include "public.sdk/source/vst/hosting/hostclasses.h"
#include "support/win32.h"
#include "vst3/adapter_state.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

const int32 timerInterval = 50; // ms
// Every restartComponent flag that the adapter acts on.
const int32 handledRestartFlags =
    kIoChanged | kParamValuesChanged | kParamTitlesChanged | kLatencyChanged | kMidiCCAssignmentChanged;

bool sameId(const TUID a, const TUID b) {
    static const TUID zero = {};
    return std::memcmp(a ? a : zero, b ? b : zero, sizeof(TUID)) == 0;
}

} // namespace

Vst3AdapterCore::Vst3AdapterCore(IPluginFactory* pluginFactory, IAudioProcessor* audioProcessor,
                                 IComponent* pluginComponent, IEditController* editController, const TUID cid)
    : classId(FUID::fromTUID(cid)), processor(audioProcessor, false), component(pluginComponent, false),
      controller(editController, false), interfaceSupport(owned(new PlugInterfaceSupport)), factory(pluginFactory) {
    programChangeParamIds.fill(kNoParamId);
    programChangeParamIndices.fill(-1);
    std::memset(&processContext, 0, sizeof processContext);
    processContext.sampleRate = 44100.0;
    processContext.tempo = 120.0;
}

Vst3AdapterCore::~Vst3AdapterCore() {
    if (timer)
        timer->stop();
    timer = nullptr;
    processData.unprepare();
    if (componentsConnected) {
        IPtr<IConnectionPoint> processorPoint = processorConnectionPoint();
        FUnknownPtr<IConnectionPoint> controllerPoint(controller);
        if (processorPoint && controllerPoint) {
            processorPoint->disconnect(controllerPoint);
            controllerPoint->disconnect(processorPoint);
        }
    }
    if (controller) {
        controller->setComponentHandler(nullptr);
        if (controllerInitialized)
            controller->terminate();
    }
    if (component && componentInitialized)
        component->terminate();
    inputEvents = nullptr;
    outputEvents = nullptr;
    unitInfo = nullptr;
    midiMapping = nullptr;
    releaseMidiMapping();
    editorWrapper = nullptr;
    controller = nullptr;
    processor = nullptr;
    component = nullptr;
    factory = nullptr;
    interfaceSupport = nullptr;
}

bool Vst3AdapterCore::init() {
    if (processor && !component)
        component = FUnknownPtr<IComponent>(processor);
    if (controller) {
        unitInfo = FUnknownPtr<IUnitInfo>(controller);
        midiMapping = FUnknownPtr<IMidiMapping>(controller);
    }
    // Everything below speaks to the component; a processor without one
    // cannot be hosted.
    if (!component)
        return false;

    componentInitialized = true;
    if (component->initialize(static_cast<IHostApplication*>(this)) != kResultOk)
        return false;

    if (controller) {
        // A single-component plug-in is its own controller and must not be
        // initialised twice.
        FUnknownPtr<IEditController> componentController(component);
        if (componentController.getInterface() != controller.get()) {
            controllerInitialized = true;
            if (controller->initialize(static_cast<IHostApplication*>(this)) != kResultOk)
                return false;
        }
        controller->setComponentHandler(static_cast<IComponentHandler*>(this));

        IPtr<IConnectionPoint> processorPoint = processorConnectionPoint();
        FUnknownPtr<IConnectionPoint> controllerPoint(controller);
        if (processorPoint && controllerPoint) {
            processorPoint->connect(controllerPoint);
            controllerPoint->connect(processorPoint);
            componentsConnected = true;
        }

        MemoryStream state;
        if (component->getState(&state) == kResultOk) {
            state.seek(0, IBStream::kIBSeekSet, nullptr);
            controller->setComponentState(&state);
        }
    }

    if (processor) {
        if (processor->canProcessSampleSize(kSample64) == kResultOk) {
            enableDoubleReplacing();
            // 64-bit only where 32-bit is missing: most hosts stream floats.
            sampleSize = processor->canProcessSampleSize(kSample32) != kResultOk ? kSample64 : kSample32;
        }
        setInitialDelay(int32(processor->getLatencySamples()));
        if (processor->getTailSamples() == kNoTail)
            setNoTail();
        setupProcessing();
    }

    setupParameters();
    setupBuses();

    numPrograms = 0;
    if (unitInfo && unitInfo->getProgramListCount() > 0) {
        for (int32 i = 0; i < unitInfo->getUnitCount(); ++i) {
            UnitInfo unit = {};
            if (unitInfo->getUnitInfo(i, unit) != kResultOk || unit.id != kRootUnitId)
                continue;
            if (unit.programListId != kNoProgramListId) {
                for (int32 j = 0; j < unitInfo->getProgramListCount(); ++j) {
                    ProgramListInfo list = {};
                    if (unitInfo->getProgramListInfo(j, list) == kResultOk && list.id == unit.programListId) {
                        numPrograms = list.programCount;
                        break;
                    }
                }
            }
            break;
        }
    }

    if (!timer)
        timer = owned(Timer::create(this, timerInterval));

    initMidiControllerAssignment();
    return true;
}

IPtr<IConnectionPoint> Vst3AdapterCore::processorConnectionPoint() {
    FUnknownPtr<IConnectionPoint> point(processor);
    if (point)
        return point;
    return FUnknownPtr<IConnectionPoint>(component);
}

tresult PLUGIN_API Vst3AdapterCore::queryInterface(const TUID iid, void** obj) {
    if (FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IHostApplication::iid)) {
        addRef();
        *obj = static_cast<IHostApplication*>(this);
        return kResultOk;
    }
    if (FUnknownPrivate::iidEqual(iid, IComponentHandler::iid)) {
        addRef();
        *obj = static_cast<IComponentHandler*>(this);
        return kResultOk;
    }
    if (FUnknownPrivate::iidEqual(iid, IUnitHandler::iid)) {
        addRef();
        *obj = static_cast<IUnitHandler*>(this);
        return kResultOk;
    }
    if (interfaceSupport && interfaceSupport->queryInterface(iid, obj) == kResultOk)
        return kResultOk;
    *obj = nullptr;
    return kNoInterface;
}

tresult PLUGIN_API Vst3AdapterCore::createInstance(TUID cid, TUID iid, void** obj) {
    TUID message;
    TUID attributes;
    IMessage::iid.toTUID(message);
    IAttributeList::iid.toTUID(attributes);
    if (sameId(cid, message) && sameId(iid, message)) {
        *obj = static_cast<IMessage*>(new HostMessage);
        return kResultOk;
    }
    if (sameId(cid, attributes) && sameId(iid, attributes)) {
        *obj = static_cast<IAttributeList*>(new HostAttributeList);
        return kResultOk;
    }
    *obj = nullptr;
    return kResultFalse;
}

tresult PLUGIN_API Vst3AdapterCore::beginEdit(ParamID id) {
    auto found = parameterIndexMap.find(id);
    if (found != parameterIndexMap.end())
        beginEditHost(found->second);
    return kResultOk;
}

tresult PLUGIN_API Vst3AdapterCore::endEdit(ParamID id) {
    auto found = parameterIndexMap.find(id);
    if (found != parameterIndexMap.end())
        endEditHost(found->second);
    return kResultOk;
}

tresult PLUGIN_API Vst3AdapterCore::performEdit(ParamID id, ParamValue value) {
    auto found = parameterIndexMap.find(id);
    if (found != parameterIndexMap.end())
        automate(found->second, float(value));
    {
        // Also parameters without a VST 2 index: a bypass or program change
        // made in the plug-in's own editor must reach its processor.
        std::lock_guard<std::mutex> writers(transferWriters);
        inputTransfer.addChange(id, value, 0);
    }
    paramEdited(id, value);
    return kResultOk;
}

tresult PLUGIN_API Vst3AdapterCore::restartComponent(int32 flags) {
    tresult result = (flags & handledRestartFlags) ? kResultOk : kResultFalse;
    // A bus change must not land in the middle of a block: the block's
    // thread (also when the plug-in restarts from inside its own process
    // call) applies it at the block boundary.
    if (blockThread.load() == GetCurrentThreadId()) {
        pendingRestart |= flags;
        return result;
    }
    std::unique_lock<std::mutex> block(blockLock, std::try_to_lock);
    if (!block.owns_lock()) {
        pendingRestart |= flags;
        return result;
    }
    applyRestart(flags);
    return result;
}

void Vst3AdapterCore::applyRestart(int32 flags) {
    if (flags & kIoChanged) {
        setupBuses();
        ioChanged();
    }
    if (flags & (kParamValuesChanged | kParamTitlesChanged))
        updateDisplay();
    if (flags & kLatencyChanged) {
        if (processor)
            setInitialDelay(int32(processor->getLatencySamples()));
        ioChanged();
    }
    if (flags & kMidiCCAssignmentChanged)
        initMidiControllerAssignment();
}

void Vst3AdapterCore::applyPendingRestart() {
    int32 flags = pendingRestart.exchange(0);
    if (flags)
        applyRestart(flags);
}

void Vst3AdapterCore::onTimer(Timer*) {
    if (!controller)
        return;
    ParamID id;
    ParamValue value;
    int32 offset;
    while (outputTransfer.getNextChange(id, value, offset))
        controller->setParamNormalized(id, value);
    while (uiTransfer.getNextChange(id, value, offset))
        controller->setParamNormalized(id, value);
}

int32 Vst3AdapterCore::getChunk(void** data, bool) {
    int32 size = buildAdapterChunk(chunk, component, controller);
    if (size > 0)
        *data = chunk.getData();
    return size;
}

int32 Vst3AdapterCore::setChunk(void* data, int32 byteSize, bool isPreset) {
    if (!component)
        return 0;
    dropPendingChanges();
    applyAdapterChunk(data, byteSize, isPreset, component, controller);
    return 0;
}

void Vst3AdapterCore::dropPendingChanges() {
    // The block lock first, as a block does before a plug-in's edit takes
    // the writers' lock.
    std::lock_guard<std::mutex> block(blockLock);
    std::lock_guard<std::mutex> writers(transferWriters);
    uiTransfer.removeChanges();
    inputTransfer.removeChanges();
    // Also what a flush left to ride along with the next block.
    inputChanges.clearQueue();
}

void Vst3AdapterCore::initMidiControllerAssignment() {
    if (!midiMapping || !component)
        return;
    int32 buses = component->getBusCount(kEvent, kInput);
    if (buses > 4)
        buses = 4;
    if (buses < 0)
        buses = 0;
    for (int32 bus = 0; bus < buses; ++bus) {
        for (int32 channel = 0; channel < 16; ++channel) {
            // Tables are made once, in the count the first call finds.
            int32*& table = midiCCMapping[bus][channel];
            if (!table) {
                if (midiMappingMade)
                    continue;
                table = new int32[130];
            }
            for (int32 number = 0; number < 130; ++number) {
                ParamID id = kNoParamId;
                if (midiMapping->getMidiControllerAssignment(bus, int16(channel), CtrlNumber(number), id) != kResultOk)
                    id = kNoParamId;
                table[number] = int32(id);
            }
        }
    }
    midiMappingMade = true;
}

void Vst3AdapterCore::releaseMidiMapping() {
    for (auto& bus : midiCCMapping)
        for (int32*& table : bus) {
            delete[] table;
            table = nullptr;
        }
}
