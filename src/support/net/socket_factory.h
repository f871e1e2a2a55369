// How the layers above get a socket without naming a concrete kind. One
// factory exists for the process: Qz::sockets().
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "support/net/net_socket.h"
#include "support/net/tcp_socket.h"
#include "support/net/tls_socket.h"

namespace Qz {

class socketFactory {
public:
    // A TLS channel over a new, unconnected TCP socket; `flags` are the
    // channel's (tlsNoCertificateCheck, ...). connect does the handshake.
    virtual std::shared_ptr<tlsSocket> newTlsSocket(uint32_t flags) = 0;
    virtual std::shared_ptr<tcpSocket> newTcpSocket() = 0;
    // A TLS channel over `connected`, for `host`, with the handshake done
    // before it returns (as server when `flags` has tlsServer). Takes the
    // credentials of `earlier` when that is a TLS channel, so a tunnel
    // does not acquire them twice. Throws what the handshake throws.
    virtual std::shared_ptr<tlsSocket> wrapTls(std::shared_ptr<netSocket> connected, const std::string& host,
                                               uint32_t flags, std::shared_ptr<netSocket> earlier) = 0;

protected:
    ~socketFactory() = default;
};

// The process's factory. Any thread.
socketFactory& sockets();

} // namespace Qz
