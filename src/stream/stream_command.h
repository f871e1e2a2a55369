// The `process` command: audio through the plug-in over `input` and
// `output`, in the plain protocol (raw samples both ways, the tail at the
// end of input) or the chunked one (--protocol chunked). Main thread.
#pragma once

#include <memory>

#include "stream/stream_processor.h"

struct VSTGlobals;

// True when the stream ended in order; false for a payload cut short or no
// plug-in. Everything else that goes wrong is thrown with its text.
bool process(VSTGlobals& globals);

// The float or double processor the options and the plug-in call for.
// Null without an open plug-in.
std::unique_ptr<StreamProcessor> makeStreamProcessor(VSTGlobals& globals);
