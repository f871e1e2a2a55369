// The plug-in's own editor, in a plain top-level window of ours.
#pragma once

#include <functional>

struct VSTGlobals;

// Makes the window (owned by --parent-window, if any), opens the plug-in's
// editor in it and runs a message loop until the window is closed or the
// thread gets WM_QUIT (from the live worker). The plug-in's notifications
// are saved to the --data file at the next turn of the loop, one save for a
// burst; the file is saved once more as the window goes. True when the
// window ran; false, before any plug-in call, when it could not be made.
// An exception of the final save passes on. `shown`, if set, is called once
// the window is on the screen, just before its loop. Main thread.
bool vst2_editor(VSTGlobals& globals, const std::function<void()>& shown = nullptr);
