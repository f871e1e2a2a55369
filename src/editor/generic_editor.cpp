#include "editor/generic_editor.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "editor/dialog_layout.h"
#include "editor/parameter_choice.h"
#include "editor/resource.h"
#include "editor/window_options.h"
#include "run/vst_globals.h"
#include "support/text/utf.h"
#include "support/win32.h"

#include <commctrl.h>

namespace {

const DWORD nameStyle = WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN | SS_RIGHT;
const DWORD sliderStyle = WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN;
const DWORD valueStyle = WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN | SS_CENTER;
const DWORD listStyle = WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN | CBS_DROPDOWNLIST;

class ParameterDialog {
public:
    explicit ParameterDialog(VSTGlobals& globals) : globals(globals), effect(*globals.effect) {}
    ~ParameterDialog() {
        if (icon)
            DestroyIcon(icon);
        if (titleFont)
            DeleteObject(titleFont);
        if (valueFont)
            DeleteObject(valueFont);
    }
    ParameterDialog(const ParameterDialog&) = delete;
    ParameterDialog& operator=(const ParameterDialog&) = delete;

    static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    // Whether the rows are taller than the screen and scroll.
    bool scrolls() const { return dialog && layout && shown != layout->clientHeight; }
    // Whether `window` is the dialog or one of its controls.
    bool owns(HWND window) const { return dialog && (window == dialog || IsChild(dialog, window)); }
    // Scrolls the rows by a turn of the wheel; false when they all fit and
    // nothing scrolls.
    bool wheel(int32_t delta);

    VSTGlobals& globals;
    HWND dialog = NULL; // null again once the dialog is destroyed
    HFONT titleFont = NULL;
    HFONT valueFont = NULL;
    HICON icon = NULL;
    // An exception out of a handler must not cross the system's frames; it
    // ends the loop and is thrown again from generic_editor.
    std::exception_ptr failure;

private:
    VSTEffect& effect;
    std::unique_ptr<DialogLayout> layout; // set by initialize
    int32_t shown = 0;                    // client height on the screen
    int32_t top = 0;                      // how far the rows are scrolled

    int32_t parameters() const { return nonNegative(effect.aeffect->numParams); }
    BOOL initialize();
    void addRow(int32_t index, const DialogLayout& layout);
    void sliderMoved(HWND control);
    bool command(WPARAM wParam, LPARAM lParam);
    void fitToScreen();
    void scrollTo(int32_t wanted);
    void scrolled(int32_t request);
    std::vector<ParameterChoice> choices(int32_t index);
    std::string valueText(int32_t index);
    bool changeParameter(int32_t index, int32_t pos);
    HWND addControl(const wchar_t* windowClass, const std::wstring& text, DWORD style, int32_t x, int32_t y,
                    int32_t width, int32_t height, int32_t id, HFONT font);
};

// Sweeps the parameter through its range and puts it back.
std::vector<ParameterChoice> ParameterDialog::choices(int32_t index) {
    float saved = effect.getParameter(index);
    std::vector<ParameterChoice> result = ::choices([&](float value) {
        effect.setParameter(index, value);
        return ParameterTexts{effect.getText(index, effGetParamDisplay), effect.getText(index, effGetParamLabel)};
    });
    effect.setParameter(index, saved);
    return result;
}

std::string ParameterDialog::valueText(int32_t index) {
    return joined(effect.getText(index, effGetParamDisplay), effect.getText(index, effGetParamLabel));
}

// Only a change of the rounded position reaches the plug-in and the file,
// so a drag costs one save per step it really moves.
bool ParameterDialog::changeParameter(int32_t index, int32_t pos) {
    if (pos == position(effect.getParameter(index)))
        return false;
    effect.setParameter(index, float(pos) * 0.01f);
    globals.saveSettings();
    return true;
}

HWND ParameterDialog::addControl(const wchar_t* windowClass, const std::wstring& text, DWORD style, int32_t x,
                                 int32_t y, int32_t width, int32_t height, int32_t id, HFONT font) {
    HWND control = CreateWindowExW(0, windowClass, text.c_str(), style, x, y, width, height, dialog,
                                   reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(NULL), NULL);
    if (font)
        SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), 1);
    return control;
}

void ParameterDialog::addRow(int32_t index, const DialogLayout& layout) {
    std::vector<ParameterChoice> items = choices(index);
    int32_t y = layout.rowTop(index), width = layout.controlRight - layout.controlLeft;
    addControl(L"STATIC", Qz::utf8ToWide(effect.getText(index, effGetParamName)), nameStyle, layout.marginX,
               y + layout.labelDrop, layout.labelWidth, layout.controlHeight - layout.labelDrop, nameControlId(index),
               titleFont);
    if (items.empty()) {
        HWND slider = addControl(TRACKBAR_CLASSW, L"", sliderStyle, layout.controlLeft, y, width, layout.controlHeight,
                                 sliderControlId(index), NULL);
        SendMessageW(slider, TBM_SETRANGE, 0, MAKELPARAM(0, 100));
        SendMessageW(slider, TBM_SETPOS, 1, position(effect.getParameter(index)));
        addControl(L"STATIC", Qz::utf8ToWide(valueText(index)), valueStyle, layout.controlLeft,
                   y + layout.controlHeight, width, layout.valueHeight, valueControlId(index), valueFont);
        return;
    }
    HWND list = addControl(L"COMBOBOX", L"", listStyle, layout.controlLeft, y, width, layout.controlHeight,
                           listControlId(index), titleFont);
    // The item whose texts the plug-in shows now is selected; when none
    // matches (a value between the probe's steps), none is.
    std::string current = valueText(index);
    for (const ParameterChoice& item : items) {
        std::string text = joined(item.display, item.label);
        LRESULT at = SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Qz::utf8ToWide(text).c_str()));
        SendMessageW(list, CB_SETITEMDATA, WPARAM(at), item.value);
        if (text == current)
            SendMessageW(list, CB_SETCURSEL, WPARAM(at), 0);
    }
}

BOOL ParameterDialog::initialize() {
    SetWindowTextW(dialog, windowTitle().c_str());
    icon = LoadIconW(GetModuleHandleW(NULL), MAKEINTRESOURCEW(IDI_FXHOST));
    SendMessageW(dialog, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon));
    SendMessageW(dialog, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon));

    LOGFONTW font = {};
    GetObjectW(reinterpret_cast<HGDIOBJ>(SendMessageW(dialog, WM_GETFONT, 0, 0)), sizeof font, &font);
    valueFont = CreateFontIndirectW(&font);
    font.lfHeight = LONG(float(font.lfHeight) * 1.5f);
    titleFont = CreateFontIndirectW(&font);

    // The dialog is DPI aware and scales every length itself.
    HDC dc = GetWindowDC(dialog);
    int32_t dpiX = GetDeviceCaps(dc, LOGPIXELSX), dpiY = GetDeviceCaps(dc, LOGPIXELSY);
    ReleaseDC(dialog, dc);

    int32_t widestName = 0;
    dc = GetWindowDC(dialog);
    HGDIOBJ previous = SelectObject(dc, titleFont);
    for (int32_t i = 0; i < parameters(); ++i) {
        std::wstring name = Qz::utf8ToWide(effect.getText(i, effGetParamName));
        OutputDebugStringW((L"arg: " + name + L"\r\n").c_str());
        SIZE size;
        if (GetTextExtentPoint32W(dc, name.c_str(), int(name.size()), &size) && size.cx > widestName)
            widestName = size.cx;
    }
    SelectObject(dc, previous);
    ReleaseDC(dialog, dc);

    layout.reset(new DialogLayout(dpiX, dpiY, widestName, parameters()));
    fitToScreen();

    // Putting each parameter back through a float need not give the plug-in
    // the value it held (a VST 3 plug-in's are doubles, and a plug-in may
    // round), so its whole state, taken before the probe, is given back
    // after it: a dialog nobody touches leaves the settings as they were.
    std::vector<uint8_t> before = effect.currentSettings();
    for (int32_t i = 0; i < parameters(); ++i)
        addRow(i, *layout);
    if (!before.empty())
        effect.applySettings(before.data(), before.size());
    ShowWindow(dialog, SW_SHOW);
    return TRUE;
}

// The dialog as the layout asks, unless that is taller than the work area
// of its screen: then as tall as the work area, moved into it, with a
// scroll bar beside the rows.
void ParameterDialog::fitToScreen() {
    DWORD style = DWORD(GetWindowLongW(dialog, GWL_STYLE));
    RECT frame = {0, 0, layout->clientWidth, layout->clientHeight};
    AdjustWindowRect(&frame, style, FALSE);
    int32_t frameHeight = (frame.bottom - frame.top) - layout->clientHeight;
    MONITORINFO screen = {};
    screen.cbSize = sizeof screen;
    GetMonitorInfoW(MonitorFromWindow(dialog, MONITOR_DEFAULTTONEAREST), &screen);
    const RECT& work = screen.rcWork;
    shown = layout->shownHeight(int32_t(work.bottom - work.top) - frameHeight);
    if (shown == layout->clientHeight) {
        SetWindowPos(dialog, NULL, 0, 0, frame.right - frame.left, frame.bottom - frame.top, SWP_NOMOVE | SWP_NOZORDER);
        return;
    }
    SetWindowLongW(dialog, GWL_STYLE, LONG(style | WS_VSCROLL));
    int32_t width = (frame.right - frame.left) + GetSystemMetrics(SM_CXVSCROLL), height = shown + frameHeight;
    RECT place;
    GetWindowRect(dialog, &place);
    int32_t x = place.left, y = place.top;
    if (x + width > work.right)
        x = work.right - width;
    if (x < work.left)
        x = work.left;
    if (y + height > work.bottom || y < work.top)
        y = work.top;
    SetWindowPos(dialog, NULL, x, y, width, height, SWP_NOZORDER | SWP_FRAMECHANGED);
    SCROLLINFO bar = {};
    bar.cbSize = sizeof bar;
    bar.fMask = SIF_RANGE | SIF_PAGE | SIF_POS;
    bar.nMax = layout->clientHeight - 1;
    bar.nPage = UINT(shown);
    SetScrollInfo(dialog, SB_VERT, &bar, TRUE);
}

void ParameterDialog::scrollTo(int32_t wanted) {
    int32_t next = layout->scrollTop(wanted, shown);
    if (next == top)
        return;
    ScrollWindowEx(dialog, 0, top - next, NULL, NULL, NULL, NULL, SW_SCROLLCHILDREN | SW_INVALIDATE | SW_ERASE);
    top = next;
    SCROLLINFO bar = {};
    bar.cbSize = sizeof bar;
    bar.fMask = SIF_POS;
    bar.nPos = top;
    SetScrollInfo(dialog, SB_VERT, &bar, TRUE);
}

void ParameterDialog::scrolled(int32_t request) {
    if (!layout || shown == layout->clientHeight)
        return;
    int32_t row = layout->rowHeight + layout->rowGap;
    switch (request) {
    case SB_LINEUP:
        scrollTo(top - row);
        break;
    case SB_LINEDOWN:
        scrollTo(top + row);
        break;
    case SB_PAGEUP:
        scrollTo(top - shown);
        break;
    case SB_PAGEDOWN:
        scrollTo(top + shown);
        break;
    case SB_TOP:
        scrollTo(0);
        break;
    case SB_BOTTOM:
        scrollTo(layout->clientHeight);
        break;
    case SB_THUMBTRACK:
    case SB_THUMBPOSITION: {
        SCROLLINFO bar = {};
        bar.cbSize = sizeof bar;
        bar.fMask = SIF_TRACKPOS;
        GetScrollInfo(dialog, SB_VERT, &bar);
        scrollTo(bar.nTrackPos);
        break;
    }
    default:
        break;
    }
}

bool ParameterDialog::wheel(int32_t delta) {
    if (!layout || shown == layout->clientHeight)
        return false;
    scrollTo(top + layout->wheelStep(delta));
    return true;
}

void ParameterDialog::sliderMoved(HWND control) {
    if (!control)
        return;
    int32_t id = GetDlgCtrlID(control), index = parameterOfControl(id, parameters());
    if (index < 0)
        return;
    int32_t pos = int32_t(SendMessageW(control, TBM_GETPOS, 0, 0));
    if (changeParameter(index, pos))
        SetWindowTextW(GetDlgItem(dialog, valueControlId(index)), Qz::utf8ToWide(valueText(index)).c_str());
}

// True for the commands the dialog handles.
bool ParameterDialog::command(WPARAM wParam, LPARAM lParam) {
    int32_t id = LOWORD(wParam), code = HIWORD(wParam);
    if (code == 0 && id == IDCANCEL) { // Escape and the close box
        DestroyWindow(dialog);
        PostQuitMessage(0);
        return true;
    }
    int32_t index = parameterOfControl(id, parameters());
    if (code != CBN_SELCHANGE || index < 0)
        return false;
    HWND list = reinterpret_cast<HWND>(lParam);
    LRESULT selected = SendMessageW(list, CB_GETCURSEL, 0, 0);
    if (selected >= 0)
        changeParameter(index, int32_t(SendMessageW(list, CB_GETITEMDATA, WPARAM(selected), 0)));
    return true;
}

INT_PTR CALLBACK ParameterDialog::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG)
        SetWindowLongPtrW(window, DWLP_USER, lParam);
    ParameterDialog* self = reinterpret_cast<ParameterDialog*>(GetWindowLongPtrW(window, DWLP_USER));
    if (!self)
        return FALSE;
    try {
        switch (message) {
        case WM_INITDIALOG:
            self->dialog = window;
            return self->initialize();
        case WM_HSCROLL:
            self->sliderMoved(reinterpret_cast<HWND>(lParam));
            return TRUE;
        case WM_VSCROLL:
            self->scrolled(LOWORD(wParam));
            return TRUE;
        case WM_MOUSEWHEEL:
            return self->wheel(GET_WHEEL_DELTA_WPARAM(wParam)) ? TRUE : FALSE;
        case WM_COMMAND:
            return self->command(wParam, lParam) ? TRUE : FALSE;
        case WM_NCDESTROY:
            self->dialog = NULL;
            return FALSE;
        default:
            return FALSE;
        }
    } catch (...) {
        if (!self->failure)
            self->failure = std::current_exception();
        PostQuitMessage(0);
        return TRUE;
    }
}

} // namespace

bool generic_editor(VSTGlobals& globals, const std::function<void()>& shown) {
    HWND parent = static_cast<HWND>(parentWindow(globals));
    ParameterDialog dialog(globals);
    HWND window = CreateDialogParamW(GetModuleHandleW(NULL), MAKEINTRESOURCEW(IDD_PARAMETERS), parent,
                                     &ParameterDialog::procedure, reinterpret_cast<LPARAM>(&dialog));
    if (!window) {
        if (dialog.failure)
            std::rethrow_exception(dialog.failure);
        return false;
    }
    if (shown)
        shown();
    MSG message;
    while (GetMessageW(&message, NULL, 0, 0) > 0) {
        // The wheel goes to the control with the focus; over rows that
        // scroll it moves the rows, not a slider.
        if (message.message == WM_MOUSEWHEEL && dialog.scrolls() && dialog.owns(message.hwnd)) {
            int32_t delta = GET_WHEEL_DELTA_WPARAM(message.wParam);
            // A turn comes as a burst of messages, and moving every control
            // costs the same for one row as for many: one move for the burst.
            while (PeekMessageW(&message, NULL, WM_MOUSEWHEEL, WM_MOUSEWHEEL, PM_NOREMOVE) &&
                   dialog.owns(message.hwnd) && PeekMessageW(&message, NULL, WM_MOUSEWHEEL, WM_MOUSEWHEEL, PM_REMOVE))
                delta += GET_WHEEL_DELTA_WPARAM(message.wParam);
            dialog.wheel(delta);
            continue;
        }
        if (dialog.dialog && IsDialogMessageW(dialog.dialog, &message))
            continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    if (dialog.dialog)
        DestroyWindow(dialog.dialog);
    if (dialog.failure)
        std::rethrow_exception(dialog.failure);
    globals.saveSettings();
    return true;
}
