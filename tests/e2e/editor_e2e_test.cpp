// The configure command as a user meets it: the window it opens (the
// plug-in's own editor or the generic parameter dialog), driven from here by
// the messages a user's clicks and keys make, and what reaches the --data
// file. Each run gets a title of its own, by which its window is found.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "parent.h"
#include "running_host.h"
#include "stream_bytes.h"
#include "support/win32.h"

#include <commctrl.h>

namespace {

std::string text(HWND window) {
    wchar_t buffer[512] = L"";
    GetWindowTextW(window, buffer, 512);
    return narrow(buffer);
}

std::string className(HWND window) {
    wchar_t buffer[256] = L"";
    GetClassNameW(window, buffer, 256);
    return narrow(buffer);
}

std::string dimensions(SIZE size) {
    return std::to_string(size.cx) + "x" + std::to_string(size.cy);
}

// What a drop-down list offers: "text=data" for each item, "*" before the
// selected one.
std::string listItems(HWND list) {
    std::string items;
    LRESULT count = SendMessageW(list, CB_GETCOUNT, 0, 0), selected = SendMessageW(list, CB_GETCURSEL, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
        wchar_t item[256] = L"";
        if (SendMessageW(list, CB_GETLBTEXTLEN, WPARAM(i), 0) < 256)
            SendMessageW(list, CB_GETLBTEXT, WPARAM(i), reinterpret_cast<LPARAM>(item));
        items += (i == selected ? "*" : "") + narrow(item) + "=" +
                 std::to_string(SendMessageW(list, CB_GETITEMDATA, WPARAM(i), 0)) + " ";
    }
    return items;
}

std::string floats(const std::vector<float>& values) {
    return std::string(reinterpret_cast<const char*>(values.data()), values.size() * 4);
}

// A file time long past, so that any rewrite of the file shows.
const FILETIME longAgo = {0x12345678, 0x01C00000};

void makeOld(const std::wstring& path) {
    HANDLE file = CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL,
                              OPEN_EXISTING, 0, NULL);
    SetFileTime(file, NULL, NULL, &longAgo);
    CloseHandle(file);
}

bool untouched(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA attributes = {};
    return GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes) &&
           CompareFileTime(&attributes.ftLastWriteTime, &longAgo) == 0;
}

// Each control of a dialog, in order: identifier, kind, what it shows
// (alignment and text, a slider's position, a list's items) and its place
// in the client area; a list's height is the system's, not ours.
std::string describedControls(HWND dialog) {
    std::string controls;
    for (HWND control = GetWindow(dialog, GW_CHILD); control; control = GetWindow(control, GW_HWNDNEXT)) {
        const std::string kind = className(control);
        const LONG align = GetWindowLongW(control, GWL_STYLE) & 3;
        RECT place;
        GetWindowRect(control, &place);
        MapWindowPoints(HWND_DESKTOP, dialog, reinterpret_cast<POINT*>(&place), 2);
        controls += std::to_string(GetDlgCtrlID(control)) + " " + kind + " ";
        if (kind == "ComboBox")
            controls += listItems(control);
        else if (kind == "msctls_trackbar32")
            controls += std::to_string(SendMessageW(control, TBM_GETPOS, 0, 0)) + " ";
        else
            controls += std::string(align == SS_RIGHT    ? "right "
                                    : align == SS_CENTER ? "centre "
                                                         : "") +
                        "'" + text(control) + "' ";
        controls += "@" + std::to_string(place.left) + "," + std::to_string(place.top) + " " +
                    std::to_string(place.right - place.left);
        controls += kind == "ComboBox" ? "; " : "x" + std::to_string(place.bottom - place.top) + "; ";
    }
    return controls;
}

TEST(GenericDialog, ControlsLayoutAndChangesSavedAtOnce) {
    // One parameter row as the user sees it: a list with its items, or a
    // slider with its position and the text under it. The probe's cases
    // (tests/plugins/vst2/test_effect.cpp, parameterText).
    struct Shown {
        std::string name, list; // list as listItems() gives it; empty for a slider
        int position;
        std::string value;
    };
    const std::vector<Shown> probed = {
        {"Switch", "Off=25 *On=75 ", 0, ""}, {"Ten steps", "0=5 1=15 2=25 *3=35 4=45 5=55 6=65 7=75 8=85 9=95 ", 0, ""},
        {"Eleven steps", "", 50, "5"},       {"Fixed", "", 20, "fixed"},
        {"Output level", "", 25, "0.25 dB"},
    };
    // What the user does to one parameter's control; the --data file right
    // after ("" when it must not have been written: then the plug-in is not
    // told either) and, for a slider, the text under it.
    struct Step {
        const char* name;
        int parameter;
        bool list;
        int value; // slider position, or the list item to pick
        std::string file, shown;
    };
    const float level = float(30) * 0.01f; // how the dialog sets a position
    const std::vector<Step> steps = {
        {"a slider step", 4, false, 30, floats({0.75f, 0.35f, 0.5f, 0.2f, level}), "0.30 dB"},
        {"the same position again", 4, false, 30, "", "0.30 dB"},
        {"a list item: its band's middle", 0, true, 0, floats({0.25f, 0.35f, 0.5f, 0.2f, level}), ""},
        {"ten texts", 1, true, 7, floats({0.25f, 0.75f, 0.5f, 0.2f, level}), ""},
        {"a constant text", 3, false, 100, floats({0.25f, 0.75f, 0.5f, 1.0f, level}), "fixed"},
    };
    struct Row {
        const char* name;
        const wchar_t* plugin;
        int dpi; // what the system reports
        std::vector<Shown> shown;
        std::vector<Step> steps;
        std::string saved; // the --data file after closing
    };
    const std::vector<Row> rows = {
        {"probe cases, then changes", L"fx_params.dll", 96, probed, steps, steps.back().file},
        // The probe puts every parameter back as it found it.
        {"at 120 dots per inch", L"fx_params.dll", 120, probed, {}, floats({0.75f, 0.35f, 0.5f, 0.2f, 0.25f})},
        {"no parameters, no editor: an empty dialog", L"fx_bare.dll", 96, {}, {}, "(missing)"},
    };
    for (const Row& row : rows) {
        ScopedTempFolder folder;
        const std::wstring title = uniqueTitle(), data = folder.path() + L"settings.bin";
        HKEY desktop = NULL;
        RegCreateKeyExW(HKEY_CURRENT_USER, L"Control Panel\\Desktop", 0, NULL, 0, KEY_SET_VALUE, NULL, &desktop, NULL);
        DWORD dpi = DWORD(row.dpi);
        RegSetValueExW(desktop, L"LogPixels", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&dpi), sizeof dpi);
        CallLog log;
        RunningHost host(configuring(testPlugin(row.plugin), title, data));
        HWND dialog = host.window(title);
        RegDeleteValueW(desktop, L"LogPixels");
        RegCloseKey(desktop);
        ASSERT_TRUE(dialog) << row.name;
        EXPECT_EQ(className(dialog), "#32770") << row.name;

        // Lengths at 96 dots per inch, scaled; names right-aligned in a
        // column as wide as the widest, controls beside them, values below.
        auto at = [&](int length) { return MulDiv(length, row.dpi, 96); };
        auto box = [](int x, int y, int width) {
            return "@" + std::to_string(x) + "," + std::to_string(y) + " " + std::to_string(width);
        };
        const int margin = at(16), width = at(256), height = at(32), drop = at(4);
        int labelWidth = at(64), top = at(16);
        if (!row.shown.empty()) {
            RECT name;
            GetWindowRect(GetDlgItem(dialog, 666), &name);
            labelWidth = name.right - name.left;
        }
        EXPECT_GE(labelWidth, at(64)) << row.name;
        const int left = margin + labelWidth + at(8);
        std::string expected;
        for (size_t i = 0; i < row.shown.size(); ++i, top += height + at(32)) {
            const Shown& shown = row.shown[i];
            const int id = 666 + 4 * int(i);
            expected += std::to_string(id) + " Static right '" + shown.name + "' " +
                        box(margin, top + drop, labelWidth) + "x" + std::to_string(height - drop) + "; ";
            if (!shown.list.empty())
                expected += std::to_string(id + 3) + " ComboBox " + shown.list + box(left, top, width) + "; ";
            else
                expected += std::to_string(id + 1) + " msctls_trackbar32 " + std::to_string(shown.position) + " " +
                            box(left, top, width) + "x" + std::to_string(height) + "; " + std::to_string(id + 2) +
                            " Static centre '" + shown.value + "' " + box(left, top + height, width) + "x" +
                            std::to_string(at(16)) + "; ";
        }
        EXPECT_EQ(describedControls(dialog), expected) << row.name;
        EXPECT_EQ(dimensions(clientSize(dialog)), dimensions({left + width + 2 * margin, top})) << row.name;

        for (const Step& step : row.steps) {
            makeOld(data);
            const size_t told = log.callsStartingWith("setParameter").size();
            HWND control = GetDlgItem(dialog, 666 + 4 * step.parameter + (step.list ? 3 : 1));
            if (step.list) {
                SendMessageW(control, CB_SETCURSEL, WPARAM(step.value), 0);
                SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(control), CBN_SELCHANGE),
                             reinterpret_cast<LPARAM>(control));
            } else {
                SendMessageW(control, TBM_SETPOS, TRUE, step.value);
                SendMessageW(dialog, WM_HSCROLL, MAKEWPARAM(TB_THUMBPOSITION, step.value),
                             reinterpret_cast<LPARAM>(control));
                EXPECT_EQ(text(GetDlgItem(dialog, 666 + 4 * step.parameter + 2)), step.shown) << step.name;
            }
            EXPECT_EQ(log.callsStartingWith("setParameter").size() - told, step.file.empty() ? 0u : 1u) << step.name;
            EXPECT_EQ(untouched(data), step.file.empty()) << step.name;
            EXPECT_TRUE(sameBytes(step.file.empty() ? "" : readWholeFile(data), step.file)) << step.name;
        }
        // Escape closes the dialog; after changes, each already saved, the
        // file is not written again.
        makeOld(data);
        PostMessageW(dialog, WM_KEYDOWN, VK_ESCAPE, 0);
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, 0u) << row.name;
        EXPECT_EQ(run.error, "") << row.name;
        EXPECT_EQ(readWholeFile(data), row.saved) << row.name;
        EXPECT_EQ(untouched(data), !row.steps.empty()) << row.name;
    }
}

TEST(CustomEditor, NotificationsSaveOncePerBurst) {
    // Messages to the plug-in's own window that make it act as a click in it
    // would (tests/plugins/vst2/test_effect.cpp); its notifications come
    // from a thread of its own, and its settings are a chunk, so each save
    // asks it for one.
    const UINT notifyBurst = WM_APP + 2;
    struct Step {
        const char* name;
        bool change; // the plug-in changes its settings before the burst
        int notifications;
        std::string file; // "" when it must not have been written
    };
    const Step steps[] = {
        {"a burst with nothing changed", false, 20, ""},
        {"a burst after a change", true, 20, "chunk after burst 1"},
        {"another", true, 3, "chunk after burst 2"},
        {"one notification", false, 1, ""},
        // Closing saves once more, and finds nothing changed.
        {"closing", false, 0, ""},
    };
    ScopedTempFolder folder;
    const std::wstring title = uniqueTitle(), data = folder.path() + L"settings.bin";
    writeWholeFile(data, "saved chunk");
    CallLog log;
    RunningHost host(configuring(testPlugin(L"fx_editor_chunk.dll"), title, data));
    HWND window = host.window(title);
    ASSERT_TRUE(window);
    const std::string save = "dispatch effGetChunk";
    for (const Step& step : steps) {
        makeOld(data);
        const size_t saves = log.callsStartingWith(save).size();
        if (step.notifications > 0) {
            SendMessageW(FindWindowExW(window, NULL, L"fx editor view", NULL), notifyBurst, step.change,
                         step.notifications);
        } else {
            PostMessageW(window, WM_CLOSE, 0, 0);
            EXPECT_EQ(host.finish().exitCode, 0u);
        }
        // A moment longer than the save takes, so that one too many shows.
        for (int i = 0; i < 250 && log.callsStartingWith(save).size() == saves; ++i)
            Sleep(20);
        Sleep(300);
        EXPECT_EQ(log.callsStartingWith(save).size(), saves + 1) << step.name << ": one save for the burst";
        EXPECT_EQ(untouched(data), step.file.empty()) << step.name;
        EXPECT_EQ(step.file.empty() ? "" : readWholeFile(data), step.file) << step.name;
    }
}

// The client size a top-level window with a caption gets when asked for
// `wanted`: the system holds its outer size between the tracking limits.
SIZE fittedClient(HWND window, SIZE wanted) {
    RECT outer, inner;
    GetWindowRect(window, &outer);
    GetClientRect(window, &inner);
    int frameX = (outer.right - outer.left) - inner.right, frameY = (outer.bottom - outer.top) - inner.bottom;
    auto fit = [](int length, int low, int high) { return length < low ? low : length > high ? high : length; };
    return {fit(wanted.cx + frameX, GetSystemMetrics(SM_CXMINTRACK), GetSystemMetrics(SM_CXMAXTRACK)) - frameX,
            fit(wanted.cy + frameY, GetSystemMetrics(SM_CYMINTRACK), GetSystemMetrics(SM_CYMAXTRACK)) - frameY};
}

TEST(Configure, WindowKindSizeTitleOwnerAndExitCode) {
    // A window of ours, as a parent application's, to own the host's.
    HWND ours = CreateWindowExW(0, L"STATIC", L"parent", WS_OVERLAPPED, 0, 0, 50, 50, NULL, NULL, NULL, NULL);
    ASSERT_TRUE(ours);
    HWND noWindow = reinterpret_cast<HWND>(uintptr_t(0x7FFFFFF0));
    enum Kind { Editor, Dialog, None };
    static const struct Close {
        UINT message;
        WPARAM key;
    } closeBox = {WM_CLOSE, 0}, cancel = {WM_COMMAND, IDCANCEL}, escape = {WM_KEYDOWN, VK_ESCAPE};
    struct Row {
        const char* name;
        const wchar_t* plugin;
        HWND parent; // and so the owner of the window
        Kind kind;
        Close close = closeBox;
        SIZE editor = {320, 240}; // which the window's client area takes as far as the system allows
        bool defaultTitle = false;
        bool dpiAware = false;
    };
    const std::vector<Row> rows = {
        {"an editor, a rectangle away from the origin", L"fx_editor.dll", NULL, Editor, closeBox, {320, 240}, true},
        {"an editor without a rectangle", L"fx_editor_norect.dll", NULL, Editor, closeBox, {100, 100}},
        {"an empty rectangle", L"fx_editor_zero.dll", NULL, Editor, closeBox, {0, 0}},
        {"the most that 16-bit fields can say", L"fx_editor_huge.dll", NULL, Editor, closeBox, {65535, 65535}},
        {"no editor, parameters", L"fx_params.dll", NULL, Dialog, cancel, {}, true},
        {"an editor and parameters", L"fx_editor_chunk.dll", NULL, Editor},
        {"a parent", L"fx_editor.dll", ours, Editor},
        {"a parent of the dialog", L"fx_params.dll", ours, Dialog, escape},
        {"a parent that is no window", L"fx_editor.dll", noWindow, None},
        {"the same for the dialog", L"fx_params.dll", noWindow, None},
        // Wine fixes every process's DPI awareness as it starts, so that
        // only the window is to be seen here.
        {"DPI aware", L"fx_editor.dll", NULL, Editor, closeBox, {320, 240}, false, true},
    };
    const UINT resizeYourself = WM_APP + 1; // to the plug-in's own window, as a click in it would
    for (const Row& row : rows) {
        const std::wstring title = row.defaultTitle ? L"VST Effect Configuration" : uniqueTitle();
        fxhost::HostOptions options;
        options.dpiAware = row.dpiAware;
        CallLog log;
        RunningHost host(configuring(testPlugin(row.plugin), row.defaultTitle ? L"" : title, L"", row.parent, options));
        HWND window = host.window(title);
        EXPECT_EQ(window != NULL, row.kind != None) << row.name;
        if (window) {
            EXPECT_EQ(className(window).substr(0, 4), row.kind == Editor ? "ATL:" : "#327") << row.name;
            EXPECT_EQ(GetWindow(window, GW_OWNER), row.parent) << row.name;
        }
        if (window && row.kind == Editor) {
            EXPECT_EQ(GetWindowLongW(window, GWL_STYLE) & (WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN | WS_THICKFRAME |
                                                           WS_MINIMIZEBOX | WS_MAXIMIZEBOX | WS_CHILD | WS_POPUP),
                      WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN)
                << row.name << ": no sizing frame, no minimise or maximise box";
            EXPECT_TRUE(GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_APPWINDOW) << row.name;
            EXPECT_EQ(dimensions(clientSize(window)), dimensions(fittedClient(window, row.editor))) << row.name;
            HWND view = FindWindowExW(window, NULL, L"fx editor view", NULL);
            EXPECT_EQ(SendMessageW(view, resizeYourself, 400, 300), 1) << row.name << ": the plug-in's window in ours";
            EXPECT_EQ(dimensions(clientSize(window)), "400x300") << row.name << ": resized at once";
        }
        if (window)
            PostMessageW(window, row.close.message, row.close.key, 0);
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, row.kind == None ? exitFailure : 0u) << row.name;
        EXPECT_EQ(run.error, "") << row.name;
        EXPECT_EQ(joined(log.callsStartingWith("dispatch effEdit")),
                  row.kind == Editor ? "dispatch effEditOpen 0 0 0; dispatch effEditGetRect 0 0 0; "
                                       "dispatch effEditClose 0 0 0; "
                                     : "")
            << row.name;
    }
    DestroyWindow(ours);
}

// What a settings file holds, readably: a preset image's component part
// (where the values of a VST 3 plug-in are), or the whole blob; printable
// bytes as they are, others in hexadecimal.
std::string readable(const std::string& blob) {
    std::string part = blob;
    if (blob.compare(0, 4, "VST3") == 0 && blob.size() >= 48) {
        // The first entry of the list is the component's: its offset and size.
        uint64_t list = 0, offset = 0, size = 0;
        std::memcpy(&list, &blob[40], 8);
        if (list + 36 <= blob.size()) {
            std::memcpy(&offset, &blob[size_t(list) + 16], 8);
            std::memcpy(&size, &blob[size_t(list) + 24], 8);
        }
        part = offset + size <= blob.size() ? blob.substr(size_t(offset), size_t(size)) : "(no component part)";
    }
    std::string text;
    for (unsigned char c : part) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02X", c);
        text += c == 0 ? std::string("|") : c >= 32 && c < 127 ? std::string(1, char(c)) : std::string(hex);
    }
    return text;
}

// The same image with another component state; the controller's part stays.
std::string withComponentState(const std::string& image, const std::string& component) {
    uint64_t list = 0, controllerAt = 0, controllerSize = 0;
    std::memcpy(&list, &image[40], 8);
    uint32_t entries = 0;
    std::memcpy(&entries, &image[size_t(list) + 4], 4);
    if (entries >= 2) {
        std::memcpy(&controllerAt, &image[size_t(list) + 8 + 20 + 4], 8);
        std::memcpy(&controllerSize, &image[size_t(list) + 8 + 20 + 12], 8);
    }
    return presetImage(image.substr(8, 32), component, image.substr(size_t(controllerAt), size_t(controllerSize)));
}

TEST(Configure, AWindowNobodyTouchesKeepsTheSettingsValueForValue) {
    // Settings of every kind of plug-in, with values that are neither the
    // defaults nor round numbers. The generic dialog sweeps each parameter
    // through its range to find its texts; afterwards the plug-in must hold
    // exactly what was loaded, so that the file is not even rewritten.
    std::vector<float> many;
    for (uint32_t i = 0; i < 80; ++i) // exact through a range of 16
        many.push_back(float((i * 7919u + 13u) % 1048576u) / 1048576.0f);
    std::string dpfState = std::string("__dpf_parameters_begin__") + '\0';
    for (int i = 0; i < 80; ++i) { // plain values from -8 to 8, full of digits
        char value[32];
        std::snprintf(value, sizeof value, "%.12g", double(float(7.9 * std::sin(i + 1.0))));
        dpfState += "p" + std::to_string(i) + '\0' + value + '\0';
    }
    dpfState += std::string("__dpf_parameters_end__") + '\0' + "\xfe" + '\0';
    std::string gain(8, '\0');
    const double gainValue = 0.1 * 3.14159265358979; // no float holds it
    std::memcpy(&gain[0], &gainValue, 8);
    struct Row {
        const char* name;
        std::wstring plugin;
        const wchar_t* version;
        std::string settings; // for a VST 3 plug-in, the component's state
    };
    const std::vector<Row> rows = {
        {"VST 2, parameters", testPlugin(L"fx_effect.dll"), L"2", floats({0.31415927f, 0.27182817f})},
        {"VST 2, a chunk", testPlugin(L"fx_chunk.dll"), L"2", "a user's chunk"},
        {"VST 2 build of a framework effect", testPlugin(L"fxd_many-vst.dll"), L"2", floats(many)},
        {"VST 3 on the SDK's classes", testPlugin(L"fx3_gain.vst3"), L"3", gain + "G1"},
        {"VST 3 build of a framework effect, 80 parameters", testPlugin(L"fxd_many.vst3"), L"3", dpfState},
    };
    // Silence through a live run, ended by the end of its input.
    const std::string live = message(3, formatRecord(44100, 2, 3, 2, 3)) + message(1, std::string(4096 * 8, '\0'));
    for (const Row& row : rows) {
        ScopedTempFolder folder;
        const std::wstring data = folder.path() + L"settings.bin";
        fxhost::HostOptions options;
        options.vstVersion = row.version == std::wstring(L"3") ? 3 : 2;
        std::string loaded = row.settings;
        if (row.version == std::wstring(L"3")) {
            // The class and the controller's part as the plug-in writes them.
            const std::wstring title = uniqueTitle();
            RunningHost host(configuring(row.plugin, title, data, NULL, options));
            PostMessageW(host.window(title), WM_CLOSE, 0, 0);
            host.finish();
            loaded = withComponentState(readWholeFile(data), row.settings);
        }
        for (const wchar_t* command : {L"configure", L"configure-live"}) {
            const std::string what = std::string(row.name) + ", " + narrow(command);
            writeWholeFile(data, loaded);
            makeOld(data);
            const std::wstring title = uniqueTitle();
            const bool isLive = command == std::wstring(L"configure-live");
            RunningHost host(
                isLive ? simulating({command, L"--vst", row.plugin, L"--vst-version", row.version, L"--window-title",
                                     title, L"--data", data, L"--bits", L"32", L"--formattag", L"3"},
                                    live)
                       : configuring(row.plugin, title, data, NULL, options));
            if (!isLive)
                PostMessageW(host.window(title), WM_CLOSE, 0, 0);
            HostRun run = host.finish();
            EXPECT_EQ(run.exitCode, 0u) << what;
            EXPECT_EQ(run.error, "") << what;
            const std::string saved = readWholeFile(data);
            EXPECT_TRUE(sameBytes(saved, loaded))
                << what << "\nsaved:  " << readable(saved) << "\nloaded: " << readable(loaded);
            EXPECT_TRUE(untouched(data)) << what << ": nothing changed, nothing written";
        }
    }
}

TEST(GenericDialog, RowsBeyondTheScreenScrollIntoView) {
    // 200 parameters: far more rows than any screen holds.
    const std::wstring title = uniqueTitle();
    RunningHost host(configuring(testPlugin(L"fx_many.dll"), title));
    HWND dialog = host.window(title);
    ASSERT_TRUE(dialog);
    MONITORINFO screen = {};
    screen.cbSize = sizeof screen;
    GetMonitorInfoW(MonitorFromWindow(dialog, MONITOR_DEFAULTTONEAREST), &screen);
    RECT outer;
    GetWindowRect(dialog, &outer);
    EXPECT_TRUE(outer.top >= screen.rcWork.top && outer.bottom <= screen.rcWork.bottom)
        << "the dialog " << outer.top << " to " << outer.bottom << " in a work area " << screen.rcWork.top << " to "
        << screen.rcWork.bottom;
    // Where a row's slider stands in the client area, and whether all of it
    // is to be seen.
    auto sliderTop = [dialog](int parameter) {
        RECT place;
        GetWindowRect(GetDlgItem(dialog, 666 + 4 * parameter + 1), &place);
        MapWindowPoints(HWND_DESKTOP, dialog, reinterpret_cast<POINT*>(&place), 2);
        return place.top;
    };
    auto shown = [dialog, &sliderTop](int parameter) {
        RECT client, place;
        GetClientRect(dialog, &client);
        GetWindowRect(GetDlgItem(dialog, 666 + 4 * parameter + 1), &place);
        return sliderTop(parameter) >= 0 && sliderTop(parameter) + (place.bottom - place.top) <= client.bottom;
    };
    const int firstTop = sliderTop(0);
    EXPECT_TRUE(shown(0));
    EXPECT_FALSE(shown(199));
    // The wheel, turned over a slider, as the system sends it: to the control
    // with the focus, through the dialog's loop.
    HWND slider = GetDlgItem(dialog, 667);
    for (int turn = 0; turn < 400; ++turn)
        PostMessageW(slider, WM_MOUSEWHEEL, MAKEWPARAM(0, WORD(-WHEEL_DELTA)), 0);
    for (int i = 0; i < 250 && !shown(199); ++i)
        RunningHost::pumpAWhile();
    EXPECT_TRUE(shown(199)) << "the last row, at " << sliderTop(199);
    EXPECT_FALSE(shown(0));
    EXPECT_EQ(SendMessageW(slider, TBM_GETPOS, 0, 0), 0) << "the wheel moved the rows, not the slider";
    SendMessageW(dialog, WM_VSCROLL, SB_TOP, 0);
    EXPECT_EQ(sliderTop(0), firstTop) << "back at the top";
    PostMessageW(dialog, WM_CLOSE, 0, 0);
    EXPECT_EQ(host.finish().exitCode, 0u);
}

TEST(CustomEditor, KeysTypedIntoTheEditorArriveAsCharacters) {
    const std::wstring title = uniqueTitle();
    CallLog log;
    RunningHost host(configuring(testPlugin(L"fx_editor.dll"), title));
    HWND window = host.window(title);
    ASSERT_TRUE(window);
    HWND view = FindWindowExW(window, NULL, L"fx editor view", NULL);
    // A key as the system posts it to the window with the focus.
    const struct {
        UINT key;
        const char* typed;
    } keys[] = {{'A', "char 97"}, {'7', "char 55"}};
    for (const auto& key : keys) {
        const size_t before = log.callsStartingWith("char ").size();
        const LPARAM scan = LPARAM(MapVirtualKeyW(key.key, 0 /* MAPVK_VK_TO_VSC */)) << 16 | 1;
        PostMessageW(view, WM_KEYDOWN, key.key, scan);
        PostMessageW(view, WM_KEYUP, key.key, scan | LPARAM(0xC0000000));
        for (int i = 0; i < 250 && log.callsStartingWith("char ").size() == before; ++i)
            RunningHost::pumpAWhile();
        std::vector<std::string> typed = log.callsStartingWith("char ");
        EXPECT_EQ(typed.size(), before + 1) << key.typed;
        if (typed.size() > before) {
            EXPECT_EQ(typed[before], key.typed);
        }
    }
    PostMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_EQ(host.finish().exitCode, 0u);
}

} // namespace
