// Path text, with "/" and "\\" both as separators. Pure code, no Win32.
#pragma once

#include <string>

namespace Qz {

// The text up to and including the last separator before the last
// component; trailing separators do not count. A bare name gives an empty
// text; a path of separators only gives itself.
std::string parentPath(const std::string& path);

} // namespace Qz
