// A worker blocked in the library's waits is stopped through its abort
// event: by a new start and by its owner going away.

#include "support/thread/worker_thread.h"

#include <gtest/gtest.h>

#include <atomic>

#include "support/error/error.h"
#include "support/thread/wait.h"
#include "support/win32.h"

namespace {

bool waitFor(const std::atomic<bool>& flag) {
    for (int i = 0; i < 1000 && !flag; ++i)
        Sleep(5);
    return flag;
}

// Blocks as a worker blocks on a transport, far longer than a test waits,
// so that only the abort event ends it in time; a missed abort fails the
// test after ten seconds instead of hanging it. Once `entered` is set an
// abort cannot be missed: a signalled event ends the wait at once.
void blockUntilAborted(std::atomic<bool>& entered, std::atomic<bool>& aborted) {
    entered = true;
    try {
        Qz::waitAny(nullptr, 0, 10);
    } catch (const Qz::user_abort&) {
        aborted = true;
    }
}

TEST(WorkerThread, NewStartAndOwnerGoingAwayAbortABlockedBody) {
    std::atomic<bool> entered{false}, aborted{false}, secondSawSignal{true}, secondRan{false};
    {
        Qz::workerThread worker; // with an abort event, signalled on destruction
        worker.start([&] { blockUntilAborted(entered, aborted); }, THREAD_PRIORITY_NORMAL);
        ASSERT_TRUE(waitFor(entered));
        worker.start(
            [&] {
                secondSawSignal = Qz::abortSignalled();
                secondRan = true;
            },
            THREAD_PRIORITY_NORMAL);
        EXPECT_TRUE(aborted) << "the earlier body was aborted and joined first";
        ASSERT_TRUE(waitFor(secondRan));
        EXPECT_FALSE(secondSawSignal) << "the event was reset for the new body";
        entered = aborted = false;
        worker.start([&] { blockUntilAborted(entered, aborted); }, THREAD_PRIORITY_NORMAL);
        ASSERT_TRUE(waitFor(entered));
    }
    EXPECT_TRUE(aborted) << "the owner going away aborted the body";
}

} // namespace
