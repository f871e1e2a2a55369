// What fxhost cannot avoid: the system calls its job requires and nothing
// else, so that a benchmark can tell our overhead from the platform's.
//   bench_baseline startup <plug-in>
//   bench_baseline plain <plug-in> <input block bytes> <output block bytes>
//   bench_baseline chunked <plug-in> <input frame bytes> <output frame bytes>
// Every mode first does what a run does up to an opened plug-in: COM, the
// plug-in's folder as working directory, loading its module, the idle timer,
// and one pump of pending messages. plain then pumps, reads one block and
// writes one block per block; chunked reads each message's two header words
// and payload, writes one 512-frame slice at a time, then the 4-byte reply
// (and answers a format as asked and a drain with an empty tail).
// No conversion and no plug-in call: the bytes go out as they came in.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <objbase.h>
#include <windows.h>

namespace {

HANDLE input, output;

void CALLBACK idleTick(HWND, UINT, UINT_PTR, DWORD) {}

void pump() {
    MSG message = {};
    while (PeekMessageW(&message, NULL, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

// Blocks until size bytes came or the input ended, as fxhost's reads do.
size_t readFully(char* buffer, size_t size) {
    size_t filled = 0;
    while (filled < size) {
        DWORD got = 0;
        SetLastError(0);
        if (!ReadFile(input, buffer + filled, DWORD(size - filled), &got, NULL) || got == 0)
            break;
        filled += got;
    }
    return filled;
}

bool writeAll(const char* buffer, size_t size) {
    while (size > 0) {
        DWORD put = 0;
        SetLastError(0);
        if (!WriteFile(output, buffer, DWORD(size), &put, NULL) || put == 0)
            return false;
        buffer += put;
        size -= put;
    }
    return true;
}

bool openPlugin(const wchar_t* path) {
    CoInitialize(NULL);
    std::wstring folder(path);
    size_t slash = folder.find_last_of(L"\\/");
    if (slash != std::wstring::npos)
        SetCurrentDirectoryW(folder.substr(0, slash).c_str());
    if (!LoadLibraryW(path))
        return false;
    SetTimer(NULL, 0, 100, idleTick);
    pump();
    return true;
}

int plain(size_t inBlock, size_t outBlock) {
    std::vector<char> in(inBlock), out(outBlock);
    for (;;) {
        pump();
        size_t got = readFully(in.data(), in.size());
        if (got == 0) {
            pump();  // before the tail, which a pass-through plug-in does not have
            return 0;
        }
        std::memcpy(out.data(), in.data(), got < outBlock ? got : outBlock);
        size_t frames = got / (inBlock / 512);
        if (!writeAll(out.data(), frames * (outBlock / 512)))
            return 1;
    }
}

int chunked(size_t inFrame, size_t outFrame) {
    std::vector<char> payload, slice(512 * outFrame);
    for (;;) {
        pump();
        uint32_t command = 0, size = 0;
        if (readFully(reinterpret_cast<char*>(&command), 4) < 4 || readFully(reinterpret_cast<char*>(&size), 4) < 4)
            return 0;
        if (payload.size() < size)
            payload.resize(size);
        if (size && readFully(payload.data(), size) < size)
            return 1;
        if (command == 3 && !writeAll(payload.data(), 20))  // the format, answered as asked
            return 1;
        const uint32_t noTail = 0;  // a pass-through plug-in has none
        if (command == 4 && !writeAll(reinterpret_cast<const char*>(&noTail), 4))
            return 1;
        if (command != 1)
            continue;
        for (size_t at = 0; at < size; at += 512 * inFrame) {
            size_t frames = (size - at) / inFrame < 512 ? (size - at) / inFrame : 512;
            if (!writeAll(slice.data(), frames * outFrame))
                return 1;
        }
        uint32_t latency = 0;
        if (!writeAll(reinterpret_cast<const char*>(&latency), 4))
            return 1;
    }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3 || !openPlugin(argv[2]))
        return 1;
    input = GetStdHandle(STD_INPUT_HANDLE);
    output = GetStdHandle(STD_OUTPUT_HANDLE);
    std::wstring mode(argv[1]);
    size_t in = argc > 3 ? size_t(_wtoi(argv[3])) : 0, out = argc > 4 ? size_t(_wtoi(argv[4])) : in;
    if (mode == L"plain" && in && out)
        return plain(in, out);
    if (mode == L"chunked" && in && out)
        return chunked(in, out);
    return mode == L"startup" ? 0 : 1;
}
