#include "vst3/parameter_changes.h"

#include <algorithm>
#include <new>

namespace Steinberg {
namespace Vst {

namespace {

// Room for the points most blocks bring, so that a queue that is reused
// from block to block does not grow in the audio thread.
const size_t initialPointCapacity = 16;

} // namespace

// ParameterValueQueue ----------------------------------------------------------

IMPLEMENT_FUNKNOWN_METHODS(ParameterValueQueue, IParamValueQueue, IParamValueQueue::iid)

ParameterValueQueue::ParameterValueQueue(ParamID id) : paramID(id) {
    FUNKNOWN_CTOR
    points.reserve(initialPointCapacity);
}

ParamID PLUGIN_API ParameterValueQueue::getParameterId() {
    return paramID;
}

int32 PLUGIN_API ParameterValueQueue::getPointCount() {
    return static_cast<int32>(points.size());
}

tresult PLUGIN_API ParameterValueQueue::getPoint(int32 index, int32& sampleOffset, ParamValue& value) {
    if (index < 0 || index >= getPointCount())
        return kResultFalse;
    const Point& point = points[static_cast<size_t>(index)];
    sampleOffset = point.sampleOffset;
    value = point.value;
    return kResultTrue;
}

tresult PLUGIN_API ParameterValueQueue::addPoint(int32 sampleOffset, ParamValue value, int32& index) {
    auto at = std::lower_bound(points.begin(), points.end(), sampleOffset,
                               [](const Point& point, int32 offset) { return point.sampleOffset < offset; });
    if (at == points.end() || at->sampleOffset != sampleOffset) {
        // The plug-in calls this from its process; nothing may be thrown at it.
        try {
            at = points.insert(at, Point{sampleOffset, value});
        } catch (const std::bad_alloc&) {
            return kOutOfMemory;
        }
    } else {
        at->value = value;
    }
    index = static_cast<int32>(at - points.begin());
    return kResultTrue;
}

void ParameterValueQueue::setParamID(ParamID id) {
    paramID = id;
}

void ParameterValueQueue::clear() {
    points.clear();
}

// ParameterChanges -------------------------------------------------------------

IMPLEMENT_FUNKNOWN_METHODS(ParameterChanges, IParameterChanges, IParameterChanges::iid)

ParameterChanges::ParameterChanges(int32 maxParameters) {
    FUNKNOWN_CTOR
    setMaxParameters(maxParameters);
}

void ParameterChanges::setMaxParameters(int32 maxParameters) {
    if (maxParameters <= static_cast<int32>(queues.size()))
        return;
    queues.reserve(static_cast<size_t>(maxParameters));
    while (static_cast<int32>(queues.size()) < maxParameters)
        queues.push_back(owned(new ParameterValueQueue(kNoParamId)));
}

void ParameterChanges::clearQueue() {
    usedQueueCount = 0;
}

int32 PLUGIN_API ParameterChanges::getParameterCount() {
    read = true;
    return usedQueueCount;
}

IParamValueQueue* PLUGIN_API ParameterChanges::getParameterData(int32 index) {
    read = true;
    if (index < 0 || index >= usedQueueCount)
        return nullptr;
    return queues[static_cast<size_t>(index)];
}

IParamValueQueue* PLUGIN_API ParameterChanges::addParameterData(const ParamID& id, int32& index) {
    for (int32 used = 0; used < usedQueueCount; ++used) {
        ParameterValueQueue* queue = queues[static_cast<size_t>(used)];
        if (queue->getParameterId() == id) {
            index = used;
            return queue;
        }
    }
    if (usedQueueCount == static_cast<int32>(queues.size())) {
        // The plug-in calls this from its process; nothing may be thrown at it.
        try {
            queues.push_back(owned(new ParameterValueQueue(id)));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    ParameterValueQueue* queue = queues[static_cast<size_t>(usedQueueCount)];
    queue->setParamID(id);
    queue->clear();
    index = usedQueueCount++;
    return queue;
}

// ParameterChangeTransfer ------------------------------------------------------

ParameterChangeTransfer::ParameterChangeTransfer(int32 maxValues) {
    setMaxParameters(maxValues);
}

void ParameterChangeTransfer::setMaxParameters(int32 maxValues) {
    if (maxValues < 0)
        maxValues = 0;
    if (maxValues == size)
        return;
    ring.reset();
    size = 0;
    if (maxValues > 0) {
        ring.reset(new Change[static_cast<size_t>(maxValues)]());
        size = maxValues;
    }
    if (readIndex.load() >= size)
        readIndex.store(0);
    if (writeIndex.load() >= size)
        writeIndex.store(0);
}

void ParameterChangeTransfer::addChange(ParamID id, ParamValue value, int32 sampleOffset) {
    // Once a change has gone to the spare list, the ring takes no more
    // until the reader has emptied the list: a newer change must not be read
    // before an older one.
    if (!spilled.load(std::memory_order_acquire) && size > 0) {
        const int32 write = writeIndex.load(std::memory_order_relaxed);
        const int32 next = write + 1 == size ? 0 : write + 1;
        if (next != readIndex.load(std::memory_order_acquire)) {
            ring[static_cast<size_t>(write)] = Change{id, value, sampleOffset};
            writeIndex.store(next, std::memory_order_release);
            return;
        }
    }
    std::lock_guard<std::mutex> lock(spareLock);
    // Writers are the host's and the plug-in's calls; nothing may be thrown
    // at them, and without memory there is nowhere to keep the change.
    try {
        spare.push_back(Change{id, value, sampleOffset});
    } catch (const std::bad_alloc&) {
        return;
    }
    spilled.store(true, std::memory_order_release);
}

bool ParameterChangeTransfer::readRing(Change& change) {
    if (size == 0)
        return false;
    const int32 read = readIndex.load(std::memory_order_relaxed);
    if (read == writeIndex.load(std::memory_order_acquire))
        return false;
    change = ring[static_cast<size_t>(read)];
    readIndex.store(read + 1 == size ? 0 : read + 1, std::memory_order_release);
    return true;
}

bool ParameterChangeTransfer::getNextChange(ParamID& id, ParamValue& value, int32& sampleOffset) {
    Change change = {};
    bool found = false;
    if (takenNext < taken.size()) {
        // Older than anything the ring took after the list was handed over.
        change = taken[takenNext++];
        if (takenNext == taken.size()) {
            taken.clear(); // keeps its memory, which goes back to the writer
            takenNext = 0;
        }
        found = true;
    } else if (readRing(change)) {
        found = true;
    } else if (spilled.load(std::memory_order_acquire)) {
        std::lock_guard<std::mutex> lock(spareLock);
        // The ring may have been filled after it read as empty above; what
        // it holds now is older than every spare change.
        if (readRing(change)) {
            found = true;
        } else {
            taken.swap(spare);
            spilled.store(false, std::memory_order_release);
            if (!taken.empty()) {
                change = taken[0];
                takenNext = 1;
                if (takenNext == taken.size()) {
                    taken.clear();
                    takenNext = 0;
                }
                found = true;
            }
        }
    }
    if (found) {
        id = change.id;
        value = change.value;
        sampleOffset = change.sampleOffset;
    }
    return found;
}

void ParameterChangeTransfer::removeChanges() {
    writeIndex.store(readIndex.load());
    std::lock_guard<std::mutex> lock(spareLock);
    spare.clear();
    taken.clear();
    takenNext = 0;
    spilled.store(false);
}

void ParameterChangeTransfer::transferChangesTo(ParameterChanges& changes) {
    ParamID id;
    ParamValue value;
    int32 sampleOffset;
    while (getNextChange(id, value, sampleOffset)) {
        int32 index = 0;
        if (IParamValueQueue* queue = changes.addParameterData(id, index))
            queue->addPoint(sampleOffset, value, index);
    }
}

void ParameterChangeTransfer::transferChangesFrom(ParameterChanges& changes) {
    const int32 queueCount = changes.getParameterCount();
    for (int32 q = 0; q < queueCount; ++q) {
        IParamValueQueue* queue = changes.getParameterData(q);
        if (!queue)
            continue;
        const ParamID id = queue->getParameterId();
        const int32 pointCount = queue->getPointCount();
        for (int32 p = 0; p < pointCount; ++p) {
            int32 sampleOffset = 0;
            ParamValue value = 0;
            if (queue->getPoint(p, sampleOffset, value) == kResultTrue)
                addChange(id, value, sampleOffset);
        }
    }
}

} // namespace Vst
} // namespace Steinberg
