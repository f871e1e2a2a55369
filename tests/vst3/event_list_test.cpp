// The event list of a block: a room fixed beforehand, which the audio
// thread fills without allocating and which refuses what does not fit.

#include "vst3/event_list.h"

#include <gtest/gtest.h>

#include "../stream/counting_allocator.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

TEST(EventList, HoldsUpToItsSizeWithoutAllocating) {
    EventList list(3);
    for (int round = 0; round < 2; ++round) {
        allocationCount = 0;
        countAllocations = true;
        for (int32 i = 0; i < 4; ++i) {
            Event event = {};
            event.sampleOffset = i;
            EXPECT_EQ(list.addEvent(event), i < 3 ? kResultOk : kResultFalse) << "round " << round << " event " << i;
        }
        countAllocations = false;
        EXPECT_EQ(allocationCount.load(), 0);
        Event out = {};
        EXPECT_EQ(list.getEvent(2, out), kResultOk);
        EXPECT_EQ(out.sampleOffset, 2);
        EXPECT_EQ(list.getEvent(3, out), kInvalidArgument);
        list.clear(); // keeps the room
    }
}
