// The host of a window-showing command (configure) on a thread of its own,
// so that the test's thread can find its window by title and drive it as a
// user would, then close it.
#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "parent.h"
#include "support/win32.h"

class RunningHost {
public:
    // `input`: the host's standard input, from a file.
    explicit RunningHost(const std::vector<std::wstring>& arguments, const std::string& input = std::string())
        : thread([this, arguments, input] {
              result = runHost(arguments, input);
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

// A window title no other run of any test process has.
inline std::wstring uniqueTitle() {
    static int made = 0;
    return L"fxhost editor e2e \u266b " + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
}

inline SIZE clientSize(HWND window) {
    RECT client = {};
    GetClientRect(window, &client);
    return {client.right, client.bottom};
}
