#include "effect/vst_effect.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>

#include "support/file/std_channels.h"
#include "vst2/speakers.h"
#include "vst3/adapter_state.h"
#include "vst3/module.h"
#include "vst3/vst3_adapter.h"

#include "support/win32.h"

const char* const VSTEffect::vendorString = "Tonewell";
const char* const VSTEffect::productString = "Tonewell VST Adapter";

namespace {

// Process-wide and never destroyed: a plug-in's own thread may still call
// back while static destructors run at exit.
struct Instances {
    CRITICAL_SECTION lock;
    std::set<VSTEffect*> open; // ascending by address: the tick order
    UINT_PTR idleTimer = 0;

    Instances() { InitializeCriticalSection(&lock); }
};

Instances& instances() {
    static Instances* all = new Instances();
    return *all;
}

class InstancesLock {
public:
    InstancesLock() { EnterCriticalSection(&instances().lock); }
    ~InstancesLock() { LeaveCriticalSection(&instances().lock); }
    InstancesLock(const InstancesLock&) = delete;
    InstancesLock& operator=(const InstancesLock&) = delete;
};

// The lock stays held across the calls into the plug-ins; the timer runs on
// the thread that opens and closes instances, and the section is recursive.
void CALLBACK tick(HWND, UINT, UINT_PTR, DWORD) {
    InstancesLock hold;
    for (VSTEffect* effect : instances().open)
        effect->idleTick();
}

// System time for VstTimeInfo::nanoSeconds, as VST 2 defines the field.
double monotonicNanoseconds() {
    LARGE_INTEGER frequency, now;
    if (!QueryPerformanceFrequency(&frequency) || !QueryPerformanceCounter(&now) || frequency.QuadPart == 0)
        return 0.0;
    return double(now.QuadPart) * 1.0e9 / double(frequency.QuadPart);
}

void copyAnswer(void* destination, const char* text) {
    if (destination)
        std::memcpy(destination, text, std::strlen(text) + 1);
}

bool isHostCapability(const void* ptr) {
    if (!ptr)
        return false;
    const char* asked = static_cast<const char*>(ptr);
    return std::strcmp(asked, "sendVstTimeInfo") == 0 || std::strcmp(asked, "sizeWindow") == 0 ||
           std::strcmp(asked, "supplyIdle") == 0;
}

} // namespace

VSTEffect::VSTEffect() {
    std::memset(&timeInfo, 0, sizeof timeInfo);
}

std::unique_ptr<VSTEffect> VSTEffect::create(const OptionMap& arguments) {
    std::unique_ptr<VSTEffect> effect(new VSTEffect());
    const std::string* level = findOption(arguments, "--process");
    effect->processLevel = (level && *level == "realtime") ? kVstProcessLevelRealtime : kVstProcessLevelOffline;
    return effect;
}

VSTEffect::~VSTEffect() {
    {
        InstancesLock hold;
        Instances& all = instances();
        if (all.open.erase(this) && all.open.empty()) {
            KillTimer(NULL, all.idleTimer);
            all.idleTimer = 0;
        }
    }
    suspend();
    if (aeffect) {
        if (editorOpen) {
            editorOpen = false;
            if (aeffect->flags & effFlagsHasEditor)
                dispatch(effEditClose);
        }
        dispatch(effClose);
        aeffect = nullptr;
        adapter = nullptr;
    }
    module.reset();
}

VstIntPtr VSTEffect::dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
    return aeffect->dispatcher(aeffect, opcode, index, value, ptr, opt);
}

bool VSTEffect::openEntry(VstPluginMainProc entry) {
    if (!entry)
        return false;
    entryPoint = entry;
    AEffect* effect = nullptr;
    try {
        effect = entry(&VSTEffect::hostCallback);
    } catch (...) {
        return false;
    }
    return openEffect(effect);
}

bool VSTEffect::openEffect(AEffect* effect) {
    if (!effect || effect->magic != kEffectMagic || (effect->flags & effFlagsIsSynth))
        return false;
    aeffect = effect;
    effect->user = this;
    try {
        dispatch(effOpen);
        if (sampleRate != 0)
            dispatch(effSetSampleRate, 0, 0, nullptr, float(sampleRate));
        dispatch(effSetBlockSize, 0, blockSize);
    } catch (...) {
        return false;
    }
    {
        InstancesLock hold;
        Instances& all = instances();
        if (all.open.empty())
            all.idleTimer = SetTimer(NULL, 0, 100, tick);
        all.open.insert(this);
    }
    resume();
    return true;
}

bool VSTEffect::canConfigure() const {
    return aeffect && ((aeffect->flags & effFlagsHasEditor) || nonNegative(aeffect->numParams) >= 1);
}

void VSTEffect::resume() {
    if (aeffect) {
        try {
            dispatch(effMainsChanged, 0, 1);
        } catch (...) {
        }
    }
    running = true;
}

void VSTEffect::suspend() {
    if (aeffect) {
        try {
            dispatch(effMainsChanged, 0, 0);
        } catch (...) {
        }
    }
    running = false;
}

void VSTEffect::idleTick() {
    if (!aeffect)
        return;
    if (needIdle)
        needIdle = dispatch(effIdle) != 0;
    if (editorOpen)
        dispatch(effEditIdle);
    if (sizeCheckCount > 0) {
        --sizeCheckCount;
        int32_t width, height;
        currentEditorSize(width, height);
        if (width != editorWidth || height != editorHeight) {
            resizeEditor(width, height);
            sizeCheckCount = 0;
        }
    }
}

void VSTEffect::openEditor(void* window) {
    if (!aeffect || editorOpen || !(aeffect->flags & effFlagsHasEditor))
        return;
    editorOpen = true;
    dispatch(effEditOpen, 0, 0, window);
    // Only now: a size the plug-in asks for from inside effEditOpen is
    // replaced by its rectangle a moment later anyway.
    editorWindow = window;
    currentEditorSize(editorWidth, editorHeight);
    resizeEditor(editorWidth, editorHeight);
}

void VSTEffect::closeEditor() {
    if (!aeffect || !editorOpen)
        return;
    editorOpen = false;
    if (aeffect->flags & effFlagsHasEditor)
        dispatch(effEditClose);
    // The window goes next; a late audioMasterSizeWindow must not reach it.
    editorWindow = nullptr;
}

// 100 by 100 unless the plug-in's editor gives its rectangle.
void VSTEffect::currentEditorSize(int32_t& width, int32_t& height) {
    width = height = 100;
    if (aeffect->flags & effFlagsHasEditor) {
        ERect* rect = nullptr;
        dispatch(effEditGetRect, 0, 0, &rect);
        if (rect) {
            width = rect->right - rect->left;
            height = rect->bottom - rect->top;
        }
    }
}

void VSTEffect::updateDisplay() {
    if (!editorOpen)
        return;
    if (needIdle)
        needIdle = dispatch(effIdle) != 0;
    if (editorOpen)
        dispatch(effEditIdle);
    if ((aeffect->flags & effFlagsHasEditor) && editorWindow)
        InvalidateRect(static_cast<HWND>(editorWindow), NULL, FALSE);
}

void VSTEffect::resizeEditor(int32_t width, int32_t height) {
    if (!editorWindow)
        return;
    HWND window = static_cast<HWND>(editorWindow);
    RECT outer, client;
    if (!GetWindowRect(window, &outer) || !GetClientRect(window, &client))
        return;
    int frameWidth = (outer.right - outer.left) - (client.right - client.left);
    int frameHeight = (outer.bottom - outer.top) - (client.bottom - client.top);
    SetWindowPos(window, NULL, 0, 0, width + frameWidth, height + frameHeight, SWP_NOMOVE | SWP_NOZORDER);
}

// Only the leading run of pins with one arrangement makes up the group that
// the stream uses.
VSTEffect::PinGroup VSTEffect::pinGroup(VstInt32 pins, VstInt32 opcode) {
    PinGroup group = {pins, kSpeakerArrEmpty};
    for (VstInt32 pin = 0; pin < pins; ++pin) {
        VstPinProperties properties;
        std::memset(&properties, 0, sizeof properties);
        dispatch(opcode, pin, 0, &properties);
        if (pin == 0) {
            group.arrangement = properties.arrangementType;
        } else if (properties.arrangementType != group.arrangement) {
            group.count = pin;
            break;
        }
    }
    // Two mono pins are the usual way of saying stereo.
    if (group.arrangement == kSpeakerArrMono && group.count == 2)
        group.arrangement = kSpeakerArrStereo;
    return group;
}

bool VSTEffect::negotiateFormat(StreamFormat& format) {
    if (format.sampleRate != sampleRate) {
        dispatch(effSetSampleRate, 0, 0, nullptr, float(format.sampleRate));
        sampleRate = format.sampleRate;
    }
    if (format.inputMask != 0) {
        // One record serves as input and output arrangement alike.
        VstSpeakerArrangement arrangement;
        describeArrangement(arrangement, format.inputMask, format.inputChannels);
        dispatch(effSetSpeakerArrangement, 0, reinterpret_cast<VstIntPtr>(&arrangement), &arrangement);
    }
    VstInt32 ins = nonNegative(aeffect->numInputs), outs = nonNegative(aeffect->numOutputs);
    if (ins == 0 || outs == 0)
        return false;

    PinGroup in = pinGroup(ins, effGetInputProperties);
    PinGroup out = pinGroup(outs, effGetOutputProperties);

    format.inputChannels = std::min(format.inputChannels, uint32_t(in.count));
    format.outputChannels = std::min(format.outputChannels, uint32_t(out.count));
    usedInputs = format.inputChannels;
    usedOutputs = format.outputChannels;
    format.inputMask = maskForArrangement(in.arrangement);
    format.outputMask = maskForArrangement(out.arrangement);
    if (countBits(format.inputMask) != format.inputChannels)
        format.inputMask = 0;
    if (countBits(format.outputMask) != format.outputChannels)
        format.outputMask = 0;

    for (VstInt32 pin = 0; pin < ins; ++pin)
        dispatch(effConnectInput, pin, uint32_t(pin) < usedInputs ? 1 : 0);
    for (VstInt32 pin = 0; pin < outs; ++pin)
        dispatch(effConnectOutput, pin, uint32_t(pin) < usedOutputs ? 1 : 0);
    configured = true;
    return true;
}

void VSTEffect::setPrecision(bool doublePrecision) {
    if (!aeffect)
        return;
    useDouble = doublePrecision;
    dispatch(effSetProcessPrecision, 0, doublePrecision ? kVstProcessPrecision64 : kVstProcessPrecision32);
}

template <class T> T** VSTEffect::pinPlanes(T** inputs, T** outputs, uint32_t frames) {
    uint32_t ins = uint32_t(nonNegative(aeffect->numInputs)), outs = uint32_t(nonNegative(aeffect->numOutputs));
    uint32_t spare = ins + outs - usedInputs - usedOutputs;
    if (channelPointers.size() < ins + outs)
        channelPointers.resize(ins + outs);
    size_t scratchBytes = size_t(frames) * spare * sizeof(T);
    if (scratch.size() < scratchBytes)
        scratch.resize(scratchBytes);
    std::memset(scratch.data(), 0, scratchBytes);

    T* nextScratch = reinterpret_cast<T*>(scratch.data());
    for (uint32_t pin = 0; pin < ins; ++pin) {
        channelPointers[pin] = pin < usedInputs ? inputs[pin] : nextScratch;
        if (pin >= usedInputs)
            nextScratch += frames;
    }
    for (uint32_t pin = 0; pin < outs; ++pin) {
        channelPointers[ins + pin] = pin < usedOutputs ? outputs[pin] : nextScratch;
        if (pin >= usedOutputs)
            nextScratch += frames;
    }
    return reinterpret_cast<T**>(channelPointers.data());
}

bool VSTEffect::processFloat(float** inputs, float** outputs, uint32_t frames) {
    if (!running || !aeffect)
        return false;
    uint32_t ins = uint32_t(nonNegative(aeffect->numInputs)), outs = uint32_t(nonNegative(aeffect->numOutputs));
    if (ins + outs != usedInputs + usedOutputs) {
        float** pins = pinPlanes(inputs, outputs, frames);
        inputs = pins;
        outputs = pins + ins;
    }
    if (aeffect->flags & effFlagsCanReplacing) {
        if (!aeffect->processReplacing)
            return false;
        aeffect->processReplacing(aeffect, inputs, outputs, VstInt32(frames));
    } else {
        if (!aeffect->process)
            return false;
        // The old call adds to what is in the outputs.
        for (uint32_t c = 0; c < usedOutputs; ++c)
            std::memset(outputs[c], 0, frames * sizeof(float));
        aeffect->process(aeffect, inputs, outputs, VstInt32(frames));
    }
    return true;
}

bool VSTEffect::processDouble(double** inputs, double** outputs, uint32_t frames) {
    if (!running || !aeffect || !aeffect->processDoubleReplacing)
        return false;
    uint32_t ins = uint32_t(nonNegative(aeffect->numInputs)), outs = uint32_t(nonNegative(aeffect->numOutputs));
    if (ins + outs != usedInputs + usedOutputs) {
        double** pins = pinPlanes(inputs, outputs, frames);
        inputs = pins;
        outputs = pins + ins;
    }
    aeffect->processDoubleReplacing(aeffect, inputs, outputs, VstInt32(frames));
    return true;
}

void VSTEffect::flushParameters() {
    if (!aeffect)
        return;
    if (!configured) {
        StreamFormat format = {};
        format.sampleRate = 44100;
        format.inputChannels = 1;
        format.outputChannels = 1;
        negotiateFormat(format);
    }
    int32_t pins = std::max(nonNegative(aeffect->numInputs), nonNegative(aeffect->numOutputs));
    std::vector<void*> none(size_t(pins) + 1, nullptr);
    if (useDouble) {
        if (aeffect->processDoubleReplacing)
            aeffect->processDoubleReplacing(aeffect, reinterpret_cast<double**>(none.data()),
                                            reinterpret_cast<double**>(none.data()), 0);
    } else if (aeffect->flags & effFlagsCanReplacing) {
        if (aeffect->processReplacing)
            aeffect->processReplacing(aeffect, reinterpret_cast<float**>(none.data()),
                                      reinterpret_cast<float**>(none.data()), 0);
    } else if (aeffect->process) {
        aeffect->process(aeffect, reinterpret_cast<float**>(none.data()), reinterpret_cast<float**>(none.data()), 0);
    }
}

void VSTEffect::printInfo() {
    struct Direction {
        const char* count;
        const char* pin;
        VstInt32 pins;
        VstInt32 opcode;
    };
    const Direction directions[] = {
        {"Number of inputs: %i\n", "  Input %i:\n", aeffect->numInputs, effGetInputProperties},
        {"Number of outputs: %i\n", "  Output %i:\n", aeffect->numOutputs, effGetOutputProperties},
    };
    for (const Direction& direction : directions) {
        int32_t pins = nonNegative(direction.pins);
        std::fprintf(Qz::standardError(), direction.count, pins);
        for (int32_t i = 0; i < pins; ++i) {
            std::fprintf(Qz::standardError(), direction.pin, i);
            // Unanswered, the record stays zero: an empty label and zeros.
            VstPinProperties properties;
            std::memset(&properties, 0, sizeof properties);
            dispatch(direction.opcode, i, 0, &properties);
            // A label may fill its field without a terminator.
            std::fprintf(Qz::standardError(), "    .label = %.*s\n", int(sizeof properties.label), properties.label);
            std::fprintf(Qz::standardError(), "    .flags = %i\n", int(properties.flags));
            std::fprintf(Qz::standardError(), "    .arrangementType = %i\n", int(properties.arrangementType));
        }
    }
}

uint32_t VSTEffect::tailSize() {
    return aeffect ? uint32_t(dispatch(effGetTailSize)) : 0;
}

uint64_t VSTEffect::latency() const {
    return aeffect && aeffect->initialDelay > 0 ? uint64_t(aeffect->initialDelay) : 0;
}

float VSTEffect::getParameter(int32_t index) {
    if (!aeffect || !aeffect->getParameter)
        return 0.5f;
    try {
        return aeffect->getParameter(aeffect, index);
    } catch (...) {
        return 0.5f;
    }
}

void VSTEffect::setParameter(int32_t index, float value) {
    if (!aeffect || !aeffect->setParameter)
        return;
    try {
        aeffect->setParameter(aeffect, index, value);
        if (needIdle)
            dispatch(effIdle);
        if (editorOpen)
            dispatch(effEditIdle);
    } catch (...) {
    }
}

std::string VSTEffect::getText(int32_t index, int32_t opcode) {
    char text[1024];
    std::memset(text, 0, sizeof text);
    if (aeffect) {
        try {
            dispatch(opcode, index, 0, text);
        } catch (...) {
        }
    }
    text[sizeof text - 1] = 0;
    return std::string(text);
}

void VSTEffect::applySettings(const uint8_t* blob, uint64_t size) {
    if (!aeffect)
        return;
    if (editorOpen)
        currentEditorSize(editorWidth, editorHeight);
    if (adapter) {
        // Values set before, a probe's among them, must not reach the
        // plug-in after the state that replaces them.
        adapter->dropPendingChanges();
        applyPresetImage(blob, size, adapter->classId, adapter->component, adapter->controller);
    } else if (aeffect->flags & effFlagsProgramChunks) {
        dispatch(effSetChunk, 0, VstIntPtr(size), const_cast<uint8_t*>(blob));
    } else if (aeffect->setParameter) {
        uint64_t values = size / 4;
        for (int32_t i = 0; i < nonNegative(aeffect->numParams) && uint64_t(i) < values; ++i) {
            float value;
            std::memcpy(&value, blob + 4 * size_t(i), 4); // the blob is little-endian, as is the host
            aeffect->setParameter(aeffect, i, value);
        }
    }
    if (needIdle)
        dispatch(effIdle);
    if (editorOpen) {
        dispatch(effEditIdle);
        updateDisplay();
        sizeCheckCount = 100;
    }
}

std::vector<uint8_t> VSTEffect::currentSettings() {
    std::vector<uint8_t> blob;
    if (!aeffect)
        return blob;
    if (adapter) {
        // A value set a moment ago may still wait in the adapter's rings.
        flushParameters();
        return savePresetImage(adapter->classId, adapter->component, adapter->controller);
    }
    if (aeffect->flags & effFlagsProgramChunks) {
        // The plug-in keeps ownership of the chunk's memory.
        void* chunk = nullptr;
        VstIntPtr size = dispatch(effGetChunk, 0, 0, &chunk);
        if (size > 0 && chunk)
            blob.assign(static_cast<const uint8_t*>(chunk), static_cast<const uint8_t*>(chunk) + size);
        return blob;
    }
    int32_t count = nonNegative(aeffect->numParams);
    blob.resize(size_t(count) * 4);
    for (int32_t i = 0; i < count; ++i) {
        float value = aeffect->getParameter ? aeffect->getParameter(aeffect, i) : 0.0f;
        std::memcpy(&blob[size_t(i) * 4], &value, 4);
    }
    return blob;
}

VstTimeInfo* VSTEffect::fillTimeInfo(VstIntPtr mask) {
    VstInt32 flags = 0;
    // The host has no transport position: samplePos stays 0 and the rate is
    // the one the plug-in runs at.
    timeInfo.sampleRate = sampleRate > 0 ? double(sampleRate) : 44100.0;
    if (mask & kVstNanosValid) {
        timeInfo.nanoSeconds = monotonicNanoseconds();
        flags |= kVstNanosValid;
    }
    if (mask & kVstTempoValid) {
        timeInfo.tempo = double(tempo);
        flags |= kVstTempoValid;
    }
    if (mask & kVstTimeSigValid) {
        timeInfo.timeSigNumerator = VstInt32(timeSignature >> 16);
        timeInfo.timeSigDenominator = VstInt32(1u << (timeSignature & 0x1F));
        flags |= kVstTimeSigValid;
    }
    flags |= kVstTransportChanged;
    if (running)
        flags |= kVstTransportPlaying;
    timeInfo.flags = flags;
    return &timeInfo;
}

VstIntPtr VSTEffect::callback(VstInt32 opcode, VstInt32 index, VstIntPtr value) {
    switch (uint32_t(opcode)) {
    case audioMasterIdle: {
        bool noted = needIdle;
        needIdle = true;
        idleTick();
        idleTick();
        needIdle = noted;
        return 1;
    }
    case audioMasterGetTime:
        return reinterpret_cast<VstIntPtr>(fillTimeInfo(value));
    case audioMasterNeedIdle:
        needIdle = true;
        return 1;
    case audioMasterSizeWindow:
        resizeEditor(index, int32_t(value));
        return 1;
    case audioMasterGetSampleRate:
        return sampleRate > 0 ? VstIntPtr(sampleRate) : 44100;
    case audioMasterGetCurrentProcessLevel:
        return processLevel;
    case audioMasterUpdateDisplay:
        updateDisplay();
        return 0;
    default:
        if (changeCallback)
            changeCallback(index);
        return 0;
    }
}

VstIntPtr VSTCALLBACK VSTEffect::hostCallback(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value,
                                              void* ptr, float) {
    // Questions whose answer does not depend on an instance come first, so
    // that a plug-in gets them from inside its main entry too.
    switch (uint32_t(opcode)) {
    case audioMasterVersion:
        return hostVersion;
    case audioMasterProcessEvents:
    case audioMasterIOChanged:
        return 1;
    case audioMasterGetBlockSize:
        return blockSize;
    case audioMasterGetVendorString:
        copyAnswer(ptr, vendorString);
        return 1;
    case audioMasterGetProductString:
        copyAnswer(ptr, productString);
        return 1;
    case audioMasterGetVendorVersion:
        return 1;
    case audioMasterCanDo:
        return isHostCapability(ptr) ? 1 : 0;
    case audioMasterGetLanguage:
        return kVstLangEnglish;
    case audioMasterGetDirectory:
        return 0;
    default:
        break;
    }

    VSTEffect* self = effect ? static_cast<VSTEffect*>(effect->user) : nullptr;
    if (self)
        return self->callback(opcode, index, value);

    switch (uint32_t(opcode)) {
    case audioMasterNeedIdle:
    case audioMasterSizeWindow:
        return 1;
    case audioMasterGetSampleRate:
        return 44100;
    case audioMasterGetCurrentProcessLevel:
        return kVstProcessLevelOffline;
    default:
        return 0;
    }
}
