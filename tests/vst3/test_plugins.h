// Finding the VST 3 test plug-ins and watching what they were called with.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// bin\plugins\<fileName> beside the test program, as UTF-8.
std::string testPluginPath(const std::string& fileName);

// Whether a library of that path (UTF-8) is loaded in this process.
bool isLibraryLoaded(const std::string& path);

// While it lives, the test plug-ins append their calls to a fresh file (they
// look for FXHOST_TEST_LOG on every call).
class CallLog {
public:
    CallLog();
    ~CallLog();
    CallLog(const CallLog&) = delete;
    CallLog& operator=(const CallLog&) = delete;

    // "<plug-in> <call>" lines so far, in order.
    std::vector<std::string> lines() const;

private:
    std::filesystem::path file;
};

// A fresh folder under the temporary folder, removed with all it holds.
class ScopedTempDir {
public:
    ScopedTempDir();
    ~ScopedTempDir();
    ScopedTempDir(const ScopedTempDir&) = delete;
    ScopedTempDir& operator=(const ScopedTempDir&) = delete;

    const std::filesystem::path& path() const { return folder; }

private:
    std::filesystem::path folder;
};

// UTF-8 text of a path, as Module::create takes it.
std::string utf8Path(const std::filesystem::path& path);
