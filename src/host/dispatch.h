// The spine of a run: transports, working directory, opening the plug-in,
// the message pump, then the one command. Main thread only.
#pragma once

#include <string>

struct VSTGlobals;

// True for success (exit code 0), false for a failure whose text has been
// written to standard error. Transport failures are thrown.
bool mainWithGlobals(VSTGlobals& globals);

