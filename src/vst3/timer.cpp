#include "vst3/timer.h"

#include <map>
#include <mutex>
#include <utility>

#include "support/win32.h"

namespace Steinberg {

namespace {

class Win32Timer;

// Thread timers have no window to carry a pointer, so the procedure finds
// its timer by id. Ids are only unique within one thread, hence the thread
// in the key. Timers of several threads share the map, hence the lock.
// Never destroyed: a timer may be released during static destruction.
struct Registry {
    std::mutex lock;
    std::map<std::pair<DWORD, UINT_PTR>, Win32Timer*> timers;
};

Registry& registry() {
    static Registry* all = new Registry();
    return *all;
}

class Win32Timer : public Timer {
public:
    explicit Win32Timer(ITimerCallback* target) : callback(target) {}
    ~Win32Timer() override { stop(); }

    // False when the system gives no timer.
    bool start(uint32 intervalMilliseconds);
    void stop() override;

    void fire() { callback->onTimer(this); }

private:
    ITimerCallback* callback;
    DWORD thread = 0;
    UINT_PTR id = 0;
};

void CALLBACK timerProc(HWND, UINT, UINT_PTR id, DWORD) {
    Win32Timer* timer = nullptr;
    {
        Registry& all = registry();
        std::lock_guard<std::mutex> hold(all.lock);
        auto found = all.timers.find(std::make_pair(GetCurrentThreadId(), id));
        if (found != all.timers.end())
            timer = found->second;
    }
    // A tick queued before KillTimer can still arrive: no entry, no call.
    if (!timer)
        return;
    // Not under the lock: the callback may stop this timer or make others.
    // The timer itself cannot go away meanwhile, since only this thread may
    // release it, and this thread is here.
    try {
        timer->fire();
    } catch (...) {
    }
}

bool Win32Timer::start(uint32 intervalMilliseconds) {
    Registry& all = registry();
    std::lock_guard<std::mutex> hold(all.lock);
    // Under the lock, so the entry exists before anything could ask for it.
    UINT_PTR made = SetTimer(NULL, 0, intervalMilliseconds, timerProc);
    if (made == 0)
        return false;
    const DWORD current = GetCurrentThreadId();
    try {
        all.timers[std::make_pair(current, made)] = this;
    } catch (...) {
        KillTimer(NULL, made);
        throw;
    }
    thread = current;
    id = made;
    return true;
}

void Win32Timer::stop() {
    if (id == 0)
        return;
    {
        Registry& all = registry();
        std::lock_guard<std::mutex> hold(all.lock);
        all.timers.erase(std::make_pair(thread, id));
    }
    KillTimer(NULL, id);
    id = 0;
}

} // namespace

Timer* Timer::create(ITimerCallback* callback, uint32 intervalMilliseconds) {
    if (!callback)
        return nullptr;
    Win32Timer* timer = new Win32Timer(callback);
    bool started = false;
    try {
        started = timer->start(intervalMilliseconds);
    } catch (...) {
        timer->release();
        throw;
    }
    if (!started) {
        timer->release();
        return nullptr;
    }
    return timer;
}

} // namespace Steinberg
