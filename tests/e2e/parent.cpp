#include "parent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "support/win32.h"

#include <psapi.h>

namespace {

// Quoted so that CommandLineToArgvW gives any argument back unchanged:
// backslashes count only before a quote and before the closing quote.
std::wstring quoteArgument(const std::wstring& argument) {
    std::wstring result = L"\"";
    size_t backslashes = 0;
    for (wchar_t c : argument) {
        if (c == L'"')
            result.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        result.push_back(c);
    }
    return result.append(backslashes, L'\\') + L"\"";
}

// An anonymous pipe of which only the child's end is inheritable.
void makePipe(Qz::scopedHandle& childEnd, Qz::scopedHandle& ourEnd, bool childReads) {
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, NULL, TRUE};
    HANDLE readEnd, writeEnd;
    if (!CreatePipe(&readEnd, &writeEnd, &inherit, 0))
        throw std::runtime_error("CreatePipe failed");
    childEnd.reset(childReads ? readEnd : writeEnd);
    ourEnd.reset(childReads ? writeEnd : readEnd);
    SetHandleInformation(ourEnd.get(), HANDLE_FLAG_INHERIT, 0);
}

// An inheritable handle on a temporary file holding `input`, at its start;
// the file goes when its last handle closes.
HANDLE inputFile(const std::string& input) {
    wchar_t folder[MAX_PATH + 1], name[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, folder);
    GetTempFileNameW(folder, L"fxi", 0, name);
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, NULL, TRUE};
    HANDLE file = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, &inherit,
                              CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, NULL);
    DWORD written = 0;
    if (file == INVALID_HANDLE_VALUE || !WriteFile(file, input.data(), DWORD(input.size()), &written, NULL))
        throw std::runtime_error("could not write the input file");
    SetFilePointer(file, 0, NULL, FILE_BEGIN);
    return file;
}

bool writeAll(HANDLE to, const std::string& bytes) {
    size_t done = 0;
    DWORD written = 0;
    while (done < bytes.size() && WriteFile(to, bytes.data() + done, DWORD(bytes.size() - done), &written, NULL))
        done += written;
    return done == bytes.size();
}

std::string readUpTo(HANDLE from, size_t size) {
    std::string bytes;
    char buffer[65536];
    DWORD got = 0;
    while (bytes.size() < size &&
           ReadFile(from, buffer, DWORD(std::min(sizeof buffer, size - bytes.size())), &got, NULL) && got > 0)
        bytes.append(buffer, got);
    return bytes;
}

int pipesMade = 0;

} // namespace

HostRun runHost(const std::vector<std::wstring>& arguments, const std::string& input, StandardInput kind,
                double timeoutSeconds) {
    Qz::scopedHandle inOurs, outOurs, errOurs, process, thread;
    {
        // Only the child may hold its ends, or the readers never see the end.
        Qz::scopedHandle inChild, outChild, errChild;
        if (kind == StandardInput::File)
            inChild.reset(inputFile(input));
        else
            makePipe(inChild, inOurs, true);
        makePipe(outChild, outOurs, false);
        makePipe(errChild, errOurs, false);
        std::wstring program = binFolder() + FXHOST_PROGRAM_NAME, commandLine = quoteArgument(program);
        for (const std::wstring& argument : arguments)
            commandLine += L" " + quoteArgument(argument);
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = inChild.get();
        startup.hStdOutput = outChild.get();
        startup.hStdError = errChild.get();
        PROCESS_INFORMATION started = {};
        // A start that dies inside Wine gets one more attempt, as in the client.
        BOOL ok = FALSE;
        for (int attempt = 0; attempt < 2 && !ok; ++attempt) {
            ok = CreateProcessW(program.c_str(), &commandLine[0], NULL, NULL, TRUE, 0, NULL, NULL, &startup, &started);
            if (!ok && GetLastError() != ERROR_INTERNAL_ERROR)
                break;
        }
        if (!ok)
            throw std::runtime_error("could not start the program: system error " + std::to_string(GetLastError()));
        process.reset(started.hProcess);
        thread.reset(started.hThread);
    }
    HostRun run;
    std::thread writer([&] {
        writeAll(inOurs.get(), input); // no handle for a file: fails at once
        inOurs.reset();
    });
    std::thread outReader([&] { run.output = readUpTo(outOurs.get(), std::string::npos); });
    std::thread errReader([&] { run.error = readUpTo(errOurs.get(), std::string::npos); });
    // The memory is sampled while the host runs: an ended process has none
    // to tell of under Wine, and its peak so far is all a sample needs.
    const uint64_t deadline = GetTickCount64() + uint64_t(timeoutSeconds * 1000);
    bool ended = false;
    for (uint64_t now = GetTickCount64(); !ended && now < deadline; now = GetTickCount64()) {
        PROCESS_MEMORY_COUNTERS memory = {};
        if (GetProcessMemoryInfo(process.get(), &memory, sizeof memory))
            run.peakMemory = std::max<uint64_t>(run.peakMemory, memory.PeakWorkingSetSize);
        ended = WaitForSingleObject(process.get(), DWORD(std::min<uint64_t>(deadline - now, 50))) == WAIT_OBJECT_0;
    }
    if (!ended) {
        TerminateProcess(process.get(), 0xDEAD);
        WaitForSingleObject(process.get(), INFINITE);
        ADD_FAILURE() << "the program did not finish within " << timeoutSeconds << " s";
    }
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    run.exitCode = code;
    writer.join();
    outReader.join();
    errReader.join();
    return run;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "; ";
    return text;
}

PipeServer::PipeServer(uint32_t access)
    : pipeName(L"\\\\.\\pipe\\fxhost-e2e-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
               std::to_wstring(++pipesMade)),
      handle(CreateNamedPipeW(pipeName.c_str(), access, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 65536, 65536, 0, NULL)) {
    if (!handle)
        throw std::runtime_error("could not create the pipe");
}

bool PipeServer::waitForClient() {
    return ConnectNamedPipe(handle.get(), NULL) || GetLastError() == ERROR_PIPE_CONNECTED;
}

bool PipeServer::write(const std::string& bytes) {
    return writeAll(handle.get(), bytes);
}

std::string PipeServer::read(size_t size) {
    return readUpTo(handle.get(), size);
}

void PipeServer::close() {
    FlushFileBuffers(handle.get());
    handle.reset();
}
