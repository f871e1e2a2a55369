#include "support/net/resolve.h"

#include "support/error/error.h"
#include "support/net/winsock.h"
#include "support/thread/abort.h"
#include "support/thread/wait.h"

namespace Qz {

std::vector<socketAddress> resolveName(const std::string& host, const std::string& port, double timeout) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* list = nullptr;
    ULONGLONG firstRetry = 0;
    for (;;) {
        abortCheck();
        const int result = getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
        if (result == 0)
            break;
        // Only a resolver that cannot answer for now is worth asking again;
        // a name that does not exist stays so.
        if (result != WSATRY_AGAIN)
            throw network_error();
        if (timeout == 0)
            throw network_error_timeout();
        if (timeout > 0) {
            if (firstRetry == 0)
                firstRetry = GetTickCount64();
            else if (double(GetTickCount64() - firstRetry) / 1000.0 > timeout)
                throw network_error_timeout();
        }
        waitAny(nullptr, 0, timeout > 0 && timeout <= 1.0 ? 0.001 : 0.5);
    }
    std::vector<socketAddress> addresses;
    for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
        socketAddress address;
        address.flags = entry->ai_flags;
        address.family = entry->ai_family;
        address.type = entry->ai_socktype;
        address.protocol = entry->ai_protocol;
        if (entry->ai_addr && entry->ai_addrlen > 0) {
            const uint8_t* bytes = reinterpret_cast<const uint8_t*>(entry->ai_addr);
            address.address.assign(bytes, bytes + entry->ai_addrlen);
        }
        if (entry->ai_canonname)
            address.canonicalName = entry->ai_canonname;
        addresses.push_back(address);
    }
    freeaddrinfo(list);
    if (addresses.empty())
        throw network_error();
    return addresses;
}

} // namespace Qz
