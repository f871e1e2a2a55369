#include "support/text/percent.h"

#include "support/text/text.h"

#include <cstring>

namespace Qz {

namespace {

void appendEscape(std::string& out, unsigned char byte, const char* digits) {
    out += '%';
    out += digits[byte >> 4];
    out += digits[byte & 0xF];
}

bool isAsciiAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

std::string decode(const std::string& text, bool plusIsBlank) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%' && i + 2 < text.size()) {
            int high = hexDigitValue(text[i + 1]);
            int low = hexDigitValue(text[i + 2]);
            // A decoded zero would cut the text short wherever it is later
            // used as a C string, so "%00" stays literal.
            if (high >= 0 && low >= 0 && (high | low) != 0) {
                out += static_cast<char>(high << 4 | low);
                i += 2;
                continue;
            }
        }
        out += plusIsBlank && c == '+' ? ' ' : c;
    }
    return out;
}

} // namespace

std::string percentEncode(const std::string& text, const char* safe) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        // strchr would find the terminator of `safe` for a zero byte.
        if (isAsciiAlphanumeric(c) || (c != 0 && safe != nullptr && std::strchr(safe, c) != nullptr))
            out += c;
        else
            appendEscape(out, static_cast<unsigned char>(c), "0123456789ABCDEF");
    }
    return out;
}

std::string percentDecode(const std::string& text) {
    return decode(text, false);
}

std::string percentDecodePlus(const std::string& text) {
    return decode(text, true);
}

std::string urlEscapeRaw(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (byte >= 0x80 || c == ' ')
            appendEscape(out, byte, "0123456789abcdef");
        else
            out += c;
    }
    return out;
}

} // namespace Qz
