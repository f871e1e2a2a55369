#include "support/net/net_socket.h"

#include <cstring>

#include "support/error/error.h"
#include "support/net/winsock.h"

namespace Qz {

bool operator==(const kindGuid& a, const kindGuid& b) {
    return a.data1 == b.data1 && a.data2 == b.data2 && a.data3 == b.data3 &&
           std::memcmp(a.data4, b.data4, sizeof a.data4) == 0;
}

void netSocket::setTimeout(double seconds) {
    socketHandle* native = handle();
    if (!native)
        throw not_implemented();
    native->timeout = seconds;
}

bool netSocket::isOpen() const {
    const socketHandle* native = handle();
    if (!native)
        throw not_implemented();
    return native->socket != invalidSocket;
}

void netSocket::shutdown(int how) {
    socketHandle* native = handle();
    if (!native)
        throw not_implemented();
    if (native->socket != invalidSocket)
        ::shutdown(SOCKET(native->socket), how);
}

bool netSocket::isKind(const kindGuid&) const { return false; }

void netSocket::setNoDelay(bool on) {
    socketHandle* native = handle();
    if (!native)
        throw not_implemented();
    const int32_t value = on ? 1 : 0;
    if (setsockopt(SOCKET(native->socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&value),
                   sizeof value) != 0)
        throwSocketError(uint32_t(WSAGetLastError()));
}

} // namespace Qz
