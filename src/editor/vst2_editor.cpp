#include "editor/vst2_editor.h"

#include <atomic>
#include <cwchar>

#include "editor/resource.h"
#include "editor/window_options.h"
#include "run/vst_globals.h"
#include "support/thread/main_thread_queue.h"
#include "support/win32.h"
#include "vst3/vst3_adapter.h"

namespace {

// The window and what it holds for the life of one vst2_editor call.
struct EditorWindow {
    VSTGlobals& globals;
    HWND window = NULL;
    HICON icon = NULL;

    explicit EditorWindow(VSTGlobals& globals) : globals(globals) {}
    ~EditorWindow() {
        if (window && IsWindow(window))
            DestroyWindow(window);
        if (icon)
            DestroyIcon(icon);
    }
    EditorWindow(const EditorWindow&) = delete;
    EditorWindow& operator=(const EditorWindow&) = delete;
};

LRESULT CALLBACK editorWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_CREATE: {
        EditorWindow* self = static_cast<EditorWindow*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
        self->icon = LoadIconW(GetModuleHandleW(NULL), MAKEINTRESOURCEW(IDI_FXHOST));
        SendMessageW(window, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(self->icon));
        SendMessageW(window, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(self->icon));
        return 0;
    }
    case WM_CLOSE:
        DestroyWindow(window);
        PostQuitMessage(0);
        return 0;
    case WM_SIZE:
        // The plug-in sizes its own child window; a resize from here would
        // fight it.
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

// Registered on first use and kept for the process. The name carries the
// record's address, so that it cannot meet a class of a plug-in's.
const wchar_t* editorWindowClass() {
    static WNDCLASSEXW record;
    static wchar_t name[40];
    HINSTANCE instance = GetModuleHandleW(NULL);
    if (!name[0])
        std::swprintf(name, sizeof name / sizeof name[0], L"ATL:%p", static_cast<void*>(&record));
    WNDCLASSEXW existing = {};
    existing.cbSize = sizeof existing;
    if (GetClassInfoExW(instance, name, &existing))
        return name;
    record = WNDCLASSEXW();
    record.cbSize = sizeof record;
    record.style = CS_VREDRAW | CS_HREDRAW | CS_DBLCLKS;
    record.lpfnWndProc = editorWindowProc;
    record.hInstance = instance;
    record.hCursor = LoadCursorW(NULL, MAKEINTRESOURCEW(32512)); // IDC_ARROW
    record.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    record.lpszClassName = name;
    return RegisterClassExW(&record) ? name : nullptr;
}

// Whatever way vst2_editor leaves, the plug-in's notifications must no
// longer reach its locals.
class NotificationsCleared {
public:
    explicit NotificationsCleared(VSTEffect& effect) : effect(effect) {}
    ~NotificationsCleared() {
        effect.changeCallback = nullptr;
        if (effect.adapter)
            effect.adapter->onParamEdit = nullptr;
    }
    NotificationsCleared(const NotificationsCleared&) = delete;
    NotificationsCleared& operator=(const NotificationsCleared&) = delete;

private:
    VSTEffect& effect;
};

} // namespace

bool vst2_editor(VSTGlobals& globals, const std::function<void()>& shown) {
    // Set on any thread the plug-in notifies from, cleared by the save on
    // this one; it outlives the queue, whose destructor runs the last job.
    std::atomic<bool> settingsPending(false);
    Qz::mainThreadQueue queue;
    HWND parent = static_cast<HWND>(parentWindow(globals));

    EditorWindow self(globals);
    const wchar_t* windowClass = editorWindowClass();
    if (!windowClass)
        return false;
    self.window = CreateWindowExW(WS_EX_APPWINDOW | WS_EX_WINDOWEDGE, windowClass, windowTitle().c_str(),
                                  WS_CLIPCHILDREN | WS_CAPTION | WS_SYSMENU, CW_USEDEFAULT, CW_USEDEFAULT,
                                  CW_USEDEFAULT, CW_USEDEFAULT, parent, NULL, GetModuleHandleW(NULL), &self);
    if (!self.window)
        return false;

    VSTEffect& effect = *globals.effect;
    effect.openEditor(self.window);
    effect.idleTick();
    ShowWindow(self.window, SW_SHOW);

    // A burst of notifications costs one save, at the next turn of the loop;
    // the save itself finds out whether anything really changed.
    auto notify = [&settingsPending, &queue, &globals] {
        if (settingsPending.exchange(true))
            return;
        queue.post([&settingsPending, &globals] {
            if (settingsPending.exchange(false))
                globals.saveSettings();
        });
    };
    NotificationsCleared cleared(effect);
    if (effect.adapter)
        effect.adapter->onParamEdit = [notify](Steinberg::Vst::ParamID, double&) { notify(); };
    else
        effect.changeCallback = [notify](int32_t) { notify(); };

    if (shown)
        shown();
    // Key messages become characters, as text fields in a plug-in's editor
    // (a value box) wait for WM_CHAR.
    MSG message;
    while (GetMessageW(&message, NULL, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }

    effect.closeEditor();
    if (IsWindow(self.window))
        DestroyWindow(self.window);
    self.window = NULL;
    globals.saveSettings();
    return true;
}
