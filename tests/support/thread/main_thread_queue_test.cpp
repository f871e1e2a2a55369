#include "support/thread/main_thread_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/thread/message_pump.h"
#include "support/win32.h"

namespace {

constexpr WPARAM postMark = 0xD062F41;

// Takes the queue's messages off the calling thread's queue, dispatches
// them and says how many there were.
int dispatchQueueMessages() {
    int count = 0;
    MSG msg = {};
    while (PeekMessageW(&msg, NULL, WM_USER, WM_USER, PM_REMOVE)) {
        if (msg.wParam == postMark)
            ++count;
        DispatchMessageW(&msg);
    }
    return count;
}

class MainThreadQueue : public testing::Test {
protected:
    // Nothing left over from an earlier test's window.
    void SetUp() override { Qz::pumpMessages(); }
};

TEST_F(MainThreadQueue, PostsBeforeThePumpShareOneMessageAndRunInOrder) {
    Qz::mainThreadQueue queue;
    std::string order;
    queue.post([&] { order += 'a'; });
    queue.post([&] { order += 'b'; });
    EXPECT_EQ(order, "") << "nothing runs before the thread dispatches";
    EXPECT_EQ(dispatchQueueMessages(), 1);
    EXPECT_EQ(order, "ab");

    // Once drained, the next post needs a message of its own.
    queue.post([&] { order += 'c'; });
    EXPECT_EQ(dispatchQueueMessages(), 1);
    EXPECT_EQ(order, "abc");
}

TEST_F(MainThreadQueue, CallbackFromAnotherThreadRunsOnTheWindowThread) {
    Qz::mainThreadQueue queue;
    std::atomic<DWORD> ranOn{0};
    std::thread poster([&] { queue.post([&] { ranOn = GetCurrentThreadId(); }); });
    poster.join();
    EXPECT_EQ(ranOn, 0u);
    Qz::pumpMessages();
    EXPECT_EQ(ranOn, GetCurrentThreadId());
}

TEST_F(MainThreadQueue, CallbackRunsWithoutTheLock) {
    Qz::mainThreadQueue queue;
    HANDLE posted = CreateEventW(NULL, TRUE, FALSE, NULL);
    std::atomic<bool> otherPostReturned{false};
    std::string order;
    std::thread poster;
    queue.post([&] {
        order += 'a';
        // A post from elsewhere while this callback runs: it would block if
        // the lock were held, and then so would we, until the 5 s are up.
        poster = std::thread([&] {
            queue.post([&] { order += 'c'; });
            SetEvent(posted);
        });
        otherPostReturned = WaitForSingleObject(posted, 5000) == WAIT_OBJECT_0;
        // And one from the callback itself.
        queue.post([&] { order += 'b'; });
    });
    Qz::pumpMessages();
    poster.join();
    Qz::pumpMessages();
    EXPECT_TRUE(otherPostReturned);
    EXPECT_EQ(order, "acb");
    CloseHandle(posted);
}

TEST_F(MainThreadQueue, ManyThreadsPostingLoseNothing) {
    Qz::mainThreadQueue queue;
    constexpr int threads = 4, posts = 500;
    std::vector<int> next(threads, 0);
    std::atomic<int> outOfOrder{0};
    std::atomic<int> total{0};
    std::vector<std::thread> posters;
    for (int t = 0; t < threads; ++t)
        posters.emplace_back([&, t] {
            for (int i = 0; i < posts; ++i)
                queue.post([&, t, i] {
                    // Callbacks run on this test's thread only: no lock needed.
                    if (next[t] != i)
                        ++outOfOrder;
                    next[t] = i + 1;
                    ++total;
                });
        });
    const DWORD deadline = GetTickCount() + 10000;
    while (total < threads * posts && GetTickCount() < deadline) {
        Qz::pumpMessages();
        Sleep(1);
    }
    for (auto& poster : posters)
        poster.join();
    Qz::pumpMessages();
    EXPECT_EQ(total, threads * posts);
    EXPECT_EQ(outOfOrder, 0) << "each thread's callbacks keep their order";
}

TEST_F(MainThreadQueue, ThrowingCallback) {
    Qz::mainThreadQueue queue;
    std::string order;

    // Called directly, drain lets the exception out and keeps the rest.
    queue.post([&] { order += 'a'; });
    queue.post([] { throw std::runtime_error("callback"); });
    queue.post([&] { order += 'b'; });
    EXPECT_THROW(queue.drain(), std::runtime_error);
    EXPECT_EQ(order, "a");
    queue.drain();
    EXPECT_EQ(order, "ab");

    // Through the message loop the exception stops there, and the rest run.
    Qz::pumpMessages(); // the message of the first burst, now with nothing to do
    queue.post([] { throw std::runtime_error("callback"); });
    queue.post([&] { order += 'c'; });
    EXPECT_EQ(dispatchQueueMessages(), 1);
    EXPECT_EQ(order, "abc");
}

TEST_F(MainThreadQueue, DestructorRunsWhatIsLeft) {
    std::string order;
    {
        Qz::mainThreadQueue queue;
        queue.post([&] { order += 'a'; });
        queue.post([&] { order += 'b'; });
    }
    EXPECT_EQ(order, "ab");
    EXPECT_EQ(dispatchQueueMessages(), 0) << "a message for the destroyed window goes with it";
}

TEST_F(MainThreadQueue, QueuesLiveSideBySide) {
    // The window class is registered once; a second queue must still work,
    // also after the first one is gone.
    std::string order;
    {
        Qz::mainThreadQueue first;
        Qz::mainThreadQueue second;
        second.post([&] { order += '2'; });
        first.post([&] { order += '1'; });
        Qz::pumpMessages();
    }
    Qz::mainThreadQueue third;
    third.post([&] { order += '3'; });
    Qz::pumpMessages();
    EXPECT_EQ(order, "213");
}

} // namespace
