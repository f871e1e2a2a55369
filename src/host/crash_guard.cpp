#include "host/crash_guard.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>

#include "host/crash_report.h"
#include "support/file/std_channels.h"
#include "support/win32.h"

namespace {

// Enough for the system's exception dispatch and the report, on a thread
// that has run out of stack.
const ULONG reportStack = 64 * 1024;

volatile LONG guarded = 0, ending = 0, reporting = 0;
HANDLE mainThread = NULL;

// A stack overflow as it was met, for the watcher to report: the thread
// that met it has too little stack left to write anything.
HANDLE overflowMet = NULL;
PVOID volatile overflowAddress = NULL;

[[noreturn]] void endWith(const CrashLine& line) {
    // The first report wins; a second crash while it is written waits for
    // the end of the process.
    if (InterlockedExchange(&reporting, 1) == 0) {
        DWORD written = 0;
        WriteFile(Qz::standardErrorHandle(), line.text(), DWORD(line.size()), &written, NULL);
        TerminateProcess(GetCurrentProcess(), UINT(-1));
    }
    for (;;)
        Sleep(INFINITE);
}

// The file name of the module that holds `address`, in UTF-8, and the
// offset into it; an empty name when no module holds it.
uint64_t locate(const void* address, char* name, int size) {
    HMODULE module = NULL;
    name[0] = 0;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCWSTR>(address), &module))
        return uint64_t(reinterpret_cast<uintptr_t>(address));
    wchar_t path[1024];
    DWORD length = GetModuleFileNameW(module, path, DWORD(sizeof path / sizeof path[0]));
    if (length == 0 || length >= sizeof path / sizeof path[0])
        return uint64_t(reinterpret_cast<uintptr_t>(address));
    DWORD start = length;
    while (start > 0 && path[start - 1] != L'\\' && path[start - 1] != L'/')
        --start;
    int bytes = WideCharToMultiByte(CP_UTF8, 0, path + start, int(length - start), name, size - 1, NULL, NULL);
    name[bytes > 0 ? bytes : 0] = 0;
    return uint64_t(reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(module));
}

LONG WINAPI onUnhandledException(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD* record = pointers->ExceptionRecord;
    char module[520];
    uint64_t offset = locate(record->ExceptionAddress, module, int(sizeof module));
    endWith(CrashLine(uint32_t(record->ExceptionCode), module, offset));
}

void onAbort(int) {
    endWith(CrashLine("abort"));
}

void onTerminate() {
    endWith(CrashLine("std::terminate"));
}

void __cdecl onInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {
    endWith(CrashLine("invalid parameter to a C runtime function"));
}

// An end through the runtime's exit, which a plug-in on the runtime
// shares: the handlers registered with it run first.
void onExit() {
    if (!ending)
        endWith(CrashLine("exit called before the command finished"));
}

// A stack overflow is reported by the watcher below, not on the thread
// that overflowed: Wine 8 gives the exception's handlers no more than two
// pages of stack, whatever the thread asked for, and when the report's own
// frames overflow them Wine ends that thread without a word. So this
// handler, the first the system calls, does nothing but hand the address
// over. The run ends at the first overflow, before any handler of the
// plug-in's own: a plug-in does not recover from one, and on Windows a
// second overflow in the same thread would end the process unreported.
LONG WINAPI onStackOverflow(EXCEPTION_POINTERS* pointers) {
    if (pointers->ExceptionRecord->ExceptionCode != STATUS_STACK_OVERFLOW)
        return EXCEPTION_CONTINUE_SEARCH;
    if (InterlockedCompareExchangePointer(&overflowAddress, pointers->ExceptionRecord->ExceptionAddress, NULL) ==
        NULL)
        SetEvent(overflowMet);
    for (;;)
        Sleep(INFINITE);
}

// A thread of the program's own reports stack overflows, and waits for the
// main thread: nothing but a return from wmain may end that thread. A
// plug-in that ends it (ExitThread on the caller's thread) would otherwise
// leave the parent a process kept alive by the plug-in's threads, or an
// exit code of the system's choosing.
DWORD WINAPI watch(LPVOID) {
    HANDLE events[] = {mainThread, overflowMet};
    DWORD which = WaitForMultipleObjects(overflowMet ? 2 : 1, events, FALSE, INFINITE);
    if (which == WAIT_OBJECT_0 + 1) {
        char module[520];
        uint64_t offset = locate(overflowAddress, module, int(sizeof module));
        endWith(CrashLine(uint32_t(STATUS_STACK_OVERFLOW), module, offset));
    }
    if (!ending)
        endWith(CrashLine("the main thread was ended before the command finished"));
    return 0;
}

void reserveReportStack() {
    ULONG size = reportStack;
    SetThreadStackGuarantee(&size); // a thread with a smaller stack keeps what it has
}

// Runs on every thread the process starts, plug-ins' included, and as the
// process ends: the one place that sees both.
void NTAPI onThreadOrProcess(PVOID, DWORD reason, PVOID) {
    if (!guarded)
        return;
    if (reason == DLL_THREAD_ATTACH)
        reserveReportStack();
    else if (reason == DLL_PROCESS_DETACH && !ending)
        endWith(CrashLine("the process was ended before the command finished"));
}

} // namespace

// The image's TLS directory calls this for every thread and process event.
#ifdef _MSC_VER
#pragma section(".CRT$XLF", long, read)
#ifdef _M_IX86
#pragma comment(linker, "/INCLUDE:__tls_used")
#pragma comment(linker, "/INCLUDE:_fxhostCrashGuardCallback")
#else
#pragma comment(linker, "/INCLUDE:_tls_used")
#pragma comment(linker, "/INCLUDE:fxhostCrashGuardCallback")
#endif
extern "C" __declspec(allocate(".CRT$XLF")) const PIMAGE_TLS_CALLBACK fxhostCrashGuardCallback = onThreadOrProcess;
#else
extern "C" __attribute__((section(".CRT$XLF"), used)) const PIMAGE_TLS_CALLBACK fxhostCrashGuardCallback =
    onThreadOrProcess;
#endif

void guardAgainstCrashes() {
    // No error box and no debugger: the run ends with its report instead.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    SetUnhandledExceptionFilter(onUnhandledException);
    reserveReportStack();
    std::signal(SIGABRT, onAbort);
    std::atexit(onExit);
    std::set_terminate(onTerminate);
    // A runtime that calls a handler for an invalid parameter would
    // otherwise end the process through the system's error reporting.
    // (Wine's msvcrt.dll returns an error code and goes on.)
    _set_invalid_parameter_handler(onInvalidParameter);
    overflowMet = CreateEventW(NULL, TRUE, FALSE, NULL);
    if (DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &mainThread, SYNCHRONIZE, FALSE,
                        0)) {
        HANDLE watcher = CreateThread(NULL, 64 * 1024, watch, NULL, STACK_SIZE_PARAM_IS_A_RESERVATION, NULL);
        // The overflow handler only hands over: without the watcher, a
        // thread that overflowed would wait for ever.
        if (watcher && overflowMet)
            AddVectoredExceptionHandler(1, onStackOverflow);
        if (watcher)
            CloseHandle(watcher);
    }
    InterlockedExchange(&guarded, 1);
}

void endingNormally() {
    InterlockedExchange(&ending, 1);
}
