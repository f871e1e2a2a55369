#include "vst3/vst3_adapter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "pluginterfaces/gui/iplugview.h"
#include "support/win32.h"
#include "vst3/adapter_text.h"
#include "vst3/process_context.h"
#include "vst3/speaker_arrangement.h"
#include "vst3/vst3_editor_wrapper.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

const VstInt32 maxOutputEvents = 2048;
const size_t eventRecordSize = 48; // room for a VstMidiEvent or a VstMidiSysexEvent
const VstInt32 vendorSpecificIndex1 = 0x73744341; // 'stCA'
const VstInt32 vendorSpecificIndex2 = 0x73744361; // 'stCa'
const VstIntPtr vendorSpecificFuid = 0x46554944;  // 'FUID'
const VstIntPtr vendorSpecificWheel = 0x57686565; // 'Whee'
const VstIntPtr effectIdentity = 0x4E764566;      // 'NvEf'
const char* const musicalInstrument = "MusicalInstrument";
const size_t parameterNameBytes = 32; // VST 2 hosts give names room for this, whatever the old limit says

// Every /127 of MIDI data is a multiplication by this single-precision value.
const float inverse127 = 1.0f / 127.0f;

bool equalsIgnoringCase(const char* a, const char* b) {
    for (; *a && *b; ++a, ++b) {
        char x = (*a >= 'A' && *a <= 'Z') ? char(*a - 'A' + 'a') : *a;
        char y = (*b >= 'A' && *b <= 'Z') ? char(*b - 'A' + 'a') : *b;
        if (x != y)
            return false;
    }
    return *a == *b;
}

// A text into a fixed VST 2 field: cut at the field's width, with a
// terminator only when there is room for one.
template <size_t N> void narrowField(const TChar* text, char (&field)[N]) {
    char buffer[N + 1];
    narrowText(text, buffer, N);
    std::memcpy(field, buffer, N);
}

// strncpy's contract, without its warnings: at most `limit` bytes, the rest
// of the field zeroed, no terminator for a text that fills it.
void copyLimited(char* field, const char* text, size_t limit) {
    size_t length = 0;
    while (length < limit && text[length])
        ++length;
    std::memcpy(field, text, length);
    std::memset(field + length, 0, limit - length);
}

size_t unitsOf(const TChar* text) {
    size_t length = 0;
    while (length < 128 && text[length])
        ++length;
    return length;
}

} // namespace

// ---------------------------------------------------------------------------
// Creation and set-up

Vst3Adapter::Vst3Adapter(IPluginFactory* factory, IAudioProcessor* processor, IComponent* component,
                         IEditController* controller, const TUID classId, audioMasterCallback audioMaster)
    : Vst3AdapterCore(factory, processor, component, controller, classId), VstEffectBase(audioMaster) {
    exportBypass = false;
    useSequentialIndex = true;
    cEffect.uniqueID = 0;
    cEffect.flags |= effFlagsCanReplacing | effFlagsProgramChunks;
}

namespace {

// The object of `iid` that `object` answers, as a reference of the caller's.
template <class Interface> Interface* askFor(FUnknown* object) {
    void* answer = nullptr;
    if (!object || object->queryInterface(Interface::iid, &answer) != kResultOk)
        return nullptr;
    return static_cast<Interface*>(answer);
}

template <class Interface> Interface* makeInstance(IPluginFactory* factory, const TUID classId) {
    void* object = nullptr;
    if (factory->createInstance(classId, Interface::iid, &object) != kResultOk)
        return nullptr;
    return static_cast<Interface*>(object);
}

} // namespace

VstEffectBase* Vst3Adapter::create(IPluginFactory* factory, const TUID classId, audioMasterCallback audioMaster) {
    if (!factory)
        return nullptr;
    IComponent* component = nullptr;
    IAudioProcessor* processor = makeInstance<IAudioProcessor>(factory, classId);
    if (!processor) {
        // Plug-ins made with some frameworks make only the component, the
        // interface the hosting rules name for creation, and hand out their
        // processor as a separate object that dies with the component: the
        // component is then held for the adapter's whole life.
        component = makeInstance<IComponent>(factory, classId);
        processor = askFor<IAudioProcessor>(component);
        if (!processor) {
            if (component)
                component->release();
            return nullptr;
        }
    }

    // A single-component plug-in is its own controller, or its component
    // hands one out; otherwise the component names its controller's class.
    IEditController* controller = askFor<IEditController>(processor);
    if (!controller)
        controller = askFor<IEditController>(component);
    if (!controller) {
        FUnknownPtr<IComponent> named(component ? static_cast<FUnknown*>(component) : processor);
        TUID controllerId;
        if (named && named->getControllerClassId(controllerId) == kResultOk)
            controller = makeInstance<IEditController>(factory, controllerId);
    }

    Vst3Adapter* adapter = new Vst3Adapter(factory, processor, component, controller, classId, audioMaster);
    adapter->readClassInfo(factory, classId);
    if (!adapter->init()) {
        // Whatever references the plug-in kept, nothing half-made stays.
        delete adapter;
        return nullptr;
    }
    return adapter;
}

void Vst3Adapter::readClassInfo(IPluginFactory* pluginFactory, const TUID cid) {
    FUnknownPtr<IPluginFactory2> factory2(pluginFactory);
    if (!factory2)
        return;
    PFactoryInfo factoryInfo = {};
    if (factory2->getFactoryInfo(&factoryInfo) == kResultOk)
        copyLimited(vendor, factoryInfo.vendor, sizeof vendor - 1);
    for (int32 i = 0; i < factory2->countClasses(); ++i) {
        PClassInfo2 info = {};
        if (factory2->getClassInfo2(i, &info) != kResultOk)
            continue;
        if (std::memcmp(info.cid, cid, sizeof(TUID)) != 0)
            continue;
        copyLimited(subCategories, info.subCategories, sizeof subCategories - 1);
        copyLimited(name, info.name, sizeof name - 1);
        char version[PClassInfo2::kVersionSize + 1] = {};
        std::memcpy(version, info.version, PClassInfo2::kVersionSize);
        vendorVersion = parseVendorVersion(version);
        if (info.vendor[0])
            copyLimited(vendor, info.vendor, sizeof vendor - 1);
        break;
    }
}

bool Vst3Adapter::init() {
    if (std::strstr(subCategories, "Instrument"))
        cEffect.flags |= effFlagsIsSynth;
    bool result = Vst3AdapterCore::init();
    cEffect.numPrograms = VstEffectBase::numPrograms = Vst3AdapterCore::numPrograms;
    // Whether the plug-in has a view is asked now, as hosts do; the view
    // itself is made again when the host asks for the editor.
    if (controller) {
        IPlugView* view = controller->createView(ViewType::kEditor);
        if (view) {
            view->release();
            Vst3EditorWrapper* wrapper = new Vst3EditorWrapper(this, controller);
            editorWrapper = owned(static_cast<IPlugFrame*>(wrapper));
            editor = wrapper;
            cEffect.flags |= effFlagsHasEditor;
        }
    }
    return result;
}

Vst3Adapter::~Vst3Adapter() {
    if (editorWrapper) {
        // A view that kept its frame must find it let go of this adapter and
        // the controller, and the view ends before the controller does.
        static_cast<Vst3EditorWrapper*>(editor)->detach();
        editor = nullptr;
        cEffect.flags &= ~effFlagsHasEditor;
        editorWrapper = nullptr;
    }
    freeVstSpeakerArrangement(vst2InputArrangement);
    freeVstSpeakerArrangement(vst2OutputArrangement);
    freeOutputEvents();
    onParamEdit = nullptr;
    programCategories.clear();
}

tresult PLUGIN_API Vst3Adapter::queryInterface(const TUID iid, void** obj) {
    if (FUnknownPrivate::iidEqual(iid, IVst3ToVst2Wrapper::iid)) {
        addRef();
        *obj = static_cast<IVst3ToVst2Wrapper*>(this);
        return kResultOk;
    }
    return Vst3AdapterCore::queryInterface(iid, obj);
}

tresult PLUGIN_API Vst3Adapter::getName(String128 text) {
    char product[128] = {};
    if (!callHost(audioMasterGetProductString, 0, 0, product))
        return kResultFalse;
    product[sizeof product - 1] = 0;
    wideText(product, text, 127);
    return kResultOk;
}

void Vst3Adapter::setNumInputs(int32 count) {
    Vst3AdapterCore::setNumInputs(count);
    cEffect.numInputs = count;
}

void Vst3Adapter::setNumOutputs(int32 count) {
    Vst3AdapterCore::setNumOutputs(count);
    cEffect.numOutputs = count;
}

void Vst3Adapter::setupParameters() {
    Vst3AdapterCore::setupParameters();
    cEffect.numParams = VstEffectBase::numParams = Vst3AdapterCore::numParams;
}

void Vst3Adapter::setupBuses() {
    Vst3AdapterCore::setupBuses();
    if (hasEventOutputBuses && !vst2OutputEvents) {
        // Every record is made now: a block allocates nothing.
        size_t tableSize = sizeof(VstEvents) + (maxOutputEvents - 2) * sizeof(VstEvent*);
        vst2OutputEvents = static_cast<VstEvents*>(std::calloc(1, tableSize));
        char* records = static_cast<char*>(std::calloc(maxOutputEvents, eventRecordSize));
        for (VstInt32 i = 0; i < maxOutputEvents; ++i)
            vst2OutputEvents->events[i] = reinterpret_cast<VstEvent*>(records + size_t(i) * eventRecordSize);
    } else if (!hasEventOutputBuses) {
        freeOutputEvents();
    }
}

void Vst3Adapter::freeOutputEvents() {
    if (!vst2OutputEvents)
        return;
    std::free(vst2OutputEvents->events[0]);
    std::free(vst2OutputEvents);
    vst2OutputEvents = nullptr;
}

void Vst3Adapter::automate(int32 index, float value) { callHost(audioMasterAutomate, index, 0, nullptr, value); }

void Vst3Adapter::beginEditHost(int32 index) { callHost(audioMasterBeginEdit, index); }

void Vst3Adapter::endEditHost(int32 index) { callHost(audioMasterEndEdit, index); }

void Vst3Adapter::paramEdited(ParamID id, double value) {
    if (onParamEdit)
        onParamEdit(id, value);
}

// ---------------------------------------------------------------------------
// Audio

void Vst3Adapter::setupProcessTimeInfo() {
    VstTimeInfo* time = reinterpret_cast<VstTimeInfo*>(callHost(audioMasterGetTime, 0, -1));
    if (!time) {
        processData.processContext = nullptr;
        return;
    }
    fillProcessContext(*time, processContext);
    processData.processContext = &processContext;
}

void Vst3Adapter::updateProcessLevel() {
    VstInt32 level = VstInt32(callHost(audioMasterGetCurrentProcessLevel));
    if (level == currentProcessLevel)
        return;
    currentProcessLevel = level;
    processMode = level == kVstProcessLevelOffline ? int32(kOffline) : int32(kRealtime);
    if (processing && processor) {
        processor->setProcessing(false);
        processing = false;
        setupProcessing();
        processor->setProcessing(true);
        processing = true;
    } else {
        setupProcessing();
    }
}

template <typename Sample>
void Vst3Adapter::runBlock(Sample** inputs, Sample** outputs, VstInt32 frames, int32 size) {
    std::lock_guard<std::mutex> block(blockLock);
    blockThread = GetCurrentThreadId();
    applyPendingRestart();
    updateProcessLevel();
    // A block of the other precision is dropped: the plug-in was not set
    // up for it, and its outputs stay as they were.
    if (processData.symbolicSampleSize == size) {
        assignChannels(inputs, outputs);
        // A flush comes before a state is read, and configure runs no audio
        // that would deliver its changes later. A plug-in that returned
        // from the flush without looking at them (DPF's do) would leave an
        // edit out of the saved state, so one frame of silence carries them
        // again. Its output goes nowhere and a stream's count of frames
        // stays; in a live run it waits for the worker's block like any
        // block, and the plug-in's history gains that one silent frame.
        if (processBlock(frames))
            processFrameOfSilence<Sample>();
    }
    applyPendingRestart();
    blockThread = 0;
}

void Vst3Adapter::processReplacing(float** inputs, float** outputs, VstInt32 frames) {
    runBlock(inputs, outputs, frames, kSample32);
}

void Vst3Adapter::processDoubleReplacing(double** inputs, double** outputs, VstInt32 frames) {
    runBlock(inputs, outputs, frames, kSample64);
}

bool Vst3Adapter::pinProperties(BusDirection direction, VstInt32 index, VstPinProperties* properties) {
    if (!component || !properties || index < 0)
        return false;
    uint64 mask = direction == kInput ? mainInputBuses : mainOutputBuses;
    int32 count = direction == kInput ? processData.numInputs : processData.numOutputs;
    AudioBusBuffers* buses = direction == kInput ? processData.inputs : processData.outputs;
    int32 bus = -1;
    VstInt32 first = 0;
    for (int32 i = 0; i < count && i < 64; ++i) {
        if (!((mask >> i) & 1))
            continue;
        if (index < first + buses[i].numChannels) {
            bus = i;
            break;
        }
        first += buses[i].numChannels;
    }
    BusInfo info = {};
    if (bus < 0 || component->getBusInfo(kAudio, direction, bus, info) != kResultOk)
        return false;
    properties->flags = kVstPinIsActive;
    narrowField(info.name, properties->label);
    if (info.channelCount == 1) {
        properties->flags |= kVstPinUseSpeaker;
        properties->arrangementType = kSpeakerArrMono;
    } else if (info.channelCount == 2) {
        properties->flags |= kVstPinIsStereo | kVstPinUseSpeaker;
        properties->arrangementType = kSpeakerArrStereo;
    } else if (info.channelCount > 2) {
        SpeakerArrangement arrangement = 0;
        if (!processor || processor->getBusArrangement(direction, bus, arrangement) != kResultOk)
            return false;
        properties->flags |= kVstPinUseSpeaker;
        properties->arrangementType = vst2ArrangementType(arrangement);
    }
    return true;
}

bool Vst3Adapter::getInputProperties(VstInt32 index, VstPinProperties* properties) {
    return pinProperties(kInput, index, properties);
}

bool Vst3Adapter::getOutputProperties(VstInt32 index, VstPinProperties* properties) {
    return pinProperties(kOutput, index, properties);
}

bool Vst3Adapter::setSpeakerArrangement(VstSpeakerArrangement* input, VstSpeakerArrangement* output) {
    if (!processor || !component)
        return false;
    int32 inputBuses = component->getBusCount(kAudio, kInput);
    int32 outputBuses = component->getBusCount(kAudio, kOutput);
    SpeakerArrangement currentIn = 0;
    SpeakerArrangement currentOut = 0;
    if (inputBuses > 0 && processor->getBusArrangement(kInput, 0, currentIn) != kResultOk)
        return false;
    if (outputBuses > 0 && processor->getBusArrangement(kOutput, 0, currentOut) != kResultOk)
        return false;
    SpeakerArrangement newIn = currentIn;
    SpeakerArrangement newOut = currentOut;
    if (input) {
        newIn = speakerArrangementFromVst2(input->type);
        if (newIn == 0)
            return false;
    }
    if (output) {
        newOut = speakerArrangementFromVst2(output->type);
        if (newOut == 0)
            return false;
    }
    if (newIn == currentIn && newOut == currentOut)
        return true;
    bool giveIn = newIn != 0 && inputBuses > 0;
    bool giveOut = newOut != 0 && outputBuses > 0;
    if (processor->setBusArrangements(giveIn ? &newIn : nullptr, giveIn ? 1 : 0, giveOut ? &newOut : nullptr,
                                      giveOut ? 1 : 0) != kResultOk)
        return false;
    restartComponent(kIoChanged);
    return true;
}

bool Vst3Adapter::getSpeakerArrangement(VstSpeakerArrangement** input, VstSpeakerArrangement** output) {
    if (!processor)
        return false;
    SpeakerArrangement in = 0;
    SpeakerArrangement out = 0;
    if (processor->getBusArrangement(kInput, 0, in) != kResultOk)
        in = 0;
    if (processor->getBusArrangement(kOutput, 0, out) != kResultOk)
        out = 0;
    makeVstSpeakerArrangement(vst2InputArrangement, in);
    makeVstSpeakerArrangement(vst2OutputArrangement, out);
    if (input)
        *input = vst2InputArrangement;
    if (output)
        *output = vst2OutputArrangement;
    return vst2InputArrangement && vst2OutputArrangement;
}

// ---------------------------------------------------------------------------
// Parameters and programs

void Vst3Adapter::setParameter(VstInt32 index, float value) {
    if (!controller || index < 0 || size_t(index) >= parameterMap.size())
        return;
    addParameterChange(parameterMap[size_t(index)].id, value, 0);
}

float Vst3Adapter::getParameter(VstInt32 index) {
    if (!controller || index < 0 || size_t(index) >= parameterMap.size())
        return 0.0f;
    return float(controller->getParamNormalized(parameterMap[size_t(index)].id));
}

namespace {
// The label and display calls index the map unchecked, as a vector's at()
// would; the host catches what comes of a bad index.
const Vst3AdapterCore::ParamMapEntry& entryAt(const std::vector<Vst3AdapterCore::ParamMapEntry>& map,
                                              VstInt32 index) {
    if (index < 0 || size_t(index) >= map.size())
        throw std::out_of_range("invalid vector subscript");
    return map[size_t(index)];
}
} // namespace

void Vst3Adapter::getParameterName(VstInt32 index, char* text) {
    text[0] = 0;
    if (!controller || index < 0 || size_t(index) >= parameterMap.size())
        return;
    ParameterInfo info = {};
    if (controller->getParameterInfo(parameterMap[size_t(index)].index, info) != kResultOk)
        return;
    std::u16string path;
    if (unitInfo)
        getUnitPath(info.unitId, path);
    std::u16string title(reinterpret_cast<const char16_t*>(info.title), unitsOf(info.title));
    std::u16string name = path + title;
    if (name.size() > 32)
        name = title;
    if (name.size() > 32)
        name = std::u16string(reinterpret_cast<const char16_t*>(info.shortTitle), unitsOf(info.shortTitle));
    narrowText(reinterpret_cast<const TChar*>(name.c_str()), text, parameterNameBytes);
}

void Vst3Adapter::getParameterLabel(VstInt32 index, char* text) {
    text[0] = 0;
    if (!controller)
        return;
    const ParamMapEntry& entry = entryAt(parameterMap, index);
    ParameterInfo info = {};
    if (controller->getParameterInfo(entry.index, info) == kResultOk)
        narrowText(info.units, text, kVstMaxParamStrLen);
}

void Vst3Adapter::getParameterDisplay(VstInt32 index, char* text) {
    text[0] = 0;
    if (!controller)
        return;
    const ParamMapEntry& entry = entryAt(parameterMap, index);
    ParameterInfo info = {};
    if (controller->getParameterInfo(entry.index, info) != kResultOk)
        return;
    // A value the host has just set shows at once, though the controller
    // hears of it only at the next timer tick.
    double value = 0.0;
    if (!getLastParamChange(entry.id, value))
        value = controller->getParamNormalized(entry.id);
    String128 display = {};
    if (controller->getParamStringByValue(entry.id, value, display) == kResultOk)
        narrowText(display, text, kVstMaxParamStrLen);
}

bool Vst3Adapter::canParameterBeAutomated(VstInt32 index) {
    if (!controller || index < 0 || size_t(index) >= parameterMap.size())
        return false;
    ParameterInfo info = {};
    if (controller->getParameterInfo(parameterMap[size_t(index)].index, info) != kResultOk)
        return false;
    return (info.flags & ParameterInfo::kCanAutomate) != 0;
}

bool Vst3Adapter::string2parameter(VstInt32 index, char* text) {
    if (!controller || index < 0 || size_t(index) >= parameterMap.size() || !text)
        return false;
    const ParamMapEntry& entry = parameterMap[size_t(index)];
    ParameterInfo info = {};
    if (controller->getParameterInfo(entry.index, info) != kResultOk)
        return false;
    TChar wide[1024] = {};
    wideText(text, wide, 1023);
    ParamValue value = 0.0;
    if (controller->getParamValueByString(entry.id, wide, value) == kResultOk) {
        setParameter(index, float(value));
        callHost(audioMasterAutomate, index, 0, nullptr, float(value));
    }
    return false;
}

bool Vst3Adapter::getParameterProperties(VstInt32 index, VstParameterProperties* properties) {
    if (!controller || !properties || index < 0 || size_t(index) >= parameterMap.size())
        return false;
    properties->label[0] = 0;
    properties->shortLabel[0] = 0;
    ParameterInfo info = {};
    if (controller->getParameterInfo(parameterMap[size_t(index)].index, info) != kResultOk)
        return false;
    narrowField(info.title, properties->label);
    narrowField(info.shortTitle, properties->shortLabel);
    if (info.stepCount == 0) {
        properties->flags |= kVstParameterCanRamp;
    } else if (info.stepCount == 1) {
        properties->flags |= kVstParameterIsSwitch;
    } else if (info.stepCount > 1) {
        properties->flags |= kVstParameterUsesIntegerMinMax;
        properties->minInteger = 0;
        properties->maxInteger = info.stepCount;
    }
    return true;
}

void Vst3Adapter::setProgram(VstInt32 program) {
    if (programParamId == kNoParamId || !controller || programParamIndex == -1)
        return;
    curProgram = program;
    ParameterInfo info = {};
    if (controller->getParameterInfo(programParamIndex, info) != kResultOk)
        return;
    if (info.stepCount > 0 && program <= info.stepCount)
        addParameterChange(programParamId, double(program) / double(info.stepCount), 0);
}

void Vst3Adapter::getProgramName(char* text) {
    text[0] = 0;
    getProgramNameIndexed(0, curProgram, text);
}

bool Vst3Adapter::getProgramNameIndexed(VstInt32, VstInt32 index, char* text) {
    text[0] = 0;
    if (!unitInfo)
        return false;
    // Always the first list, even where the root unit names another.
    ProgramListInfo list = {};
    if (unitInfo->getProgramListInfo(0, list) != kResultOk)
        return false;
    String128 name = {};
    if (unitInfo->getProgramName(list.id, index, name) != kResultOk)
        return false;
    narrowText(name, text, kVstMaxProgNameLen);
    return true;
}

void Vst3Adapter::fillMidiProgram(VstInt32 channel, ProgramListID list, MidiProgramName* program) {
    String128 name = {};
    if (unitInfo->getProgramName(list, program->thisProgramIndex, name) != kResultOk)
        return;
    narrowField(name, program->name);
    program->midiProgram = char(program->thisProgramIndex & 0xFF);
    program->midiBankMsb = -1;
    program->midiBankLsb = -1;
    program->parentCategoryIndex = -1;
    program->flags = 0;
    String128 attribute = {};
    if (unitInfo->getProgramInfo(list, program->thisProgramIndex, musicalInstrument, attribute) != kResultOk)
        return;
    if (channel < 0 || size_t(channel) >= programCategories.size())
        return;
    const std::vector<ProgramCategory>& categories = programCategories[size_t(channel)];
    for (size_t i = 0; i < categories.size(); ++i) {
        if (std::memcmp(categories[i].attribute, attribute, sizeof attribute) == 0) {
            program->parentCategoryIndex = VstInt32(i);
            break;
        }
    }
}

namespace {
int32 programCount(IUnitInfo* unitInfo, ProgramListID list) {
    for (int32 i = 0; i < unitInfo->getProgramListCount(); ++i) {
        ProgramListInfo info = {};
        if (unitInfo->getProgramListInfo(i, info) == kResultOk && info.id == list)
            return info.programCount;
    }
    return 0;
}
} // namespace

VstInt32 Vst3Adapter::getMidiProgramName(VstInt32 channel, MidiProgramName* program) {
    UnitID unit;
    ProgramListID list;
    if (!unitInfo || !getProgramListAndUnit(channel, unit, list))
        return 0;
    if (program)
        fillMidiProgram(channel, list, program);
    return programCount(unitInfo, list);
}

VstInt32 Vst3Adapter::getCurrentMidiProgram(VstInt32 channel, MidiProgramName* program) {
    UnitID unit;
    ProgramListID list;
    if (!unitInfo || !controller || !getProgramListAndUnit(channel, unit, list))
        return 0;
    for (int32 i = 0; i < controller->getParameterCount(); ++i) {
        ParameterInfo info = {};
        if (controller->getParameterInfo(i, info) != kResultOk)
            continue;
        if (!(info.flags & ParameterInfo::kIsProgramChange) || info.unitId != unit)
            continue;
        double normalized = controller->getParamNormalized(info.id);
        VstInt32 current = std::min<VstInt32>(info.stepCount, VstInt32((info.stepCount + 1) * normalized));
        if (program) {
            program->thisProgramIndex = current;
            fillMidiProgram(channel, list, program);
        }
        return current;
    }
    return 0;
}

int32 Vst3Adapter::addCategory(std::vector<ProgramCategory>& list, const TChar* text) {
    for (size_t i = 0; i < list.size(); ++i)
        if (std::memcmp(list[i].attribute, text, sizeof(String128)) == 0)
            return int32(i);

    // "Piano|Grand": a parent category "Piano" first, then "Grand" below it.
    String128 parentText = {};
    std::memcpy(parentText, text, 127 * sizeof(TChar));
    int32 divider = -1;
    for (int32 i = 127; i >= 0; --i) {
        bool found = parentText[i] == u'|';
        parentText[i] = 0;
        if (found) {
            divider = i;
            break;
        }
    }
    int32 parent = -1;
    static const TChar noName[1] = {0};
    const TChar* ownName = noName;
    if (divider >= 0) {
        ownName = text + divider + 1;
        parent = addCategory(list, parentText);
    }
    ProgramCategory record = {};
    record.category.thisCategoryIndex = VstInt32(list.size());
    narrowField(ownName, record.category.name);
    record.category.parentCategoryIndex = parent;
    record.category.flags = 0;
    std::memcpy(record.attribute, text, sizeof(String128));
    list.push_back(record);
    return int32(list.size() - 1);
}

VstInt32 Vst3Adapter::getMidiProgramCategory(VstInt32 channel, MidiProgramCategory* category) {
    programCategories.clear();
    if (unitInfo && component && component->getBusCount(kEvent, kInput) > 0) {
        for (int32 c = 0; c < 16; ++c) {
            programCategories.emplace_back();
            UnitID unit;
            ProgramListID list;
            if (!getProgramListAndUnit(c, unit, list))
                continue;
            int32 count = programCount(unitInfo, list);
            for (int32 i = 0; i < count; ++i) {
                String128 attribute = {};
                if (unitInfo->getProgramInfo(list, i, musicalInstrument, attribute) == kResultOk)
                    addCategory(programCategories.back(), attribute);
            }
        }
    }
    if (channel < 0 || size_t(channel) >= programCategories.size())
        return 0;
    const std::vector<ProgramCategory>& list = programCategories[size_t(channel)];
    if (category && category->thisCategoryIndex >= 0 && size_t(category->thisCategoryIndex) < list.size() &&
        list[size_t(category->thisCategoryIndex)].category.thisCategoryIndex == category->thisCategoryIndex)
        *category = list[size_t(category->thisCategoryIndex)].category;
    return VstInt32(list.size());
}

bool Vst3Adapter::getMidiKeyName(VstInt32 channel, MidiKeyName* key) {
    UnitID unit;
    ProgramListID list;
    if (!key || !unitInfo || !getProgramListAndUnit(channel, unit, list))
        return false;
    String128 name = {};
    if (unitInfo->getProgramPitchName(list, key->thisProgramIndex, int16(key->thisKeyNumber), name) != kResultOk)
        return false;
    narrowField(name, key->keyName);
    return true;
}

// ---------------------------------------------------------------------------
// MIDI

VstInt32 Vst3Adapter::processEvents(VstEvents* events) {
    if (!inputEvents || !events)
        return 0;
    inputEvents->clear();
    for (VstInt32 i = 0; i < events->numEvents; ++i) {
        const VstEvent* source = events->events[i];
        if (!source)
            continue;
        Event event = {};
        event.busIndex = 0;
        event.sampleOffset = source->deltaFrames;
        if (source->type == kVstSysExType) {
            const VstMidiSysexEvent* sysex = reinterpret_cast<const VstMidiSysexEvent*>(source);
            event.type = Event::kDataEvent;
            event.data.type = DataEvent::kMidiSysEx;
            event.data.size = uint32(sysex->dumpBytes);
            // Points into the caller's memory for the block that follows.
            event.data.bytes = reinterpret_cast<const uint8*>(sysex->sysexDump);
            inputEvents->addEvent(event);
            continue;
        }
        if (source->type != kVstMidiType)
            continue;
        const VstMidiEvent* midi = reinterpret_cast<const VstMidiEvent*>(source);
        if (midi->flags & kVstMidiEventIsRealtime)
            event.flags |= Event::kIsLive;
        uint8 status = uint8(midi->midiData[0]) & 0xF0;
        int16 channel = int16(uint8(midi->midiData[0]) & 0x0F);
        uint8 data1 = uint8(midi->midiData[1]);
        uint8 data2 = uint8(midi->midiData[2]);

        int32 controllerNumber = -1;
        double controllerValue = 0.0;
        switch (status) {
        case 0x80:
        case 0x90:
            if (status == 0x80 || data2 == 0) {
                event.type = Event::kNoteOffEvent;
                event.noteOff.channel = channel;
                event.noteOff.pitch = data1;
                event.noteOff.velocity = float(uint8(midi->noteOffVelocity)) * inverse127;
                event.noteOff.noteId = -1;
            } else {
                event.type = Event::kNoteOnEvent;
                event.noteOn.channel = channel;
                event.noteOn.pitch = data1;
                event.noteOn.tuning = float(midi->detune);
                event.noteOn.velocity = float(data2) * inverse127;
                event.noteOn.length = midi->noteLength;
                event.noteOn.noteId = -1;
            }
            inputEvents->addEvent(event);
            break;
        case 0xA0:
            event.type = Event::kPolyPressureEvent;
            event.polyPressure.channel = channel;
            event.polyPressure.pitch = int16(data1 & 0x7F);
            event.polyPressure.pressure = float(data2 & 0x7F) * inverse127;
            event.polyPressure.noteId = -1;
            inputEvents->addEvent(event);
            break;
        case 0xB0:
            // A data byte of 0x80 or above is no MIDI data: the message is
            // malformed and is dropped.
            if (data1 < 0x80) {
                controllerNumber = data1;
                controllerValue = double(float(data2) * inverse127);
            }
            break;
        case 0xC0: {
            size_t c = size_t(channel);
            if (programChangeParamIds[c] == kNoParamId || programChangeParamIndices[c] == -1 || !controller)
                break;
            ParameterInfo info = {};
            if (controller->getParameterInfo(programChangeParamIndices[c], info) != kResultOk)
                break;
            if (info.stepCount > 0 && data1 <= info.stepCount)
                addParameterChange(programChangeParamIds[c], double(data1) / double(info.stepCount),
                                   event.sampleOffset);
            break;
        }
        case 0xD0:
            controllerNumber = kAfterTouch;
            controllerValue = double(float(data1 & 0x7F) * inverse127);
            break;
        case 0xE0:
            controllerNumber = kPitchBend;
            controllerValue = double((data2 & 0x7F) * 128 + (data1 & 0x7F)) * (1.0 / 16383.0);
            break;
        default:
            break;
        }
        if (controllerNumber < 0)
            continue;
        const int32* table = midiCCMapping[event.busIndex][channel];
        if (!table || ParamID(table[controllerNumber]) == kNoParamId)
            continue;
        ParamID id = ParamID(table[controllerNumber]);
        int32 queueIndex = 0;
        int32 pointIndex = 0;
        IParamValueQueue* queue = inputChanges.addParameterData(id, queueIndex);
        if (queue)
            queue->addPoint(event.sampleOffset, controllerValue, pointIndex);
        std::lock_guard<std::mutex> writers(transferWriters);
        uiTransfer.addChange(id, controllerValue, event.sampleOffset);
    }
    return 0;
}

void Vst3Adapter::processOutputEvents() {
    if (!vst2OutputEvents || !outputEvents || outputEvents->getEventCount() <= 0)
        return;
    vst2OutputEvents->numEvents = 0;
    for (int32 i = 0; i < outputEvents->getEventCount(); ++i) {
        Event event = {};
        if (outputEvents->getEvent(i, event) != kResultOk || vst2OutputEvents->numEvents >= maxOutputEvents)
            break;
        VstEvent* record = vst2OutputEvents->events[vst2OutputEvents->numEvents++];
        std::memset(record, 0, eventRecordSize);
        if (event.type == Event::kDataEvent && event.data.type == DataEvent::kMidiSysEx) {
            VstMidiSysexEvent* sysex = reinterpret_cast<VstMidiSysexEvent*>(record);
            sysex->type = kVstSysExType;
            sysex->byteSize = VstInt32(eventRecordSize);
            sysex->deltaFrames = event.sampleOffset;
            sysex->dumpBytes = VstInt32(event.data.size);
            sysex->sysexDump = reinterpret_cast<char*>(const_cast<uint8*>(event.data.bytes));
            continue;
        }
        VstMidiEvent* midi = reinterpret_cast<VstMidiEvent*>(record);
        midi->type = kVstMidiType;
        midi->byteSize = VstInt32(sizeof(VstMidiEvent));
        midi->deltaFrames = event.sampleOffset;
        midi->flags = (event.flags & Event::kIsLive) ? kVstMidiEventIsRealtime : 0;
        if (event.type == Event::kNoteOnEvent) {
            int32 velocity = int32(event.noteOn.velocity * 127.0 + 0.4999999);
            midi->midiData[0] = char(((velocity & 0x7F) ? 0x90 : 0x80) | event.noteOn.channel);
            midi->midiData[1] = char(event.noteOn.pitch & 0x7F);
            midi->midiData[2] = char(velocity & 0x7F);
            midi->detune = char(int32(event.noteOn.tuning));
            midi->noteLength = event.noteOn.length;
        } else if (event.type == Event::kNoteOffEvent) {
            int32 velocity = int32(event.noteOff.velocity * 127.0 + 0.4999999);
            midi->midiData[0] = char(0x80 | event.noteOff.channel);
            midi->midiData[1] = char(event.noteOff.pitch);
            midi->midiData[2] = char(velocity & 0x7F);
            midi->noteOffVelocity = char(velocity & 0x7F);
        }
    }
    outputEvents->clear();
    callHost(audioMasterProcessEvents, 0, 0, vst2OutputEvents);
}

// ---------------------------------------------------------------------------
// The dispatcher

VstInt32 Vst3Adapter::canDo(const char* text) {
    if (!text)
        return 0;
    if (equalsIgnoringCase(text, "sendVstEvents"))
        return -1;
    if (equalsIgnoringCase(text, "sendVstMidiEvent"))
        return hasEventOutputBuses ? 1 : -1;
    if (equalsIgnoringCase(text, "receiveVstEvents"))
        return -1;
    if (equalsIgnoringCase(text, "receiveVstMidiEvent"))
        return hasEventInputBuses ? 1 : -1;
    if (equalsIgnoringCase(text, "receiveVstTimeInfo"))
        return 1;
    if (equalsIgnoringCase(text, "offline")) {
        if (processing)
            return 0;
        if (processMode == kOffline)
            return 1;
        bool canOffline = setupProcessing(kOffline);
        setupProcessing();
        return canOffline ? 1 : -1;
    }
    if (equalsIgnoringCase(text, "midiProgramNames")) {
        if (!unitInfo)
            return -1;
        UnitID unit = -1;
        return unitInfo->getUnitByBus(kEvent, kInput, 0, 0, unit) == kResultOk && unit >= 0 ? 1 : -1;
    }
    if (equalsIgnoringCase(text, "bypass"))
        return bypassParamId != kNoParamId ? 1 : -1;
    return 0;
}

VstInt32 Vst3Adapter::getPlugCategory() { return plugCategoryFromSubCategories(subCategories); }

VstIntPtr Vst3Adapter::dispatcher(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
    switch (opcode) {
    case effOpen:
    case effClose:
        return opcode == effClose ? 1 : 0;
    case effSetProgram:
        if (value < VstEffectBase::numPrograms)
            setProgram(VstInt32(value));
        return 0;
    case effGetProgram:
        return curProgram;
    case effGetProgramName:
        if (ptr)
            getProgramName(static_cast<char*>(ptr));
        return 0;
    case effGetProgramNameIndexed:
        return ptr && getProgramNameIndexed(VstInt32(value), index, static_cast<char*>(ptr)) ? 1 : 0;
    case effGetParamLabel:
        if (ptr)
            getParameterLabel(index, static_cast<char*>(ptr));
        return 0;
    case effGetParamDisplay:
        if (ptr)
            getParameterDisplay(index, static_cast<char*>(ptr));
        return 0;
    case effGetParamName:
        if (ptr)
            getParameterName(index, static_cast<char*>(ptr));
        return 0;
    case effSetSampleRate:
        Vst3AdapterCore::setSampleRate(opt);
        VstEffectBase::sampleRate = Vst3AdapterCore::sampleRate;
        return 0;
    case effSetBlockSize:
        if (!processing && VstInt32(value) != Vst3AdapterCore::blockSize) {
            Vst3AdapterCore::setBlockSize(VstInt32(value));
            VstEffectBase::blockSize = Vst3AdapterCore::blockSize;
        }
        return 0;
    case effMainsChanged:
        if (value) {
            if ((cEffect.flags & effFlagsIsSynth) || canDo("receiveVstMidiEvent") == 1)
                callHost(audioMasterWantMidi, 0, 1);
            resume();
        } else {
            suspend();
        }
        return 0;
    case effIdentify:
        return effectIdentity;
    case effGetChunk:
        return ptr ? getChunk(static_cast<void**>(ptr), index != 0) : 0;
    case effSetChunk:
        return setChunk(ptr, VstInt32(value), index != 0);
    case effProcessEvents:
        return processEvents(static_cast<VstEvents*>(ptr));
    case effCanBeAutomated:
        return canParameterBeAutomated(index) ? 1 : 0;
    case effString2Parameter:
        string2parameter(index, static_cast<char*>(ptr));
        return 0;
    case effGetNumProgramCategories:
        return 1;
    case effConnectInput:
    case effConnectOutput:
        return 1;
    case effGetInputProperties:
        return getInputProperties(index, static_cast<VstPinProperties*>(ptr)) ? 1 : 0;
    case effGetOutputProperties:
        return getOutputProperties(index, static_cast<VstPinProperties*>(ptr)) ? 1 : 0;
    case effGetPlugCategory:
        return getPlugCategory();
    case effSetSpeakerArrangement:
        return setSpeakerArrangement(reinterpret_cast<VstSpeakerArrangement*>(value),
                                     static_cast<VstSpeakerArrangement*>(ptr))
                   ? 1
                   : 0;
    case effSetBlockSizeAndSampleRate:
        // Remembered only: the plug-in hears of rate and size separately.
        VstEffectBase::blockSize = VstInt32(value);
        VstEffectBase::sampleRate = opt;
        return 1;
    case effSetBypass:
        return setBypass(value != 0) ? 1 : 0;
    case effGetEffectName:
        if (!name[0] || !ptr)
            return 0;
        copyLimited(static_cast<char*>(ptr), name, kVstMaxEffectNameLen);
        return 1;
    case effGetVendorString:
        if (!vendor[0] || !ptr)
            return 0;
        copyLimited(static_cast<char*>(ptr), vendor, kVstMaxVendorStrLen);
        return 1;
    case effGetVendorVersion:
        return vendorVersion;
    case effVendorSpecific:
        if (index != vendorSpecificIndex1 && index != vendorSpecificIndex2)
            return 0;
        if (value == vendorSpecificFuid) {
            static const TUID zero = {};
            if (!ptr || std::memcmp(classId.toTUID(), zero, sizeof zero) == 0)
                return 0;
            std::memcpy(ptr, classId.toTUID(), sizeof(TUID));
            return 1;
        }
        if (value != vendorSpecificWheel)
            return 0;
        if (editor)
            editor->onWheel(opt);
        return 1;
    case effCanDo:
        return canDo(static_cast<const char*>(ptr));
    case effGetTailSize:
        return processor ? VstIntPtr(processor->getTailSamples()) : 0;
    case effGetParameterProperties:
        return getParameterProperties(index, static_cast<VstParameterProperties*>(ptr)) ? 1 : 0;
    case effKeysRequired:
        return 1;
    case effGetVstVersion:
        return 2400;
    case effGetMidiProgramName:
        return getMidiProgramName(index, static_cast<MidiProgramName*>(ptr));
    case effGetCurrentMidiProgram:
        return getCurrentMidiProgram(index, static_cast<MidiProgramName*>(ptr));
    case effGetMidiProgramCategory:
        return getMidiProgramCategory(index, static_cast<MidiProgramCategory*>(ptr));
    case effGetMidiKeyName:
        return getMidiKeyName(index, static_cast<MidiKeyName*>(ptr)) ? 1 : 0;
    case effGetSpeakerArrangement:
        return getSpeakerArrangement(reinterpret_cast<VstSpeakerArrangement**>(value),
                                     static_cast<VstSpeakerArrangement**>(ptr))
                   ? 1
                   : 0;
    case effStartProcess:
        if (processor && !processing) {
            processing = true;
            processor->setProcessing(true);
        }
        return 0;
    case effStopProcess:
        if (processor && processing) {
            processor->setProcessing(false);
            processing = false;
        }
        return 0;
    case effSetTotalSampleToProcess:
        return value;
    case effSetProcessPrecision:
        return setProcessPrecision(VstInt32(value)) ? 1 : 0;
    case effGetNumMidiInputChannels:
    case effGetNumMidiOutputChannels: {
        BusDirection direction = opcode == effGetNumMidiInputChannels ? kInput : kOutput;
        BusInfo info = {};
        if (!component || component->getBusCount(kEvent, direction) <= 0 ||
            component->getBusInfo(kEvent, direction, 0, info) != kResultOk)
            return 0;
        return info.channelCount;
    }
    case effEditGetRect:
        return editor && ptr && editor->getRect(static_cast<ERect**>(ptr)) ? 1 : 0;
    case effEditOpen:
        return editor && editor->open(ptr) ? 1 : 0;
    case effEditClose:
        if (editor)
            editor->close();
        return 0;
    case effEditIdle:
        // The view needs no idle call.
        return 0;
    case effEditKeyDown:
    case effEditKeyUp: {
        if (!editor)
            return 0;
        VstKeyCode key = {index, static_cast<unsigned char>(value), static_cast<unsigned char>(VstInt32(opt))};
        return (opcode == effEditKeyDown ? editor->onKeyDown(key) : editor->onKeyUp(key)) ? 1 : 0;
    }
    case effSetEditKnobMode:
        return editor && editor->setKnobMode(VstInt32(value)) ? 1 : 0;
    default:
        return 0;
    }
}
