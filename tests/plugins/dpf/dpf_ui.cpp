// The editor of fxd_editor: a plain Win32 child window in the host's
// window, through the framework's "external" UI (no OpenGL, no Cairo), as a
// plug-in whose drawing is its own would make it. A message WM_APP + 1 to
// that window moves Gain to wParam / 1000 as a user's drag would.
#include "DistrhoUI.hpp"

#include <windows.h>

START_NAMESPACE_DISTRHO

namespace {
const wchar_t editorClassName[] = L"fxd_editor";
const UINT editorEdit = WM_APP + 1;
} // namespace

class FxdEditor : public UI {
public:
    FxdEditor() : UI(360, 240) {
        if (!isEmbed())
            return;
        WNDCLASSEXW windowClass = {};
        windowClass.cbSize = sizeof windowClass;
        windowClass.lpfnWndProc = procedure;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = editorClassName;
        RegisterClassExW(&windowClass); // fails harmlessly once registered
        window = CreateWindowExW(0, editorClassName, L"", WS_CHILD | WS_VISIBLE, 0, 0, int(getWidth()),
                                 int(getHeight()), reinterpret_cast<HWND>(getParentWindowHandle()), nullptr,
                                 GetModuleHandleW(nullptr), this);
    }
    ~FxdEditor() override {
        if (window)
            DestroyWindow(window);
    }

protected:
    uintptr_t getNativeWindowHandle() const noexcept override { return reinterpret_cast<uintptr_t>(window); }
    void parameterChanged(uint32_t, float) override {}
    void stateChanged(const char*, const char*) override {}
    void sizeChanged(uint width, uint height) override {
        UI::sizeChanged(width, height);
        if (window)
            SetWindowPos(window, nullptr, 0, 0, int(width), int(height), SWP_NOMOVE | SWP_NOZORDER);
    }
    void visibilityChanged(bool visible) override {
        if (window)
            ShowWindow(window, visible ? SW_SHOW : SW_HIDE);
    }

private:
    static LRESULT CALLBACK procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE)
            SetWindowLongPtrW(handle, GWLP_USERDATA,
                              reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams));
        FxdEditor* editor = reinterpret_cast<FxdEditor*>(GetWindowLongPtrW(handle, GWLP_USERDATA));
        if (editor && message == editorEdit) {
            editor->editParameter(0, true);
            editor->setParameterValue(0, float(wParam) / 1000.0f);
            editor->editParameter(0, false);
            return 0;
        }
        return DefWindowProcW(handle, message, wParam, lParam);
    }

    HWND window = nullptr;

    DISTRHO_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(FxdEditor)
};

UI* createUI() {
    return new FxdEditor();
}

END_NAMESPACE_DISTRHO
