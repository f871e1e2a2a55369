// Parameter queues and rings: point order and replacement, queue reuse
// without allocation, the ring's full-ring rule, wrap-around and resizing,
// the moves to and from ParameterChanges, and one writer against one reader.

#include "vst3/parameter_changes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "../stream/counting_allocator.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

// Counts the allocations of this thread's code while it lives.
class AllocationCounter {
public:
    AllocationCounter() {
        allocationCount = 0;
        countAllocations = true;
    }
    ~AllocationCounter() { countAllocations = false; }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;
    long count() const { return allocationCount.load(); }
};

struct Point {
    int32 offset;
    ParamValue value;
    bool operator==(const Point& other) const { return offset == other.offset && value == other.value; }
};

std::ostream& operator<<(std::ostream& out, const Point& point) {
    return out << "{" << point.offset << ", " << point.value << "}";
}

std::vector<Point> pointsOf(IParamValueQueue& queue) {
    std::vector<Point> points;
    for (int32 i = 0; i < queue.getPointCount(); ++i) {
        Point point{0, 0};
        EXPECT_EQ(queue.getPoint(i, point.offset, point.value), kResultTrue);
        points.push_back(point);
    }
    return points;
}

struct Change {
    ParamID id;
    ParamValue value;
    int32 offset;
    bool operator==(const Change& other) const {
        return id == other.id && value == other.value && offset == other.offset;
    }
};

std::ostream& operator<<(std::ostream& out, const Change& change) {
    return out << "{" << change.id << ", " << change.value << ", " << change.offset << "}";
}

std::vector<Change> drain(ParameterChangeTransfer& transfer) {
    std::vector<Change> changes;
    Change change{0, 0, 0};
    while (transfer.getNextChange(change.id, change.value, change.offset))
        changes.push_back(change);
    return changes;
}

void add(ParameterChangeTransfer& transfer, ParamID id) {
    transfer.addChange(id, id / 10.0, static_cast<int32>(id));
}

Change changeOf(ParamID id) {
    return Change{id, id / 10.0, static_cast<int32>(id)};
}

std::vector<Change> changesOf(std::initializer_list<ParamID> ids) {
    std::vector<Change> changes;
    for (ParamID id : ids)
        changes.push_back(changeOf(id));
    return changes;
}

} // namespace

TEST(ParameterValueQueue, KeepsPointsOrderedAndReplacesAtTheSameOffset) {
    ParameterValueQueue queue(7);
    EXPECT_EQ(queue.getParameterId(), 7u);
    struct Step {
        int32 offset;
        ParamValue value;
        int32 index; // where the point lands
    } steps[] = {{10, 0.1, 0}, {0, 0.2, 0}, {5, 0.3, 1}, {10, 0.4, 2}, {0, 0.5, 0}, {11, 0.6, 3}};
    for (const Step& step : steps) {
        int32 index = -1;
        EXPECT_EQ(queue.addPoint(step.offset, step.value, index), kResultTrue);
        EXPECT_EQ(index, step.index) << "offset " << step.offset;
    }
    EXPECT_EQ(pointsOf(queue), (std::vector<Point>{{0, 0.5}, {5, 0.3}, {10, 0.4}, {11, 0.6}}));
    int32 offset = 99;
    ParamValue value = 99;
    EXPECT_EQ(queue.getPoint(4, offset, value), kResultFalse);
    EXPECT_EQ(queue.getPoint(-1, offset, value), kResultFalse);
    EXPECT_EQ(offset, 99);

    // A cleared queue keeps its room: filling it again as far as it ever
    // went allocates nothing.
    for (int32 i = 0; i < 100; ++i)
        queue.addPoint(i, 0.0, offset);
    queue.clear();
    EXPECT_EQ(queue.getPointCount(), 0);
    EXPECT_EQ(queue.getParameterId(), 7u);
    {
        AllocationCounter counter;
        for (int32 i = 99; i >= 0; --i)
            queue.addPoint(i, 1.0, offset);
        EXPECT_EQ(counter.count(), 0);
    }
    EXPECT_EQ(queue.getPointCount(), 100);
    queue.setParamID(8);
    EXPECT_EQ(queue.getParameterId(), 8u);
}

TEST(ParameterChanges, FindsQueuesByIdAndReusesThemAfterClear) {
    ParameterChanges changes(2);
    EXPECT_EQ(changes.getParameterCount(), 0);
    int32 index = -1;
    IParamValueQueue* seven = changes.addParameterData(7, index);
    ASSERT_NE(seven, nullptr);
    EXPECT_EQ(index, 0);
    IParamValueQueue* nine = changes.addParameterData(9, index);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(changes.addParameterData(7, index), seven);
    EXPECT_EQ(index, 0) << "an id in use finds its queue";
    EXPECT_EQ(changes.getParameterCount(), 2);
    EXPECT_EQ(changes.getParameterData(0), seven);
    EXPECT_EQ(changes.getParameterData(1), nine);
    EXPECT_EQ(changes.getParameterData(2), nullptr);
    EXPECT_EQ(changes.getParameterData(-1), nullptr);
    EXPECT_EQ(nine->getParameterId(), 9u);
    seven->addPoint(3, 0.5, index);

    // The next block: the same objects, emptied and given the new ids,
    // without allocating.
    changes.clearQueue();
    EXPECT_EQ(changes.getParameterCount(), 0);
    EXPECT_EQ(changes.getParameterData(0), nullptr);
    {
        AllocationCounter counter;
        EXPECT_EQ(changes.addParameterData(9, index), seven);
        EXPECT_EQ(changes.addParameterData(3, index), nine);
        EXPECT_EQ(counter.count(), 0);
    }
    EXPECT_EQ(seven->getParameterId(), 9u);
    EXPECT_EQ(seven->getPointCount(), 0);

    // More parameters than objects: one more is made, and kept.
    IParamValueQueue* third = changes.addParameterData(4, index);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(index, 2);
    changes.clearQueue();
    {
        AllocationCounter counter;
        for (ParamID id : {10u, 11u, 12u})
            changes.addParameterData(id, index);
        EXPECT_EQ(counter.count(), 0);
    }
    EXPECT_EQ(changes.getParameterData(2), third);

    // setMaxParameters only ever adds objects.
    changes.setMaxParameters(1);
    changes.setMaxParameters(6);
    changes.clearQueue();
    {
        AllocationCounter counter;
        for (ParamID id = 0; id < 6; ++id)
            changes.addParameterData(id, index);
        EXPECT_EQ(counter.count(), 0);
    }
    EXPECT_EQ(changes.getParameterCount(), 6);
}

TEST(ParameterChangeTransfer, FullRingKeepsTheOldestAndOverwritesTheNewest) {
    ParameterChangeTransfer transfer(4);
    for (ParamID id : {1u, 2u, 3u, 4u, 5u})
        add(transfer, id);
    EXPECT_EQ(drain(transfer), changesOf({1, 2, 3})) << "a ring of 4 holds 3";

    // Once the reader makes room, the change in the free slot (the last one
    // written) becomes readable.
    for (ParamID id : {6u, 7u, 8u, 9u, 10u})
        add(transfer, id);
    Change first{0, 0, 0};
    ASSERT_TRUE(transfer.getNextChange(first.id, first.value, first.offset));
    EXPECT_EQ(first, changeOf(6));
    add(transfer, 11);
    EXPECT_EQ(drain(transfer), changesOf({7, 8, 11})) << "9 and 10 were overwritten";

    // Wrap-around: both indices go round the ring many times.
    ParameterChangeTransfer small(3);
    for (ParamID round = 0; round < 10; ++round) {
        add(small, 2 * round);
        add(small, 2 * round + 1);
        EXPECT_EQ(drain(small), changesOf({2 * round, 2 * round + 1})) << "round " << round;
    }

    // removeChanges drops what is readable; the ring works on.
    add(small, 1);
    add(small, 2);
    small.removeChanges();
    EXPECT_EQ(drain(small), std::vector<Change>());
    add(small, 3);
    EXPECT_EQ(drain(small), changesOf({3}));

    // Size 0 takes nothing; neither does a ring resized to 0.
    ParameterChangeTransfer none;
    add(none, 1);
    EXPECT_EQ(drain(none), std::vector<Change>());
    small.setMaxParameters(0);
    add(small, 1);
    EXPECT_EQ(drain(small), std::vector<Change>());

    // Resizing: an index beyond the new end starts over at 0; growing gives
    // the room of the new size.
    ParameterChangeTransfer resized(8);
    for (ParamID id : {1u, 2u, 3u, 4u, 5u, 6u})
        add(resized, id);
    drain(resized);
    resized.setMaxParameters(3);
    for (ParamID id : {7u, 8u, 9u})
        add(resized, id);
    EXPECT_EQ(drain(resized), changesOf({7, 8}));
    resized.setMaxParameters(6);
    for (ParamID id : {10u, 11u, 12u, 13u, 14u, 15u})
        add(resized, id);
    EXPECT_EQ(drain(resized), changesOf({10, 11, 12, 13, 14}));
}

TEST(ParameterChangeTransfer, MovesChangesToAndFromParameterChangesInOrder) {
    ParameterChangeTransfer transfer(16);
    transfer.addChange(1, 0.1, 0);
    transfer.addChange(2, 0.2, 5);
    transfer.addChange(1, 0.3, 8);
    transfer.addChange(1, 0.4, 0); // same parameter and offset: replaces 0.1
    transfer.addChange(3, 0.5, 2);

    ParameterChanges changes(1);
    transfer.transferChangesTo(changes);
    EXPECT_EQ(drain(transfer), std::vector<Change>()) << "the ring is empty afterwards";
    ASSERT_EQ(changes.getParameterCount(), 3);
    EXPECT_EQ(changes.getParameterData(0)->getParameterId(), 1u);
    EXPECT_EQ(pointsOf(*changes.getParameterData(0)), (std::vector<Point>{{0, 0.4}, {8, 0.3}}));
    EXPECT_EQ(changes.getParameterData(1)->getParameterId(), 2u);
    EXPECT_EQ(pointsOf(*changes.getParameterData(1)), (std::vector<Point>{{5, 0.2}}));
    EXPECT_EQ(changes.getParameterData(2)->getParameterId(), 3u);

    // Back: queue order, then point order.
    transfer.transferChangesFrom(changes);
    EXPECT_EQ(drain(transfer), (std::vector<Change>{{1, 0.4, 0}, {1, 0.3, 8}, {2, 0.2, 5}, {3, 0.5, 2}}));

    // From an empty block: nothing.
    changes.clearQueue();
    transfer.transferChangesFrom(changes);
    EXPECT_EQ(drain(transfer), std::vector<Change>());
}

// One writer thread against one reader thread: the reader sees changes in
// the order written, each whole (never an id with another change's value).
TEST(ParameterChangeTransfer, OneWriterAndOneReaderWithoutALock) {
    ParameterChangeTransfer transfer(64);
    const ParamID last = 200000;
    std::atomic<bool> done(false);
    std::thread writer([&] {
        for (ParamID id = 1; id <= last; ++id)
            transfer.addChange(id, id * 0.5, static_cast<int32>(id % 4096));
        done = true;
    });

    ParamID previous = 0;
    long received = 0, torn = 0, outOfOrder = 0;
    for (;;) {
        const bool finished = done.load();
        Change change{0, 0, 0};
        bool any = false;
        while (transfer.getNextChange(change.id, change.value, change.offset)) {
            any = true;
            ++received;
            if (change.value != change.id * 0.5 || change.offset != static_cast<int32>(change.id % 4096))
                ++torn;
            if (change.id <= previous)
                ++outOfOrder;
            previous = change.id;
        }
        if (finished && !any)
            break;
        std::this_thread::yield();
    }
    writer.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(outOfOrder, 0);
    EXPECT_GT(received, 0);
}
