// Whatever a plug-in does to end the run from inside, the parent gets the
// same answer: exit code -1 and one line on standard error that says what
// happened (host/crash_report.h), at once, with no debugger and no error
// dialog keeping the process alive. Covered:
//
// - an unhandled structured exception on any thread (access violation,
//   illegal instruction, divide by zero, stack overflow: every thread gets
//   stack reserved for the report);
// - the main thread ended by the system without an exception (Wine's way
//   with a stack overflow it cannot dispatch);
// - abort, std::terminate (a pure virtual call ends there), an invalid
//   parameter and exit through the program's own C runtime, which plug-ins
//   built with mingw-w64 share;
// - on Windows, any other end of the process that the program did not ask
//   for (_exit or ExitProcess, also from a plug-in's own runtime), which the
//   process detach notification shows. Wine sends the program none.
//
// Not covered: TerminateProcess and fail-fast calls, which no code in the
// process sees; under Wine, a stack overflow on a thread other than the
// main thread, which ends just that thread.
#pragma once

// Installs the guards. Main thread, once, before any plug-in is loaded.
void guardAgainstCrashes();

// Says that the program itself now ends the process with its own exit code.
// Main thread, just before wmain returns.
void endingNormally();
