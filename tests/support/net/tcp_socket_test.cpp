// A plain TCP socket against a real server on loopback: data both ways and
// the orderly end, what a failed connect says, and waits that an abort or a
// time-out ends.

#include "support/net/tcp_socket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "../test_event.h"
#include "common/server_process.h"
#include "support/error/error.h"
#include "support/net/socket_factory.h"
#include "support/net/winsock.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::shared_ptr<Qz::tcpSocket> connected(const ServerProcess& server, std::vector<uint32_t>* states = nullptr) {
    startWinsock();
    std::shared_ptr<Qz::tcpSocket> socket = Qz::sockets().newTcpSocket();
    if (states)
        socket->addStateCallback([states](Qz::socketHandle&, uint32_t state) { states->push_back(state); });
    socket->setTimeout(10);
    socket->connect("127.0.0.1", server.portText(), Qz::connectPlain);
    return socket;
}

// A port on loopback that nobody listens on.
std::string closedPort() {
    startWinsock();
    SOCKET s = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address);
    int size = sizeof address;
    getsockname(s, reinterpret_cast<sockaddr*>(&address), &size);
    closesocket(s);
    return std::to_string(ntohs(address.sin_port));
}

TEST(TcpSocket, EchoesDataAndSeesTheOrderlyEnd) {
    ServerProcess server("tls_server.py", {"--plain", "--mode", "echo"});
    std::vector<uint32_t> states;
    std::shared_ptr<Qz::tcpSocket> socket = connected(server, &states);
    EXPECT_EQ(states, (std::vector<uint32_t>{1, 2}));
    EXPECT_TRUE(socket->isOpen());

    // More than the socket buffers hold, so that writes must wait for the
    // echo to be read; in a second thread, as a parent would.
    std::string sent(300000, '\0');
    for (size_t i = 0; i < sent.size(); ++i)
        sent[i] = char(i * 7 + i / 251);
    std::thread writer([&] {
        socket->write(sent.data(), sent.size());
        socket->shutdown(SD_SEND); // the server closes once it has echoed all
    });
    std::string echoed(sent.size() + 10, '\0');
    const uint64_t got = socket->read(&echoed[0], echoed.size());
    writer.join();
    ASSERT_EQ(got, sent.size()) << "the read ends with the server's close";
    echoed.resize(size_t(got));
    EXPECT_TRUE(echoed == sent) << "bytes changed on the way";
    char more;
    EXPECT_EQ(socket->readSome(&more, 1), 0u) << "the end stays the end";
    socket->close();
    EXPECT_FALSE(socket->isOpen());
}

TEST(TcpSocket, FailedConnectsSayWhy) {
    startWinsock();
    struct Row {
        const char* name;
        std::string host, port;
        uint32_t flags;
        const char* text;
    };
    const Row rows[] = {
        {"refused", "127.0.0.1", closedPort(), Qz::connectPlain, "could not connect: network error"},
        // A label over 63 characters fails in the resolver itself, without
        // asking any name server.
        {"name not found", std::string(70, 'a') + ".invalid", "80", Qz::connectPlain,
         "could not connect: network error"},
        {"TLS on a plain socket", "127.0.0.1", "80", Qz::connectTls, "not implemented"},
    };
    for (const Row& row : rows) {
        std::shared_ptr<Qz::tcpSocket> socket = Qz::sockets().newTcpSocket();
        socket->setTimeout(5);
        try {
            socket->connect(row.host, row.port, row.flags);
            ADD_FAILURE() << row.name << ": connected";
        } catch (const Qz::network_error_connect& failure) {
            EXPECT_STREQ(failure.what(), row.text) << row.name;
        } catch (const Qz::not_implemented& failure) {
            EXPECT_STREQ(failure.what(), row.text) << row.name;
        }
        EXPECT_FALSE(socket->isOpen()) << row.name;
    }
}

// A server that accepts and then says nothing: the read waits until the
// abort event or the time-out ends it.
TEST(TcpSocket, AbortOrTimeOutEndsAStalledRead) {
    ServerProcess server("tls_server.py", {"--plain", "--mode", "stall"});
    struct Row {
        const char* name;
        bool bound;
        double timeout;
        double abortAfter; // seconds; negative: never
        bool aborted;      // else timed out
        double within;     // of the abort or the time-out
    };
    const Row rows[] = {
        {"abort, no time-out", true, -1, 0.3, true, 0.1},
        {"abort before the time-out", true, 5, 0.3, true, 0.1},
        {"time-out on a bound thread", true, 0.5, -1, false, 0.2},
        {"time-out on an unbound thread", false, 0.5, -1, false, 0.2},
    };
    for (const Row& row : rows) {
        std::shared_ptr<Qz::tcpSocket> socket = connected(server);
        socket->setTimeout(row.timeout);
        TestEvent abort;
        std::unique_ptr<Qz::abortScope> scope(row.bound ? new Qz::abortScope(abort) : nullptr);
        Clock::time_point signalled = Clock::now();
        std::thread signaller([&] {
            if (row.abortAfter < 0)
                return;
            std::this_thread::sleep_for(std::chrono::duration<double>(row.abortAfter));
            signalled = Clock::now();
            abort.signal();
        });
        const Clock::time_point start = Clock::now();
        char byte;
        bool aborted = false, timedOut = false;
        try {
            socket->read(&byte, 1);
        } catch (const Qz::user_abort&) {
            aborted = true;
        } catch (const Qz::network_error_timeout&) {
            timedOut = true;
        }
        const Clock::time_point end = Clock::now();
        signaller.join();
        EXPECT_EQ(aborted, row.aborted) << row.name;
        EXPECT_EQ(timedOut, !row.aborted) << row.name;
        const double late = row.aborted ? std::chrono::duration<double>(end - signalled).count()
                                        : secondsSince(start) - row.timeout;
        // Scheduling under Wine adds a little to the slice.
        EXPECT_LT(late, row.within + 0.1) << row.name;
        EXPECT_GT(late, -0.05) << row.name;
    }
}

TEST(TcpSocket, WriteUntilReadableYieldsToAPeerThatSpoke) {
    ServerProcess server("tls_server.py", {"--plain", "--mode", "reply", "--reply", "stop"});
    std::shared_ptr<Qz::tcpSocket> socket = connected(server);
    socket->waitReadable();
    const std::string body(100000, 'b');
    EXPECT_EQ(socket->writeUntilReadable(body.data(), body.size()), 0u);
    char reply[5] = {};
    EXPECT_EQ(socket->read(reply, 4), 4u);
    EXPECT_STREQ(reply, "stop");
}

} // namespace
