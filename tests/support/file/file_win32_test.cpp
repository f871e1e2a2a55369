// Plain files on the real file system, in a scoped temporary folder.

#include "support/file/file_win32.h"

#include <gtest/gtest.h>

#include "support/error/error.h"
#include "support/text/utf.h"
#include "support/win32.h"

namespace {

class TempFolder {
public:
    TempFolder() {
        wchar_t base[MAX_PATH + 1];
        GetTempPathW(MAX_PATH + 1, base);
        folder = Qz::wideToUtf8(base) + "fxhost-file-\xC3\xBC\xE9\x9F\xB3-" + std::to_string(GetCurrentProcessId()) + "\\";
        CreateDirectoryW(Qz::utf8ToWide(folder).c_str(), NULL);
    }
    ~TempFolder() {
        for (const std::string& name : made)
            DeleteFileW(Qz::utf8ToWide(folder + name).c_str());
        RemoveDirectoryW(Qz::utf8ToWide(folder).c_str());
    }
    std::string path(const std::string& name) {
        made.push_back(name);
        return folder + name;
    }

private:
    std::string folder;
    std::vector<std::string> made;
};

TEST(FileWin32, WriteReadAndTheEnd) {
    TempFolder temp;
    std::string path = temp.path("d\xC3\xA4ta.bin");
    Qz::fileWin32 out;
    out.openWrite(path);
    out.write("0123456789", 10);
    out.write("", 0);
    EXPECT_EQ(out.size(), 10u);
    out.close();

    Qz::fileWin32 in;
    in.openRead(path);
    char buffer[100];
    EXPECT_EQ(in.read(buffer, 0), 0u);
    EXPECT_EQ(in.read(buffer, 4), 4u);
    EXPECT_EQ(in.tell(), 4u);
    EXPECT_EQ(in.read(buffer, 100), 6u) << "the rest, then the end";
    EXPECT_EQ(std::string(buffer, 6), "456789");
    EXPECT_EQ(in.read(buffer, 100), 0u);
    in.seek(2);
    EXPECT_THROW(in.readExact(buffer, 100), Qz::invalid_input);
    EXPECT_TRUE(in.canSeek());
    std::string info;
    EXPECT_FALSE(in.getInfo("anything", info));
}

TEST(FileWin32, OpenWriteTruncatesAndOpenReadNeedsTheFile) {
    TempFolder temp;
    std::string path = temp.path("t.bin");
    Qz::fileWin32 file;
    file.openWrite(path);
    file.write("long content", 12);
    file.openWrite(path); // reopening closes the first handle and truncates
    EXPECT_EQ(file.size(), 0u);
    file.close();

    Qz::fileWin32 missing;
    try {
        missing.openRead(temp.path("absent.bin"));
        FAIL() << "a missing file must not open";
    } catch (const Qz::file_not_found& e) {
        EXPECT_STREQ(e.what(), "file not found");
    }
    EXPECT_THROW(missing.openRead(temp.path("no-folder\\x.bin")), Qz::file_not_found);
}

TEST(FileWin32, TruncateKeepsThePosition) {
    TempFolder temp;
    Qz::fileWin32 file;
    file.openWrite(temp.path("cut.bin"));
    file.write("0123456789", 10);
    file.truncate(4);
    EXPECT_EQ(file.size(), 4u);
    EXPECT_EQ(file.tell(), 10u) << "beyond the new end";
    file.seek(1);
    file.truncate(8);
    EXPECT_EQ(file.size(), 8u);
    EXPECT_EQ(file.tell(), 1u);
}

TEST(FileWin32, ClosedObject) {
    Qz::fileWin32 closed;
    char buffer[4];
    EXPECT_THROW(closed.seek(0), Qz::bug_check);
    EXPECT_THROW(closed.size(), Qz::bug_check);
    EXPECT_THROW(closed.read(buffer, 4), Qz::file_access_error);
    EXPECT_THROW(closed.write(buffer, 4), Qz::file_access_error);
    EXPECT_THROW(closed.tell(), Qz::file_access_error);
}

TEST(FileWin32, SharingLetsAnotherReaderIn) {
    TempFolder temp;
    std::string path = temp.path("shared.bin");
    Qz::fileWin32 writer, reader;
    writer.openWrite(path);
    writer.write("abc", 3);
    reader.openRead(path); // both share reading and writing
    char buffer[3];
    EXPECT_EQ(reader.read(buffer, 3), 3u);
    // A handle that shares nothing locks the file against opening.
    reader.close();
    writer.close();
    HANDLE locked = CreateFileW(Qz::utf8ToWide(path).c_str(), GENERIC_READ, 0, NULL, OPEN_EXISTING, 0, NULL);
    EXPECT_THROW(reader.openRead(path), Qz::file_access_error);
    CloseHandle(locked);
}

} // namespace
