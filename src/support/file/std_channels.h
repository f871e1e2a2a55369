// The standard output and standard error that the parent gave the process
// belong to the program: its audio, its replies and its texts. A plug-in
// lives in the same process and may print with printf, with WriteFile on
// GetStdHandle, from any thread; none of that may reach the parent, where it
// would shift the audio or pass for the program's own text.
//
// So the program keeps private duplicates of both handles for its own
// writes and points everything a plug-in can reach (the Win32 standard
// handles, descriptors 1 and 2 and with them stdout and stderr of the C
// runtimes) at the null device or at a file of the user's choice. Standard
// input stays the parent's.
#pragma once

#include <cstdio>
#include <string>

namespace Qz {

// Takes the private duplicates. Call once, first thing on the main thread,
// before anything is printed. Never fails: a handle that cannot be
// duplicated (none given, say) is kept as it is and fails on first use.
void keepStandardChannels();

// Points the process's standard output and standard error at the file
// `path`, appended to and created if missing, or, with an empty path, at
// the null device: the Win32 standard handles, and descriptors 1 and 2 of
// every C runtime loaded now (a runtime loaded later starts on the new
// handles). Main thread, after keepStandardChannels and before any plug-in
// is loaded. Throws the file error of Qz::throwLastError when `path` cannot
// be opened.
void divertStandardChannels(const std::string& path);

// The kept standard output, a HANDLE: where the program's audio and replies
// go. Before keepStandardChannels, the process's standard output.
void* standardOutput();

// The kept standard error as a C stream, in text mode ("\n" reaches the
// parent as "\r\n") and unbuffered: the program's own texts. Before
// keepStandardChannels, the runtime's stderr. Any thread.
std::FILE* standardError();

// The kept standard error as a HANDLE, for a report that must not wait for
// the stream's lock (a crash may have stopped its holder). Any thread.
void* standardErrorHandle();

} // namespace Qz
