#include "editor/configure.h"

#include "editor/generic_editor.h"
#include "editor/vst2_editor.h"
#include "editor/window_options.h"
#include "run/vst_globals.h"
#include "support/text/utf.h"
#include "support/win32.h"

namespace {

// The common controls are reached at run time: only the two windows need
// them, and importing the library made every run, a plain stream included,
// pay for it at start (about 20 ms and 3 MiB under Wine). The program's
// manifest picks version 6 for this load as it would for an import.
void initCommonControls() {
    HMODULE library = LoadLibraryW(L"comctl32.dll");
    FARPROC found = library ? GetProcAddress(library, "InitCommonControls") : NULL;
    if (found)
        reinterpret_cast<void(WINAPI*)()>(reinterpret_cast<void*>(found))();
}

// Reached at run time: the call exists from Windows 8.1 on, and a system
// without it simply keeps its default.
void setProcessDpiAwareness(int awareness) {
    const DWORD searchSystem32 = 0x800; // LOAD_LIBRARY_SEARCH_SYSTEM32
    HMODULE library = LoadLibraryExW(L"Shcore.dll", NULL, searchSystem32);
    if (!library)
        return;
    typedef HRESULT(WINAPI * SetAwareness)(int);
    FARPROC found = GetProcAddress(library, "SetProcessDpiAwareness");
    if (found)
        reinterpret_cast<SetAwareness>(reinterpret_cast<void*>(found))(awareness);
    // The library stays loaded to the end of the process.
}

const int unaware = 0, systemAware = 1;

} // namespace

bool configure(VSTGlobals& globals, const std::function<void()>& shown) {
    initCommonControls();
    if (const std::string* title = findOption(globals.arguments, "--window-title"))
        windowTitle() = Qz::utf8ToWide(*title);

    AEffect* plugin = globals.effect->aeffect;
    if (plugin && (plugin->flags & effFlagsHasEditor)) {
        // How a plug-in's own editor copes with scaling is for the parent to
        // know; without the option the process stays as it starts.
        if (const std::string* aware = findOption(globals.arguments, "--dpi-aware"))
            setProcessDpiAwareness(*aware == "yes" ? systemAware : unaware);
        return vst2_editor(globals, shown);
    }
    // The generic dialog scales all its lengths itself.
    setProcessDpiAwareness(systemAware);
    return generic_editor(globals, shown);
}
