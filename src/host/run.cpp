#include "host/run.h"

#include "host/dispatch.h"
#include "run/vst_globals.h"
#include "support/file/file_std.h"
#include "support/file/std_channels.h"
#include "support/win32.h"

OptionMap& optionMap() {
    static OptionMap options;
    return options;
}

std::string& commandWord() {
    static std::string command;
    return command;
}

namespace {
// One of each for the life of the process; the handles are not owned.
std::shared_ptr<Qz::fileStdIn> standardInput;
std::shared_ptr<Qz::fileStdOut> standardOutput;
} // namespace

bool runGlobals() {
    // An invalid handle is not looked for here: it surfaces on first use.
    if (!standardInput)
        standardInput = std::make_shared<Qz::fileStdIn>(GetStdHandle(STD_INPUT_HANDLE));
    if (!standardOutput)
        standardOutput = std::make_shared<Qz::fileStdOut>(Qz::standardOutput());

    VSTGlobals globals;
    globals.arguments = optionMap();
    globals.command = commandWord();
    globals.input = standardInput;
    globals.output = standardOutput;
    return mainWithGlobals(globals);
}
