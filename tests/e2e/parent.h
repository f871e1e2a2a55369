// The parent simulator: starts fxhost.exe the way a parent application does
// (CreateProcessW with its standard handles on anonymous pipes), feeds its
// standard input, collects standard output and standard error, and reports
// the exit code. The end-to-end tests go through the shipped client
// (running_host.h) wherever it can say what they ask; this is for the rest:
// odd command lines and broken messages, which a client must not send, and
// what the client does not offer (the plain protocol over the standard
// handles, files, named pipes the parent makes, http, configure-live).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/test_files.h"
#include "support/scoped_handle.h"

struct HostRun {
    uint32_t exitCode = 0;   // 0xFFFFFFFF is the host's -1
    std::string output;      // bytes the host wrote on standard output
    std::string error;       // bytes the host wrote on standard error
    uint64_t peakMemory = 0; // the host's peak working set in bytes, as last seen while it ran
};

const uint32_t exitFailure = 0xFFFFFFFFu;

// How the host's standard input is fed. From a file, the end of the data
// reads as 0 bytes: a clean end. Through an anonymous pipe whose write end
// the parent closes, the host's next read fails (broken pipe).
enum class StandardInput { File, Pipe };

// Runs the host with `arguments` (argv[1] onward), giving it `input` on its
// standard input. Waits at most `timeoutSeconds`; a host still running then
// is killed and the test fails.
HostRun runHost(const std::vector<std::wstring>& arguments, const std::string& input = std::string(),
                StandardInput kind = StandardInput::File, double timeoutSeconds = 60.0);

// The lines, each followed by "; ": a whole sequence in one comparison.
std::string joined(const std::vector<std::string>& lines);

// The server end of a named pipe, made by the parent before it starts the
// host with --pipe or --inpipe, as a real parent does.
class PipeServer {
public:
    // `access`: PIPE_ACCESS_DUPLEX, or PIPE_ACCESS_OUTBOUND for --inpipe.
    explicit PipeServer(uint32_t access);
    const std::wstring& name() const { return pipeName; }
    bool waitForClient();
    bool write(const std::string& bytes);
    std::string read(size_t size); // until `size` bytes or the host's end closes
    void close();                  // after the host has read everything

private:
    std::wstring pipeName;
    Qz::scopedHandle handle;
};
