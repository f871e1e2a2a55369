// TLS against a real TLS 1.2 server on loopback, with certificates the build
// made: a good one, and the three ways a certificate is refused; data both
// ways in several records, and the three ways a stream ends.

#include "support/net/tls_socket.h"

#include <gtest/gtest.h>

#include <memory>

#include "common/server_process.h"
#include "support/error/error.h"
#include "support/net/socket_factory.h"

namespace {

ServerProcess tlsServer(const std::string& certificate, const std::string& mode, const std::string& reply = "") {
    std::vector<std::string> arguments = {"--certs", testCertificatesFolder(), "--cert", certificate, "--mode", mode};
    if (!reply.empty())
        arguments.insert(arguments.end(), {"--reply", reply});
    return ServerProcess("tls_server.py", arguments);
}

// Into `text`, so that what came before a failure is kept.
void readToEnd(Qz::netSocket& socket, std::string& text) {
    char buffer[1000];
    while (uint64_t got = socket.readSome(buffer, sizeof buffer))
        text.append(buffer, size_t(got));
}

TEST(TlsSocket, StreamsOverAGoodCertificateAndEndsAsThePeerEnds) {
    startWinsock();
    trustTestAuthority();
    // Larger than one record (16 KiB) both ways.
    std::string big(70000, '\0');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = char(i % 251);
    struct Row {
        const char* name;
        std::string mode;
        bool wrapped; // connected through wrapTls over a plain socket
        std::string send;
        std::string expect; // what reading to the end gives
        bool cut;           // the end is a broken record: Qz::network_error
    };
    const Row rows[] = {
        {"echo", "echo", false, big, big, false},
        {"echo through wrapTls", "echo", true, "ping", "ping", false},
        {"close_notify with the connection still open", "close_notify", false, "", "last words", false},
        {"record cut by the connection's end", "drop", false, "", "last words", true},
    };
    for (const Row& row : rows) {
        ServerProcess server = tlsServer("good", row.mode, "last words");
        std::shared_ptr<Qz::tlsSocket> socket;
        if (row.wrapped) {
            std::shared_ptr<Qz::tcpSocket> plain = Qz::sockets().newTcpSocket();
            plain->connect("localhost", server.portText(), Qz::connectPlain);
            socket = Qz::sockets().wrapTls(plain, "localhost", 0, nullptr);
        } else {
            socket = Qz::sockets().newTlsSocket(0);
            socket->connect("localhost", server.portText(), Qz::connectTls);
        }
        // A read that misses the end runs into this instead of hanging.
        socket->setTimeout(5);
        std::string got;
        bool cut = false;
        try {
            if (!row.send.empty()) {
                socket->write(row.send.data(), row.send.size());
                got.resize(row.send.size());
                got.resize(size_t(socket->read(&got[0], got.size())));
            } else {
                readToEnd(*socket, got);
            }
        } catch (const Qz::network_error& failure) {
            cut = true;
            EXPECT_STREQ(failure.what(), "network error") << row.name;
        }
        EXPECT_EQ(cut, row.cut) << row.name;
        EXPECT_TRUE(got == row.expect) << row.name << ": " << got.size() << " bytes";
    }
}

TEST(TlsSocket, RefusesABadCertificateUnlessToldNotToCheck) {
    startWinsock();
    trustTestAuthority();
    struct Row {
        const char* name;
        std::string certificate;
        uint32_t flags;
        const char* status; // the end of the text; null: accepted
    };
    const Row rows[] = {
        {"expired", "expired", 0, "(80090328)"},         // SEC_E_CERT_EXPIRED
        {"wrong name", "wrongname", 0, "(800b010f)"},    // CERT_E_CN_NO_MATCH
        {"unknown issuer", "unknown", 0, "(800b010a)"},  // CERT_E_CHAINING
        {"expired, unchecked", "expired", Qz::tlsNoCertificateCheck, nullptr},
        {"unknown issuer, unchecked", "unknown", Qz::tlsNoCertificateCheck, nullptr},
    };
    for (const Row& row : rows) {
        ServerProcess server = tlsServer(row.certificate, "reply", "fine");
        std::shared_ptr<Qz::tlsSocket> socket = Qz::sockets().newTlsSocket(row.flags);
        socket->setTimeout(5);
        try {
            socket->connect("localhost", server.portText(), Qz::connectTls);
            EXPECT_EQ(row.status, nullptr) << row.name << ": accepted";
            std::string got;
            readToEnd(*socket, got);
            EXPECT_EQ(got, "fine") << row.name;
        } catch (const Qz::exception_network_authentication& failure) {
            const std::string text = failure.what();
            ASSERT_NE(row.status, nullptr) << row.name << ": " << text;
            EXPECT_EQ(text.rfind("Network authentication error", 0), 0u) << row.name << ": " << text;
            EXPECT_EQ(text.substr(text.size() - 10), row.status) << row.name << ": " << text;
        }
    }
}

} // namespace
