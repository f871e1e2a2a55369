#include "support/file/std_channels.h"

#include <fcntl.h>
#include <io.h>

#include "support/error/error.h"
#include "support/text/utf.h"
#include "support/win32.h"

namespace Qz {

namespace {

bool kept = false;
HANDLE keptOutput = NULL, keptError = NULL;
std::FILE* keptErrorStream = nullptr;

HANDLE duplicateOf(HANDLE handle) {
    HANDLE copy = NULL;
    if (handle == NULL || handle == INVALID_HANDLE_VALUE ||
        !DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
        return handle;
    return copy;
}

// The C runtimes a plug-in may print through: ours, which plug-ins built
// with mingw-w64 share, and the universal one of plug-ins built with
// Visual C++. A plug-in with a runtime linked in statically starts it on
// the Win32 standard handles as it loads.
const wchar_t* const runtimeNames[] = {L"msvcrt.dll", L"ucrtbase.dll"};

using OpenOsHandle = int(__cdecl*)(intptr_t, int);
using Dup2 = int(__cdecl*)(int, int);
using Close = int(__cdecl*)(int);

template <class Function> Function runtimeFunction(HMODULE runtime, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(runtime, name)));
}

// Descriptors 1 and 2 of one runtime onto a copy of `target`. Replacing a
// descriptor closes its old handle, the runtime's own copy of the standard
// handle; the program's duplicates stay open.
void divertRuntime(HMODULE runtime, HANDLE target) {
    auto openOsHandle = runtimeFunction<OpenOsHandle>(runtime, "_open_osfhandle");
    auto dup2 = runtimeFunction<Dup2>(runtime, "_dup2");
    auto close = runtimeFunction<Close>(runtime, "_close");
    if (!openOsHandle || !dup2 || !close)
        return;
    HANDLE copy = duplicateOf(target);
    int descriptor = openOsHandle(reinterpret_cast<intptr_t>(copy), _O_TEXT | _O_WRONLY);
    if (descriptor < 0) {
        CloseHandle(copy);
        return;
    }
    dup2(descriptor, 1);
    dup2(descriptor, 2);
    if (descriptor > 2)
        close(descriptor);
}

} // namespace

void keepStandardChannels() {
    if (kept)
        return;
    kept = true;
    keptOutput = duplicateOf(GetStdHandle(STD_OUTPUT_HANDLE));
    keptError = duplicateOf(GetStdHandle(STD_ERROR_HANDLE));
    // A descriptor of its own in text mode, so that the program's texts keep
    // the line ends that the runtime's stderr gave them.
    int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(keptError), _O_TEXT | _O_WRONLY);
    std::FILE* stream = descriptor < 0 ? nullptr : _fdopen(descriptor, "w");
    if (!stream)
        return;
    std::setvbuf(stream, nullptr, _IONBF, 0);
    keptErrorStream = stream;
}

void divertStandardChannels(const std::string& path) {
    HANDLE target;
    SetLastError(0);
    if (path.empty())
        target = CreateFileW(L"NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_EXISTING, 0, NULL);
    else // appended, so that the runs of a whole session land in one file
        target = CreateFileW(utf8ToWide(path).c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
    if (target == INVALID_HANDLE_VALUE)
        throwLastError();
    SetStdHandle(STD_OUTPUT_HANDLE, target);
    SetStdHandle(STD_ERROR_HANDLE, duplicateOf(target));
    for (const wchar_t* name : runtimeNames)
        if (HMODULE runtime = GetModuleHandleW(name))
            divertRuntime(runtime, target);
}

void* standardOutput() {
    return kept ? keptOutput : GetStdHandle(STD_OUTPUT_HANDLE);
}

std::FILE* standardError() {
    return keptErrorStream ? keptErrorStream : stderr;
}

void* standardErrorHandle() {
    return kept ? keptError : GetStdHandle(STD_ERROR_HANDLE);
}

} // namespace Qz
