// The VST 3 side of audio: process set-up, buses, and one block with its
// parameter changes and events.
#include "vst3/vst3_adapter_core.h"

#include <vector>

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

const int32 eventListCapacity = 2048;

template <typename Sample> Sample**& channelsOf(AudioBusBuffers& bus);
template <> float**& channelsOf<float>(AudioBusBuffers& bus) { return bus.channelBuffers32; }
template <> double**& channelsOf<double>(AudioBusBuffers& bus) { return bus.channelBuffers64; }

} // namespace

bool Vst3AdapterCore::setupProcessing(int32 processModeOverride) {
    if (!processor)
        return false;
    ProcessSetup setup = {};
    setup.processMode = processModeOverride >= 0 ? processModeOverride : processMode;
    setup.symbolicSampleSize = sampleSize;
    setup.maxSamplesPerBlock = blockSize;
    setup.sampleRate = double(sampleRate);
    return processor->setupProcessing(setup) == kResultOk;
}

void Vst3AdapterCore::addParameterChange(ParamID id, double value, int32 sampleOffset) {
    std::lock_guard<std::mutex> writers(transferWriters);
    uiTransfer.addChange(id, value, sampleOffset);
    inputTransfer.addChange(id, value, sampleOffset);
}

void Vst3AdapterCore::setSampleRate(float rate) {
    // Dropped, not postponed, while processing: the plug-in keeps its rate.
    if (!processing && rate != sampleRate) {
        sampleRate = rate;
        setupProcessing();
    }
}

void Vst3AdapterCore::setBlockSize(int32 size) {
    if (processing || size == blockSize)
        return;
    blockSize = size;
    setupProcessing();
}

void Vst3AdapterCore::resume() {
    chunk.setSize(0);
    if (component)
        component->setActive(true);
    active = true;
}

void Vst3AdapterCore::suspend() {
    if (processing) {
        if (processor)
            processor->setProcessing(false);
        processing = false;
    }
    if (component)
        component->setActive(false);
    active = false;
}

bool Vst3AdapterCore::setBypass(bool on) {
    if (bypassParamId == kNoParamId)
        return false;
    addParameterChange(bypassParamId, on ? 1.0 : 0.0, 0);
    return true;
}

bool Vst3AdapterCore::setProcessPrecision(int32 precision) {
    int32 size = precision == 0 ? int32(kSample32) : precision == 1 ? int32(kSample64) : -1;
    if (size == sampleSize)
        return true;
    if (!processor || processor->canProcessSampleSize(size) != kResultOk)
        return false;
    sampleSize = size;
    setupProcessing();
    setupBuses();
    return true;
}

void Vst3AdapterCore::setupBuses() {
    if (!component)
        return;
    processData.prepare(*component, 0, sampleSize);

    // Every main bus on, every auxiliary bus off: VST 2 sees the main
    // buses' channels one after the other.
    auto countMain = [this](BusDirection direction, uint64& mask) {
        mask = 0;
        int32 channels = 0;
        int32 count = component->getBusCount(kAudio, direction);
        for (int32 i = 0; i < count; ++i) {
            BusInfo info = {};
            if (component->getBusInfo(kAudio, direction, i, info) != kResultOk)
                continue;
            if (info.busType == kMain) {
                channels += info.channelCount;
                if (i < 64)
                    mask |= uint64(1) << i;
                component->activateBus(kAudio, direction, i, true);
            } else if (info.flags & BusInfo::kDefaultActive) {
                component->activateBus(kAudio, direction, i, false);
            }
        }
        return channels;
    };
    setNumInputs(countMain(kInput, mainInputBuses));
    setNumOutputs(countMain(kOutput, mainOutputBuses));

    hasEventInputBuses = component->getBusCount(kEvent, kInput) > 0;
    hasEventOutputBuses = component->getBusCount(kEvent, kOutput) > 0;
    if (hasEventInputBuses && !inputEvents)
        inputEvents = owned(new EventList(eventListCapacity));
    else if (!hasEventInputBuses)
        inputEvents = nullptr;
    if (hasEventOutputBuses && !outputEvents)
        outputEvents = owned(new EventList(eventListCapacity));
    else if (!hasEventOutputBuses)
        outputEvents = nullptr;
}

template <typename Sample> void Vst3AdapterCore::assignChannels(Sample** inputs, Sample** outputs) {
    int32 next = 0;
    for (int32 bus = 0; bus < processData.numInputs; ++bus) {
        AudioBusBuffers& buffers = processData.inputs[bus];
        bool main = bus < 64 && ((mainInputBuses >> bus) & 1) != 0;
        if (!main) {
            buffers.silenceFlags = ~uint64(0);
            continue;
        }
        Sample** channels = channelsOf<Sample>(buffers);
        for (int32 c = 0; c < buffers.numChannels; ++c, ++next)
            if (channels)
                channels[c] = inputs ? inputs[next] : nullptr;
    }
    next = 0;
    for (int32 bus = 0; bus < processData.numOutputs; ++bus) {
        AudioBusBuffers& buffers = processData.outputs[bus];
        buffers.silenceFlags = 0;
        bool main = bus < 64 && ((mainOutputBuses >> bus) & 1) != 0;
        if (!main)
            continue;
        Sample** channels = channelsOf<Sample>(buffers);
        for (int32 c = 0; c < buffers.numChannels; ++c, ++next)
            if (channels)
                channels[c] = outputs ? outputs[next] : nullptr;
    }
}

template void Vst3AdapterCore::assignChannels<float>(float**, float**);
template void Vst3AdapterCore::assignChannels<double>(double**, double**);

bool Vst3AdapterCore::processBlock(int32 frames) {
    if (!processor)
        return false;
    processData.numSamples = frames;
    if (!processing) {
        processing = true;
        processor->setProcessing(true);
    }
    processData.inputEvents = inputEvents.get();
    processData.outputEvents = outputEvents.get();
    setupProcessTimeInfo();

    const ProcessContext* context = processData.processContext;
    if (inputEvents && inputEvents->getEventCount() > 0 && context &&
        (context->state & ProcessContext::kProjectTimeMusicValid) && (context->state & ProcessContext::kTempoValid)) {
        double perSample = context->tempo / 60.0 / double(sampleRate);
        for (int32 i = 0; i < inputEvents->getEventCount(); ++i) {
            Event* event = inputEvents->getEventByIndex(i);
            if (event)
                event->ppqPosition = event->sampleOffset * perSample + context->projectTimeMusic;
        }
    }

    inputTransfer.transferChangesTo(inputChanges);
    processData.inputParameterChanges = &inputChanges;
    processData.outputParameterChanges = &outputChanges;
    outputChanges.clearQueue();
    const bool changesToRead = inputChanges.getParameterCount() > 0;
    inputChanges.forgetReading();

    // A failed block is not the host's to mend: the stream goes on.
    processor->process(processData);
    const bool leftUnread = frames == 0 && changesToRead && !inputChanges.wasRead();

    processOutputParametersChanges();
    outputTransfer.transferChangesFrom(outputChanges);
    processOutputEvents();

    // Some plug-ins (those made with DPF among them) return from a block of
    // no frames before they read its parameter changes. The changes of such
    // a flush therefore ride along with the next real block too: a later
    // change of the same parameter replaces its point, and a plug-in that
    // took them already gets the same values once more.
    if (frames > 0)
        inputChanges.clearQueue();
    if (inputEvents)
        inputEvents->clear();
    return leftUnread;
}

template <typename Sample> void Vst3AdapterCore::processFrameOfSilence() {
    // One frame per channel of every bus, inputs silent; what the plug-in
    // writes is thrown away. Only a flush comes here, never the block loop,
    // so the allocation costs the stream nothing.
    int32 channels = 0;
    for (int32 bus = 0; bus < processData.numInputs; ++bus)
        channels += processData.inputs[bus].numChannels;
    int32 inputChannels = channels;
    for (int32 bus = 0; bus < processData.numOutputs; ++bus)
        channels += processData.outputs[bus].numChannels;
    std::vector<Sample> frames(size_t(channels) + 1, Sample(0));
    std::vector<Sample*> planes(size_t(channels) + 1);
    for (size_t c = 0; c < planes.size(); ++c)
        planes[c] = &frames[c];
    assignChannels(planes.data(), planes.data() + inputChannels);
    processBlock(1);
}

template void Vst3AdapterCore::processFrameOfSilence<float>();
template void Vst3AdapterCore::processFrameOfSilence<double>();
