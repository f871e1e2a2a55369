// Parameter queues and the single-reader rings that carry changes between
// threads: point order and replacement at one offset, reuse without
// allocating on the audio thread, and rings that lose nothing when full. The moves between
// rings and a block's queues are the adapter's tests'.

#include "vst3/parameter_changes.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "../stream/counting_allocator.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

// Counts this program's allocations while it lives.
struct Counting {
    Counting() {
        allocationCount = 0;
        countAllocations = true;
    }
    ~Counting() { countAllocations = false; }
};

// "offset=value" for each point.
std::vector<std::string> pointsOf(IParamValueQueue& queue) {
    std::vector<std::string> points;
    for (int32 i = 0; i < queue.getPointCount(); ++i) {
        int32 offset = 0;
        ParamValue value = 0;
        queue.getPoint(i, offset, value);
        points.push_back(std::to_string(offset) + "=" + std::to_string(value).substr(0, 3));
    }
    return points;
}

// Change `id` carries id / 10 at offset id.
void add(ParameterChangeTransfer& transfer, ParamID id) {
    transfer.addChange(id, id / 10.0, int32(id));
}

// The ids read, each checked whole.
std::vector<ParamID> drain(ParameterChangeTransfer& transfer) {
    std::vector<ParamID> ids;
    ParamID id;
    ParamValue value;
    int32 offset;
    while (transfer.getNextChange(id, value, offset)) {
        EXPECT_EQ(value, id / 10.0);
        EXPECT_EQ(offset, int32(id));
        ids.push_back(id);
    }
    return ids;
}

} // namespace

TEST(ParameterValueQueue, KeepsPointsInOrderAndReplacesOneAtTheSameOffset) {
    ParameterValueQueue queue(7);
    struct Step {
        int32 offset;
        ParamValue value;
        int32 index; // where the point lands
    } steps[] = {{10, 0.1, 0}, {0, 0.2, 0}, {5, 0.3, 1}, {10, 0.4, 2}, {0, 0.5, 0}, {11, 0.6, 3}};
    for (const Step& step : steps) {
        int32 index = -1;
        EXPECT_EQ(queue.addPoint(step.offset, step.value, index), kResultTrue);
        EXPECT_EQ(index, step.index) << "offset " << step.offset << " value " << step.value;
    }
    EXPECT_EQ(pointsOf(queue), std::vector<std::string>({"0=0.5", "5=0.3", "10=0.4", "11=0.6"}));

    // A cleared queue keeps its room.
    int32 index;
    for (int32 i = 0; i < 100; ++i)
        queue.addPoint(i, 0.0, index);
    queue.clear();
    Counting counting;
    for (int32 i = 99; i >= 0; --i)
        queue.addPoint(i, 1.0, index);
    EXPECT_EQ(allocationCount.load(), 0);
    EXPECT_EQ(queue.getPointCount(), 100);
}

TEST(ParameterChanges, FindsQueuesByIdAndReusesThemWithoutAllocating) {
    ParameterChanges changes(2);
    int32 index = -1;
    IParamValueQueue* seven = changes.addParameterData(7, index);
    IParamValueQueue* nine = changes.addParameterData(9, index);
    EXPECT_EQ(changes.addParameterData(7, index), seven);
    EXPECT_EQ(index, 0) << "an id in use finds its queue";
    seven->addPoint(3, 0.5, index);
    changes.addParameterData(4, index); // one more than it was made for
    EXPECT_EQ(changes.getParameterCount(), 3);

    // The next block: the same objects, emptied, under new ids.
    changes.clearQueue();
    EXPECT_EQ(changes.getParameterCount(), 0);
    Counting counting;
    EXPECT_EQ(changes.addParameterData(9, index), seven);
    EXPECT_EQ(changes.addParameterData(3, index), nine);
    changes.addParameterData(5, index);
    EXPECT_EQ(allocationCount.load(), 0);
    EXPECT_EQ(seven->getParameterId(), 9u);
    EXPECT_EQ(seven->getPointCount(), 0);
}

TEST(ParameterChangeTransfer, NothingIsLostWhateverTheSize) {
    // Changes written (+n: ids from the next one on) and read (-n: that many,
    // 0: all) in turn; every id must come out once, in order.
    struct Row {
        const char* name;
        int32 size;
        std::vector<int> steps;
    };
    const std::vector<Row> rows = {
        {"a ring of no size", 0, {+5, -2, +3, 0}},
        {"one slot holds nothing", 1, {+3, 0}},
        {"more than fit", 4, {+9, 0}},
        {"read in part, then more than fit", 4, {+6, -2, +5, -1, +4, 0}},
        {"round and round", 4, {+2, 0, +2, 0, +2, 0, +2, 0, +2, 0, +9, -8, +1, 0}},
        {"a hundred times the ring", 8, {+800, -3, +100, 0}},
    };
    for (const Row& row : rows) {
        ParameterChangeTransfer transfer(row.size);
        ParamID next = 1, expected = 1;
        for (int step : row.steps) {
            for (int i = 0; i < step; ++i)
                add(transfer, next++);
            ParamID id;
            ParamValue value;
            int32 offset;
            for (int i = 0; step <= 0 && (step == 0 || i < -step) && transfer.getNextChange(id, value, offset); ++i) {
                EXPECT_EQ(id, expected) << row.name;
                EXPECT_EQ(value, id / 10.0) << row.name;
                expected = id + 1;
            }
        }
        EXPECT_EQ(expected, next) << row.name << ": every change read";
        add(transfer, 1);
        transfer.removeChanges();
        EXPECT_EQ(drain(transfer), std::vector<ParamID>()) << row.name << ": removed";
    }
}

TEST(ParameterChangeTransfer, OrderHoldsBetweenTwoThreads) {
    // A writer far faster than its reader, through a small ring.
    const ParamID count = 200000;
    ParameterChangeTransfer transfer(4);
    std::thread writer([&transfer] {
        for (ParamID id = 1; id <= count; ++id)
            add(transfer, id);
    });
    ParamID expected = 1;
    bool inOrder = true;
    for (int idle = 0; expected <= count && idle < 1000000;) {
        ParamID id;
        ParamValue value;
        int32 offset;
        if (!transfer.getNextChange(id, value, offset)) {
            ++idle;
            std::this_thread::yield();
            continue;
        }
        idle = 0;
        inOrder = inOrder && id == expected && value == id / 10.0;
        expected = id + 1;
    }
    writer.join();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(expected, count + 1);
}
