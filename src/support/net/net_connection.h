// The transport an HTTP request holds by value: a socket that makes a new
// real socket behind it for each connect, so that one request object
// outlives any number of connections. It picks a plain or a TLS socket and
// can reach its target through an HTTP proxy by CONNECT, answering the
// proxy's authentication challenge once, and start TLS once the tunnel
// stands.
//
// Reads go through a receive buffer of its own: the HTTP layer reads header
// lines byte by byte and bodies in pieces of 4096 bytes, and under Wine each
// wait and each receive on a socket is a round trip to the wineserver. One
// receive of up to receiveBufferSize bytes (and a wait, if nothing has come
// yet) serves the small reads that follow. Bytes a connection buffered and nobody read are dropped with
// it (close, connect).
//
// One thread at a time. Reads and writes without a connection throw a plain
// std::runtime_error "Socket not open".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/net/net_socket.h"

namespace Qz {

// The most bytes one receive of a connection asks its socket for.
const size_t receiveBufferSize = 262144;

class netConnection : public netSocket {
public:
    netConnection() = default;
    netConnection(const netConnection&) = delete;
    netConnection& operator=(const netConnection&) = delete;

    uint32_t tlsFlags = 0; // of each TLS socket; 0 checks certificates
    // If set, asked for `tlsFlags` with the host name before each TLS socket.
    std::function<uint32_t(const std::string& host)> tlsPolicy;
    // URL of a proxy to tunnel through, http or https; empty: direct.
    // Set before connect.
    std::string proxyUrl;

    uint64_t read(void* buffer, uint64_t size) override;
    uint64_t readSome(void* buffer, uint64_t size) override;
    uint64_t readDirect(void* buffer, uint64_t size) override;
    void waitReadable() override;
    bool isReadable() override;
    void write(const void* buffer, uint64_t size) override;
    uint64_t writeDirect(const void* buffer, uint64_t size) override;
    void waitWritable() override;
    bool isWritable() override;

    // Closes whatever is open, then connects with a new socket: `flags`
    // connectTls or connectPlain (neither: the factory's plain kind).
    // Through a proxy, a second attempt answers a 407 once. Throws
    // Qz::invalid_proxy_url, Qz::httpRequest::error with the proxy's status
    // text, Qz::httpRequest::invalid_reply for a malformed answer, and
    // whatever the socket throws; nothing is left open after a failure.
    void connect(const std::string& host, const std::string& port, uint32_t flags) override;
    socketHandle* handle() override;
    const socketHandle* handle() const override;
    uint64_t writeUntilReadable(const void* buffer, uint64_t size) override;
    void setTimeout(double seconds) override; // kept for every later socket
    // True while a socket exists, whatever its state: a peer's close shows
    // only through checkError or a read.
    bool isOpen() const override;
    void close() override;
    void shutdown(int how) override;
    void addStateCallback(socketStateCallback callback) override; // for later sockets only
    bool isKind(const kindGuid& kind) const override;
    void setNoDelay(bool on) override;
    void checkError() override;

private:
    netSocket& open() const;
    // Hands out up to `size` buffered bytes; 0 when the buffer is empty.
    uint64_t takeBuffered(void* buffer, uint64_t size);
    // Refills the empty buffer with one readSome (blocking) or readDirect of
    // the socket; false when that gave nothing.
    bool refill(bool wait);
    uint32_t tlsFlagsFor(const std::string& host);
    void openTunnel(const std::string& host, const std::string& port);

    std::shared_ptr<netSocket> socket;
    double timeout = 0.0;
    std::vector<socketStateCallback> stateCallbacks;
    std::vector<char> received;  // receiveBufferSize once the first read needs it
    size_t receivedAt = 0;       // next byte to hand out
    size_t receivedEnd = 0;      // end of the buffered bytes
};

} // namespace Qz
