// What tests of several areas need from the machine: the test plug-ins
// beside the test program, scoped temporary folders, whole files, and the
// test plug-ins' call log.
#pragma once

#include <string>
#include <vector>

// Folder of the running test program, with a trailing backslash.
std::wstring binFolder();
// bin\plugins\<fileName>, where the build puts the test plug-ins.
std::wstring testPlugin(const std::wstring& fileName);
std::string testPluginPath(const std::string& fileName); // the same, as UTF-8

std::string narrow(const std::wstring& text); // UTF-8

// A fresh folder under the system's temporary folder, removed with its
// files at the end of the scope. Unique across test processes.
class ScopedTempFolder {
public:
    explicit ScopedTempFolder(const std::wstring& name = L"fxhost-test");
    ~ScopedTempFolder();
    ScopedTempFolder(const ScopedTempFolder&) = delete;
    ScopedTempFolder& operator=(const ScopedTempFolder&) = delete;
    const std::wstring& path() const { return folder; } // with a trailing backslash

private:
    std::wstring folder;
};

// The whole file, or "(missing)" when it cannot be opened.
std::string readWholeFile(const std::wstring& path);
// Creates or empties the file and writes `bytes`.
void writeWholeFile(const std::wstring& path, const std::string& bytes);

// While alive, the test plug-ins (in this process or in a host it starts)
// append one line per call to a fresh file: they look for FXHOST_TEST_LOG.
class CallLog {
public:
    CallLog();
    ~CallLog();
    CallLog(const CallLog&) = delete;
    CallLog& operator=(const CallLog&) = delete;
    // "<plug-in> <call>" lines so far, in order.
    std::vector<std::string> lines() const;
    // The calls alone, without the plug-in's name in front.
    std::vector<std::string> calls() const;
    // The calls that start with `prefix`.
    std::vector<std::string> callsStartingWith(const std::string& prefix) const;

private:
    ScopedTempFolder folder;
    std::wstring file;
};
