// The command line as the program sees it: one command word and an ordered
// map of "--key" to value, both in UTF-8. Pure code, no Win32.
#pragma once

#include <cstdint>
#include <map>
#include <string>

typedef std::map<std::string, std::string> OptionMap;

// Checks the count (a command word and whole key/value pairs) before looking
// at anything, then fills `command` and `options`; a key given twice keeps
// its last value. False, with nothing filled, for a bad count.
bool parseCommandLine(int argc, const wchar_t* const* argv, std::string& command, OptionMap& options);

// Exact, case-sensitive lookup of the whole key, dashes included; null when
// absent.
const std::string* findOption(const OptionMap& options, const std::string& key);

// The command line's number reading: leading white space and one sign, then
// digits up to the first other character; no digits read as 0, and values
// beyond 32 bits saturate. Never fails.
int32_t decimalValue(const std::string& text);

// An option read as a number, `fallback` when absent.
int32_t decimalOption(const OptionMap& options, const std::string& key, int32_t fallback);
