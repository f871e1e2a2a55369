#include "fxhost_client.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace fxhost {

const char* const crashPrefix = "plug-in crashed: ";

namespace {

const uint32_t exitFailure = 0xFFFFFFFFu;
const uint32_t cmdProcess = 1, cmdSetData = 2, cmdSetFormat = 3, cmdDrain = 4, cmdReopen = 5;
// Audio per message: whole frames up to this many bytes, well below the
// program's limit for one message.
// (Measured under Wine: smaller messages, several in flight, cost more per
// second of audio than they save by overlapping.)
const size_t messageBytes = size_t(8) << 20;

std::string narrow(const std::wstring& text) {
    if (text.empty())
        return std::string();
    int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), NULL, 0, NULL, NULL);
    std::string result(size_t(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), &result[0], size, NULL, NULL);
    return result;
}

// Lines of `text`, a CR before a line end dropped.
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

std::string le32(uint32_t value) {
    char bytes[4] = {char(value & 0xFF), char(value >> 8 & 0xFF), char(value >> 16 & 0xFF), char(value >> 24)};
    return std::string(bytes, 4);
}

uint32_t readLe32(const char* bytes) {
    const unsigned char* b = reinterpret_cast<const unsigned char*>(bytes);
    return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
}

std::string header(uint32_t command, size_t size) {
    return le32(command) + le32(uint32_t(size));
}

std::string packFormat(const StreamFormat& f) {
    return le32(f.sampleRate) + le32(f.inputChannels) + le32(f.inputMask) + le32(f.outputChannels) + le32(f.outputMask);
}

StreamFormat unpackFormat(const std::string& bytes) {
    StreamFormat f;
    f.sampleRate = readLe32(&bytes[0]);
    f.inputChannels = readLe32(&bytes[4]);
    f.inputMask = readLe32(&bytes[8]);
    f.outputChannels = readLe32(&bytes[12]);
    f.outputMask = readLe32(&bytes[16]);
    return f;
}

// Quoted so that the program's CommandLineToArgvW gives it back unchanged:
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

std::wstring environment(const wchar_t* name) {
    wchar_t value[32768];
    DWORD length = GetEnvironmentVariableW(name, value, 32768);
    return length > 0 && length < 32768 ? std::wstring(value, length) : std::wstring();
}

bool isFile(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::wstring folderOf(const std::wstring& path) {
    size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
}

std::wstring defaultProgram(const std::wstring& given) {
    if (!given.empty())
        return given;
    std::wstring named = environment(L"FXHOST_EXE");
    if (!named.empty())
        return named;
    wchar_t self[32768];
    DWORD length = GetModuleFileNameW(NULL, self, 32768);
    return folderOf(std::wstring(self, length)) + L"fxhost.exe";
}

// Closes a handle as its owner goes; either invalid value means none.
class Handle {
public:
    Handle() = default;
    explicit Handle(HANDLE h) : handle(h == INVALID_HANDLE_VALUE ? NULL : h) {}
    ~Handle() { reset(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    void reset(HANDLE h = NULL) {
        if (handle)
            CloseHandle(handle);
        handle = h == INVALID_HANDLE_VALUE ? NULL : h;
    }
    HANDLE get() const { return handle; }
    HANDLE release() {
        HANDLE h = handle;
        handle = NULL;
        return h;
    }
    explicit operator bool() const { return handle != NULL; }

private:
    HANDLE handle = NULL;
};

DWORD milliseconds(double seconds) {
    return seconds < 0 ? INFINITE : DWORD(std::min(seconds * 1000.0, 4.0e9));
}

volatile LONG pipesMade = 0;

} // namespace

Error::Error(const std::string& what, bool exited, uint32_t exitCode, std::string errorText)
    : std::runtime_error(what), hasExited(exited), code(exitCode), text(std::move(errorText)) {}

Error errorFor(const std::string& what, uint32_t exitCode, const std::string& errorText) {
    std::string text, detail;
    for (const std::string& line : linesOf(errorText)) {
        text += line + "\n";
        detail += (detail.empty() ? "" : "; ") + line;
    }
    if (detail.empty()) {
        char code[16];
        std::snprintf(code, sizeof code, "%08x", exitCode);
        detail = std::string("exit code 0x") + code;
    }
    return Error(what + ": " + detail, true, exitCode, text);
}

void throwFor(const std::string& what, uint32_t exitCode, const std::string& errorText) {
    Error error = errorFor(what, exitCode, errorText);
    bool open = false, format = false;
    for (const std::string& line : linesOf(errorText)) {
        if (startsWith(line, crashPrefix))
            throw CrashError(what + ": " + line, true, exitCode, error.errorText());
        open = open || startsWith(line, "Could not open VST.") || startsWith(line, "Could not load VST") ||
               startsWith(line, "No VST specified.");
        for (const char* text : {"unsupported stream format", "VST refused audio format", "Format conversion failure",
                                 "bad data alignment", "audio format not set", "audio format has no input channels"})
            format = format || startsWith(line, text);
    }
    // The program itself exits with 0 or -1 only: any other code means the
    // process was ended by something else, an exception's status (from a
    // program without crash containment) or a plug-in's own exit call.
    if (exitCode != 0 && exitCode != exitFailure) {
        char code[16];
        std::snprintf(code, sizeof code, "%08x", exitCode);
        throw CrashError(what + ": the process ended abnormally (0x" + code + ")", true, exitCode, error.errorText());
    }
    if (open)
        throw OpenError(error.what(), true, exitCode, error.errorText());
    if (format)
        throw FormatError(error.what(), true, exitCode, error.errorText());
    throw error;
}

void throwTimeout(const std::string& what, const std::string& errorText) {
    throw TimeoutError(what, false, 0, errorText);
}

PluginInfo parseInfo(const std::string& text) {
    PluginInfo info;
    int counts[2] = {-1, -1};
    std::vector<Pin>* side = nullptr;
    Pin* pin = nullptr;
    for (const std::string& line : linesOf(text)) {
        int number = 0;
        if (std::sscanf(line.c_str(), "Number of inputs: %d", &number) == 1 && startsWith(line, "Number of inputs: ")) {
            counts[0] = number;
            side = &info.inputs;
            pin = nullptr;
        } else if (startsWith(line, "Number of outputs: ") &&
                   std::sscanf(line.c_str(), "Number of outputs: %d", &number) == 1) {
            counts[1] = number;
            side = &info.outputs;
            pin = nullptr;
        } else if (side && (startsWith(line, "  Input ") || startsWith(line, "  Output "))) {
            side->push_back(Pin());
            pin = &side->back();
        } else if (pin && startsWith(line, "    .label = ")) {
            pin->label = line.substr(std::strlen("    .label = "));
        } else if (pin && startsWith(line, "    .flags = ")) {
            pin->flags = std::atoi(line.c_str() + std::strlen("    .flags = "));
        } else if (pin && startsWith(line, "    .arrangementType = ")) {
            pin->arrangement = std::atoi(line.c_str() + std::strlen("    .arrangementType = "));
        }
    }
    if (counts[0] != int(info.inputs.size()) || counts[1] != int(info.outputs.size()))
        throw Error("info: the report is incomplete", true, 0, text);
    return info;
}

uint32_t defaultMask(uint32_t channels) {
    switch (channels) {
    case 1:
        return 0x4;
    case 2:
        return 0x3;
    case 4:
        return 0x33;
    case 6:
        return 0x3F;
    default:
        return 0;
    }
}

uint16_t pluginMachine(const std::wstring& pluginPath) {
    std::wstring path = pluginPath;
    DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        // A bundle: Name.vst3\Contents\<arch>\Name.vst3, the 64-bit first.
        while (!path.empty() && (path.back() == L'\\' || path.back() == L'/'))
            path.pop_back();
        std::wstring name = path.substr(path.find_last_of(L"\\/") + 1);
        for (const wchar_t* arch : {L"x86_64-win", L"x86-win"}) {
            std::wstring inner = path + L"\\Contents\\" + arch + L"\\" + name;
            if (isFile(inner))
                return pluginMachine(inner);
        }
        return 0;
    }
    Handle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, NULL,
                            OPEN_EXISTING, 0, NULL));
    unsigned char dos[64] = {}, pe[6] = {};
    DWORD got = 0;
    if (!file || !ReadFile(file.get(), dos, sizeof dos, &got, NULL) || got != sizeof dos || dos[0] != 'M' ||
        dos[1] != 'Z')
        return 0;
    LARGE_INTEGER at;
    at.QuadPart = readLe32(reinterpret_cast<const char*>(dos + 0x3C));
    if (!SetFilePointerEx(file.get(), at, NULL, FILE_BEGIN) || !ReadFile(file.get(), pe, sizeof pe, &got, NULL) ||
        got != sizeof pe || std::memcmp(pe, "PE\0\0", 4) != 0)
        return 0;
    return uint16_t(pe[4] | pe[5] << 8);
}

// One started fxhost.exe: standard input and output on the null device,
// standard error in a temporary file. A file, not a pipe: under Wine the
// first process of a fresh prefix starts services that inherit the child's
// handles, and a pipe would then never report its end.
struct Stream::Process {
    Handle process, errorFile;

    Process(const std::wstring& program, const std::vector<std::wstring>& arguments) {
        SECURITY_ATTRIBUTES inherit = {sizeof inherit, NULL, TRUE};
        wchar_t folder[MAX_PATH + 1], name[MAX_PATH + 1];
        GetTempPathW(MAX_PATH + 1, folder);
        GetTempFileNameW(folder, L"fxe", 0, name);
        errorFile.reset(CreateFileW(name, GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, NULL));
        Handle nul(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                               OPEN_EXISTING, 0, NULL));
        if (!errorFile || !nul)
            throw Error("could not prepare the standard handles of " + narrow(program), false, 0, "");
        std::wstring commandLine = quoteArgument(program);
        for (const std::wstring& argument : arguments)
            commandLine += L" " + quoteArgument(argument);

        // Only these handles go to the child, not every inheritable handle
        // another thread of the parent has open.
        HANDLE handles[2] = {nul.get(), errorFile.get()};
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(NULL, 1, 0, &size);
        std::vector<char> list(size);
        STARTUPINFOEXW startup = {};
        startup.StartupInfo.cb = sizeof startup;
        startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        startup.StartupInfo.hStdInput = nul.get();
        startup.StartupInfo.hStdOutput = nul.get();
        startup.StartupInfo.hStdError = errorFile.get();
        // No console at all, rather than a console without a window: the
        // program needs none (its handles are ours), and under Wine each new
        // console is one more process, conhost, to start and end with every
        // run, costing more than the audio it carries.
        DWORD flags = DETACHED_PROCESS;
        startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list.data());
        if (InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size) &&
            UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                      sizeof handles, NULL, NULL))
            flags |= EXTENDED_STARTUPINFO_PRESENT;
        else
            startup.StartupInfo.cb = sizeof startup.StartupInfo;
        // The child inherits the error mode: a crash the program does not
        // contain then ends it at once, with no error box waiting for a
        // user. (Set for the moment of the call: it is process-wide.)
        PROCESS_INFORMATION started = {};
        UINT errorMode = SetErrorMode(0);
        SetErrorMode(errorMode | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
        // Under Wine a new process that dies in Wine's own start-up, before
        // any code of the program runs, fails this call with
        // ERROR_INTERNAL_ERROR (seen once, on a loaded machine); one more
        // attempt costs nothing where the first succeeds.
        BOOL ok = FALSE;
        for (int attempt = 0; attempt < 2 && !ok; ++attempt) {
            ok = CreateProcessW(program.c_str(), &commandLine[0], NULL, NULL, TRUE, flags, NULL, NULL,
                                &startup.StartupInfo, &started);
            if (!ok && GetLastError() != ERROR_INTERNAL_ERROR)
                break;
        }
        SetErrorMode(errorMode);
        if (flags & EXTENDED_STARTUPINFO_PRESENT)
            DeleteProcThreadAttributeList(startup.lpAttributeList);
        if (!ok)
            throw Error("could not start " + narrow(program), false, 0, "");
        CloseHandle(started.hThread);
        process.reset(started.hProcess);
    }

    ~Process() { kill(); }

    // True once the process has ended, waiting at most `seconds`.
    bool wait(double seconds) const {
        return WaitForSingleObject(process.get(), milliseconds(seconds)) == WAIT_OBJECT_0;
    }

    void kill() const {
        if (!wait(0)) {
            TerminateProcess(process.get(), exitFailure);
            wait(-1);
        }
    }

    uint32_t exitCode() const {
        DWORD code = 0;
        GetExitCodeProcess(process.get(), &code);
        return code;
    }

    std::string errorText() const {
        std::string text;
        char buffer[4096];
        DWORD got = 0;
        LARGE_INTEGER start = {};
        SetFilePointerEx(errorFile.get(), start, NULL, FILE_BEGIN);
        while (ReadFile(errorFile.get(), buffer, sizeof buffer, &got, NULL) && got > 0)
            text.append(buffer, got);
        return text;
    }

    // The pipe of a stream, once connected.
    Handle pipe;
    Handle events[2]; // for the write and the read

    // Waits until `what` has ended or run out of time; kills the process
    // and throws on running out.
    [[noreturn]] void fail(const std::string& what, double seconds) {
        if (pipe) {
            CancelIo(pipe.get());
        }
        if (!wait(seconds)) {
            kill();
            throwTimeout(what + ": no answer; the process was ended", errorText());
        }
        uint32_t code = exitCode();
        if (code == 0)
            throw Error(what + ": the program ended without answering", true, 0, errorText());
        throwFor(what, code, errorText());
    }

    // Writes `send` while reading `expect` bytes into `reply`: the program
    // writes each block before reading the next, so doing one after the
    // other would stall both sides on full pipe buffers. `seconds` is how
    // long both may make no progress.
    void exchange(const std::string& what, const std::vector<std::pair<const char*, size_t>>& send, char* reply,
                  size_t expect, double seconds) {
        OVERLAPPED write = {}, read = {};
        write.hEvent = events[0].get();
        read.hEvent = events[1].get();
        size_t piece = 0, sent = 0, got = 0;
        bool writing = false, reading = false;
        auto skipEmpty = [&] {
            while (piece < send.size() && sent == send[piece].second) {
                ++piece;
                sent = 0;
            }
        };
        skipEmpty();
        while (writing || reading || piece < send.size() || got < expect) {
            if (!writing && piece < send.size()) {
                DWORD n = DWORD(std::min<size_t>(send[piece].second - sent, size_t(1) << 24));
                if (!WriteFile(pipe.get(), send[piece].first + sent, n, NULL, &write) &&
                    GetLastError() != ERROR_IO_PENDING)
                    fail(what, seconds);
                writing = true;
            }
            if (!reading && got < expect) {
                DWORD n = DWORD(std::min<size_t>(expect - got, size_t(1) << 24));
                if (!ReadFile(pipe.get(), reply + got, n, NULL, &read) && GetLastError() != ERROR_IO_PENDING) {
                    if (writing)
                        CancelIo(pipe.get()), waitFor(write);
                    fail(what, seconds);
                }
                reading = true;
            }
            HANDLE pending[2];
            DWORD count = 0;
            if (writing)
                pending[count++] = write.hEvent;
            if (reading)
                pending[count++] = read.hEvent;
            DWORD woke = WaitForMultipleObjects(count, pending, FALSE, milliseconds(seconds));
            if (woke == WAIT_TIMEOUT || woke == WAIT_FAILED) {
                CancelIo(pipe.get());
                if (writing)
                    waitFor(write);
                if (reading)
                    waitFor(read);
                kill();
                throwTimeout(what + ": no answer within the time limit; the process was ended", errorText());
            }
            bool ended = false;
            DWORD n = 0;
            if (writing && WaitForSingleObject(write.hEvent, 0) == WAIT_OBJECT_0) {
                writing = false;
                if (GetOverlappedResult(pipe.get(), &write, &n, FALSE)) {
                    sent += n;
                    skipEmpty();
                } else {
                    ended = true;
                }
            }
            if (reading && WaitForSingleObject(read.hEvent, 0) == WAIT_OBJECT_0) {
                reading = false;
                if (GetOverlappedResult(pipe.get(), &read, &n, FALSE) && n > 0)
                    got += n;
                else
                    ended = true;
            }
            if (ended) {
                CancelIo(pipe.get());
                if (writing)
                    waitFor(write);
                if (reading)
                    waitFor(read);
                fail(what, seconds);
            }
        }
    }

    void waitFor(OVERLAPPED& operation) {
        DWORD n = 0;
        GetOverlappedResult(pipe.get(), &operation, &n, TRUE);
    }
};

Host::Host(std::wstring pluginPath, HostOptions options)
    : plugin(std::move(pluginPath)), program(defaultProgram(options.program)), settings(std::move(options)) {
    if (pluginMachine(plugin) == IMAGE_FILE_MACHINE_I386)
        program = folderOf(program) + L"fxhost32.exe";
    if (!isFile(program))
        throw Error("fxhost client: " + narrow(program) + " not found", false, 0, "");
}

std::vector<std::wstring> Host::arguments(const wchar_t* command, const std::wstring& dataPath) const {
    std::vector<std::wstring> result = {command, L"--vst", plugin};
    if (settings.vstVersion)
        result.insert(result.end(), {L"--vst-version", std::to_wstring(settings.vstVersion)});
    if (settings.realtime)
        result.insert(result.end(), {L"--process", L"realtime"});
    if (!dataPath.empty())
        result.insert(result.end(), {L"--data", dataPath});
    return result;
}

uint32_t Host::run(const wchar_t* command, const std::wstring& dataPath, const std::vector<std::wstring>& extra,
                   double timeoutSeconds, std::string& errorText) const {
    std::vector<std::wstring> all = arguments(command, dataPath);
    all.insert(all.end(), extra.begin(), extra.end());
    Stream::Process child(program, all);
    if (!child.wait(timeoutSeconds)) {
        child.kill();
        throwTimeout(narrow(command) + ": no answer; the process was ended", child.errorText());
    }
    errorText = child.errorText();
    return child.exitCode();
}

bool Host::test(std::string* reason) const {
    std::string text;
    uint32_t code = run(L"test", std::wstring(), {}, settings.startTimeoutSeconds, text);
    if (code == 0)
        return true;
    // Not opening is an answer, whether the program says so or the
    // plug-in's own words end the attempt; a crash goes on up.
    try {
        throwFor("test", code, text);
    } catch (const CrashError&) {
        throw;
    } catch (const Error& e) {
        if (reason)
            *reason = e.errorText();
    }
    return false;
}

bool Host::hasEditor() const {
    std::string text;
    uint32_t code = run(L"has-editor", std::wstring(), {}, settings.startTimeoutSeconds, text);
    if (code == 0)
        return true;
    if (code == exitFailure && linesOf(text).empty())
        return false;
    throwFor("has-editor", code, text);
}

PluginInfo Host::info(const std::wstring& dataPath) const {
    std::string text;
    uint32_t code = run(L"info", dataPath, {}, settings.startTimeoutSeconds, text);
    if (code != 0)
        throwFor("info", code, text);
    return parseInfo(text);
}

void Host::configure(const std::wstring& dataPath, void* parentWindow, const std::wstring& title) const {
    std::vector<std::wstring> extra;
    if (parentWindow) {
        std::wstring hex;
        for (uintptr_t value = reinterpret_cast<uintptr_t>(parentWindow); value; value >>= 4)
            hex.insert(hex.begin(), L"0123456789abcdef"[value & 15]);
        extra.insert(extra.end(), {L"--parent-window", hex});
    }
    if (!title.empty())
        extra.insert(extra.end(), {L"--window-title", title});
    if (settings.dpiAware)
        extra.insert(extra.end(), {L"--dpi-aware", L"yes"});
    std::string text;
    uint32_t code = run(L"configure", dataPath, extra, -1, text);
    if (code != 0)
        throwFor("configure", code, text);
}

std::unique_ptr<Stream> Host::openStream(SampleType type, const std::wstring& dataPath) const {
    return std::unique_ptr<Stream>(new Stream(*this, type, dataPath));
}

Stream::Stream(const Host& host, SampleType sampleType, const std::wstring& dataPath)
    : type(sampleType), sampleBytes(sampleType == SampleType::Float64 ? 8 : 4),
      // The first answer comes only after the plug-in opened.
      timeoutSeconds(host.options().startTimeoutSeconds), runTimeoutSeconds(host.options().timeoutSeconds) {
    std::wstring name = L"\\\\.\\pipe\\fxhost-client-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                        std::to_wstring(InterlockedIncrement(&pipesMade)) + L"-" + std::to_wstring(GetTickCount64());
    Handle pipe(CreateNamedPipeW(name.c_str(),
                                 PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                 PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, 1 << 20, 1 << 20, 0, NULL));
    if (!pipe)
        throw Error("fxhost client: could not create a pipe", false, 0, "");
    std::vector<std::wstring> arguments = host.arguments(L"process", dataPath);
    arguments.insert(arguments.end(), {L"--pipe", name, L"--protocol", L"chunked", L"--bits",
                                       sampleBytes == 8 ? L"64" : L"32", L"--formattag", L"3"});
    process_.reset(new Process(host.programPath(), arguments));
    Process& p = *process_;
    for (Handle& event : p.events)
        event.reset(CreateEventW(NULL, TRUE, FALSE, NULL));
    OVERLAPPED connect = {};
    connect.hEvent = p.events[0].get();
    bool connected = ConnectNamedPipe(pipe.get(), &connect) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED;
    if (!connected && GetLastError() == ERROR_IO_PENDING) {
        HANDLE either[2] = {connect.hEvent, p.process.get()};
        DWORD woke = WaitForMultipleObjects(2, either, FALSE, milliseconds(host.options().startTimeoutSeconds));
        DWORD n = 0;
        if (woke != WAIT_OBJECT_0)
            CancelIo(pipe.get());
        connected = GetOverlappedResult(pipe.get(), &connect, &n, TRUE) != FALSE;
        if (woke == WAIT_TIMEOUT) {
            p.kill();
            throwTimeout("process: the program did not connect; it was ended", p.errorText());
        }
    }
    if (!connected)
        p.fail("process", host.options().startTimeoutSeconds);
    p.pipe.reset(pipe.release());
}

Stream::~Stream() = default;

StreamFormat Stream::setFormat(const StreamFormat& wanted) {
    asked = wanted;
    std::string message = header(cmdSetFormat, 20) + packFormat(wanted), reply(20, '\0');
    process_->exchange("set format", {{message.data(), message.size()}}, &reply[0], reply.size(), timeoutSeconds);
    granted = unpackFormat(reply);
    timeoutSeconds = runTimeoutSeconds;
    if (granted.sampleRate != wanted.sampleRate || !granted.inputChannels || !granted.outputChannels)
        throw FormatError("set format: the plug-in did not take " + std::to_string(wanted.sampleRate) + " Hz with " +
                              std::to_string(wanted.inputChannels) + " channels",
                          false, 0, "");
    return granted;
}

StreamFormat Stream::setFormat(uint32_t sampleRate, uint32_t channels) {
    StreamFormat wanted;
    wanted.sampleRate = sampleRate;
    wanted.inputChannels = wanted.outputChannels = channels;
    wanted.inputMask = wanted.outputMask = defaultMask(channels);
    return setFormat(wanted);
}

std::string Stream::processBytes(const void* bytes, size_t size) {
    size_t inFrame = granted.inputChannels * sampleBytes, outFrame = granted.outputChannels * sampleBytes;
    if (!inFrame)
        throw FormatError("process: no format set", false, 0, "");
    if (size % inFrame)
        throw FormatError("process: not a whole number of frames", false, 0, "");
    const char* in = static_cast<const char*>(bytes);
    size_t step = std::max<size_t>(1, messageBytes / inFrame) * inFrame;
    // The block's messages go out in one write and their replies (audio,
    // then the latency) come back into one piece of memory: under Wine each
    // operation on a pipe costs far more than copying the audio once more.
    std::string messages;
    size_t count = size ? (size + step - 1) / step : 1;
    messages.reserve(size + 8 * count);
    for (size_t done = 0; done < size || messages.empty(); done += step) {
        size_t n = std::min(step, size - done);
        messages += header(cmdProcess, n);
        messages.append(in + done, n);
    }
    std::string replies(size / inFrame * outFrame + 4 * count, '\0');
    process_->exchange("process", {{messages.data(), messages.size()}}, &replies[0], replies.size(), timeoutSeconds);
    std::string out;
    out.reserve(size / inFrame * outFrame);
    for (size_t done = 0, at = 0; done < size || at == 0; done += step) {
        size_t replyBytes = std::min(step, size - done) / inFrame * outFrame;
        out.append(replies, at, replyBytes);
        lastLatency = readLe32(&replies[at + replyBytes]);
        at += replyBytes + 4;
    }
    return out;
}

template <typename T> std::vector<T> samplesOf(const std::string& bytes) {
    std::vector<T> result(bytes.size() / sizeof(T));
    if (!result.empty())
        std::memcpy(result.data(), bytes.data(), result.size() * sizeof(T));
    return result;
}

std::vector<float> Stream::process(const float* samples, size_t frames) {
    if (type != SampleType::Float32)
        throw FormatError("process: this stream carries 64-bit samples", false, 0, "");
    return samplesOf<float>(processBytes(samples, frames * granted.inputChannels * sizeof(float)));
}

std::vector<double> Stream::process(const double* samples, size_t frames) {
    if (type != SampleType::Float64)
        throw FormatError("process: this stream carries 32-bit samples", false, 0, "");
    return samplesOf<double>(processBytes(samples, frames * granted.inputChannels * sizeof(double)));
}

uint32_t Stream::queryLatency() {
    processBytes(nullptr, 0);
    return lastLatency;
}

std::string Stream::drainBytes() {
    std::string head = header(cmdDrain, 0);
    char size[4];
    process_->exchange("drain", {{head.data(), head.size()}}, size, 4, timeoutSeconds);
    std::string tail(readLe32(size), '\0');
    if (!tail.empty())
        process_->exchange("drain", {}, &tail[0], tail.size(), timeoutSeconds);
    return tail;
}

std::vector<float> Stream::drainFloat() {
    if (type != SampleType::Float32)
        throw FormatError("drain: this stream carries 64-bit samples", false, 0, "");
    return samplesOf<float>(drainBytes());
}

std::vector<double> Stream::drainDouble() {
    if (type != SampleType::Float64)
        throw FormatError("drain: this stream carries 32-bit samples", false, 0, "");
    return samplesOf<double>(drainBytes());
}

void Stream::setSettings(const std::string& blob) {
    std::string head = header(cmdSetData, blob.size());
    process_->exchange("set settings", {{head.data(), head.size()}, {blob.data(), blob.size()}}, nullptr, 0,
                       timeoutSeconds);
    // With a format set, a latency question proves the settings were taken
    // (and did not bring the plug-in down).
    if (granted.inputChannels)
        queryLatency();
}

StreamFormat Stream::reopen(const std::string& blob) {
    std::string head = header(cmdReopen, 0);
    process_->exchange("reopen", {{head.data(), head.size()}}, nullptr, 0, timeoutSeconds);
    setFormat(asked);
    if (!blob.empty())
        setSettings(blob);
    return granted;
}

void Stream::close() {
    // The end of the stream between messages is the program's signal to
    // finish; it then closes the plug-in and exits.
    process_->pipe.reset();
    if (!process_->wait(timeoutSeconds)) {
        process_->kill();
        throwTimeout("close: the program did not end; it was ended", process_->errorText());
    }
    uint32_t code = process_->exitCode();
    if (code != 0)
        throwFor("process", code, process_->errorText());
}

} // namespace fxhost
