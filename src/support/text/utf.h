// UTF-8 is the program's text; UTF-16 exists only at Win32 calls.
// Malformed input never throws: a bad UTF-8 sequence ends the converted
// text at that point, and a lone surrogate is encoded by itself.
#pragma once

#include <cstddef>
#include <string>

namespace Qz {

// `size` of (size_t)-1 means up to the terminating zero.
std::wstring utf8ToWide(const char* text, size_t size = size_t(-1));
std::wstring utf8ToWide(const std::string& text);
std::string wideToUtf8(const wchar_t* text, size_t size = size_t(-1));
std::string wideToUtf8(const std::wstring& text);

} // namespace Qz
