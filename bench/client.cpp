// bench_client: seconds of stereo float noise through a plug-in with the
// C++ client, one second per message, then the tail; prints the seconds the
// job took, from starting fxhost.exe to its end, on standard output.
// "raw" does the same job with no client: the least a parent on the same
// named pipe must do (start, write the messages, read the replies by
// count), so that the two differ by the client's own cost only.
//   bench_client [raw] <plug-in> <seconds of audio>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "fxhost_client.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace {

const uint32_t rate = 44100, channels = 2;

void put32(std::string& bytes, uint32_t value) {
    bytes.append(reinterpret_cast<const char*>(&value), 4);
}

// The raw job: blocking writes on a thread of their own, blocking reads by
// count on this one.
bool raw(const wchar_t* plugin, int seconds, const std::vector<float>& second) {
    std::wstring name = L"\\\\.\\pipe\\fxhost-bench-" + std::to_wstring(GetCurrentProcessId());
    HANDLE pipe = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 1 << 20, 1 << 20,
                                   0, NULL);
    wchar_t self[MAX_PATH];
    std::wstring program(self, GetModuleFileNameW(NULL, self, MAX_PATH));
    program = program.substr(0, program.find_last_of(L"\\") + 1) + L"fxhost.exe";
    std::wstring line = L"fxhost.exe process --vst \"" + std::wstring(plugin) + L"\" --vst-version 2 --pipe " + name +
                        L" --protocol chunked --bits 32 --formattag 3";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    if (pipe == INVALID_HANDLE_VALUE ||
        !CreateProcessW(program.c_str(), &line[0], NULL, NULL, FALSE, 0, NULL, NULL, &startup, &started))
        return false;
    ConnectNamedPipe(pipe, NULL);
    std::string messages;
    put32(messages, 3), put32(messages, 20), put32(messages, rate), put32(messages, channels), put32(messages, 3);
    put32(messages, channels), put32(messages, 3);
    const size_t bytes = second.size() * sizeof(float);
    std::thread writer([&] {
        DWORD done = 0;
        WriteFile(pipe, messages.data(), DWORD(messages.size()), &done, NULL);
        std::string head;
        put32(head, 1), put32(head, uint32_t(bytes));
        for (int i = 0; i < seconds; ++i) {
            WriteFile(pipe, head.data(), 8, &done, NULL);
            WriteFile(pipe, second.data(), DWORD(bytes), &done, NULL);
        }
        std::string drain;
        put32(drain, 4), put32(drain, 0);
        WriteFile(pipe, drain.data(), 8, &done, NULL);
    });
    auto readCount = [&](char* to, size_t count) {
        DWORD got = 0;
        for (size_t done = 0; done < count; done += got)
            if (!ReadFile(pipe, to + done, DWORD(count - done), &got, NULL) || got == 0)
                return false;
        return true;
    };
    std::vector<char> reply(bytes + 4);
    bool ok = readCount(reply.data(), 20);
    for (int i = 0; ok && i < seconds; ++i)
        ok = readCount(reply.data(), bytes + 4);
    uint32_t tail = 0;
    ok = ok && readCount(reinterpret_cast<char*>(&tail), 4);
    std::vector<char> rest(tail);
    ok = ok && readCount(rest.data(), tail);
    writer.join();
    CloseHandle(pipe);
    WaitForSingleObject(started.hProcess, INFINITE);
    CloseHandle(started.hProcess);
    CloseHandle(started.hThread);
    return ok;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    bool bare = argc == 4 && std::wcscmp(argv[1], L"raw") == 0;
    if (argc != 3 && !bare)
        return 2;
    const wchar_t* plugin = argv[argc - 2];
    int seconds = _wtoi(argv[argc - 1]);
    std::vector<float> second(rate * channels);
    uint32_t state = 1;
    for (float& sample : second) {
        state = state * 1664525u + 1013904223u;
        sample = float(int32_t(state)) / 2147483648.0f;
    }
    if (bare) {
        auto start = std::chrono::steady_clock::now();
        if (!raw(plugin, seconds, second))
            return 1;
        std::printf("%.6f\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        return 0;
    }
    try {
        auto start = std::chrono::steady_clock::now();
        fxhost::HostOptions options;
        options.vstVersion = 2;
        fxhost::Host host(plugin, options);
        std::unique_ptr<fxhost::Stream> stream = host.openStream(fxhost::SampleType::Float32);
        stream->setFormat(rate, channels);
        for (int i = 0; i < seconds; ++i)
            stream->process(second.data(), rate);
        stream->drainFloat();
        stream->close();
        std::printf("%.6f\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    } catch (const fxhost::Error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
