// A TCP connection on a Winsock stream socket kept in non-blocking mode, so
// that every wait goes through select in slices and an abort reaches it
// within 0.1 s. Made through Qz::socketFactory (newTcpSocket).
//
// One thread at a time. Winsock must have been started in the process.
#pragma once

#include <vector>

#include "support/net/net_socket.h"

namespace Qz {

struct socketAddress;

class tcpSocket : public netSocket {
public:
    tcpSocket() = default;
    ~tcpSocket(); // closes
    tcpSocket(const tcpSocket&) = delete;
    tcpSocket& operator=(const tcpSocket&) = delete;

    // Reader. The end of the data and a wake without data both read as 0
    // from readDirect; read and readSome wait where nothing has come yet, so
    // 0 there is the end. readSome receives before it waits: under Wine a
    // wait is a wineserver round trip, which data already there need not pay.
    uint64_t read(void* buffer, uint64_t size) override;
    uint64_t readSome(void* buffer, uint64_t size) override;
    uint64_t readDirect(void* buffer, uint64_t size) override;
    void waitReadable() override;
    // Polls; on a thread with an abort binding that costs one slice of 0.1 s
    // when nothing is there.
    bool isReadable() override;

    // Writer. No single send moves more than 16384 bytes, so a long write
    // keeps passing through the wait and its abort check.
    void write(const void* buffer, uint64_t size) override;
    uint64_t writeDirect(const void* buffer, uint64_t size) override;
    void waitWritable() override;
    bool isWritable() override;

    // Tries each address of `host` in turn; TLS (flag bit 0) is
    // Qz::not_implemented here. Failures, time-outs included, are
    // Qz::network_error_connect ("could not connect: <cause>").
    void connect(const std::string& host, const std::string& port, uint32_t flags) override;
    socketHandle* handle() override { return &native; }
    const socketHandle* handle() const override { return &native; }
    uint64_t writeUntilReadable(const void* buffer, uint64_t size) override;
    void close() override;
    void addStateCallback(socketStateCallback callback) override;
    void checkError() override;

private:
    void tryAddress(const socketAddress& address);
    // One recv: the count, or -1 if nothing has come yet.
    int64_t receive(void* buffer, uint64_t size);
    void notify(uint32_t state);

    socketHandle native;
    std::vector<socketStateCallback> callbacks;
};

// The most one send is given.
const uint64_t maxSendSize = 16384;

} // namespace Qz
