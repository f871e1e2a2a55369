#include "support/thread/wait.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "support/error/error.h"
#include "support/thread/abort.h"
#include "support/win32.h"

namespace {

using clock_type = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr uint64_t none = ~uint64_t(0);

// A manual-reset event that counts how often it was asked to confirm; with
// `spurious`, every wake is a false one and the event is reset, as a socket
// event does when the network event was not the awaited one.
class Event : public Qz::waitable {
public:
    explicit Event(bool spurious = false) : spurious(spurious) { handle = CreateEventW(NULL, TRUE, FALSE, NULL); }
    ~Event() { CloseHandle(static_cast<HANDLE>(handle)); }
    bool confirm() override {
        ++confirms;
        if (!spurious)
            return true;
        ResetEvent(static_cast<HANDLE>(handle));
        return false;
    }
    void signal() { SetEvent(static_cast<HANDLE>(handle)); }

    const bool spurious;
    std::atomic<int> confirms{0};
};

milliseconds since(clock_type::time_point start) {
    return std::chrono::duration_cast<milliseconds>(clock_type::now() - start);
}

TEST(WaitAny, WithoutObjectsSleepsOnAnUnboundThread) {
    ASSERT_EQ(Qz::currentAbortBinding(), nullptr);
    auto start = clock_type::now();
    EXPECT_EQ(Qz::waitAny(nullptr, 0, 0.01), none);
    EXPECT_GE(since(start), milliseconds(8));
    EXPECT_LT(since(start), milliseconds(2000));

    start = clock_type::now();
    EXPECT_EQ(Qz::waitAny(nullptr, 0, 0), none);
    EXPECT_LT(since(start), milliseconds(2000));
}

TEST(WaitAny, AbortEventEndsEveryWaitOfABoundThread) {
    Event abort;
    Qz::abortScope scope(abort);

    // Bound but not signalled: still the plain sleep.
    auto start = clock_type::now();
    EXPECT_EQ(Qz::waitAny(nullptr, 0, 0.01), none);
    EXPECT_GE(since(start), milliseconds(8));

    abort.signal();
    start = clock_type::now();
    EXPECT_THROW(Qz::waitAny(nullptr, 0, 30), Qz::user_abort);
    EXPECT_THROW(Qz::waitAny(nullptr, 0, -1), Qz::user_abort);
    Event object;
    object.signal();
    EXPECT_THROW(Qz::waitAny(nullptr, 0, 0), Qz::user_abort) << "a poll looks at the abort event too";
    Qz::waitable* objects[] = {&object};
    EXPECT_THROW(Qz::waitAny(objects, 1, -1), Qz::user_abort) << "the abort event goes before the objects";
    EXPECT_LT(since(start), milliseconds(2000));
}

TEST(WaitAny, AbortSignalledDuringTheWaitEndsIt) {
    Event abort;
    std::thread signaller([&] {
        Sleep(50);
        abort.signal();
    });
    Qz::abortScope scope(abort);
    Event never;
    Qz::waitable* objects[] = {&never};
    const auto start = clock_type::now();
    EXPECT_THROW(Qz::waitAny(objects, 1, 30), Qz::user_abort);
    EXPECT_LT(since(start), milliseconds(10000));
    signaller.join();
}

TEST(WaitAny, FalseWakeOfTheAbortEventIsNotAnAbort) {
    Event abort(true);
    Qz::abortScope scope(abort);
    abort.signal();
    EXPECT_EQ(Qz::waitAny(nullptr, 0, 0.05), none);
    EXPECT_EQ(abort.confirms, 1);
}

TEST(WaitAny, ReturnsTheIndexAmongTheCallersObjects) {
    // More than the 16 handles kept on the stack, with and without the
    // abort event in front: the index never counts the abort event.
    std::vector<std::unique_ptr<Event>> events;
    std::vector<Qz::waitable*> objects;
    for (int i = 0; i < 20; ++i) {
        events.push_back(std::make_unique<Event>());
        objects.push_back(events.back().get());
    }
    for (uint64_t count : {2, 16, 20}) {
        for (bool bound : {false, true}) {
            SCOPED_TRACE(testing::Message() << count << " objects, bound " << bound);
            Event abort;
            std::unique_ptr<Qz::abortScope> scope;
            if (bound)
                scope = std::make_unique<Qz::abortScope>(abort);

            const uint64_t target = count - 1;
            events[target]->signal();
            EXPECT_EQ(Qz::waitAny(objects.data(), count, 1), target);
            EXPECT_EQ(Qz::waitAny(objects.data(), count, -1), target);
            ResetEvent(static_cast<HANDLE>(events[target]->handle));

            events[0]->signal();
            events[1]->signal();
            EXPECT_EQ(Qz::waitAny(objects.data(), count, 0), 0u) << "the lowest signalled index wins";
            ResetEvent(static_cast<HANDLE>(events[0]->handle));
            ResetEvent(static_cast<HANDLE>(events[1]->handle));
        }
    }
}

TEST(WaitAny, ZeroTimeOutPollsOnce) {
    Event object;
    Qz::waitable* objects[] = {&object};
    const auto start = clock_type::now();
    EXPECT_EQ(Qz::waitAny(objects, 1, 0), none);
    EXPECT_EQ(object.confirms, 0);
    object.signal();
    EXPECT_EQ(Qz::waitAny(objects, 1, 0), 0u);
    EXPECT_EQ(object.confirms, 1);
    EXPECT_LT(since(start), milliseconds(2000));

    // A false wake at time-out 0 leaves no time for another pass.
    Event spurious(true);
    spurious.signal();
    Qz::waitable* falseOnes[] = {&spurious};
    EXPECT_EQ(Qz::waitAny(falseOnes, 1, 0), none);
    EXPECT_EQ(spurious.confirms, 1);
}

TEST(WaitAny, FalseWakesDoNotProlongTheWait) {
    // The object wakes every 20 ms and never confirms. Were the time-out to
    // start again at each wake, the wait would last until the wakes stop
    // after 6 s.
    Event object(true);
    std::atomic<bool> done{false};
    std::thread waker([&] {
        for (int i = 0; i < 300 && !done; ++i) {
            object.signal();
            Sleep(20);
        }
    });
    Qz::waitable* objects[] = {&object};
    const auto start = clock_type::now();
    EXPECT_EQ(Qz::waitAny(objects, 1, 0.5), none);
    const auto took = since(start);
    done = true;
    waker.join();
    EXPECT_GE(took, milliseconds(400));
    EXPECT_LT(took, milliseconds(3000));
    EXPECT_GE(object.confirms, 1) << "the wait saw false wakes";
}

TEST(WaitAny, FailedWaitCountsAsNone) {
    const auto start = clock_type::now();

    Qz::waitable* objects[70];
    Event event;
    for (auto& object : objects)
        object = &event;
    EXPECT_EQ(Qz::waitAny(objects, 70, 5), none) << "more handles than one wait takes";

    Event broken;
    CloseHandle(static_cast<HANDLE>(broken.handle));
    broken.handle = nullptr;
    Qz::waitable* bad[] = {&broken};
    EXPECT_EQ(Qz::waitAny(bad, 1, 5), none);
    EXPECT_EQ(broken.confirms, 0);

    EXPECT_LT(since(start), milliseconds(2000)) << "a failure does not wait out the time-out";
}

} // namespace
