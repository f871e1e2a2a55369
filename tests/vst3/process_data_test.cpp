// HostProcessData against a stub component: one buffer per audio bus, owned
// and borrowed planes, keeping the tables while the layout stays, and the
// cases that must leave nothing (or the old preparation) behind.

#include "vst3/process_data.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <vector>

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

// Answers bus questions through hooks a test sets; everything else is
// refused. Lives on the stack: counting does nothing.
class StubComponent : public IComponent {
public:
    std::function<int32(MediaType, BusDirection)> getBusCountFunc;
    std::function<tresult(MediaType, BusDirection, int32, BusInfo&)> getBusInfoFunc;

    tresult PLUGIN_API queryInterface(const TUID, void** obj) override {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
    tresult PLUGIN_API initialize(FUnknown*) override { return kNotImplemented; }
    tresult PLUGIN_API terminate() override { return kNotImplemented; }
    tresult PLUGIN_API getControllerClassId(TUID) override { return kNotImplemented; }
    tresult PLUGIN_API setIoMode(IoMode) override { return kNotImplemented; }
    int32 PLUGIN_API getBusCount(MediaType type, BusDirection dir) override {
        return getBusCountFunc ? getBusCountFunc(type, dir) : 0;
    }
    tresult PLUGIN_API getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& bus) override {
        return getBusInfoFunc ? getBusInfoFunc(type, dir, index, bus) : kResultFalse;
    }
    tresult PLUGIN_API getRoutingInfo(RoutingInfo&, RoutingInfo&) override { return kNotImplemented; }
    tresult PLUGIN_API activateBus(MediaType, BusDirection, int32, TBool) override { return kNotImplemented; }
    tresult PLUGIN_API setActive(TBool) override { return kNotImplemented; }
    tresult PLUGIN_API setState(IBStream*) override { return kNotImplemented; }
    tresult PLUGIN_API getState(IBStream*) override { return kNotImplemented; }
};

// A component with these audio buses; a channel count below 0 stands for a
// bus whose getBusInfo fails. Event buses are there too, and must not count.
struct Layout {
    std::vector<int32> inputs;
    std::vector<int32> outputs;
};

void describe(StubComponent& component, const Layout& layout) {
    component.getBusCountFunc = [&layout](MediaType type, BusDirection dir) -> int32 {
        if (type != kAudio)
            return 3;
        return static_cast<int32>(dir == kInput ? layout.inputs.size() : layout.outputs.size());
    };
    component.getBusInfoFunc = [&layout](MediaType type, BusDirection dir, int32 index, BusInfo& info) -> tresult {
        const std::vector<int32>& buses = dir == kInput ? layout.inputs : layout.outputs;
        if (type != kAudio || index < 0 || index >= static_cast<int32>(buses.size()))
            return kInvalidArgument;
        int32 channels = buses[static_cast<size_t>(index)];
        if (channels < 0)
            return kResultFalse;
        info = BusInfo();
        info.mediaType = type;
        info.direction = dir;
        info.channelCount = channels;
        return kResultOk;
    };
}

std::vector<int32> channelCounts(const AudioBusBuffers* buses, int32 count) {
    std::vector<int32> counts;
    for (int32 i = 0; i < count; ++i)
        counts.push_back(buses[i].numChannels);
    return counts;
}

// Every owned channel holds `samples` zeros, and no two channels overlap:
// after each channel is filled with its own number, each still reads it.
template <typename Sample> void expectOwnedPlanes(Sample** table, int32 channels, int32 samples) {
    ASSERT_NE(table, nullptr);
    for (int32 c = 0; c < channels; ++c) {
        ASSERT_NE(table[c], nullptr) << "channel " << c;
        for (int32 s = 0; s < samples; ++s)
            ASSERT_EQ(table[c][s], Sample(0)) << "channel " << c << " sample " << s;
    }
    for (int32 c = 0; c < channels; ++c) {
        for (int32 s = 0; s < samples; ++s)
            table[c][s] = Sample(c + 1);
    }
    for (int32 c = 0; c < channels; ++c) {
        for (int32 s = 0; s < samples; ++s)
            ASSERT_EQ(table[c][s], Sample(c + 1)) << "channel " << c << " sample " << s;
    }
}

// Points every table entry of the prepared sample size at a marker, so that
// a test can tell a kept table from a new one.
struct Markers {
    Sample32 plane32[4] = {};
    Sample64 plane64[4] = {};

    void markAll(HostProcessData& data) {
        for (AudioBusBuffers* buses : {data.inputs, data.outputs}) {
            int32 count = buses == data.inputs ? data.numInputs : data.numOutputs;
            for (int32 i = 0; i < count; ++i) {
                for (int32 c = 0; c < buses[i].numChannels; ++c) {
                    if (data.symbolicSampleSize == kSample32)
                        buses[i].channelBuffers32[c] = plane32;
                    else
                        buses[i].channelBuffers64[c] = plane64;
                }
            }
        }
    }

    int32 countMarked(const HostProcessData& data) const {
        int32 marked = 0;
        for (const AudioBusBuffers* buses : {data.inputs, data.outputs}) {
            int32 count = buses == data.inputs ? data.numInputs : data.numOutputs;
            for (int32 i = 0; i < count; ++i) {
                for (int32 c = 0; c < buses[i].numChannels; ++c) {
                    if (data.symbolicSampleSize == kSample32 ? buses[i].channelBuffers32[c] == plane32
                                                             : buses[i].channelBuffers64[c] == plane64)
                        ++marked;
                }
            }
        }
        return marked;
    }
};

} // namespace

TEST(HostProcessData, OneBufferPerAudioBus) {
    Layout layout{{2, -1, 1}, {6}};
    StubComponent component;
    describe(component, layout);

    HostProcessData data;
    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    EXPECT_EQ(data.symbolicSampleSize, kSample32);
    ASSERT_EQ(data.numInputs, 3);
    ASSERT_EQ(data.numOutputs, 1);
    EXPECT_EQ(channelCounts(data.inputs, 3), (std::vector<int32>{2, 0, 1})) << "a failing bus has 0 channels";
    EXPECT_EQ(channelCounts(data.outputs, 1), (std::vector<int32>{6}));
    // Borrowed planes: a table of null pointers for the caller to fill.
    for (const AudioBusBuffers* bus : {&data.inputs[0], &data.inputs[2], &data.outputs[0]}) {
        ASSERT_NE(bus->channelBuffers32, nullptr);
        for (int32 c = 0; c < bus->numChannels; ++c)
            EXPECT_EQ(bus->channelBuffers32[c], nullptr);
        EXPECT_EQ(bus->silenceFlags, 0u);
    }

    // Owned planes, in both sample sizes.
    ASSERT_TRUE(data.prepare(component, 33, kSample64));
    EXPECT_EQ(data.symbolicSampleSize, kSample64);
    expectOwnedPlanes(data.inputs[0].channelBuffers64, 2, 33);
    expectOwnedPlanes(data.outputs[0].channelBuffers64, 6, 33);
    ASSERT_TRUE(data.prepare(component, 17, kSample32));
    expectOwnedPlanes(data.inputs[2].channelBuffers32, 1, 17);
    expectOwnedPlanes(data.outputs[0].channelBuffers32, 6, 17);

    // A negative bus count is no buses; no audio buses at all is still a
    // preparation.
    layout = Layout{{}, {}};
    component.getBusCountFunc = [](MediaType type, BusDirection) -> int32 { return type == kAudio ? -2 : 1; };
    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    EXPECT_EQ(data.numInputs, 0);
    EXPECT_EQ(data.numOutputs, 0);
    EXPECT_EQ(data.inputs, nullptr);
    EXPECT_EQ(data.outputs, nullptr);
}

// The adapter prepares before every start of processing and fills the
// tables with its own planes; an unchanged layout must not throw them away.
TEST(HostProcessData, KeepsTablesUntilTheLayoutChanges) {
    Layout layout{{2}, {2, 1}};
    StubComponent component;
    describe(component, layout);
    Markers markers;

    HostProcessData data;
    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    AudioBusBuffers* inputs = data.inputs;
    Sample32** inputTable = data.inputs[0].channelBuffers32;
    Sample32** outputTable = data.outputs[1].channelBuffers32;
    markers.markAll(data);
    data.inputs[0].silenceFlags = 3;
    data.outputs[1].silenceFlags = 1;

    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    EXPECT_EQ(data.inputs, inputs);
    EXPECT_EQ(data.inputs[0].channelBuffers32, inputTable);
    EXPECT_EQ(data.outputs[1].channelBuffers32, outputTable);
    EXPECT_EQ(markers.countMarked(data), 5) << "entries stay";
    EXPECT_EQ(data.inputs[0].silenceFlags, 0u);
    EXPECT_EQ(data.outputs[1].silenceFlags, 0u);

    // Each of these changes builds everything anew: no entry stays marked.
    struct Change {
        const char* what;
        std::function<void()> apply;
        int32 bufferSamples;
        int32 sampleSize;
    } changes[] = {
        {"an output's channel count", [&] { layout.outputs[1] = 2; }, 0, kSample32},
        {"an input's channel count", [&] { layout.inputs[0] = 1; }, 0, kSample32},
        {"the sample size", [] {}, 0, kSample64},
        {"the number of inputs", [&] { layout.inputs.push_back(2); }, 0, kSample64},
        {"the number of outputs", [&] { layout.outputs.pop_back(); }, 0, kSample64},
        {"a bus whose info now fails", [&] { layout.outputs[0] = -1; }, 0, kSample64},
        {"the owned samples", [] {}, 8, kSample64},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.what);
        markers.markAll(data);
        change.apply();
        ASSERT_TRUE(data.prepare(component, change.bufferSamples, change.sampleSize));
        EXPECT_EQ(data.symbolicSampleSize, change.sampleSize);
        EXPECT_EQ(markers.countMarked(data), 0);
        EXPECT_EQ(channelCounts(data.inputs, data.numInputs), layout.inputs);
        ASSERT_EQ(data.numOutputs, static_cast<int32>(layout.outputs.size()));
        for (int32 i = 0; i < data.numOutputs; ++i) {
            int32 expected = layout.outputs[static_cast<size_t>(i)];
            EXPECT_EQ(data.outputs[i].numChannels, expected < 0 ? 0 : expected) << "output " << i;
        }
    }
}

TEST(HostProcessData, FailuresLeaveNothingOrTheOldPreparation) {
    Layout layout{{2}, {2}};
    StubComponent component;
    describe(component, layout);
    HostProcessData data;

    // An unknown sample size or a negative length prepares nothing.
    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    EXPECT_FALSE(data.prepare(component, 0, 7));
    EXPECT_EQ(data.numInputs, 0);
    EXPECT_EQ(data.inputs, nullptr);
    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    EXPECT_FALSE(data.prepare(component, -1, kSample32));
    EXPECT_EQ(data.numOutputs, 0);
    EXPECT_EQ(data.outputs, nullptr);

    // A component that throws while the new layout is read (the inputs are
    // built, the outputs fail): the exception comes through and the old
    // tables are still in place.
    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    Sample32** inputTable = data.inputs[0].channelBuffers32;
    Sample32 plane[4] = {};
    inputTable[0] = plane;
    layout.inputs[0] = 1;
    auto describeBus = component.getBusInfoFunc;
    component.getBusInfoFunc = [&](MediaType type, BusDirection dir, int32 index, BusInfo& info) -> tresult {
        if (dir == kOutput)
            throw std::runtime_error("plug-in failure");
        return describeBus(type, dir, index, info);
    };
    EXPECT_THROW(data.prepare(component, 0, kSample32), std::runtime_error);
    ASSERT_EQ(data.numInputs, 1);
    EXPECT_EQ(data.inputs[0].numChannels, 2);
    EXPECT_EQ(data.inputs[0].channelBuffers32, inputTable);
    EXPECT_EQ(inputTable[0], plane);
    ASSERT_EQ(data.numOutputs, 1);
    EXPECT_EQ(data.outputs[0].numChannels, 2);

    // unprepare, and a later prepare of the same layout builds anew.
    data.unprepare();
    EXPECT_EQ(data.numInputs, 0);
    EXPECT_EQ(data.numOutputs, 0);
    EXPECT_EQ(data.inputs, nullptr);
    EXPECT_EQ(data.outputs, nullptr);
    component.getBusInfoFunc = describeBus;
    ASSERT_TRUE(data.prepare(component, 0, kSample32));
    ASSERT_EQ(data.numInputs, 1);
    EXPECT_EQ(data.inputs[0].channelBuffers32[0], nullptr);
}
