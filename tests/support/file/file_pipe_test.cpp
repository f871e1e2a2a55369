// The client end of a named pipe against a server end made here: end of
// data on the peer's close, failures, time-out and abort of a blocked read.

#include "support/file/file_pipe.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/error/error.h"
#include "support/thread/abort.h"
#include "support/win32.h"
#include "../test_event.h"

namespace {

int pipesMade = 0;

// The parent's side: a server end, created before the client connects.
class Server {
public:
    Server() {
        name = L"\\\\.\\pipe\\fxhost-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
               std::to_wstring(++pipesMade);
        handle = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 65536, 65536, 0,
                                  NULL);
    }
    ~Server() { close(); }
    void close() {
        if (handle != INVALID_HANDLE_VALUE)
            CloseHandle(handle);
        handle = INVALID_HANDLE_VALUE;
    }
    void put(const std::string& bytes) {
        DWORD written = 0;
        ASSERT_TRUE(WriteFile(handle, bytes.data(), DWORD(bytes.size()), &written, NULL));
    }
    std::string take(size_t size) {
        std::string bytes(size, '\0');
        size_t done = 0;
        DWORD got = 0;
        while (done < size && ReadFile(handle, &bytes[done], DWORD(size - done), &got, NULL) && got)
            done += got;
        bytes.resize(done);
        return bytes;
    }
    std::wstring name;
    HANDLE handle;
};

TEST(FilePipe, ConnectMakesOneAttempt) {
    Qz::filePipe pipe;
    try {
        pipe.connect(L"\\\\.\\pipe\\fxhost-nobody-listens-here", GENERIC_READ);
        FAIL() << "connected to nothing";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "could not connect pipe");
    }
}

TEST(FilePipe, PeerCloseIsTheEndOfData) {
    Server server;
    Qz::filePipe pipe;
    pipe.connect(server.name, GENERIC_READ | GENERIC_WRITE);
    server.put("0123456789");
    server.close();
    char buffer[100];
    EXPECT_EQ(pipe.read(buffer, 100), 10u);
    EXPECT_EQ(pipe.read(buffer, 100), 0u);
    EXPECT_EQ(std::string(buffer, 3), "012");
}

TEST(FilePipe, ReadExactOnAShortStream) {
    Server server;
    Qz::filePipe pipe;
    pipe.connect(server.name, GENERIC_READ);
    server.put("0123456789");
    server.close();
    char buffer[100];
    EXPECT_THROW(pipe.readExact(buffer, 100), Qz::invalid_input);
}

TEST(FilePipe, ReadWaitsForTheWholeSizeAcrossWrites) {
    Server server;
    Qz::filePipe pipe;
    pipe.connect(server.name, GENERIC_READ | GENERIC_WRITE);
    std::string big(300000, '\0');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = char(i * 7);
    std::thread writer([&] {
        for (size_t at = 0; at < big.size(); at += 1000)
            server.put(big.substr(at, 1000));
    });
    std::string got(big.size(), '\0');
    EXPECT_EQ(pipe.read(&got[0], got.size()), big.size());
    writer.join();
    EXPECT_TRUE(got == big);

    // More than the pipe holds: the write completes as the peer reads.
    std::string taken;
    std::thread taker([&] { taken = server.take(big.size() / 2); });
    pipe.write(big.data(), big.size() / 2);
    taker.join();
    EXPECT_TRUE(taken == big.substr(0, big.size() / 2));
}

TEST(FilePipe, WriteToAClosedPeerFails) {
    Server server;
    Qz::filePipe pipe;
    pipe.connect(server.name, GENERIC_READ | GENERIC_WRITE);
    server.close();
    try {
        pipe.write("abc", 3);
        FAIL() << "wrote to a closed peer";
    } catch (const Qz::file_not_found&) {
        FAIL() << "a closed peer is not a missing file";
    } catch (const Qz::file_access_error& e) {
        EXPECT_STREQ(e.what(), "file access error");
    }
}

TEST(FilePipe, NothingToMoveNeedsNoCheck) {
    Server server;
    Qz::filePipe pipe;
    pipe.connect(server.name, GENERIC_READ | GENERIC_WRITE);
    TestEvent event;
    Qz::abortScope scope(event);
    event.signal();
    char buffer[1];
    EXPECT_EQ(pipe.read(buffer, 0), 0u) << "no abort check for nothing";
    EXPECT_NO_THROW(pipe.write(buffer, 0));
    EXPECT_THROW(pipe.read(buffer, 1), Qz::user_abort);
}

TEST(FilePipe, TimeOutCancelsAWaitingRead) {
    Server server;
    Qz::filePipe pipe;
    pipe.connect(server.name, GENERIC_READ);
    pipe.timeout = 0.05;
    char buffer[4];
    EXPECT_THROW(pipe.read(buffer, 4), Qz::network_error_timeout);
    // The cancelled read took nothing: what comes next is read whole.
    pipe.timeout = 0;
    server.put("wxyz");
    EXPECT_EQ(pipe.read(buffer, 4), 4u);
    EXPECT_EQ(std::string(buffer, 4), "wxyz");
}

TEST(FilePipe, AbortEndsABlockedRead) {
    Server server;
    Qz::filePipe pipe;
    pipe.connect(server.name, GENERIC_READ);
    TestEvent event;
    std::string outcome;
    std::thread reader([&] {
        try {
            Qz::abortScope scope(event);
            char buffer[4];
            pipe.read(buffer, 4);
            outcome = "returned";
        } catch (const std::exception& e) {
            outcome = e.what();
        }
    });
    Sleep(100); // let the read block
    event.signal();
    reader.join();
    EXPECT_EQ(outcome, "user abort");
}

} // namespace
