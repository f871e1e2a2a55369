// The library's one blocking wait: the abort binding ends it, before or
// during the wait, and the index it returns counts only the caller's objects.

#include "support/thread/wait.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "../test_event.h"
#include "support/error/error.h"

namespace {

TEST(WaitAny, AbortEndsEveryWaitOfABoundThread) {
    TestEvent abort, never;
    Qz::waitable* objects[] = {&never};
    Qz::abortScope scope(abort);
    // Signalled while the wait runs, with and without objects.
    for (uint64_t count : {uint64_t(0), uint64_t(1)}) {
        abort.reset();
        std::thread signaller([&] {
            Sleep(50);
            abort.signal();
        });
        EXPECT_THROW(Qz::waitAny(objects, count, 30), Qz::user_abort) << count << " objects";
        signaller.join();
    }
    // Already signalled: a poll sees it, and it goes before a signalled object.
    never.signal();
    EXPECT_THROW(Qz::waitAny(objects, 1, 0), Qz::user_abort);
    EXPECT_THROW(Qz::waitAny(objects, 1, -1), Qz::user_abort);
}

TEST(WaitAny, IndexCountsOnlyTheCallersObjects) {
    // More than the 16 handles kept on the stack, with and without the abort
    // event in front.
    std::vector<TestEvent> events(20);
    std::vector<Qz::waitable*> objects;
    for (TestEvent& event : events)
        objects.push_back(&event);
    for (uint64_t count : {2, 16, 20})
        for (bool bound : {false, true}) {
            TestEvent abort;
            std::unique_ptr<Qz::abortScope> scope(bound ? new Qz::abortScope(abort) : nullptr);
            events[count - 1].signal();
            EXPECT_EQ(Qz::waitAny(objects.data(), count, -1), count - 1) << count << " objects, bound " << bound;
            events[1].signal();
            EXPECT_EQ(Qz::waitAny(objects.data(), count, 0), 1u) << count << " objects, bound " << bound;
            events[1].reset();
            events[count - 1].reset();
        }
}

} // namespace
