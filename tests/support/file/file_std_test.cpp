// Standard input: the end of a file is a short read, while an anonymous
// pipe whose writer went away is a failure.

#include "support/file/file_std.h"

#include <gtest/gtest.h>

#include <string>

#include "common/test_files.h"
#include "support/error/error.h"
#include "support/win32.h"

namespace {

TEST(StandardInput, EndOfAFileIsShortButABrokenPipeFails) {
    ScopedTempFolder folder;
    writeWholeFile(folder.path() + L"in.raw", "0123456789");
    HANDLE file = CreateFileW((folder.path() + L"in.raw").c_str(), GENERIC_READ, 0, NULL, OPEN_EXISTING, 0, NULL);
    char buffer[100];
    Qz::fileStdIn fromFile(file);
    EXPECT_EQ(fromFile.read(buffer, 100), 10u);
    EXPECT_EQ(fromFile.read(buffer, 100), 0u);
    CloseHandle(file);

    HANDLE read, write;
    CreatePipe(&read, &write, NULL, 0);
    DWORD written = 0;
    WriteFile(write, "0123456789", 10, &written, NULL);
    CloseHandle(write);
    Qz::fileStdIn fromPipe(read);
    // The ten bytes arrive; the next ReadFile finds the writer gone.
    EXPECT_THROW(fromPipe.read(buffer, 100), Qz::file_access_error);
    CloseHandle(read);
}

} // namespace
