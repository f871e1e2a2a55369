// The gate to Winsock, SSPI and Crypt32, for the socket and TLS code only.
// Win32's own gate goes first, so that <windows.h> never pulls in the old
// Winsock 1 header that would clash with these.
#pragma once

#include "support/win32.h"

#include <winsock2.h>
#include <ws2tcpip.h>
