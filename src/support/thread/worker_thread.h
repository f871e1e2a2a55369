// A thread of the library's own, stoppable from outside through its abort
// event (abort.h): the body runs bound to the event, so every blocking call
// of the library on that thread leaves with Qz::user_abort once the owner
// signals it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "support/scoped_handle.h"
#include "support/thread/abort.h"

namespace Qz {

// A manual-reset event used as an abort binding. Its wakes are always real.
// It owns `handle` and closes it on destruction unless `borrowed`.
class abortEvent final : public waitable {
public:
    abortEvent() = default;
    explicit abortEvent(void* eventHandle, bool borrowed = false);
    ~abortEvent();
    abortEvent(abortEvent&& other) noexcept;
    abortEvent& operator=(abortEvent&& other) noexcept;
    abortEvent(const abortEvent&) = delete;
    abortEvent& operator=(const abortEvent&) = delete;

    // An owned event, manual-reset and not signalled. Throws the mapped
    // Win32 failure if the system has none to give.
    static abortEvent create();

    bool confirm() override { return true; }

    // The owner signals and resets through these, never on the handle
    // itself: an owned event remembers its state, so that the checks of a
    // busy worker (one per read) need not ask the system, which under Wine
    // is a round trip to its server every time. A borrowed one is asked.
    void set();
    void reset();
    bool signalled() override;

    bool borrowed = false; // the handle belongs to somebody else

private:
    void closeOwned() noexcept;
    std::atomic<bool> raised{false};
};

// One thread at a time, started and joined by its owner. The object itself
// is used from one thread (the owner's); only the abort event is shared.
class workerThread {
public:
    static constexpr uint32_t withAbortEvent = 1; // flags bit 0
    static constexpr uint32_t abortOnDestroy = 2; // flags bit 1

    explicit workerThread(std::string name = {}, uint32_t flags = withAbortEvent | abortOnDestroy);
    // Signals the event only with abortOnDestroy; waits for the thread
    // either way, so without that bit the body has to end by itself.
    ~workerThread();
    workerThread(const workerThread&) = delete;
    workerThread& operator=(const workerThread&) = delete;

    // Runs `body` on a new thread at `priority` (a THREAD_PRIORITY_ value).
    // A thread still running from an earlier start is aborted and joined
    // first, and the event is reset, so the new body starts unsignalled.
    // With withAbortEvent the body runs under an abortScope on `abort`; if
    // the event is signalled before the body gets there, the body never
    // runs. An exception that leaves the body ends the thread silently: a
    // body whose failure matters catches it itself.
    // Throws Qz::bug_check if no thread can be created, the mapped Win32
    // failure if no event can be.
    void start(std::function<void()> body, int priority);

    // Signals the abort event, if any, and waits without limit for the
    // thread. A worker below the caller's priority is raised to it for the
    // wait, so that a busy low-priority worker cannot hold the caller up.
    // Being an abort, it also keeps a body that has not yet started from
    // ever running; a body meant to run to its end is waited for by the
    // destructor without abortOnDestroy instead.
    void join();

    std::string name;     // thread description; empty: none
    scopedHandle thread;  // valid while running
    bool running = false; // started and not yet joined
    std::optional<abortEvent> abort;
    uint32_t flags;

private:
    void waitForThread();
};

} // namespace Qz
