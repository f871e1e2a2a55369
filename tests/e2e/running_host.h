// The parent's side of a run through the shipped C++ client (what a parent
// application links), and the host of a window-showing command on a thread
// of its own, so that the test's thread can find its window by title and
// drive it as a user would, then close it.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "fxhost_client.h"
#include "parent.h"
#include "support/win32.h"

// The client for `plugin`, running the program of this build.
inline fxhost::Host clientFor(const std::wstring& plugin, fxhost::HostOptions options = fxhost::HostOptions()) {
    options.program = binFolder() + FXHOST_PROGRAM_NAME;
    return fxhost::Host(plugin, options);
}

// A client call's end as a run's: exit code 0 and no text, or the error's
// exit code and standard error text (line ends "\n"). An error the program
// did not end with (no answer in time, a refusal on the client's side)
// comes as exit code 0xDEAD and the error's message.
inline HostRun outcome(const std::function<void()>& call) {
    HostRun run;
    try {
        call();
    } catch (const fxhost::Error& e) {
        run.exitCode = e.exited() ? e.exitCode() : 0xDEAD;
        run.error = e.exited() ? e.errorText() : e.what();
    }
    return run;
}

// The pins of an `info` answer, as text: "label/flags/arrangement" of
// each input, "|", the same of each output, "|".
inline std::string pinsText(const fxhost::PluginInfo& info) {
    std::string text;
    for (const auto* side : {&info.inputs, &info.outputs}) {
        for (const fxhost::Pin& pin : *side)
            text += pin.label + "/" + std::to_string(pin.flags) + "/" + std::to_string(pin.arrangement) + " ";
        text += "| ";
    }
    return text;
}

class RunningHost {
public:
    // Runs `run` (a client's configure, or the simulator with a command
    // line of its own) on a thread of its own.
    explicit RunningHost(std::function<HostRun()> run)
        : thread([this, run] {
              result = run();
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

// `configure` as a parent asks it through the client.
inline std::function<HostRun()> configuring(const std::wstring& plugin, const std::wstring& title,
                                            const std::wstring& data = std::wstring(), HWND parent = NULL,
                                            fxhost::HostOptions options = fxhost::HostOptions()) {
    return [=] { return outcome([&] { clientFor(plugin, options).configure(data, parent, title); }); };
}

// A command line the client does not write, through the simulator; `input`
// is its standard input, from a file.
inline std::function<HostRun()> simulating(const std::vector<std::wstring>& arguments,
                                           const std::string& input = std::string()) {
    return [=] { return runHost(arguments, input); };
}

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
