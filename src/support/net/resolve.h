// Name resolution for TCP streams.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Qz {

// One result of name resolution, as the system gave it.
struct socketAddress {
    int32_t flags = 0;
    int32_t family = 0;
    int32_t type = 0;
    int32_t protocol = 0;
    std::vector<uint8_t> address; // the sockaddr bytes
    std::string canonicalName;
};

// The addresses of `host` and `port` for a TCP stream, in the system's
// order. A name the system cannot resolve for now (WSATRY_AGAIN) is asked
// again: never with `timeout` 0, until `timeout` seconds have passed when
// it is above 0, without limit when it is negative. Throws
// Qz::network_error_timeout when the retries run out, Qz::network_error for
// any other failure and for an empty answer, Qz::user_abort on an abort.
// Any thread.
std::vector<socketAddress> resolveName(const std::string& host, const std::string& port, double timeout);

} // namespace Qz
