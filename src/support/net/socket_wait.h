// Waiting on sockets in a way an abort can end: select runs in slices of
// 0.1 s on a thread with an abort binding, so Qz::user_abort comes within
// one slice of the event.
#pragma once

#include <cstdint>

#include "support/net/net_socket.h"
#include "support/net/winsock.h"

namespace Qz {

// Waits until select reports one of the three sets (each may be empty) and
// returns true with the sets as select left them; false once `seconds` have
// been waited (negative: no limit). Waited time counts slices, not the
// clock. Throws Qz::user_abort when the thread's abort event is set,
// Qz::network_error when select fails.
bool selectWait(fd_set& read, fd_set& write, fd_set& except, double seconds);

// Waits until the socket is readable (`read`) or writable (`write`), always
// watching for an error condition; returns bit 0 for readable, bit 1 for
// writable. Throws Qz::network_error_timeout after the handle's time-out,
// Qz::network_error for an error condition (a refused connect shows so).
uint32_t waitSocket(const socketHandle& handle, bool read, bool write);

const uint32_t socketReadable = 1;
const uint32_t socketWritable = 2;

} // namespace Qz
