// The options that shape the configure commands' windows: their title and
// their parent. Pure code: a window handle is carried as void*.
#pragma once

#include <cstdint>
#include <string>

struct VSTGlobals;

// The title of both kinds of window, process-wide: "VST Effect
// Configuration" until --window-title replaces it. Main thread.
std::wstring& windowTitle();

// Reads a window handle written in hexadecimal: digits 0-9, a-f, A-F, no
// prefix, no sign; the empty text is 0. False for any other character and
// for more than 16 significant digits.
bool parseWindowHandle(const std::string& text, uint64_t& value);

// The window named by --parent-window, passed through unchecked; null when
// the option is absent or does not parse.
void* parentWindow(const VSTGlobals& globals);
