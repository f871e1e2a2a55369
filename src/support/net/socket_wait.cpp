#include "support/net/socket_wait.h"

#include "support/error/error.h"
#include "support/thread/abort.h"

namespace Qz {

namespace {

// Whole microseconds, rounded to the nearest.
timeval toTimeval(double seconds) {
    const uint64_t micros = uint64_t(seconds * 1000000.0 + 0.5);
    timeval value;
    value.tv_sec = long(micros / 1000000);
    value.tv_usec = long(micros % 1000000);
    return value;
}

fd_set* orNull(fd_set& set) { return set.fd_count ? &set : nullptr; }

} // namespace

bool selectWait(fd_set& read, fd_set& write, fd_set& except, double seconds) {
    double waited = 0;
    waitable* const abort = currentAbortBinding();
    // A bound thread wakes every 0.1 s to look at its abort event; an
    // unbound one only needs to wake for its own limit.
    const double slice = abort ? 0.1 : (seconds >= 0 ? seconds : 3600.0);
    for (;;) {
        abortCheck();
        fd_set r = read, w = write, e = except;
        timeval limit = toTimeval(slice);
        const int result = ::select(0, orNull(r), orNull(w), orNull(e), &limit);
        if (result < 0)
            throw network_error();
        if (result > 0) {
            read = r;
            write = w;
            except = e;
            return true;
        }
        waited += slice;
        if (seconds >= 0 && waited >= seconds)
            return false;
    }
}

uint32_t waitSocket(const socketHandle& handle, bool read, bool write) {
    const SOCKET s = SOCKET(handle.socket);
    fd_set r, w, e;
    FD_ZERO(&r);
    FD_ZERO(&w);
    FD_ZERO(&e);
    FD_SET(s, &e);
    if (read)
        FD_SET(s, &r);
    if (write)
        FD_SET(s, &w);
    if (!selectWait(r, w, e, handle.timeout))
        throw network_error_timeout();
    if (FD_ISSET(s, &e))
        throw network_error();
    uint32_t result = 0;
    if (read && FD_ISSET(s, &r))
        result |= socketReadable;
    if (write && FD_ISSET(s, &w))
        result |= socketWritable;
    if (result == 0)
        throw network_error();
    return result;
}

} // namespace Qz
