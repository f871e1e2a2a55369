// Parameter changes under the SDK's names, which the SDK copy we build from
// lacks: ParameterValueQueue and ParameterChanges are what a host hands to
// IAudioProcessor::process (inputParameterChanges, outputParameterChanges);
// ParameterChangeTransfer carries single changes from one thread to another
// without a lock.
//
// Threads: a ParameterChanges and its queues belong to the thread that
// processes (the plug-in fills the output changes there, inside process);
// nothing in them takes a lock. For ParameterChangeTransfer, see there.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "pluginterfaces/base/smartpointer.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"

namespace Steinberg {
namespace Vst {

// The points of one parameter within one block. Counted: made with a count
// of 1, deleted by the release that brings it to 0.
class ParameterValueQueue : public IParamValueQueue {
public:
    explicit ParameterValueQueue(ParamID id);
    virtual ~ParameterValueQueue() = default;
    ParameterValueQueue(const ParameterValueQueue&) = delete;
    ParameterValueQueue& operator=(const ParameterValueQueue&) = delete;

    ParamID PLUGIN_API getParameterId() override;
    int32 PLUGIN_API getPointCount() override;
    // kResultFalse for an index outside [0, getPointCount()).
    tresult PLUGIN_API getPoint(int32 index, int32& sampleOffset, ParamValue& value) override;
    // Points stay ordered by sampleOffset. A point at the offset of an
    // existing one replaces that one's value, and `index` is that point's.
    // Returns kResultTrue, or kOutOfMemory when the queue needed room it
    // could not get (the queue is then unchanged). Allocates only beyond the
    // capacity the queue already has.
    tresult PLUGIN_API addPoint(int32 sampleOffset, ParamValue value, int32& index) override;

    void setParamID(ParamID id);
    // Removes every point; the memory stays for the next block.
    void clear();

    DECLARE_FUNKNOWN_METHODS

private:
    struct Point {
        int32 sampleOffset;
        ParamValue value;
    };

    ParamID paramID;
    std::vector<Point> points;
};

// The queues of one block. Queue objects are kept when the block ends
// (clearQueue), so a host that processes block after block stops allocating
// once it has seen as many parameters in one block as it ever will. Counted
// like the queue.
class ParameterChanges : public IParameterChanges {
public:
    // Makes `maxParameters` queue objects ready, none of them in use.
    explicit ParameterChanges(int32 maxParameters = 0);
    virtual ~ParameterChanges() = default;
    ParameterChanges(const ParameterChanges&) = delete;
    ParameterChanges& operator=(const ParameterChanges&) = delete;

    // Makes sure at least `maxParameters` queue objects exist; never removes
    // any. Throws std::bad_alloc.
    void setMaxParameters(int32 maxParameters);
    // No queue in use any more; the objects stay for the next block.
    void clearQueue();
    // Whether anyone asked for the queues (getParameterCount or
    // getParameterData) since the last forgetReading. The host's own filling
    // (addParameterData) does not count: this tells whether a plug-in looked
    // at the changes of a block at all.
    bool wasRead() const { return read; }
    void forgetReading() { read = false; }

    // The queues in use.
    int32 PLUGIN_API getParameterCount() override;
    // Null for an index outside [0, getParameterCount()).
    IParamValueQueue* PLUGIN_API getParameterData(int32 index) override;
    // The queue in use for `id`, with its index; else the next unused queue
    // object, given `id` and emptied, which is then in use. Allocates a new
    // queue object only when every one is in use; null (index untouched)
    // when that fails. The pointer holds no reference of its own: it stays
    // valid as long as this object.
    IParamValueQueue* PLUGIN_API addParameterData(const ParamID& id, int32& index) override;

    DECLARE_FUNKNOWN_METHODS

private:
    std::vector<IPtr<ParameterValueQueue>> queues;
    int32 usedQueueCount = 0;
    bool read = false;
};

// A ring of single changes from one writer thread to one reader thread
// (typically: the editor's thread to the audio thread, and back). The writer
// moves only the write index, the reader only the read index; each index is
// a whole 32-bit value, written after the entry it publishes (release) and
// read before the entry it guards (acquire).
//
// No change is ever lost, whatever the ring's size: a change that finds the
// ring full goes to a spare list under a small lock, and so does every
// change after it until the reader has taken the list, so that the reader
// still sees them all in the order they were added. A host that sets many
// values between two blocks (a parameter probed through its whole range, a
// burst of edits) would otherwise lose the newest ones, which are the ones
// that count. Only the spare list allocates, on the writer's side; the
// reader takes it over by a swap.
class ParameterChangeTransfer {
public:
    explicit ParameterChangeTransfer(int32 maxValues = 0);
    ParameterChangeTransfer(const ParameterChangeTransfer&) = delete;
    ParameterChangeTransfer& operator=(const ParameterChangeTransfer&) = delete;

    // Gives the ring `maxValues` slots (a negative count reads as 0) if it
    // has a different number now. The old entries are gone but the indices
    // stay where they are (one outside the new ring becomes 0), so changes
    // that were pending read back as zeroed changes: resize an empty ring,
    // or call removeChanges after. Only while neither side uses the ring.
    // Throws std::bad_alloc (the ring then has size 0).
    void setMaxParameters(int32 maxValues);

    // Writer. Allocates only when the ring is full (a ring of size 0 is
    // always full); a change that finds no memory even then is dropped.
    void addChange(ParamID id, ParamValue value, int32 sampleOffset);
    // Reader. The oldest change; false when there is none.
    bool getNextChange(ParamID& id, ParamValue& value, int32& sampleOffset);
    // Drops every change: the write index goes back to the read index and
    // the spare list is emptied. Only while the reader is not reading
    // (processing stopped, or its block kept out), since it moves the
    // writer's index against the reader's.
    void removeChanges();

    // Reader. Moves every change, oldest first, into `changes`: the queue of
    // its parameter (addParameterData), then a point at its offset.
    void transferChangesTo(ParameterChanges& changes);
    // Writer. Adds every point of every queue in use, in queue order and
    // point order, as a change.
    void transferChangesFrom(ParameterChanges& changes);

private:
    struct Change {
        ParamID id;
        ParamValue value;
        int32 sampleOffset;
    };

    bool readRing(Change& change);

    std::unique_ptr<Change[]> ring;
    int32 size = 0;
    std::atomic<int32> readIndex{0};
    std::atomic<int32> writeIndex{0};

    std::mutex spareLock;             // guards spare
    std::vector<Change> spare;        // changes that found the ring full, oldest first
    std::atomic<bool> spilled{false}; // spare holds changes: set by the writer, cleared by the reader
    std::vector<Change> taken;        // the reader's: a spare list it has taken over
    size_t takenNext = 0;             // the next of `taken` to hand out
};

} // namespace Vst
} // namespace Steinberg
