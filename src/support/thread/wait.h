// The library's one blocking wait. Every wait also watches the calling
// thread's abort binding (abort.h), so that a thread blocked here can be
// stopped from outside; a thread without a binding simply never aborts.
#pragma once

#include <cstdint>

namespace Qz {

class waitable;

// Waits until one of `objects` is signalled and its confirm() agrees, and
// returns that object's index. A negative `seconds` waits without limit. A
// confirm() that says no does not restart the clock: the wait goes on for
// what is left of `seconds`.
//
// Returns all ones on time-out and on a failed wait (a bad handle, or more
// handles than one system wait takes: 64 including the abort event). Throws
// Qz::user_abort when the calling thread's abort event is signalled, before
// or during the wait.
//
// With `count` 0 this is the library's sleep: it still leaves early with
// Qz::user_abort on a bound thread. Any thread.
uint64_t waitAny(waitable* const* objects, uint64_t count, double seconds);

} // namespace Qz
