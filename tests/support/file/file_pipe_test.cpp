// The client end of a named pipe against a server end made here, as the
// parent makes it: the peer's close is the end of data, and a blocked read
// wakes for the thread's abort event.

#include "support/file/file_pipe.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "../test_event.h"
#include "support/error/error.h"

namespace {

struct Pipe {
    HANDLE server;
    Qz::filePipe client;
    Pipe() {
        std::wstring name = L"\\\\.\\pipe\\fxhost-test-" + std::to_wstring(GetCurrentProcessId());
        server = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 65536, 65536, 0, NULL);
        client.connect(name, GENERIC_READ | GENERIC_WRITE);
    }
    ~Pipe() { CloseHandle(server); }
};

TEST(FilePipe, PeerCloseIsTheEndOfDataForReadsOnly) {
    Pipe pipe;
    DWORD written = 0;
    WriteFile(pipe.server, "0123456789", 10, &written, NULL);
    CloseHandle(pipe.server);
    pipe.server = NULL;
    char buffer[100];
    EXPECT_EQ(pipe.client.read(buffer, 100), 10u);
    EXPECT_EQ(pipe.client.read(buffer, 100), 0u);
    EXPECT_EQ(std::string(buffer, 10), "0123456789");
    EXPECT_THROW(pipe.client.write("abc", 3), Qz::file_access_error);
}

TEST(FilePipe, AbortEndsABlockedRead) {
    Pipe pipe;
    pipe.client.timeout = 10; // a read that misses the abort fails the test instead of hanging it
    TestEvent event;
    std::string outcome = "returned";
    std::thread reader([&] {
        try {
            Qz::abortScope scope(event);
            char buffer[4];
            pipe.client.read(buffer, 4);
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
