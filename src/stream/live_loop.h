// The audio side of `configure-live`: while the editor is open on the main
// thread, the parent pushes audio through the same plug-in over `input`.
// Only two messages of the chunked stream exist here, with its 8-byte
// header (command, size; unsigned 32-bit little-endian):
//   1  samples in the stream's encoding: processed once a format has been
//      accepted, dropped before that;
//   3  a 20-byte StreamFormat: negotiated with the plug-in; accepted when
//      it keeps every input channel asked for.
// Nothing is ever written back: the processor is silent and `output` stays
// untouched, so the parent never has to read while the window is open.
//
// Thread: the worker of `configure-live`, bound to its abort event; the
// main thread runs the editor meanwhile, with no lock between them.
#pragma once

struct VSTGlobals;

// Runs until the input ends (quietly, also inside a payload), the thread's
// abort event is signalled, or a message or the plug-in fails. Every failure
// is printed on standard error as "Live data processing error: <text>",
// without a line end; nothing is thrown.
void liveLoop(VSTGlobals& globals);
