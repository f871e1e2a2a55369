#include "support/net/net_connection.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "support/error/error.h"
#include "support/http/auth.h"
#include "support/http/header_block.h"
#include "support/http/reply_head.h"
#include "support/net/socket_factory.h"
#include "support/net/tcp_socket.h"
#include "support/text/text.h"
#include "support/text/url.h"

namespace Qz {

netSocket& netConnection::open() const {
    if (!socket)
        throw std::runtime_error("Socket not open");
    return *socket;
}

uint64_t netConnection::takeBuffered(void* buffer, uint64_t size) {
    const uint64_t count = std::min<uint64_t>(size, receivedEnd - receivedAt);
    if (count > 0) {
        std::memcpy(buffer, received.data() + receivedAt, size_t(count));
        receivedAt += size_t(count);
    }
    return count;
}

bool netConnection::refill(bool wait) {
    netSocket& from = open();
    received.resize(receiveBufferSize);
    receivedAt = receivedEnd = 0;
    const uint64_t got = wait ? from.readSome(received.data(), received.size())
                              : from.readDirect(received.data(), received.size());
    receivedEnd = size_t(got);
    return got > 0;
}

// As a socket's read: blocks until `size` or the end of the data, where a
// receive that gives nothing after a wait counts as the end.
uint64_t netConnection::read(void* buffer, uint64_t size) {
    open();
    uint64_t done = 0;
    while (done < size) {
        done += takeBuffered(static_cast<char*>(buffer) + done, size - done);
        if (done == size || !refill(true))
            break;
    }
    return done;
}

uint64_t netConnection::readSome(void* buffer, uint64_t size) {
    open();
    if (size == 0)
        return 0;
    if (receivedAt == receivedEnd)
        refill(true);
    return takeBuffered(buffer, size);
}

uint64_t netConnection::readDirect(void* buffer, uint64_t size) {
    open();
    if (size == 0)
        return 0;
    if (receivedAt == receivedEnd)
        refill(false);
    return takeBuffered(buffer, size);
}

void netConnection::waitReadable() {
    if (socket && receivedAt == receivedEnd)
        socket->waitReadable();
}

bool netConnection::isReadable() { return socket && (receivedAt < receivedEnd || socket->isReadable()); }

void netConnection::write(const void* buffer, uint64_t size) {
    if (size == 0)
        return;
    open().write(buffer, size);
}

uint64_t netConnection::writeDirect(const void* buffer, uint64_t size) { return open().writeDirect(buffer, size); }

void netConnection::waitWritable() {
    if (socket)
        socket->waitWritable();
}

bool netConnection::isWritable() { return socket && socket->isWritable(); }

socketHandle* netConnection::handle() { return open().handle(); }
const socketHandle* netConnection::handle() const { return open().handle(); }

// Request bodies go out whole: the reply is read only after them anyway.
uint64_t netConnection::writeUntilReadable(const void* buffer, uint64_t size) {
    write(buffer, size);
    return size;
}

void netConnection::setTimeout(double seconds) {
    timeout = seconds;
    if (socket)
        socket->setTimeout(seconds);
}

bool netConnection::isOpen() const { return socket != nullptr; }

void netConnection::close() {
    socket.reset();
    receivedAt = receivedEnd = 0;
}

void netConnection::shutdown(int how) {
    if (socket)
        socket->shutdown(how);
}

void netConnection::addStateCallback(socketStateCallback callback) { stateCallbacks.push_back(std::move(callback)); }

bool netConnection::isKind(const kindGuid&) const { return false; }

void netConnection::setNoDelay(bool on) {
    if (socket)
        socket->setNoDelay(on);
}

void netConnection::checkError() {
    if (socket)
        socket->checkError();
}

uint32_t netConnection::tlsFlagsFor(const std::string& host) {
    if (tlsPolicy)
        tlsFlags = tlsPolicy(host);
    return tlsFlags != 0 ? tlsNoCertificateCheck : 0;
}

namespace {

// A new socket gets the connection's time-out and callbacks, whether it goes
// to the target or to a proxy: a stalled proxy must not hang the caller.
void prepare(netSocket& fresh, double timeout, const std::vector<socketStateCallback>& callbacks) {
    if (timeout > 0)
        fresh.setTimeout(timeout);
    for (const socketStateCallback& callback : callbacks)
        fresh.addStateCallback(callback);
}

} // namespace

void netConnection::connect(const std::string& host, const std::string& port, uint32_t flags) {
    close();
    try {
        if (proxyUrl.empty()) {
            if (flags & connectTls)
                socket = sockets().newTlsSocket(tlsFlagsFor(host));
            else if (flags & connectPlain)
                socket = std::make_shared<tcpSocket>();
            else
                socket = sockets().newTcpSocket();
            // A TLS channel takes neither: they reach the socket below through
            // the time-out of its handle, and callbacks are the plain kind's.
            prepare(*socket, timeout, (flags & connectTls) ? std::vector<socketStateCallback>() : stateCallbacks);
            socket->connect(host, port, flags);
        } else {
            openTunnel(host, port);
            if (flags & connectTls) {
                if (!socket)
                    throw std::runtime_error("Not connected");
                socket = sockets().wrapTls(socket, host, tlsFlagsFor(host), nullptr);
            }
        }
    } catch (...) {
        close();
        throw;
    }
}

void netConnection::openTunnel(const std::string& host, const std::string& port) {
    urlParts proxy;
    if (!proxy.parse(proxyUrl, "http"))
        throw invalid_proxy_url();
    const std::string key = proxy.host + ":" + proxy.port;
    std::vector<std::string> challenges = authCache::instance().get(key);
    const std::string target = host + ":" + port;
    for (;;) {
        const std::string scheme = toLowerAscii(proxy.scheme);
        if (scheme == "http") {
            socket = std::make_shared<tcpSocket>();
            prepare(*socket, timeout, stateCallbacks);
            socket->connect(proxy.host, proxy.port, 0);
        } else if (scheme == "https") {
            socket = sockets().newTlsSocket(tlsFlagsFor(proxy.host));
            prepare(*socket, timeout, {});
            socket->connect(proxy.host, proxy.port, connectTls);
        } else {
            throw invalid_proxy_url();
        }

        std::string text = "CONNECT " + target + " HTTP/1.1\r\nHost: " + target + "\r\n";
        std::string answer;
        if (!proxy.user.empty() && !challenges.empty() &&
            authAnswer("CONNECT", challenges, proxy.credentials(), target, answer))
            text += "Proxy-Authorization: " + answer + "\r\n";
        text += "\r\n";
        socket->write(text.data(), text.size());

        uint32_t status = 0;
        std::string reason, headers;
        readTunnelHead(*socket, status, reason, headers);
        if (status == 200)
            return;
        if (status != 407 || proxy.user.empty() || !challenges.empty())
            throw httpRequest_errors::error(httpStatusText(reason, status));
        std::vector<std::string> offered;
        if (!getHeaders(headers, "Proxy-Authenticate", offered))
            throw httpRequest_errors::invalid_reply();
        // Asking again without an answer would only bring the same 407.
        if (!authAnswer("CONNECT", offered, proxy.credentials(), target, answer))
            throw httpRequest_errors::error(httpStatusText(reason, status));
        close();
        authCache::instance().set(key, offered);
        challenges = offered;
    }
}

} // namespace Qz
