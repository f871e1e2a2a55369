// fxhost: hosts one audio effect plug-in in a process of its own. The parent
// learns the outcome from the exit code (0 or -1) and standard error.

#include <cstdio>
#include <exception>

#include "host/crash_guard.h"
#include "host/run.h"
#include "support/file/std_channels.h"

#include <objbase.h>

namespace {

int run(int argc, wchar_t** argv) {
    if (!parseCommandLine(argc, argv, commandWord(), optionMap())) {
        std::fprintf(Qz::standardError(), "Incorrect argument count.\n");
        return -1;
    }
    guardAgainstCrashes();
    CoInitialize(NULL);
    try {
        // Before any plug-in is loaded, so that none ever holds the parent's
        // channels.
        const std::string* pluginOutput = findOption(optionMap(), "--plugin-output");
        Qz::divertStandardChannels(pluginOutput ? *pluginOutput : std::string());
        return runGlobals() ? 0 : -1;
    } catch (const std::exception& failure) {
        std::fprintf(Qz::standardError(), "%s\n", failure.what());
        return -1;
    }
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    Qz::keepStandardChannels();
    int code = run(argc, argv);
    endingNormally();
    return code;
}
