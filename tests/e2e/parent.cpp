#include "parent.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/text/utf.h"
#include "support/win32.h"

std::wstring hostExecutable() { return binFolder() + L"fxhost.exe"; }

std::wstring quoteArgument(const std::wstring& argument) {
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos)
        return argument;
    std::wstring quoted = L"\"";
    for (size_t i = 0;; ++i) {
        size_t backslashes = 0;
        while (i < argument.size() && argument[i] == L'\\') {
            ++i;
            ++backslashes;
        }
        if (i == argument.size()) {
            quoted.append(backslashes * 2, L'\\');
            break;
        }
        if (argument[i] == L'"') {
            quoted.append(backslashes * 2 + 1, L'\\');
        } else {
            quoted.append(backslashes, L'\\');
        }
        quoted.push_back(argument[i]);
    }
    quoted.push_back(L'"');
    return quoted;
}

namespace {

class Handle {
public:
    Handle() = default;
    explicit Handle(HANDLE h) : handle(h) {}
    ~Handle() { reset(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    void reset() {
        if (handle && handle != INVALID_HANDLE_VALUE)
            CloseHandle(handle);
        handle = NULL;
    }
    HANDLE* out() { return &handle; }
    HANDLE get() const { return handle; }

private:
    HANDLE handle = NULL;
};

// A pipe whose `childEnd` is inheritable and whose other end is not.
void makePipe(Handle& readEnd, Handle& writeEnd, bool childReads) {
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, NULL, TRUE};
    if (!CreatePipe(readEnd.out(), writeEnd.out(), &inherit, 0))
        throw std::runtime_error("CreatePipe failed");
    SetHandleInformation(childReads ? writeEnd.get() : readEnd.get(), HANDLE_FLAG_INHERIT, 0);
}

void drain(HANDLE from, std::string& into) {
    char buffer[65536];
    DWORD got = 0;
    while (ReadFile(from, buffer, sizeof buffer, &got, NULL) && got > 0)
        into.append(buffer, got);
}

} // namespace

// A temporary file holding `input`, open for reading by an inheritable
// handle; it goes away when the last handle to it is closed.
void makeInputFile(Handle& readEnd, const std::string& input) {
    wchar_t folder[MAX_PATH + 1], name[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, folder);
    GetTempFileNameW(folder, L"fxi", 0, name);
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, NULL, TRUE};
    *readEnd.out() = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, &inherit,
                                 CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, NULL);
    if (readEnd.get() == INVALID_HANDLE_VALUE)
        throw std::runtime_error("could not create the input file");
    DWORD written = 0;
    if (!input.empty() && !WriteFile(readEnd.get(), input.data(), DWORD(input.size()), &written, NULL))
        throw std::runtime_error("could not write the input file");
    SetFilePointer(readEnd.get(), 0, NULL, FILE_BEGIN);
}

HostRun runHost(const std::vector<std::wstring>& arguments, const std::string& input, StandardInput kind,
                double timeoutSeconds) {
    Handle inRead, inWrite, outRead, outWrite, errRead, errWrite;
    if (kind == StandardInput::File)
        makeInputFile(inRead, input);
    else
        makePipe(inRead, inWrite, true);
    makePipe(outRead, outWrite, false);
    makePipe(errRead, errWrite, false);

    std::wstring commandLine = quoteArgument(hostExecutable());
    for (const std::wstring& argument : arguments)
        commandLine += L" " + quoteArgument(argument);

    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = inRead.get();
    startup.hStdOutput = outWrite.get();
    startup.hStdError = errWrite.get();
    PROCESS_INFORMATION process = {};
    std::vector<wchar_t> mutableLine(commandLine.begin(), commandLine.end());
    mutableLine.push_back(0);
    if (!CreateProcessW(hostExecutable().c_str(), mutableLine.data(), NULL, NULL, TRUE, 0, NULL, NULL, &startup,
                        &process))
        throw std::runtime_error("could not start fxhost.exe");
    Handle processHandle(process.hProcess), threadHandle(process.hThread);
    // Only the child may hold these ends, or the readers never see the end.
    inRead.reset();
    outWrite.reset();
    errWrite.reset();

    HostRun run;
    std::thread writer([&] {
        if (kind == StandardInput::File)
            return;
        DWORD written = 0;
        size_t done = 0;
        while (done < input.size() &&
               WriteFile(inWrite.get(), input.data() + done, DWORD(input.size() - done), &written, NULL))
            done += written;
        inWrite.reset();
    });
    std::thread outReader([&] { drain(outRead.get(), run.output); });
    std::thread errReader([&] { drain(errRead.get(), run.error); });

    DWORD waited = WaitForSingleObject(processHandle.get(), DWORD(timeoutSeconds * 1000));
    if (waited != WAIT_OBJECT_0) {
        TerminateProcess(processHandle.get(), 0xDEAD);
        WaitForSingleObject(processHandle.get(), INFINITE);
        ADD_FAILURE() << "fxhost.exe did not finish within " << timeoutSeconds << " s";
    }
    DWORD code = 0;
    GetExitCodeProcess(processHandle.get(), &code);
    run.exitCode = code;
    writer.join();
    outReader.join();
    errReader.join();
    return run;
}

namespace {
int pipesMade = 0;
} // namespace

PipeServer::PipeServer(uint32_t access) {
    pipeName = L"\\\\.\\pipe\\fxhost-e2e-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++pipesMade);
    handle = CreateNamedPipeW(pipeName.c_str(), access, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 65536, 65536, 0, NULL);
    if (handle == INVALID_HANDLE_VALUE)
        throw std::runtime_error("could not create the pipe");
}

PipeServer::~PipeServer() { close(); }

bool PipeServer::waitForClient() {
    return ConnectNamedPipe(static_cast<HANDLE>(handle), NULL) || GetLastError() == ERROR_PIPE_CONNECTED;
}

bool PipeServer::write(const std::string& bytes) {
    size_t done = 0;
    DWORD written = 0;
    while (done < bytes.size() &&
           WriteFile(static_cast<HANDLE>(handle), bytes.data() + done, DWORD(bytes.size() - done), &written, NULL))
        done += written;
    return done == bytes.size();
}

std::string PipeServer::read(size_t size) {
    std::string bytes(size, '\0');
    size_t done = 0;
    DWORD got = 0;
    while (done < size && ReadFile(static_cast<HANDLE>(handle), &bytes[done], DWORD(size - done), &got, NULL) && got)
        done += got;
    bytes.resize(done);
    return bytes;
}

void PipeServer::close() {
    if (handle != INVALID_HANDLE_VALUE) {
        FlushFileBuffers(static_cast<HANDLE>(handle));
        CloseHandle(static_cast<HANDLE>(handle));
    }
    handle = INVALID_HANDLE_VALUE;
}
