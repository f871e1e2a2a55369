// fxhost: hosts one audio effect plug-in in a process of its own. The parent
// learns the outcome from the exit code (0 or -1) and standard error.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "host/options.h"
#include "host/vst_globals.h"

#include <objbase.h>

// A 32-bit plug-in's C++ exception cannot unwind into this program (each
// module has an unwinder of its own), so the plug-in's runtime aborts; the
// C runtime is one for all modules, and so is this handler. Whatever ends
// the process this way, the parent sees a failure and one line of ours.
extern "C" void abortedInPlugIn(int) {
    std::fputs("plug-in crashed: abort\n", stderr);
    std::_Exit(-1);
}

int wmain(int argc, wchar_t** argv) {
    std::signal(SIGABRT, abortedInPlugIn);
    if (!parseCommandLine(argc, argv, commandWord(), optionMap())) {
        std::fprintf(stderr, "Incorrect argument count.\n");
        return -1;
    }
    CoInitialize(NULL);
    try {
        return runGlobals() ? 0 : -1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return -1;
    }
}
