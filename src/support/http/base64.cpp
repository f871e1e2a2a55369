#include "support/http/base64.h"

#include <cstdint>

namespace Qz {

std::string base64Encode(const void* data, size_t size) {
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (size_t i = 0; i < size; i += 3) {
        size_t left = size - i;
        uint32_t group = uint32_t(bytes[i]) << 16;
        if (left > 1)
            group |= uint32_t(bytes[i + 1]) << 8;
        if (left > 2)
            group |= bytes[i + 2];
        text += alphabet[group >> 18];
        text += alphabet[(group >> 12) & 63];
        text += left > 1 ? alphabet[(group >> 6) & 63] : '=';
        text += left > 2 ? alphabet[group & 63] : '=';
    }
    return text;
}

std::string base64Encode(const std::string& bytes) {
    return base64Encode(bytes.data(), bytes.size());
}

} // namespace Qz
