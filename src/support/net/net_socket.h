// The byte stream of the network layer: a reader and a writer in one object,
// with the few operations a connection needs on top. Plain TCP, TLS and the
// HTTP connection all present this interface, so that the layers above never
// name a concrete kind (they get sockets from Qz::socketFactory).
//
// This header stays free of <windows.h>: the native socket is kept as an
// integer of the size of SOCKET.
//
// One thread at a time uses a socket. Blocking operations end with
// Qz::user_abort within 0.1 s once the calling thread's abort event is set.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/file/file.h"

namespace Qz {

// INVALID_SOCKET without the Winsock headers.
const uintptr_t invalidSocket = ~uintptr_t(0);

// The native part that waits work on.
struct socketHandle {
    uintptr_t socket = invalidSocket;
    // Seconds for each wait; negative: no limit. Survives reconnects.
    double timeout = -1.0;
};

// A socket kind's identifier, laid out as a Win32 GUID.
struct kindGuid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
};
bool operator==(const kindGuid& a, const kindGuid& b);

// Called with state 1 when a socket has been created for an address (before
// it connects), with state 2 once it is connected.
using socketStateCallback = std::function<void(socketHandle&, uint32_t state)>;

// Flags of connect.
const uint32_t connectTls = 1;   // the channel runs TLS
const uint32_t connectPlain = 2; // plain bytes

class netSocket : public fileReader, public fileWriter {
public:
    // Opens the connection to `host` (a name or an address) and `port`.
    // Every failure to reach the peer is Qz::network_error_connect; an
    // abort is Qz::user_abort.
    virtual void connect(const std::string& host, const std::string& port, uint32_t flags) = 0;
    // The native part, or null for a kind without one.
    virtual socketHandle* handle() = 0;
    virtual const socketHandle* handle() const = 0;
    // Writes until `size` is written or the peer has something to say;
    // returns the count written.
    virtual uint64_t writeUntilReadable(const void* buffer, uint64_t size) = 0;
    // The four below throw Qz::not_implemented where handle() is null.
    virtual void setTimeout(double seconds);
    virtual bool isOpen() const;
    virtual void close() = 0;
    virtual void shutdown(int how);
    virtual void addStateCallback(socketStateCallback callback) = 0;
    // Tells kinds apart without run-time type inquiry; false by default.
    virtual bool isKind(const kindGuid& kind) const;
    virtual void setNoDelay(bool on);
    // Throws Qz::network_error if the socket has a pending error condition.
    virtual void checkError() = 0;

protected:
    ~netSocket() = default;
};

} // namespace Qz
