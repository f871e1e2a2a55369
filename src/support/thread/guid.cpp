#include "support/thread/guid.h"

#include <stdexcept>

#include "support/win32.h"

#include <objbase.h>

namespace Qz {

std::string makeGuidString() {
    GUID guid;
    if (CoCreateGuid(&guid) != S_OK)
        throw std::runtime_error("CoCreateGuid failure");
    static const char digits[] = "0123456789abcdef";
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&guid);
    std::string text;
    text.reserve(2 * sizeof guid);
    for (size_t i = 0; i < sizeof guid; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

} // namespace Qz
