#include "support/thread/worker_thread.h"

#include <memory>
#include <process.h>
#include <utility>

#include "support/error/error.h"
#include "support/thread/thread_name.h"
#include "support/win32.h"

namespace Qz {

abortEvent::abortEvent(void* eventHandle, bool borrowed) : borrowed(borrowed) {
    handle = eventHandle;
}

abortEvent::~abortEvent() {
    closeOwned();
}

void abortEvent::closeOwned() noexcept {
    if (!borrowed) {
        scopedHandle owned(handle); // closes it here
    }
    handle = nullptr;
}

abortEvent::abortEvent(abortEvent&& other) noexcept
    : waitable(other), borrowed(other.borrowed), raised(other.raised.load()) {
    other.handle = nullptr;
}

abortEvent& abortEvent::operator=(abortEvent&& other) noexcept {
    if (this != &other) {
        closeOwned();
        handle = other.handle;
        borrowed = other.borrowed;
        raised = other.raised.load();
        other.handle = nullptr;
    }
    return *this;
}

void abortEvent::set() {
    raised = true;
    SetEvent(static_cast<HANDLE>(handle));
}

void abortEvent::reset() {
    ResetEvent(static_cast<HANDLE>(handle));
    raised = false;
}

bool abortEvent::signalled() { return borrowed ? waitable::signalled() : raised.load(); }

abortEvent abortEvent::create() {
    SetLastError(0);
    HANDLE event = CreateEventW(NULL, TRUE, FALSE, NULL);
    if (!event)
        throwLastError();
    return abortEvent(event);
}

namespace {

// What the new thread needs; it owns the block once it runs.
struct threadStart {
    std::function<void()> body;
    workerThread* owner;
};

unsigned __stdcall threadMain(void* argument) {
    std::unique_ptr<threadStart> start(static_cast<threadStart*>(argument));
    try {
        workerThread& owner = *start->owner;
        if (!owner.name.empty())
            setThreadName(owner.name);
        if (owner.abort) {
            abortScope scope(*owner.abort);
            start->body();
        } else {
            start->body();
        }
    } catch (...) {
        // Nobody is there to tell: the owner learns of a failure only if
        // the body reports it itself.
    }
    return 0;
}

} // namespace

workerThread::workerThread(std::string name, uint32_t flags) : name(std::move(name)), flags(flags) {}

workerThread::~workerThread() {
    if ((flags & abortOnDestroy) && abort)
        abort->set();
    waitForThread();
}

void workerThread::start(std::function<void()> body, int priority) {
    join();

    if (!(flags & withAbortEvent))
        abort.reset();
    else if (!abort)
        abort.emplace(abortEvent::create());
    else
        abort->reset();

    auto block = std::make_unique<threadStart>(threadStart{std::move(body), this});
    // Suspended, so that the priority holds from the thread's first
    // instruction.
    SetLastError(0);
    uintptr_t created = _beginthreadex(NULL, 0, threadMain, block.get(), CREATE_SUSPENDED, NULL);
    if (created == 0)
        throw bug_check();
    scopedHandle handle(reinterpret_cast<void*>(created));
    SetThreadPriority(static_cast<HANDLE>(handle.get()), priority);
    if (ResumeThread(static_cast<HANDLE>(handle.get())) == DWORD(-1)) {
        // It never ran a line of ours, so the block is still ours to free.
        TerminateThread(static_cast<HANDLE>(handle.get()), 0);
        WaitForSingleObject(static_cast<HANDLE>(handle.get()), INFINITE);
        throw bug_check();
    }
    block.release(); // the thread frees it
    thread = std::move(handle);
    running = true;
}

void workerThread::join() {
    if (abort)
        abort->set();
    waitForThread();
}

void workerThread::waitForThread() {
    if (!running)
        return;
    HANDLE worker = static_cast<HANDLE>(thread.get());
    const int mine = GetThreadPriority(GetCurrentThread());
    const int theirs = GetThreadPriority(worker);
    if (mine != THREAD_PRIORITY_ERROR_RETURN && theirs != THREAD_PRIORITY_ERROR_RETURN && mine > theirs)
        SetThreadPriority(worker, mine);
    WaitForSingleObject(worker, INFINITE);
    thread.reset();
    running = false;
}

} // namespace Qz
