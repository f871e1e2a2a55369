#include "misbehaviour.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <thread>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

// The part of this module's file name between "rude-" and the extension.
std::string misbehaviour() {
    wchar_t path[4 * MAX_PATH];
    DWORD length = GetModuleFileNameW(reinterpret_cast<HMODULE>(&__ImageBase), path, 4 * MAX_PATH);
    std::string name;
    for (DWORD i = 0; i < length; ++i)
        name += path[i] == L'\\' || path[i] == L'/' ? '/' : char(path[i]);
    name = name.substr(name.rfind('/') + 1);
    size_t start = name.find("rude-");
    if (start == std::string::npos)
        return std::string();
    name = name.substr(start + 5);
    return name.substr(0, name.rfind('.'));
}

// Through every way a plug-in may reach the standard channels.
void printEverywhere(const char* when) {
    std::printf("printf to standard output %s\n", when);
    std::fflush(stdout);
    std::fprintf(stderr, "fprintf to standard error %s\n", when);
    char line[128];
    int size = std::snprintf(line, sizeof line, "WriteFile to a standard handle %s\r\n", when);
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line, DWORD(size), &written, nullptr);
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), line, DWORD(size), &written, nullptr);
}

void writeThroughNull() {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
}

// Deeper than any stack; the volatile array keeps each frame alive.
int recurse(int depth) {
    volatile char frame[1024];
    frame[0] = char(depth);
    if (depth == 1 << 30)
        return 0;
    return recurse(depth + 1) + frame[0];
}

void illegalInstruction() {
#ifdef _MSC_VER
    __ud2();
#else
    __builtin_trap();
#endif
}

int divideByZero() {
    volatile int dividend = 1000, zero = 0;
    return dividend / zero;
}

void strike(const std::string& what) {
    if (what == "crash-thread") {
        std::thread([] { writeThroughNull(); }).join();
    } else if (what == "overflow") {
        std::printf("%d", recurse(0));
    } else if (what == "overflow-thread") {
        std::thread([] { std::printf("%d", recurse(0)); }).join();
    } else if (what == "illegal") {
        illegalInstruction();
    } else if (what == "divide") {
        std::printf("%d", divideByZero());
    } else if (what == "end-thread") {
        ExitThread(0);
    } else if (what == "abort") {
        std::abort();
    } else if (what == "terminate") {
        std::terminate();
    } else if (what == "exit") {
        std::exit(3);
    } else {
        writeThroughNull();
    }
}

int blocks = 0;

} // namespace

void misbehave(Moment moment) {
    static const std::string what = misbehaviour();
    if (what.empty())
        return;
    if (what == "print") {
        if (moment == Moment::Open) {
            printEverywhere("while opening");
            std::thread([] { printEverywhere("on a thread of its own"); }).join();
        } else if (moment == Moment::Close) {
            printEverywhere("while closing");
        } else if (++blocks % 100 == 0) {
            printEverywhere("every 100th block");
        }
        return;
    }
    bool now = moment == Moment::Open    ? what == "crash-open"
               : moment == Moment::Close ? what == "crash-close"
                                         : ++blocks == 50 && what != "crash-open" && what != "crash-close";
    if (now)
        strike(what);
}
