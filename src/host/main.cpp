// fxhost: hosts one audio effect plug-in in a process of its own. The parent
// learns the outcome from the exit code (0 or -1) and standard error.

#include <cstdio>
#include <exception>

#include "host/run.h"

#include <objbase.h>

int wmain(int argc, wchar_t** argv) {
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
