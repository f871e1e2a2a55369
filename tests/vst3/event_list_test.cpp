// EventList: a fixed room that never grows in the audio thread, copies in
// and out, in-place access, and clearing and resizing.

#include "vst3/event_list.h"

#include <gtest/gtest.h>

#include "../stream/counting_allocator.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

Event noteOn(int32 sampleOffset, int16 pitch) {
    Event e = {};
    e.type = Event::kNoteOnEvent;
    e.sampleOffset = sampleOffset;
    e.noteOn.pitch = pitch;
    e.noteOn.velocity = 0.5f;
    return e;
}

} // namespace

TEST(EventList, HoldsUpToItsSizeWithoutAllocating) {
    EventList list(3);
    EXPECT_EQ(list.getEventCount(), 0);

    allocationCount = 0;
    countAllocations = true;
    for (int16 i = 0; i < 3; ++i) {
        Event e = noteOn(i * 10, static_cast<int16>(60 + i));
        EXPECT_EQ(list.addEvent(e), kResultOk) << "event " << i;
    }
    Event extra = noteOn(99, 1);
    EXPECT_EQ(list.addEvent(extra), kResultFalse) << "full";
    countAllocations = false;
    EXPECT_EQ(allocationCount.load(), 0);
    EXPECT_EQ(list.getEventCount(), 3);

    // Copies out; out of range is an invalid argument and leaves the target.
    Event out = {};
    ASSERT_EQ(list.getEvent(1, out), kResultOk);
    EXPECT_EQ(out.type, Event::kNoteOnEvent);
    EXPECT_EQ(out.sampleOffset, 10);
    EXPECT_EQ(out.noteOn.pitch, 61);
    out.sampleOffset = -5;
    EXPECT_EQ(list.getEvent(3, out), kInvalidArgument);
    EXPECT_EQ(list.getEvent(-1, out), kInvalidArgument);
    EXPECT_EQ(out.sampleOffset, -5);

    // In place: a change through the pointer is what the plug-in reads.
    Event* first = list.getEventByIndex(0);
    ASSERT_NE(first, nullptr);
    first->sampleOffset = 7;
    ASSERT_EQ(list.getEvent(0, out), kResultOk);
    EXPECT_EQ(out.sampleOffset, 7);
    EXPECT_EQ(list.getEventByIndex(3), nullptr);
    EXPECT_EQ(list.getEventByIndex(-1), nullptr);

    // clear keeps the room.
    list.clear();
    EXPECT_EQ(list.getEventCount(), 0);
    EXPECT_EQ(list.getEventByIndex(0), nullptr);
    for (int16 i = 0; i < 3; ++i) {
        Event e = noteOn(i, 40);
        EXPECT_EQ(list.addEvent(e), kResultOk) << "event " << i << " after clear";
    }

    // A new size drops the events and is the new limit.
    list.setMaxSize(1);
    EXPECT_EQ(list.getEventCount(), 0);
    Event e = noteOn(0, 1);
    EXPECT_EQ(list.addEvent(e), kResultOk);
    EXPECT_EQ(list.addEvent(e), kResultFalse);
    list.setMaxSize(0);
    EXPECT_EQ(list.addEvent(e), kResultFalse);
    EXPECT_EQ(list.getEventCount(), 0);
}
