// The process's run: the option map and command word the entry fills, and
// the one VSTGlobals built from them. Main thread only.
#pragma once

#include <string>

#include "request/options.h"

// The process-wide option map and command word, filled by the entry.
OptionMap& optionMap();
std::string& commandWord();

// Builds VSTGlobals on the standard handles, runs mainWithGlobals, destroys
// the record (closing the plug-in) and returns the command's result. Main
// thread.
bool runGlobals();
