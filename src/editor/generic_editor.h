// The generic parameter dialog, built at run time for a plug-in without an
// editor of its own: for each parameter its name and either a slider with
// the value text under it or a drop-down list of its texts.
#pragma once

#include <functional>

struct VSTGlobals;

// Makes the dialog (owned by --parent-window, if any), probes every
// parameter, and runs a dialog message loop (Tab, arrows, Escape) until
// the dialog is closed or the thread gets WM_QUIT. Each accepted change is
// written to the --data file at once, and the file is saved once more at
// the end. True when the dialog ran; false when it could not be made. An
// exception of a save ends the dialog and passes on. `shown`, if set, is
// called once the dialog is on the screen, just before its loop. Main
// thread.
bool generic_editor(VSTGlobals& globals, const std::function<void()>& shown = nullptr);
