#include "support/net/tcp_socket.h"

#include <algorithm>
#include <climits>
#include <memory>

#include "support/error/error.h"
#include "support/net/resolve.h"
#include "support/net/socket_wait.h"
#include "support/thread/abort.h"
#include "support/thread/wait.h"

namespace Qz {

namespace {

// A peer that is not ready yet gets a moment instead of a busy loop.
void pause() { waitAny(nullptr, 0, 0.001); }

// One select with nothing to wait for but `s` in one set.
bool pollSet(const socketHandle& native, bool read) {
    fd_set r, w, e;
    FD_ZERO(&r);
    FD_ZERO(&w);
    FD_ZERO(&e);
    FD_SET(SOCKET(native.socket), read ? &r : &w);
    return selectWait(r, w, e, 0) && FD_ISSET(SOCKET(native.socket), read ? &r : &w);
}

} // namespace

tcpSocket::~tcpSocket() { close(); }

uint64_t tcpSocket::read(void* buffer, uint64_t size) {
    uint64_t done = 0;
    while (done < size) {
        waitReadable();
        const uint64_t got = readDirect(static_cast<char*>(buffer) + done, size - done);
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

int64_t tcpSocket::receive(void* buffer, uint64_t size) {
    const int want = int(std::min<uint64_t>(size, INT_MAX));
    const int got = ::recv(SOCKET(native.socket), static_cast<char*>(buffer), want, 0);
    if (got >= 0)
        return got;
    const int code = WSAGetLastError();
    if (code == WSAEWOULDBLOCK)
        return -1;
    throwSocketError(uint32_t(code));
}

uint64_t tcpSocket::readSome(void* buffer, uint64_t size) {
    if (size == 0)
        return 0;
    const int64_t got = receive(buffer, size);
    if (got >= 0)
        return uint64_t(got);
    waitReadable();
    return readDirect(buffer, size);
}

uint64_t tcpSocket::readDirect(void* buffer, uint64_t size) { return uint64_t(std::max<int64_t>(receive(buffer, size), 0)); }

void tcpSocket::waitReadable() { waitSocket(native, true, false); }

bool tcpSocket::isReadable() { return pollSet(native, true); }

void tcpSocket::write(const void* buffer, uint64_t size) {
    uint64_t done = 0;
    while (done < size) {
        waitWritable();
        const uint64_t sent = writeDirect(static_cast<const char*>(buffer) + done, size - done);
        if (sent == 0)
            pause();
        done += sent;
    }
}

uint64_t tcpSocket::writeDirect(const void* buffer, uint64_t size) {
    const int want = int(std::min(size, maxSendSize));
    const int sent = ::send(SOCKET(native.socket), static_cast<const char*>(buffer), want, 0);
    if (sent >= 0)
        return uint64_t(sent);
    const int code = WSAGetLastError();
    if (code == WSAEWOULDBLOCK)
        return 0;
    throwSocketError(uint32_t(code));
}

void tcpSocket::waitWritable() { waitSocket(native, false, true); }

bool tcpSocket::isWritable() { return pollSet(native, false); }

uint64_t tcpSocket::writeUntilReadable(const void* buffer, uint64_t size) {
    uint64_t done = 0;
    while (done < size) {
        // Whatever the peer says first (most likely an error reply) matters
        // more than the rest of the body.
        if (waitSocket(native, true, true) & socketReadable)
            break;
        const uint64_t sent = writeDirect(static_cast<const char*>(buffer) + done, size - done);
        if (sent == 0)
            pause();
        done += sent;
    }
    return done;
}

void tcpSocket::close() {
    if (native.socket == invalidSocket)
        return;
    ::shutdown(SOCKET(native.socket), SD_BOTH);
    closesocket(SOCKET(native.socket));
    native.socket = invalidSocket;
}

void tcpSocket::addStateCallback(socketStateCallback callback) { callbacks.push_back(std::move(callback)); }

void tcpSocket::notify(uint32_t state) {
    for (const socketStateCallback& callback : callbacks)
        callback(native, state);
}

void tcpSocket::checkError() {
    if (native.socket == invalidSocket)
        return;
    fd_set r, w, e;
    FD_ZERO(&r);
    FD_ZERO(&w);
    FD_ZERO(&e);
    FD_SET(SOCKET(native.socket), &e);
    if (selectWait(r, w, e, 0) && FD_ISSET(SOCKET(native.socket), &e))
        throw network_error();
}

void tcpSocket::connect(const std::string& host, const std::string& port, uint32_t flags) {
    if (flags & connectTls)
        throw not_implemented();
    std::vector<socketAddress> addresses;
    try {
        addresses = resolveName(host, port, native.timeout);
    } catch (const network_error& failure) {
        rethrowAsConnectError(failure);
    }
    // The last failure is the one reported: with several addresses it is
    // usually the most telling (IPv4 after IPv6).
    std::unique_ptr<network_error_connect> last;
    for (const socketAddress& address : addresses) {
        abortCheck();
        if (address.family != AF_INET && address.family != AF_INET6)
            continue;
        try {
            tryAddress(address);
            return;
        } catch (const network_error& failure) {
            // A half-made connection is not left looking open.
            close();
            try {
                rethrowAsConnectError(failure);
            } catch (const network_error_connect& connectFailure) {
                last.reset(new network_error_connect(connectFailure));
            }
        }
    }
    if (last)
        throw *last;
    throw network_error_connect();
}

void tcpSocket::tryAddress(const socketAddress& address) {
    close();
    abortCheck();
    const SOCKET s = ::socket(address.family, address.type, address.protocol);
    if (s == INVALID_SOCKET)
        throwSocketError(uint32_t(WSAGetLastError()));
    native.socket = uintptr_t(s);
    u_long nonBlocking = 1;
    ioctlsocket(s, FIONBIO, &nonBlocking);
    notify(1);
    if (address.address.empty())
        throw network_error();
    abortCheck();
    if (::connect(s, reinterpret_cast<const sockaddr*>(address.address.data()), int(address.address.size())) != 0) {
        const int code = WSAGetLastError();
        if (code != WSAEWOULDBLOCK)
            throwSocketError(uint32_t(code));
        waitSocket(native, false, true);
    }
    notify(2);
}

} // namespace Qz
