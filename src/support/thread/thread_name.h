// Names the calling thread for debuggers and crash dumps.
#pragma once

#include <string>

namespace Qz {

// Sets the calling thread's description to the UTF-8 `name`. Systems older
// than Windows 10 1607 have no thread descriptions; there the call does
// nothing, and it never fails.
void setThreadName(const std::string& name);

} // namespace Qz
