// The call log of the test plug-ins: what the tests read to learn which calls
// a plug-in received from the host and what the host answered it.
//
// When FXHOST_TEST_LOG names a file, each call appends one UTF-8 line
// "<plug-in name> <text>\n" to it (FX_PLUGIN_NAME gives the name).
#pragma once

// printf-style; the plug-in's name and the blank are put in front.
void pluginLog(const char* format, ...);

// Whether FXHOST_TEST_LOG names a file now. For calls on an audio path, which
// sample it once beforehand so that a run without a log costs nothing.
bool pluginLogEnabled();
