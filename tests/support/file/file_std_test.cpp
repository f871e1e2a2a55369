// The standard-handle streams on real anonymous pipes: short data, broken
// pipes, and the abort binding.

#include "support/file/file_std.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/error/error.h"
#include "support/thread/abort.h"
#include "support/win32.h"
#include "../test_event.h"

namespace {

struct Pipe {
    HANDLE read = NULL, write = NULL;
    Pipe() {
        if (!CreatePipe(&read, &write, NULL, 1 << 16))
            throw std::runtime_error("CreatePipe");
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    void closeRead() {
        if (read)
            CloseHandle(read);
        read = NULL;
    }
    void closeWrite() {
        if (write)
            CloseHandle(write);
        write = NULL;
    }
    void put(const std::string& bytes) {
        DWORD written = 0;
        WriteFile(write, bytes.data(), DWORD(bytes.size()), &written, NULL);
    }
};

// A temporary file holding `bytes`, positioned at its start; standard
// input redirected from a file looks exactly like this.
HANDLE fileWith(const std::string& bytes) {
    wchar_t folder[MAX_PATH + 1], name[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, folder);
    GetTempFileNameW(folder, L"fxs", 0, name);
    HANDLE h = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, NULL);
    DWORD written = 0;
    WriteFile(h, bytes.data(), DWORD(bytes.size()), &written, NULL);
    SetFilePointer(h, 0, NULL, FILE_BEGIN);
    return h;
}

TEST(StandardInput, EndOfAFileIsAShortRead) {
    HANDLE file = fileWith(std::string(10, 'x'));
    Qz::fileStdIn in(file);
    char buffer[100];
    EXPECT_EQ(in.read(buffer, 0), 0u);
    EXPECT_EQ(in.read(buffer, 100), 10u);
    SetFilePointer(file, 0, NULL, FILE_BEGIN);
    EXPECT_THROW(in.readExact(buffer, 100), Qz::invalid_input);
    SetFilePointer(file, 0, NULL, FILE_BEGIN);
    EXPECT_EQ(in.skip(1000), 10u);
    CloseHandle(file);
}

TEST(StandardInput, ClosedPipeAfterDataFails) {
    Pipe pipe;
    pipe.put(std::string(10, 'x'));
    pipe.closeWrite();
    Qz::fileStdIn in(pipe.read);
    char buffer[100];
    // The ten bytes arrive; the next ReadFile finds the writer gone, and
    // that is no clean end on a standard handle.
    EXPECT_THROW(in.read(buffer, 100), Qz::file_access_error);
}

TEST(StandardInput, ReadSomeIsOneCall) {
    Pipe pipe;
    pipe.put("abc");
    Qz::fileStdIn in(pipe.read);
    char buffer[100];
    EXPECT_EQ(in.readSome(buffer, 100), 3u);
    pipe.put("defgh");
    EXPECT_EQ(in.read(buffer, 5), 5u);
    EXPECT_EQ(std::string(buffer, 5), "defgh");
}

TEST(StandardInput, BrokenPipeIsAPlainFailure) {
    Pipe pipe;
    pipe.closeWrite();
    Qz::fileStdIn in(pipe.read);
    char buffer[4];
    try {
        in.read(buffer, 4);
        FAIL() << "a closed writer must fail the read";
    } catch (const Qz::file_access_error& e) {
        EXPECT_STREQ(e.what(), "file access error");
    }
}

TEST(StandardOutput, WritesAllAndFailsOnAClosedReader) {
    Pipe pipe;
    Qz::fileStdOut out(pipe.write);
    out.write("hello", 5);
    char buffer[8];
    DWORD got = 0;
    ReadFile(pipe.read, buffer, 8, &got, NULL);
    EXPECT_EQ(std::string(buffer, got), "hello");
    pipe.closeRead();
    EXPECT_THROW(out.write("x", 1), Qz::file_access_error);
}

TEST(AbortBinding, TurnsFailuresAndWaitsIntoUserAbort) {
    Pipe pipe;
    TestEvent event;
    Qz::fileStdIn in(pipe.read);
    Qz::fileStdOut out(pipe.write);
    char buffer[4];
    {
        Qz::abortScope scope(event);
        pipe.put("ab");
        EXPECT_EQ(in.readSome(buffer, 4), 2u) << "not signalled: works as usual";
        event.signal();
        EXPECT_THROW(in.read(buffer, 4), Qz::user_abort);
        EXPECT_THROW(out.write("x", 1), Qz::user_abort);
    }
    // Without a binding the same thread never aborts.
    pipe.put("cd");
    EXPECT_EQ(in.read(buffer, 2), 2u);
}

TEST(AbortBinding, FailureWhileSignalledIsReportedAsAbort) {
    Pipe pipe;
    TestEvent event;
    Qz::fileStdIn in(pipe.read);
    std::string caught;
    std::thread worker([&] {
        try {
            Qz::abortScope scope(event);
            char buffer[4];
            in.read(buffer, 4); // blocks: nothing written yet
        } catch (const std::exception& e) {
            caught = e.what();
        }
    });
    // While the worker waits inside ReadFile: signal, then break the pipe.
    // The read fails on the broken pipe, and the abort wins over that.
    Sleep(100);
    event.signal();
    pipe.closeWrite();
    worker.join();
    EXPECT_EQ(caught, "user abort");
}

TEST(AbortBinding, ABlockedStandardInputReadIsNotWoken) {
    // Standard input is read synchronously: the abort event is looked at
    // between system calls, never during one.
    Pipe pipe;
    TestEvent event;
    Qz::fileStdIn in(pipe.read);
    std::string outcome;
    HANDLE done = CreateEventW(NULL, TRUE, FALSE, NULL);
    std::thread worker([&] {
        try {
            Qz::abortScope scope(event);
            char buffer[4];
            outcome = std::to_string(in.read(buffer, 4));
        } catch (const std::exception& e) {
            outcome = e.what();
        }
        SetEvent(done);
    });
    Sleep(50);
    event.signal();
    EXPECT_EQ(WaitForSingleObject(done, 300), DWORD(WAIT_TIMEOUT)) << "still waiting for data";
    pipe.put("data");
    worker.join();
    EXPECT_EQ(outcome, "4");
    CloseHandle(done);
}

} // namespace
