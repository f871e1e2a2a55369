// The configure commands' window: the plug-in's own editor when it has one,
// else a dialog built from its parameters. Shared by `configure` and
// `configure-live`; the latter's worker ends the window by posting WM_QUIT
// to the main thread.
#pragma once

#include <functional>

struct VSTGlobals;

// Sets the title from --window-title, picks the window, sets the process's
// DPI awareness for it (once, before any window exists) and runs the window
// until it closes or the thread gets WM_QUIT. The --data file is written
// while it runs and as it closes. True when a window ran and was closed;
// false, with nothing printed, when none could be made. `globals.effect`
// must be open. `shown`, if set, is called once the window is on the
// screen, just before its loop; never when no window could be made. Main
// thread, the thread that opened the plug-in.
bool configure(VSTGlobals& globals, const std::function<void()>& shown = nullptr);
