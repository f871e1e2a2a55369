#include "support/thread/thread_name.h"

#include "support/text/utf.h"
#include "support/win32.h"

namespace Qz {

namespace {

using setThreadDescriptionFn = HRESULT(WINAPI*)(HANDLE, PCWSTR);

// Looked up at run time: linking to it would keep the program from loading
// on systems without it.
setThreadDescriptionFn findSetThreadDescription() {
    for (const wchar_t* module : {L"KernelBase.dll", L"kernel32.dll"}) {
        HMODULE loaded = GetModuleHandleW(module);
        if (!loaded)
            continue;
        if (FARPROC found = GetProcAddress(loaded, "SetThreadDescription"))
            // Through the generic function type: a direct cast between
            // unrelated function types draws a warning.
            return reinterpret_cast<setThreadDescriptionFn>(reinterpret_cast<void (*)()>(found));
    }
    return nullptr;
}

} // namespace

void setThreadName(const std::string& name) {
    static const setThreadDescriptionFn setThreadDescription = findSetThreadDescription();
    if (setThreadDescription)
        setThreadDescription(GetCurrentThread(), utf8ToWide(name).c_str());
}

} // namespace Qz
