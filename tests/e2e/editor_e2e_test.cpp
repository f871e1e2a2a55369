// The configure command as a user meets it: the window it opens (the
// plug-in's own editor or the generic parameter dialog), driven from here by
// the messages a user's clicks and keys make, and what reaches the --data
// file. Each run gets a title of its own, by which its window is found.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "parent.h"
#include "stream_bytes.h"
#include "support/win32.h"

#include <commctrl.h>

namespace {

// The host on a thread of its own, so that this one can drive its window.
class RunningHost {
public:
    explicit RunningHost(const std::vector<std::wstring>& arguments)
        : thread([this, arguments] {
              result = runHost(arguments);
              done = true;
          }) {}
    ~RunningHost() {
        if (thread.joinable())
            thread.join();
    }
    // The host's visible top-level window with this title; null if the host
    // ends without showing one or none shows within 30 seconds.
    HWND window(const std::wstring& title) {
        for (int i = 0; i < 1500 && !done; ++i) {
            HWND found = FindWindowW(NULL, title.c_str());
            if (found && IsWindowVisible(found))
                return found;
            pumpAWhile();
        }
        return NULL;
    }
    HostRun finish() {
        while (!done)
            pumpAWhile();
        thread.join();
        return result;
    }
    // A window of ours may own the host's, and the system may send it
    // messages on the host's behalf: they must not wait for us.
    static void pumpAWhile() {
        MSG message;
        while (PeekMessageW(&message, NULL, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
        Sleep(20);
    }

private:
    HostRun result;
    std::atomic<bool> done{false};
    std::thread thread;
};

std::wstring uniqueTitle() {
    static int made = 0;
    return L"fxhost editor e2e \u266b " + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
}

std::vector<std::wstring> configure(const std::wstring& plugin, std::vector<std::wstring> options) {
    options.insert(options.begin(), {L"configure", L"--vst", testPlugin(plugin)});
    return options;
}

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

// A control's rectangle in its dialog's client area.
RECT placeOf(HWND control) {
    RECT place;
    GetWindowRect(control, &place);
    MapWindowPoints(HWND_DESKTOP, GetParent(control), reinterpret_cast<POINT*>(&place), 2);
    return place;
}

SIZE clientSize(HWND window) {
    RECT client = {};
    GetClientRect(window, &client);
    return {client.right, client.bottom};
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

// Waits until `log` holds `count` calls starting with `prefix`, and a
// moment longer, so that one call too many would show too. The count
// there is.
size_t settledCount(const CallLog& log, const std::string& prefix, size_t count) {
    for (int i = 0; i < 250 && log.callsStartingWith(prefix).size() < count; ++i)
        Sleep(20);
    Sleep(300);
    return log.callsStartingWith(prefix).size();
}


// Each control of a dialog, in order: identifier, kind, what it shows
// (alignment and text, a slider's position, a list's items) and its place
// in the client area; a list's height is the system's, not ours.
std::string describedControls(HWND dialog) {
    std::string controls;
    for (HWND control = GetWindow(dialog, GW_CHILD); control; control = GetWindow(control, GW_HWNDNEXT)) {
        const std::string kind = className(control);
        const LONG align = GetWindowLongW(control, GWL_STYLE) & 3;
        RECT place = placeOf(control);
        controls += std::to_string(GetDlgCtrlID(control)) + " " + kind + " ";
        if (kind == "ComboBox")
            controls += listItems(control);
        else if (kind == "msctls_trackbar32")
            controls += std::to_string(SendMessageW(control, TBM_GETPOS, 0, 0)) + " ";
        else
            controls += std::string(align == SS_RIGHT ? "right " : align == SS_CENTER ? "centre " : "") + "'" +
                        text(control) + "' ";
        controls += "@" + std::to_string(place.left) + "," + std::to_string(place.top) + " " +
                    std::to_string(place.right - place.left);
        controls += kind == "ComboBox" ? "; " : "x" + std::to_string(place.bottom - place.top) + "; ";
    }
    return controls;
}

// One parameter row as the user sees it: a list with its items, or a
// slider with its position and the text under it.
struct ShownRow {
    std::string name;
    std::string list; // as listItems() gives it; empty for a slider
    int position;
    std::string value;
};

TEST(GenericDialog, ControlsTextsAndLayout) {
    // The probe's cases (tests/plugins/vst2/test_effect.cpp, parameterText).
    const std::vector<ShownRow> probed = {
        {"Switch", "Off=25 *On=75 ", 0, ""},
        {"Ten steps", "0=5 1=15 2=25 *3=35 4=45 5=55 6=65 7=75 8=85 9=95 ", 0, ""},
        {"Eleven steps", "", 50, "5"},
        {"Fixed", "", 20, "fixed"},
        {"Output level", "", 25, "0.25 dB"},
    };
    struct Row {
        const char* name;
        const wchar_t* plugin;
        int dpi; // what the system reports
        std::vector<ShownRow> rows;
        std::string saved; // the --data file after closing
    };
    const std::vector<Row> rows = {
        {"probe cases", L"fx_params.dll", 96, probed, floats({0.75f, 0.35f, 0.5f, 0.2f, 0.25f})},
        {"at 120 dots per inch", L"fx_params.dll", 120, probed, floats({0.75f, 0.35f, 0.5f, 0.2f, 0.25f})},
        {"no parameters, no editor: an empty dialog", L"fx_bare.dll", 96, {}, "(missing)"},
    };
    for (const Row& row : rows) {
        ScopedTempFolder folder;
        const std::wstring title = uniqueTitle(), data = folder.path() + L"settings.bin";
        HKEY desktop = NULL;
        RegCreateKeyExW(HKEY_CURRENT_USER, L"Control Panel\\Desktop", 0, NULL, 0, KEY_SET_VALUE, NULL, &desktop, NULL);
        DWORD dpi = DWORD(row.dpi);
        RegSetValueExW(desktop, L"LogPixels", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&dpi), sizeof dpi);
        RunningHost host(configure(row.plugin, {L"--window-title", title, L"--data", data}));
        HWND dialog = host.window(title);
        RegDeleteValueW(desktop, L"LogPixels");
        RegCloseKey(desktop);
        ASSERT_TRUE(dialog) << row.name;
        EXPECT_EQ(className(dialog), "#32770") << row.name;

        // Lengths at 96 dots per inch, scaled; names right-aligned in a
        // column as wide as the widest, controls beside them, values below.
        auto at = [&](int length) { return MulDiv(length, row.dpi, 96); };
        auto box = [](int x, int y, int width) { return "@" + std::to_string(x) + "," + std::to_string(y) + " " +
                                                         std::to_string(width); };
        const int margin = at(16), width = at(256), controlHeight = at(32), drop = at(4);
        int labelWidth = at(64), top = at(16);
        if (!row.rows.empty())
            labelWidth = placeOf(GetDlgItem(dialog, 666)).right - margin;
        EXPECT_GE(labelWidth, at(64)) << row.name;
        const int left = margin + labelWidth + at(8);
        std::string expected;
        for (size_t i = 0; i < row.rows.size(); ++i, top += controlHeight + at(16) + at(16)) {
            const ShownRow& shown = row.rows[i];
            const int id = 666 + 4 * int(i);
            expected += std::to_string(id) + " Static right '" + shown.name + "' " + box(margin, top + drop, labelWidth) +
                        "x" + std::to_string(controlHeight - drop) + "; ";
            if (!shown.list.empty())
                expected += std::to_string(id + 3) + " ComboBox " + shown.list + box(left, top, width) + "; ";
            else
                expected += std::to_string(id + 1) + " msctls_trackbar32 " + std::to_string(shown.position) + " " +
                            box(left, top, width) + "x" + std::to_string(controlHeight) + "; " +
                            std::to_string(id + 2) + " Static centre '" + shown.value + "' " +
                            box(left, top + controlHeight, width) + "x" + std::to_string(at(16)) + "; ";
        }
        EXPECT_EQ(describedControls(dialog), expected) << row.name;
        SIZE client = clientSize(dialog);
        EXPECT_EQ(client.cx, left + width + 2 * margin) << row.name;
        EXPECT_EQ(client.cy, top) << row.name;

        SendMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, 0u) << row.name;
        EXPECT_EQ(run.error, "") << row.name;
        // The probe put every parameter back as it found it.
        EXPECT_EQ(readWholeFile(data), row.saved) << row.name;
    }
}

TEST(GenericDialog, ChangesReachTheSettingsFileAtOnce) {
    // What the user does to one parameter's control; the --data file right
    // after ("" when it must not have been written: then the plug-in is not
    // told either) and, for a slider, the text under it.
    struct Step {
        const char* name;
        int parameter;
        bool list;
        int value; // slider position, or the list item to pick
        std::string file;
        std::string shown;
    };
    struct Journey {
        const wchar_t* plugin;
        std::string before; // the --data file as the run starts
        bool within;        // a framework's: the step's bytes stand somewhere in its chunk; no call log
        std::vector<Step> steps;
    };
    auto hundredths = [](int n) { return float(n) * 0.01f; }; // how the dialog sets a position
    const std::vector<Journey> journeys = {
        {L"fx_params.dll",
         floats({0.75f, 0.35f, 0.5f, 0.2f, 0.25f}),
         false,
         {
             {"a slider step", 4, false, 30, floats({0.75f, 0.35f, 0.5f, 0.2f, hundredths(30)}), "0.30 dB"},
             {"the same position again", 4, false, 30, "", "0.30 dB"},
             {"a list item: its band's middle", 0, true, 0, floats({0.25f, 0.35f, 0.5f, 0.2f, hundredths(30)}), ""},
             {"ten texts", 1, true, 7, floats({0.25f, 0.75f, 0.5f, 0.2f, hundredths(30)}), ""},
             {"a constant text", 3, false, 100, floats({0.25f, 0.75f, 0.5f, 1.0f, hundredths(30)}), "fixed"},
         }},
        // Made with DPF, no editor of its own: its chunk holds the gain as
        // text, 0.8 of the range 0 to 2.
        {L"fxd_gain-vst.dll", "", true, {{"gain", 0, false, 80, std::string("gain\0" "1.59999", 12), "1.600000"}}},
    };
    for (const Journey& journey : journeys) {
        ScopedTempFolder folder;
        const std::wstring title = uniqueTitle(), data = folder.path() + L"settings.bin";
        if (!journey.before.empty())
            writeWholeFile(data, journey.before);
        CallLog log;
        RunningHost host(configure(journey.plugin, {L"--window-title", title, L"--data", data}));
        HWND dialog = host.window(title);
        ASSERT_TRUE(dialog) << narrow(journey.plugin);
        for (const Step& step : journey.steps) {
            makeOld(data);
            const size_t told = log.callsStartingWith("setParameter").size();
            HWND control = GetDlgItem(dialog, 666 + 4 * step.parameter + (step.list ? 3 : 1));
            ASSERT_TRUE(control) << step.name;
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
            if (!journey.within)
                EXPECT_EQ(log.callsStartingWith("setParameter").size() - told, step.file.empty() ? 0u : 1u)
                    << step.name;
            if (step.file.empty())
                EXPECT_TRUE(untouched(data)) << step.name;
            else if (journey.within)
                EXPECT_NE(readWholeFile(data).find(step.file), std::string::npos) << step.name;
            else
                EXPECT_TRUE(sameBytes(readWholeFile(data), step.file)) << step.name;
        }
        // Escape closes the dialog; nothing changed since the last save.
        makeOld(data);
        PostMessageW(dialog, WM_KEYDOWN, VK_ESCAPE, 0);
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, 0u) << narrow(journey.plugin);
        EXPECT_TRUE(untouched(data)) << narrow(journey.plugin);
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

// The plug-in's own window inside ours, and the messages by which a test
// makes it act as a click in it would (tests/plugins/vst2/test_effect.cpp).
HWND pluginView(HWND window) {
    return FindWindowExW(window, NULL, L"fx editor view", NULL);
}
const UINT resizeYourself = WM_APP + 1, notifyBurst = WM_APP + 2;

TEST(CustomEditor, WindowFitsTheEditorAndFollowsItsResizes) {
    struct Row {
        const wchar_t* plugin;
        SIZE client; // the editor's size, which the window's client area takes as far as the system allows
    };
    const Row rows[] = {
        {L"fx_editor.dll", {320, 240}},        // a rectangle away from the origin
        {L"fx_editor_norect.dll", {100, 100}}, // none
        {L"fx_editor_zero.dll", {0, 0}},
        {L"fx_editor_huge.dll", {65535, 65535}}, // the most that 16-bit fields can say
    };
    for (const Row& row : rows) {
        const std::string what = narrow(row.plugin);
        const std::wstring title = uniqueTitle();
        CallLog log;
        RunningHost host(configure(row.plugin, {L"--window-title", title}));
        HWND window = host.window(title);
        ASSERT_TRUE(window) << what;
        EXPECT_EQ(className(window).substr(0, 4), "ATL:") << what;
        LONG style = GetWindowLongW(window, GWL_STYLE);
        EXPECT_EQ(style & (WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX |
                           WS_CHILD | WS_POPUP),
                  WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN)
            << what << ": no sizing frame, no minimise or maximise box";
        EXPECT_TRUE(GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_APPWINDOW) << what;
        SIZE client = clientSize(window), fitted = fittedClient(window, row.client);
        EXPECT_EQ(client.cx, fitted.cx) << what;
        EXPECT_EQ(client.cy, fitted.cy) << what;
        HWND view = pluginView(window);
        ASSERT_TRUE(view) << what << ": the plug-in made its window in ours";
        EXPECT_EQ(SendMessageW(view, resizeYourself, 400, 300), 1) << what;
        client = clientSize(window);
        EXPECT_EQ(client.cx, 400) << what << ": resized at once";
        EXPECT_EQ(client.cy, 300) << what << ": resized at once";
        PostMessageW(window, WM_CLOSE, 0, 0);
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, 0u) << what;
        EXPECT_EQ(run.error, "") << what;
        EXPECT_EQ(joined(log.callsStartingWith("dispatch effEdit")),
                  "dispatch effEditOpen 0 0 0; dispatch effEditGetRect 0 0 0; dispatch effEditClose 0 0 0; ")
            << what;
    }
}

TEST(CustomEditor, NotificationsSaveOncePerBurst) {
    // The plug-in's notifications come from a thread of its own; its
    // settings are a chunk, so each save asks it for one.
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
    };
    ScopedTempFolder folder;
    const std::wstring title = uniqueTitle(), data = folder.path() + L"settings.bin";
    writeWholeFile(data, "saved chunk");
    CallLog log;
    RunningHost host(configure(L"fx_editor_chunk.dll", {L"--window-title", title, L"--data", data}));
    HWND window = host.window(title);
    ASSERT_TRUE(window);
    HWND view = pluginView(window);
    ASSERT_TRUE(view);
    const std::string save = "dispatch effGetChunk";
    size_t saves = log.callsStartingWith(save).size();
    for (const Step& step : steps) {
        makeOld(data);
        SendMessageW(view, notifyBurst, step.change ? 1 : 0, step.notifications);
        EXPECT_EQ(settledCount(log, save, saves + 1), saves + 1) << step.name << ": one save for the burst";
        saves = log.callsStartingWith(save).size();
        if (step.file.empty())
            EXPECT_TRUE(untouched(data)) << step.name;
        else
            EXPECT_EQ(readWholeFile(data), step.file) << step.name;
    }
    // Closing saves once more, and finds nothing changed.
    makeOld(data);
    PostMessageW(window, WM_CLOSE, 0, 0);
    HostRun run = host.finish();
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(log.callsStartingWith(save).size(), saves + 1);
    EXPECT_TRUE(untouched(data));
}

TEST(Configure, WindowKindTitleOwnerAndExitCode) {
    // A window of ours, as a parent application's, to own the host's.
    HWND ours = CreateWindowExW(0, L"STATIC", L"parent", WS_OVERLAPPED, 0, 0, 50, 50, NULL, NULL, NULL, NULL);
    ASSERT_TRUE(ours);
    wchar_t hex[32];
    swprintf(hex, 32, L"%llX", static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(ours)));
    enum Kind { Editor, Dialog, None };
    enum Close { CloseBox, Cancel, Escape };
    struct Row {
        const char* name;
        const wchar_t* plugin;
        std::vector<std::wstring> options; // a title of its own is added unless the row wants the default
        Kind kind;
        HWND owner;
        Close close;
        bool defaultTitle = false;
    };
    const std::vector<Row> rows = {
        {"an editor", L"fx_editor.dll", {}, Editor, NULL, CloseBox, true},
        {"no editor, parameters", L"fx_params.dll", {}, Dialog, NULL, CloseBox, true},
        {"an editor and parameters", L"fx_editor_chunk.dll", {}, Editor, NULL, CloseBox},
        {"a parent in hexadecimal", L"fx_editor.dll", {L"--parent-window", hex}, Editor, ours, CloseBox},
        {"a parent of the dialog", L"fx_params.dll", {L"--parent-window", hex}, Dialog, ours, Escape},
        {"a parent that does not parse", L"fx_editor.dll", {L"--parent-window", L"0x1A2B"}, Editor, NULL, CloseBox},
        {"nor this one", L"fx_params.dll", {L"--parent-window", L"12345678901234567"}, Dialog, NULL, Cancel},
        {"a parent that is no window", L"fx_editor.dll", {L"--parent-window", L"7FFFFFF0"}, None, NULL, CloseBox},
        {"the same for the dialog", L"fx_params.dll", {L"--parent-window", L"7ffffff0"}, None, NULL, Cancel},
        // Wine fixes every process's DPI awareness as it starts, so that
        // only the window is to be seen here.
        {"DPI aware", L"fx_editor.dll", {L"--dpi-aware", L"yes"}, Editor, NULL, CloseBox},
    };
    for (const Row& row : rows) {
        const std::wstring title = row.defaultTitle ? L"VST Effect Configuration" : uniqueTitle();
        std::vector<std::wstring> options = row.options;
        if (!row.defaultTitle)
            options.insert(options.end(), {L"--window-title", title});
        CallLog log;
        RunningHost host(configure(row.plugin, options));
        HWND window = host.window(title);
        EXPECT_EQ(window != NULL, row.kind != None) << row.name;
        if (window) {
            EXPECT_EQ(className(window).substr(0, 4), row.kind == Editor ? "ATL:" : "#327") << row.name;
            EXPECT_EQ(GetWindow(window, GW_OWNER), row.owner) << row.name;
            if (row.close == CloseBox)
                PostMessageW(window, WM_CLOSE, 0, 0);
            else if (row.close == Cancel)
                PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
            else
                PostMessageW(window, WM_KEYDOWN, VK_ESCAPE, 0);
        }
        HostRun run = host.finish();
        EXPECT_EQ(run.exitCode, row.kind == None ? exitFailure : 0u) << row.name;
        EXPECT_EQ(run.error, "") << row.name;
        if (row.kind == None)
            EXPECT_EQ(log.callsStartingWith("dispatch effEditOpen").size(), 0u) << row.name;
    }
    DestroyWindow(ours);
}

} // namespace
