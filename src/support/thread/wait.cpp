#include "support/thread/wait.h"

#include <vector>

#include "support/error/error.h"
#include "support/thread/abort.h"
#include "support/win32.h"

namespace Qz {

namespace {

constexpr uint64_t none = ~uint64_t(0);

// Rounded to the nearest millisecond. A finite time-out too large for the
// system stays finite rather than wrapping into INFINITE or into a short
// wait.
DWORD toMilliseconds(double seconds) {
    const double ms = seconds * 1000.0 + 0.5;
    if (ms >= double(INFINITE - 1))
        return INFINITE - 1;
    return DWORD(ms);
}

} // namespace

uint64_t waitAny(waitable* const* objects, uint64_t count, double seconds) {
    waitable* const abort = currentAbortBinding();
    const uint64_t first = abort ? 1 : 0; // where the caller's objects start
    const uint64_t n = count + first;

    if (n == 0) {
        Sleep(seconds < 0 ? INFINITE : toMilliseconds(seconds));
        return none;
    }
    // The system would refuse the wait anyway; refusing here keeps a huge
    // count from reaching the allocation below.
    if (n > MAXIMUM_WAIT_OBJECTS)
        return none;

    // The usual case (a socket or pipe event plus the abort event) needs no
    // heap.
    HANDLE onStack[16];
    std::vector<HANDLE> onHeap;
    HANDLE* handles = onStack;
    if (n > sizeof onStack / sizeof onStack[0]) {
        onHeap.resize(size_t(n));
        handles = onHeap.data();
    }
    if (abort)
        handles[0] = static_cast<HANDLE>(abort->handle);
    for (uint64_t i = 0; i < count; ++i)
        handles[first + i] = static_cast<HANDLE>(objects[i]->handle);

    ULONGLONG started = 0;
    bool firstPass = true;
    for (;;) {
        DWORD timeout = INFINITE;
        if (seconds >= 0) {
            double left = seconds;
            if (firstPass) {
                started = GetTickCount64();
                firstPass = false;
            } else {
                left -= double(GetTickCount64() - started) / 1000.0;
                if (left < 0)
                    left = 0;
            }
            timeout = toMilliseconds(left);
        }

        const DWORD result = WaitForMultipleObjects(DWORD(n), handles, FALSE, timeout);
        // WAIT_OBJECT_0 is 0, so the result is the index itself. Time-out,
        // failure and abandoned mutexes all lie at n and above.
        if (result >= n)
            return none;
        if (abort && result == 0) {
            if (abort->confirm())
                throw user_abort();
            continue;
        }
        const uint64_t index = result - first;
        if (objects[index]->confirm())
            return index;
    }
}

} // namespace Qz
