#include "vst3/process_data.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace Steinberg {
namespace Vst {

namespace {

int32 audioBusCount(IComponent& component, BusDirection direction) {
    int32 count = component.getBusCount(kAudio, direction);
    return count > 0 ? count : 0;
}

int32 audioChannelCount(IComponent& component, BusDirection direction, int32 index) {
    BusInfo info = {};
    if (component.getBusInfo(kAudio, direction, index, info) != kResultOk)
        return 0;
    return info.channelCount > 0 ? info.channelCount : 0;
}

bool knownSampleSize(int32 sampleSize) {
    return sampleSize == kSample32 || sampleSize == kSample64;
}

} // namespace

HostProcessData::HostProcessData() = default;

HostProcessData::~HostProcessData() {
    unprepare();
}

bool HostProcessData::layoutUnchanged(IComponent& component, int32 bufferSamples, int32 sampleSize) const {
    if (!prepared || sampleSize != symbolicSampleSize || bufferSamples != preparedBufferSamples)
        return false;
    const std::pair<BusDirection, const Buses*> sides[] = {{kInput, &inputBuses}, {kOutput, &outputBuses}};
    for (const auto& side : sides) {
        const std::vector<BusStorage>& storage = side.second->storage;
        if (audioBusCount(component, side.first) != static_cast<int32>(storage.size()))
            return false;
        for (size_t bus = 0; bus < storage.size(); ++bus) {
            if (audioChannelCount(component, side.first, static_cast<int32>(bus)) != storage[bus].channels)
                return false;
        }
    }
    return true;
}

HostProcessData::Buses HostProcessData::makeBuses(IComponent& component, BusDirection direction, int32 bufferSamples,
                                                  int32 sampleSize) {
    Buses buses;
    const int32 count = audioBusCount(component, direction);
    buses.buffers.resize(static_cast<size_t>(count));
    buses.storage.resize(static_cast<size_t>(count));
    for (int32 bus = 0; bus < count; ++bus) {
        BusStorage& storage = buses.storage[static_cast<size_t>(bus)];
        AudioBusBuffers& buffers = buses.buffers[static_cast<size_t>(bus)];
        storage.channels = audioChannelCount(component, direction, bus);
        const size_t channels = static_cast<size_t>(storage.channels);
        const size_t samples = static_cast<size_t>(bufferSamples);
        buffers.numChannels = storage.channels;
        buffers.silenceFlags = 0;
        if (sampleSize == kSample32) {
            storage.table32.assign(channels, nullptr);
            storage.samples32.assign(channels * samples, 0.0f);
            if (samples != 0) {
                for (size_t channel = 0; channel < channels; ++channel)
                    storage.table32[channel] = storage.samples32.data() + channel * samples;
            }
            buffers.channelBuffers32 = storage.table32.data();
        } else {
            storage.table64.assign(channels, nullptr);
            storage.samples64.assign(channels * samples, 0.0);
            if (samples != 0) {
                for (size_t channel = 0; channel < channels; ++channel)
                    storage.table64[channel] = storage.samples64.data() + channel * samples;
            }
            buffers.channelBuffers64 = storage.table64.data();
        }
    }
    return buses;
}

// Moving a vector keeps its elements where they are, so the tables built in
// makeBuses are still the ones the AudioBusBuffers point at.
void HostProcessData::publish() {
    numInputs = static_cast<int32>(inputBuses.buffers.size());
    numOutputs = static_cast<int32>(outputBuses.buffers.size());
    inputs = numInputs ? inputBuses.buffers.data() : nullptr;
    outputs = numOutputs ? outputBuses.buffers.data() : nullptr;
}

bool HostProcessData::prepare(IComponent& component, int32 bufferSamples, int32 sampleSize) {
    if (!knownSampleSize(sampleSize) || bufferSamples < 0) {
        unprepare();
        return false;
    }
    if (layoutUnchanged(component, bufferSamples, sampleSize)) {
        for (AudioBusBuffers& buffers : inputBuses.buffers)
            buffers.silenceFlags = 0;
        for (AudioBusBuffers& buffers : outputBuses.buffers)
            buffers.silenceFlags = 0;
        return true;
    }
    // Both sides are built before anything is replaced: a component that
    // throws halfway leaves the old preparation intact.
    Buses newInputs, newOutputs;
    try {
        newInputs = makeBuses(component, kInput, bufferSamples, sampleSize);
        newOutputs = makeBuses(component, kOutput, bufferSamples, sampleSize);
    } catch (const std::bad_alloc&) {
        unprepare();
        return false;
    } catch (const std::length_error&) { // more samples than a vector can hold
        unprepare();
        return false;
    }
    inputBuses = std::move(newInputs);
    outputBuses = std::move(newOutputs);
    publish();
    symbolicSampleSize = sampleSize;
    preparedBufferSamples = bufferSamples;
    prepared = true;
    return true;
}

void HostProcessData::unprepare() {
    inputBuses = Buses();
    outputBuses = Buses();
    publish();
    preparedBufferSamples = 0;
    prepared = false;
}

} // namespace Vst
} // namespace Steinberg
