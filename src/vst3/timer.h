// Timer and ITimerCallback under the SDK's names, which the SDK copy we build
// from lacks: a repeating timer that calls back on the thread that made it.
//
// Threads: a timer is a thread timer of the thread that creates it. Its
// callback runs on that thread, and only while that thread dispatches
// messages (a message loop, or Qz::pumpMessages); a thread that does not
// dispatch never sees it fire. Create, stop and release the last reference
// on that same thread. Timers of different threads are independent.
#pragma once

#include "base/source/fobject.h"

namespace Steinberg {

class Timer;

class ITimerCallback {
public:
    virtual ~ITimerCallback() {}
    // Runs on the timer's thread, from message dispatch. It may stop or
    // release the timer, or make others. It must not throw: an exception
    // that leaves it is dropped, since it cannot travel through the
    // system's dispatch.
    virtual void onTimer(Timer* timer) = 0;
};

class Timer : public FObject {
public:
    // A timer that calls `callback` about every `intervalMilliseconds`, with
    // one reference for the caller. The callback must stay alive until the
    // timer is stopped or released. Null when `callback` is null or the
    // system gives no timer. Throws std::bad_alloc.
    static Timer* create(ITimerCallback* callback, uint32 intervalMilliseconds);

    // No further calls of the callback, not even for a tick that is already
    // queued. Stopping again does nothing. Releasing the last reference
    // stops the timer too.
    virtual void stop() = 0;
};

} // namespace Steinberg
