// The one place that includes <windows.h>. Everything that talks to Win32
// includes this header; code that should stay testable without the system
// (conversion, protocol, parsing) includes neither.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601 // Windows 7: the oldest system the host supports
#endif

#include <windows.h>
