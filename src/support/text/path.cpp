#include "support/text/path.h"

namespace Qz {

namespace {
bool isSeparator(char c) { return c == '/' || c == '\\'; }
} // namespace

std::string parentPath(const std::string& path) {
    size_t end = path.size();
    while (end > 0 && isSeparator(path[end - 1]))
        --end;
    if (end == 0)
        return path;
    while (end > 0 && !isSeparator(path[end - 1]))
        --end;
    return path.substr(0, end);
}

} // namespace Qz
