// Work moved to the thread that owns the queue: in posting order, on that
// thread, and none of it lost when the queue goes.

#include "support/thread/main_thread_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "support/thread/message_pump.h"
#include "support/win32.h"

namespace {

TEST(MainThreadQueue, RunsInOrderOnItsOwnThread) {
    Qz::mainThreadQueue queue;
    std::string order;
    std::atomic<DWORD> ranOn{0};
    queue.post([&] { order += 'a'; });
    std::thread poster([&] {
        queue.post([&] { order += 'b'; });
        queue.post([&] { ranOn = GetCurrentThreadId(); });
    });
    poster.join();
    queue.post([&] { order += 'c'; });
    EXPECT_EQ(order, "") << "nothing runs before the thread dispatches";
    Qz::pumpMessages();
    EXPECT_EQ(order, "abc");
    EXPECT_EQ(ranOn, GetCurrentThreadId());
}

TEST(MainThreadQueue, DestructorRunsWhatIsLeft) {
    std::string order;
    {
        Qz::mainThreadQueue queue;
        queue.post([&] { order += 'a'; });
        queue.post([&] { order += 'b'; });
    }
    EXPECT_EQ(order, "ab");
    Qz::pumpMessages(); // the message for the destroyed window goes nowhere
    EXPECT_EQ(order, "ab");
}

} // namespace
