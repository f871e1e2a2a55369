// The configure command as a user meets it: the window it opens (the
// plug-in's own editor or the generic parameter dialog), driven from here by
// the messages a user's clicks and keys make, and what reaches the --data
// file. Each run gets a title of its own, by which its window is found.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "parent.h"
#include "running_host.h"
#include "stream_bytes.h"
#include "support/win32.h"

#include <commctrl.h>

namespace {

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

std::vector<HWND> children(HWND window) {
    std::vector<HWND> found;
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        found.push_back(child);
    return found;
}

// A control's rectangle in its dialog's client area.
RECT placeOf(HWND control) {
    RECT place;
    GetWindowRect(control, &place);
    MapWindowPoints(HWND_DESKTOP, GetParent(control), reinterpret_cast<POINT*>(&place), 2);
    return place;
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

int scaledTo(int length, int dpi) {
    return MulDiv(length, dpi, 96);
}

} // namespace

namespace {

// One parameter row as the user sees it: a list with its items, or a
// slider with its position and the text under it.
struct ShownRow {
    std::string name;
    std::string list; // listItems(); empty for a slider
    int position = -1;
    std::string value;
};

TEST(GenericDialog, ControlsTextsAndLayout) {
    // The probe's cases (tests/plugins/vst2/test_effect.cpp, parameterText).
    const std::vector<ShownRow> probed = {
        {"Switch", "Off=25 *On=75 ", -1, ""},
        {"Ten steps", "0=5 1=15 2=25 *3=35 4=45 5=55 6=65 7=75 8=85 9=95 ", -1, ""},
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
        // column of their widest, controls beside them, values below.
        const int marginX = scaledTo(16, row.dpi), gap = scaledTo(8, row.dpi), controlWidth = scaledTo(256, row.dpi);
        const int rowGap = scaledTo(16, row.dpi), controlHeight = scaledTo(32, row.dpi);
        const int valueHeight = scaledTo(16, row.dpi), labelDrop = scaledTo(4, row.dpi);
        std::vector<HWND> controls = children(dialog);
        int labelWidth = scaledTo(64, row.dpi), rowTop = rowGap;
        if (!row.rows.empty())
            labelWidth = placeOf(GetDlgItem(dialog, 666)).right - marginX;
        EXPECT_GE(labelWidth, scaledTo(64, row.dpi)) << row.name;
        size_t expectedControls = 0;
        for (size_t i = 0; i < row.rows.size(); ++i) {
            const ShownRow& shown = row.rows[i];
            std::string what = std::string(row.name) + ", parameter " + std::to_string(i);
            int id = 666 + 4 * int(i);
            HWND name = GetDlgItem(dialog, id), slider = GetDlgItem(dialog, id + 1), value = GetDlgItem(dialog, id + 2);
            HWND list = GetDlgItem(dialog, id + 3);
            ASSERT_TRUE(name) << what;
            EXPECT_EQ(text(name), shown.name) << what;
            EXPECT_EQ(GetWindowLongW(name, GWL_STYLE) & 3, SS_RIGHT) << what;
            RECT place = placeOf(name);
            EXPECT_EQ(place.left, marginX) << what;
            EXPECT_EQ(place.right - place.left, labelWidth) << what;
            EXPECT_EQ(place.top, rowTop + labelDrop) << what;
            EXPECT_EQ(place.bottom, rowTop + controlHeight) << what;
            HWND control = shown.list.empty() ? slider : list;
            ASSERT_TRUE(control) << what << (shown.list.empty() ? ": no slider" : ": no list");
            EXPECT_FALSE(shown.list.empty() ? list : slider) << what << ": a row has one kind of control";
            place = placeOf(control);
            EXPECT_EQ(place.left, marginX + labelWidth + gap) << what;
            EXPECT_EQ(place.right - place.left, controlWidth) << what;
            EXPECT_EQ(place.top, rowTop) << what;
            if (shown.list.empty()) {
                EXPECT_EQ(className(slider), "msctls_trackbar32") << what;
                EXPECT_EQ(place.bottom - place.top, controlHeight) << what;
                EXPECT_EQ(SendMessageW(slider, TBM_GETRANGEMAX, 0, 0), 100) << what;
                EXPECT_EQ(SendMessageW(slider, TBM_GETPOS, 0, 0), shown.position) << what;
                ASSERT_TRUE(value) << what;
                EXPECT_EQ(text(value), shown.value) << what;
                place = placeOf(value);
                EXPECT_EQ(place.left, marginX + labelWidth + gap) << what;
                EXPECT_EQ(place.top, rowTop + controlHeight) << what;
                EXPECT_EQ(place.bottom - place.top, valueHeight) << what;
                expectedControls += 3;
            } else {
                EXPECT_EQ(className(list), "ComboBox") << what;
                EXPECT_EQ(GetWindowLongW(list, GWL_STYLE) & 3, CBS_DROPDOWNLIST) << what;
                EXPECT_EQ(listItems(list), shown.list) << what;
                EXPECT_FALSE(value) << what;
                expectedControls += 2;
            }
            rowTop += controlHeight + valueHeight + rowGap;
        }
        EXPECT_EQ(controls.size(), expectedControls) << row.name;
        SIZE client = clientSize(dialog);
        EXPECT_EQ(client.cx, marginX + labelWidth + gap + controlWidth + 2 * marginX) << row.name;
        EXPECT_EQ(client.cy, rowTop) << row.name;

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
    // after ("" when it must not have been written) and, for a slider, the
    // text under it.
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
        bool within;        // the step's bytes stand somewhere in the file, amid a framework's own
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
        RunningHost host(configure(journey.plugin, {L"--window-title", title, L"--data", data}));
        HWND dialog = host.window(title);
        ASSERT_TRUE(dialog) << narrow(journey.plugin);
        for (const Step& step : journey.steps) {
            makeOld(data);
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

} // namespace
