// VSTGlobals: everything one run owns. Built once by runGlobals, handed by
// reference to mainWithGlobals and every command, destroyed before exit.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "request/options.h"
#include "support/file/file.h"
#include "support/file/file_pipe.h"
#include "effect/vst_effect.h"

struct VSTGlobals {
    std::string dataPath;              // value of --data, set only once the plug-in is open
    std::string command;               // the command word
    OptionMap arguments;               // a copy of the option map; --vst and --data made full paths, then read-only
    std::unique_ptr<VSTEffect> effect; // the open plug-in
    std::vector<uint8_t> data;         // the settings blob as last read from or written to dataPath
    // Declared after the effect so that they go first: the transports are
    // let go before the plug-in closes.
    std::shared_ptr<Qz::filePipe> pipe;     // keeps a --pipe or --inpipe connection alive
    std::shared_ptr<Qz::fileWriter> output; // stream replies and processed audio
    std::shared_ptr<Qz::fileReader> input;  // stream data and messages

    // Reads the --data file and gives its blob to the plug-in. A missing,
    // unreadable, empty or too large (64 MiB or more) file is quietly no
    // settings. Main thread.
    void loadSettings();
    // Takes the plug-in's blob and rewrites the --data file if the blob
    // changed. A file that cannot be opened in 10 attempts is left alone,
    // quietly; a write that fails part-way throws. Main thread.
    void saveSettings();
};
