// Unique text for nonces and multipart boundaries.
#pragma once

#include <string>

namespace Qz {

// A new GUID as 32 lower-case hexadecimal digits: its 16 bytes in memory
// order, without separators. This is not the registry form: the first
// three fields come out little-endian. Throws a plain std::runtime_error
// "CoCreateGuid failure" if the system gives none. Any thread; COM need
// not be initialised.
std::string makeGuidString();

} // namespace Qz
