#include "support/thread/worker_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>

#include "support/error/error.h"
#include "support/thread/wait.h"
#include "support/win32.h"

namespace {

using clock_type = std::chrono::steady_clock;
using std::chrono::milliseconds;

milliseconds since(clock_type::time_point start) {
    return std::chrono::duration_cast<milliseconds>(clock_type::now() - start);
}

bool isSignalled(void* handle) {
    return WaitForSingleObject(static_cast<HANDLE>(handle), 0) == WAIT_OBJECT_0;
}
bool isOpen(void* handle) {
    DWORD flags = 0;
    return GetHandleInformation(static_cast<HANDLE>(handle), &flags) != 0;
}

DWORD WINAPI endAtOnce(LPVOID) {
    return 0;
}

// join aborts as well as waits: a body that is to run to its end has to be
// seen running before the test joins.
bool waitFor(const std::atomic<bool>& flag) {
    for (int i = 0; i < 1000 && !flag; ++i)
        Sleep(5);
    return flag;
}

// Blocks the way a worker blocks on a transport: no time-out, so only the
// abort event can end it. Says whether it ended by the abort. Once
// `entered` is set an abort can no longer be missed: a signalled event ends
// the wait at once. Before that, join may abort the body before it runs.
bool blockUntilAborted(std::atomic<bool>& entered) {
    entered = true;
    try {
        Qz::waitAny(nullptr, 0, -1);
    } catch (const Qz::user_abort&) {
        return true;
    }
    return false;
}

TEST(AbortEvent, ClosesOnlyWhatItOwns) {
    HANDLE borrowedHandle = CreateEventW(NULL, TRUE, FALSE, NULL);
    {
        Qz::abortEvent borrowed(borrowedHandle, true);
        EXPECT_TRUE(borrowed.confirm());
    }
    EXPECT_TRUE(isOpen(borrowedHandle));
    CloseHandle(borrowedHandle);

    void* ownedHandle = nullptr;
    {
        Qz::abortEvent owned = Qz::abortEvent::create();
        ownedHandle = owned.handle;
        EXPECT_FALSE(isSignalled(ownedHandle));
        Qz::abortEvent moved(std::move(owned));
        EXPECT_EQ(owned.handle, nullptr);
        EXPECT_TRUE(isOpen(ownedHandle)) << "a move hands the handle on";
    }
    EXPECT_FALSE(isOpen(ownedHandle));
}

TEST(WorkerThread, RunsTheBodyOnItsOwnThreadBoundToItsEvent) {
    Qz::workerThread worker("runs");
    std::atomic<DWORD> bodyThread{0};
    std::atomic<Qz::waitable*> binding{nullptr};
    std::atomic<bool> entered{false};
    std::atomic<bool> finished{false};
    worker.start(
        [&] {
            bodyThread = GetCurrentThreadId();
            binding = Qz::currentAbortBinding();
            entered = true;
            Sleep(100); // not a wait of the library: the abort cannot cut it short
            finished = true;
        },
        THREAD_PRIORITY_NORMAL);
    EXPECT_TRUE(worker.running);
    ASSERT_TRUE(worker.abort.has_value());
    ASSERT_TRUE(waitFor(entered));
    worker.join();
    EXPECT_TRUE(finished) << "join waits for the body";
    EXPECT_FALSE(worker.running);
    EXPECT_FALSE(worker.thread.valid());
    EXPECT_NE(bodyThread, GetCurrentThreadId());
    EXPECT_EQ(binding, &*worker.abort);
    EXPECT_EQ(Qz::currentAbortBinding(), nullptr) << "the caller stays unbound";

    // Without bit 0 the event goes and the body runs unbound; join has
    // nothing to signal and only waits.
    worker.flags = 0;
    binding = &*worker.abort;
    finished = false;
    worker.start(
        [&] {
            binding = Qz::currentAbortBinding();
            finished = true;
        },
        THREAD_PRIORITY_NORMAL);
    worker.join();
    EXPECT_TRUE(finished);
    EXPECT_FALSE(worker.abort.has_value());
    EXPECT_EQ(binding, nullptr);
}

TEST(WorkerThread, JoinEndsABodyBlockedWithoutTimeOut) {
    Qz::workerThread worker;
    std::atomic<bool> aborted{false};
    std::atomic<bool> blocking{false};
    worker.start([&] { aborted = blockUntilAborted(blocking); }, THREAD_PRIORITY_NORMAL);
    ASSERT_TRUE(waitFor(blocking));
    Sleep(20); // most likely inside the wait by now; just before it works too
    const auto start = clock_type::now();
    worker.join();
    EXPECT_LT(since(start), milliseconds(2000));
    EXPECT_TRUE(aborted);
    EXPECT_TRUE(isSignalled(worker.abort->handle)) << "the event stays signalled until the next start";
}

TEST(WorkerThread, StartAbortsAndJoinsTheEarlierThreadAndResetsTheEvent) {
    Qz::workerThread worker;
    std::atomic<bool> firstAborted{false};
    std::atomic<bool> firstEnded{false};
    std::atomic<bool> firstEndedBeforeSecond{false};
    std::atomic<bool> secondSawSignal{true};
    std::atomic<bool> secondRan{false};
    std::atomic<bool> firstBlocking{false};
    worker.start(
        [&] {
            firstAborted = blockUntilAborted(firstBlocking);
            firstEnded = true;
        },
        THREAD_PRIORITY_NORMAL);
    ASSERT_TRUE(waitFor(firstBlocking));
    const auto start = clock_type::now();
    worker.start(
        [&] {
            firstEndedBeforeSecond = firstEnded.load();
            secondSawSignal = Qz::abortSignalled();
            secondRan = true;
        },
        THREAD_PRIORITY_NORMAL);
    ASSERT_TRUE(waitFor(secondRan)) << "the reset event let the second body start";
    worker.join();
    EXPECT_LT(since(start), milliseconds(2000));
    EXPECT_TRUE(firstAborted);
    EXPECT_TRUE(firstEndedBeforeSecond);
    EXPECT_FALSE(secondSawSignal);
}

TEST(WorkerThread, BodyNeverStartsOnASignalledEvent) {
    // start resets an event, but a borrowed handle of an ended thread cannot
    // be reset: it is signalled for good, which is what a signal that comes
    // between start and the body looks like.
    HANDLE ended = CreateThread(NULL, 0, endAtOnce, NULL, 0, NULL);
    ASSERT_NE(ended, nullptr);
    WaitForSingleObject(ended, INFINITE);

    Qz::workerThread worker;
    worker.abort.emplace(ended, true);
    std::atomic<bool> ran{false};
    worker.start([&] { ran = true; }, THREAD_PRIORITY_NORMAL);
    worker.join();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(isOpen(ended));
    worker.abort.reset();
    CloseHandle(ended);
}

TEST(WorkerThread, BodysExceptionIsSwallowed) {
    Qz::workerThread worker;
    std::atomic<bool> threw{false};
    worker.start(
        [&] {
            threw = true;
            throw std::runtime_error("lost");
        },
        THREAD_PRIORITY_NORMAL);
    ASSERT_TRUE(waitFor(threw));
    worker.join();

    threw = false;
    worker.start(
        [&] {
            threw = true;
            throw 42;
        },
        THREAD_PRIORITY_NORMAL);
    ASSERT_TRUE(waitFor(threw));
    worker.join();

    // Had an exception escaped, the process would be gone by now; the
    // object is still usable.
    std::atomic<bool> ran{false};
    worker.start([&] { ran = true; }, THREAD_PRIORITY_NORMAL);
    EXPECT_TRUE(waitFor(ran));
    worker.join();
}

TEST(WorkerThread, StartsAtTheGivenPriorityAndJoinRaisesALowerOne) {
    ASSERT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_NORMAL);

    // Below the caller: raised while the caller waits. The raise comes just
    // after the abort, so the body watches for it rather than looking once.
    Qz::workerThread low;
    std::atomic<int> atStart{0};
    std::atomic<int> atEnd{0};
    std::atomic<bool> blocking{false};
    low.start(
        [&] {
            atStart = GetThreadPriority(GetCurrentThread());
            blockUntilAborted(blocking);
            for (int i = 0; i < 500 && GetThreadPriority(GetCurrentThread()) != THREAD_PRIORITY_NORMAL; ++i)
                Sleep(10);
            atEnd = GetThreadPriority(GetCurrentThread());
        },
        THREAD_PRIORITY_LOWEST);
    ASSERT_TRUE(waitFor(blocking));
    low.join();
    EXPECT_EQ(atStart, THREAD_PRIORITY_LOWEST);
    EXPECT_EQ(atEnd, THREAD_PRIORITY_NORMAL);

    // Above the caller: never lowered.
    Qz::workerThread high;
    blocking = false;
    high.start(
        [&] {
            atStart = GetThreadPriority(GetCurrentThread());
            blockUntilAborted(blocking);
            Sleep(200);
            atEnd = GetThreadPriority(GetCurrentThread());
        },
        THREAD_PRIORITY_ABOVE_NORMAL);
    ASSERT_TRUE(waitFor(blocking));
    high.join();
    EXPECT_EQ(atStart, THREAD_PRIORITY_ABOVE_NORMAL);
    EXPECT_EQ(atEnd, THREAD_PRIORITY_ABOVE_NORMAL);
}

TEST(WorkerThread, DestructorSignalsOnlyWhenAskedButAlwaysWaits) {
    std::atomic<bool> aborted{false};
    std::atomic<bool> blocking{false};
    {
        Qz::workerThread worker("abort on destroy",
                                Qz::workerThread::withAbortEvent | Qz::workerThread::abortOnDestroy);
        worker.start([&] { aborted = blockUntilAborted(blocking); }, THREAD_PRIORITY_NORMAL);
        ASSERT_TRUE(waitFor(blocking));
    }
    EXPECT_TRUE(aborted);

    std::atomic<bool> finished{false};
    std::atomic<bool> signalledAtEnd{true};
    {
        Qz::workerThread worker("wait on destroy", Qz::workerThread::withAbortEvent);
        worker.start(
            [&] {
                Sleep(100);
                signalledAtEnd = Qz::abortSignalled();
                finished = true;
            },
            THREAD_PRIORITY_NORMAL);
    }
    EXPECT_TRUE(finished) << "the destructor waited for the body";
    EXPECT_FALSE(signalledAtEnd);
}

} // namespace
