// The parent simulator: starts fxhost.exe the way a parent application does
// (CreateProcessW with its standard handles on anonymous pipes), feeds its
// standard input, collects standard output and standard error, and reports
// the exit code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/test_files.h"

struct HostRun {
    uint32_t exitCode = 0;  // 0xFFFFFFFF is the host's -1
    std::string output;     // bytes the host wrote on standard output
    std::string error;      // bytes the host wrote on standard error
};

const uint32_t exitFailure = 0xFFFFFFFFu;

std::wstring hostExecutable();

// How the host's standard input is fed. From a file, the end of the data
// reads as 0 bytes: a clean end. Through an anonymous pipe whose write end
// the parent closes, the host's next read fails (broken pipe).
enum class StandardInput { File, Pipe };

// Runs the host with `arguments` (argv[1] onward), giving it `input` on its
// standard input. Waits at most `timeoutSeconds`; a host still running then
// is killed and the test fails.
HostRun runHost(const std::vector<std::wstring>& arguments, const std::string& input = std::string(),
                StandardInput kind = StandardInput::File, double timeoutSeconds = 60.0);

// Quotes one argument so that CommandLineToArgvW gives it back unchanged.
std::wstring quoteArgument(const std::wstring& argument);

// The server end of a named pipe, made by the parent before it starts the
// host with --pipe or --inpipe, as a real parent does.
class PipeServer {
public:
    // `access`: PIPE_ACCESS_DUPLEX, or PIPE_ACCESS_OUTBOUND for --inpipe.
    explicit PipeServer(uint32_t access);
    ~PipeServer();
    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;

    const std::wstring& name() const { return pipeName; }
    bool waitForClient();
    bool write(const std::string& bytes);
    // Until `size` bytes or the host's end of the pipe closes.
    std::string read(size_t size);
    void close();

private:
    std::wstring pipeName;
    void* handle;
};
