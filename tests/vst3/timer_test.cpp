// Thread timers: they fire only while the thread dispatches messages, on
// that thread, for the right timer, and never again once stopped or
// released, also when the callback stops its own timer.

#include "vst3/timer.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "support/win32.h"

using namespace Steinberg;

namespace {

struct Callback : ITimerCallback {
    int calls = 0;
    Timer* lastTimer = nullptr;
    DWORD lastThread = 0;
    std::function<void(Timer*)> then;

    void onTimer(Timer* timer) override {
        ++calls;
        lastTimer = timer;
        lastThread = GetCurrentThreadId();
        if (then)
            then(timer);
    }
};

// Dispatches this thread's messages until `done` or the deadline; whether
// `done` came true.
bool pumpUntil(const std::function<bool()>& done, DWORD milliseconds = 5000) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (;;) {
        MSG msg;
        while (PeekMessageW(&msg, NULL, 0, 0, PM_REMOVE))
            DispatchMessageW(&msg);
        if (done())
            return true;
        if (GetTickCount64() >= end)
            return false;
        Sleep(1);
    }
}

void pumpFor(DWORD milliseconds) {
    pumpUntil([] { return false; }, milliseconds);
}

} // namespace

TEST(Timer, FiresWhileMessagesArePumpedUntilStoppedOrReleased) {
    EXPECT_EQ(Timer::create(nullptr, 10), nullptr);

    Callback callback;
    Timer* timer = Timer::create(&callback, 10);
    ASSERT_NE(timer, nullptr);
    Sleep(60);
    EXPECT_EQ(callback.calls, 0) << "nothing fires while the thread does not dispatch";
    ASSERT_TRUE(pumpUntil([&] { return callback.calls >= 3; }));
    EXPECT_EQ(callback.lastTimer, timer);
    EXPECT_EQ(callback.lastThread, GetCurrentThreadId());

    timer->stop();
    int calls = callback.calls;
    pumpFor(100);
    EXPECT_EQ(callback.calls, calls) << "stopped";
    timer->stop();
    timer->release();

    // Releasing the last reference stops it as well.
    Callback released;
    timer = Timer::create(&released, 10);
    ASSERT_NE(timer, nullptr);
    ASSERT_TRUE(pumpUntil([&] { return released.calls >= 1; }));
    timer->release();
    calls = released.calls;
    pumpFor(100);
    EXPECT_EQ(released.calls, calls) << "released";

    // A callback that stops its own timer is called exactly once.
    Callback once;
    once.then = [](Timer* own) { own->stop(); };
    timer = Timer::create(&once, 5);
    ASSERT_NE(timer, nullptr);
    ASSERT_TRUE(pumpUntil([&] { return once.calls >= 1; }));
    pumpFor(100);
    EXPECT_EQ(once.calls, 1);
    timer->release();
}

// Each tick reaches its own timer's callback, on the thread that made it,
// while timers of two threads run at once.
TEST(Timer, EachTimerCallsItsOwnCallbackOnItsOwnThread) {
    Callback fast, slow, other;
    Timer* fastTimer = Timer::create(&fast, 5);
    Timer* slowTimer = Timer::create(&slow, 40);
    ASSERT_NE(fastTimer, nullptr);
    ASSERT_NE(slowTimer, nullptr);

    DWORD otherThread = 0;
    Timer* otherTimer = nullptr;
    bool otherFired = false;
    std::thread thread([&] {
        otherThread = GetCurrentThreadId();
        otherTimer = Timer::create(&other, 5);
        if (otherTimer) {
            otherFired = pumpUntil([&] { return other.calls >= 5; });
            otherTimer->release();
        }
    });
    EXPECT_TRUE(pumpUntil([&] { return slow.calls >= 2 && fast.calls >= 5; }));
    thread.join();

    ASSERT_NE(otherTimer, nullptr);
    EXPECT_TRUE(otherFired);
    EXPECT_EQ(other.lastThread, otherThread);
    EXPECT_EQ(fast.lastThread, GetCurrentThreadId());
    EXPECT_EQ(fast.lastTimer, fastTimer);
    EXPECT_EQ(slow.lastTimer, slowTimer);
    EXPECT_GT(fast.calls, slow.calls) << "a 5 ms timer ticks more often than a 40 ms one";
    fastTimer->release();
    slowTimer->release();
}
