// The editor of fxd_editor: a plain Win32 child window in the host's
// window, through the framework's "external" UI (no OpenGL, no Cairo), as a
// plug-in whose drawing is its own would make it. A message WM_APP + 1 to
// that window moves Gain to wParam / 1000 as a user's drag would. It paints
// its name and a bar for Gain, so that a picture of it shows an editor.
#include "DistrhoUI.hpp"

#include <windows.h>

#include <cwchar>

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
        windowClass.hbrBackground = CreateSolidBrush(RGB(40, 44, 52));
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
    void parameterChanged(uint32_t, float value) override {
        gain = value;
        if (window)
            InvalidateRect(window, nullptr, TRUE);
    }
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
        if (editor && message == WM_PAINT) {
            PAINTSTRUCT paint;
            HDC dc = BeginPaint(handle, &paint);
            RECT bar = {20, 150, 20 + int(160 * editor->gain), 180}; // Gain runs from 0 to 2
            HBRUSH fill = CreateSolidBrush(RGB(97, 175, 239));
            FillRect(dc, &bar, fill);
            DeleteObject(fill);
            SetBkMode(dc, TRANSPARENT);
            SetTextColor(dc, RGB(220, 223, 228));
            RECT text = {20, 40, 340, 130};
            wchar_t line[64];
            swprintf(line, 64, L"fxd_editor\nGain %.2f", double(editor->gain));
            DrawTextW(dc, line, -1, &text, DT_LEFT);
            EndPaint(handle, &paint);
            return 0;
        }
        return DefWindowProcW(handle, message, wParam, lParam);
    }

    HWND window = nullptr;
    float gain = 1.0f;

    DISTRHO_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(FxdEditor)
};

UI* createUI() {
    return new FxdEditor();
}

END_NAMESPACE_DISTRHO
