// TLS over another netSocket, by the system's security provider (SChannel)
// with Crypt32 judging the server's certificate. The library holds no cipher
// or certificate code: it passes handshake tokens, frames records through
// the provider, and queues what it decrypts, one block per record.
//
// Closed, then handshaking (bytes pass through unencrypted), then
// established (writes encrypt, reads decrypt), closed again by close().
//
// Handshake and certificate failures are Qz::exception_network_authentication,
// deliberately outside Qz::network_error so that nobody retries them; a
// record cut short by the end of the connection is Qz::network_error.
//
// One thread at a time. A blocked read sits in the transport's wait and so
// leaves by Qz::user_abort like any socket read.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "support/net/net_socket.h"

namespace Qz {

// Flags of a TLS channel.
const uint32_t tlsNoCertificateCheck = 1; // accept any server certificate
const uint32_t tlsServer = 2;             // wrapTls: take the server role

// What isKind answers true to.
extern const kindGuid tlsSocketKind;

// An SSPI handle (credentials or context) without the system's headers:
// both words zero while there is none.
struct securityHandle {
    uintptr_t lower = 0;
    uintptr_t upper = 0;
    bool empty() const { return lower == 0 && upper == 0; }
};

class tlsSocket : public netSocket {
public:
    tlsSocket(std::shared_ptr<netSocket> transport, uint32_t flags);
    ~tlsSocket();
    tlsSocket(const tlsSocket&) = delete;
    tlsSocket& operator=(const tlsSocket&) = delete;

    // Reader: one record is decrypted at a time and read out before the
    // next; a read never spans two records. 0 is the orderly end (the
    // peer's close_notify, or its close between records).
    uint64_t read(void* buffer, uint64_t size) override;
    uint64_t readSome(void* buffer, uint64_t size) override;

    // Writer: records of at most the provider's maximum message size.
    void write(const void* buffer, uint64_t size) override;

    // Connects the transport to `host` and `port` and runs the handshake as
    // client with `host` as the name the certificate must carry.
    void connect(const std::string& host, const std::string& port, uint32_t flags) override;
    // The transport's: time-outs and isOpen work on the socket below.
    socketHandle* handle() override { return transport->handle(); }
    const socketHandle* handle() const override { return transport->handle(); }
    uint64_t writeUntilReadable(const void* buffer, uint64_t size) override;
    void close() override;
    void shutdown(int how) override;
    void addStateCallback(socketStateCallback callback) override; // Qz::not_implemented
    bool isKind(const kindGuid& kind) const override;
    void checkError() override;

    // The handshake over an already connected transport, as wrapTls does
    // it: as server if `asServer`, with the credentials of `earlier` when
    // that is a TLS channel too.
    void handshakeOver(const std::string& host, bool asServer, netSocket* earlier);

private:
    void handshake(bool asServer, std::shared_ptr<securityHandle> credentials);
    void resetChannel();
    void clientHandshake();
    void handshakeLoop(const uint8_t* pending, size_t pendingSize);
    void sendToken(void* token, unsigned long size);
    void fill();

    std::wstring host;
    std::shared_ptr<netSocket> transport;
    uint32_t protocols = 0;              // 0: the system's choice
    const void* certificate = nullptr;   // own certificate; none in a client
    bool isServer = false;
    std::shared_ptr<securityHandle> credentials;
    securityHandle context;
    bool established = false;
    std::deque<std::vector<uint8_t>> received;
    size_t receivedOffset = 0; // into received.front()
    std::vector<uint8_t> encrypted;
    uint32_t encryptedSize = 0;
    uint32_t flags = 0;
    bool peerClosed = false; // close_notify seen: nothing more will come
};

} // namespace Qz
