// The abort binding: how a blocked operation is stopped from outside. A
// thread is bound to one waitable (a manual-reset event) through a
// thread-local pointer; every blocking routine of the library looks at it
// and leaves with Qz::user_abort when it is signalled. The main thread has
// no binding and so never aborts.
#pragma once

namespace Qz {

class waitable {
public:
    // Asked after the system reported `handle` as signalled; false means the
    // wake was not a real one and the wait goes on.
    virtual bool confirm() = 0;
    // Whether the handle is signalled right now. Asks the system; a kind
    // that knows without asking answers itself.
    virtual bool signalled();

    void* handle = nullptr; // a Win32 waitable handle

protected:
    ~waitable() = default;
};

// The calling thread's binding, or null.
waitable* currentAbortBinding();

// Binds `event` to the calling thread for the scope's life. Throws
// Qz::user_abort, binding nothing, if the event is already signalled.
class abortScope {
public:
    explicit abortScope(waitable& event);
    ~abortScope();
    abortScope(const abortScope&) = delete;
    abortScope& operator=(const abortScope&) = delete;

private:
    waitable* previous;
};

// Throws Qz::user_abort if the calling thread has a binding and it is
// signalled; does nothing on a thread without one.
void abortCheck();
// The same for a given event handle (null: nothing).
void abortCheck(void* eventHandle);
// True if the calling thread's abort event is signalled right now.
bool abortSignalled();

} // namespace Qz
