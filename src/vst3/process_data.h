// HostProcessData under the SDK's name: a ProcessData whose audio bus
// buffers follow a component's audio buses. The SDK copy we build from lacks
// it.
//
// Threads: prepare and unprepare run while the processor is not processing
// (they reallocate what process reads); between them, the audio thread may
// fill the tables and pass the object to IAudioProcessor::process.
#pragma once

#include <vector>

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"

namespace Steinberg {
namespace Vst {

class HostProcessData : public ProcessData {
public:
    // Nothing prepared: no buses, every field zero or null, 32-bit samples.
    HostProcessData();
    // Frees the tables (unprepare); whoever filled them keeps their samples.
    ~HostProcessData();
    HostProcessData(const HostProcessData&) = delete;
    HostProcessData& operator=(const HostProcessData&) = delete;

    // Makes one AudioBusBuffers per audio bus of `component`, inputs and
    // outputs, in bus index order, each with a table of numChannels channel
    // pointers (channelBuffers32 or channelBuffers64, as the sample size
    // says). A bus whose getBusInfo does not succeed gets 0 channels; a
    // negative bus count reads as no buses.
    //
    // bufferSamples 0: the tables start out null and nothing owns sample
    // memory; the caller points them at its own planes. bufferSamples > 0:
    // every channel also gets that many zeroed samples of its own, and the
    // table points at them.
    //
    // When the sample size, bufferSamples, both bus counts and every bus's
    // channel count are what the last successful prepare saw, the tables
    // stay as they are (same table pointers, same entries) and only the
    // silence flags go back to 0: a host may prepare before every start of
    // processing without losing its planes. Otherwise everything is built
    // anew, with fresh null (or fresh owned) entries.
    //
    // Sets symbolicSampleSize. Returns false, and leaves nothing prepared,
    // for a sample size other than kSample32 or kSample64, a negative
    // bufferSamples, or memory that cannot be had. A component without audio
    // buses prepares fine (no buses, null inputs and outputs). Exceptions
    // from the component's own calls go to the caller, with the previous
    // preparation left as it was.
    bool prepare(IComponent& component, int32 bufferSamples, int32 symbolicSampleSize);

    // Frees every table and owned sample; numInputs and numOutputs 0, inputs
    // and outputs null. The next prepare builds anew.
    void unprepare();

private:
    // What one bus owns behind its AudioBusBuffers; only the vectors of the
    // prepared sample size are used.
    struct BusStorage {
        int32 channels = 0;
        std::vector<Sample32*> table32;
        std::vector<Sample64*> table64;
        std::vector<Sample32> samples32;
        std::vector<Sample64> samples64;
    };
    // All buses of one direction; `buffers` is what inputs or outputs point at.
    struct Buses {
        std::vector<AudioBusBuffers> buffers;
        std::vector<BusStorage> storage;
    };

    bool layoutUnchanged(IComponent& component, int32 bufferSamples, int32 sampleSize) const;
    static Buses makeBuses(IComponent& component, BusDirection direction, int32 bufferSamples, int32 sampleSize);
    void publish();

    Buses inputBuses;
    Buses outputBuses;
    bool prepared = false;
    int32 preparedBufferSamples = 0;
};

} // namespace Vst
} // namespace Steinberg
