#include "support/text/utf.h"

#include <cstdint>
#include <cstring>
#include <cwchar>

namespace Qz {

namespace {

// One code point from at most `left` bytes. Returns it with its length in
// `length`; a result of 0 ends the text (the terminator, or a malformed,
// overlong or unfinished sequence).
uint32_t decodeOne(const unsigned char* bytes, size_t left, size_t& length) {
    length = 0;
    if (left == 0)
        return 0;
    unsigned char lead = bytes[0];
    if (lead < 0x80) {
        length = lead ? 1 : 0;
        return lead;
    }
    static const unsigned char masks[] = {0xE0, 0xF0, 0xF8, 0xFC, 0xFE};
    static const unsigned char patterns[] = {0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    size_t limit = left < 6 ? left : 6;
    size_t size = 0;
    for (size_t n = 2; n <= limit; ++n)
        if ((lead & masks[n - 2]) == patterns[n - 2]) {
            size = n;
            break;
        }
    if (size == 0)
        return 0;
    uint32_t payload = lead & (0xFFu >> (size + 1));
    for (size_t k = 1; k < size; ++k) {
        unsigned char next = bytes[k];
        if ((next & 0xC0) != 0x80)
            return 0;
        payload = (payload << 6) | (next & 0x3F);
    }
    // The shortest form only: a longer one ("/" as E0 80 AF) would let a
    // character slip past a check made on the bytes.
    static const uint32_t shortestFrom[] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000};
    if (payload < shortestFrom[size])
        return 0; // overlong
    // Beyond what UTF-16 can carry: the text ends here.
    if (payload > 0x10FFFF)
        return 0;
    length = size;
    return payload;
}

size_t textLength(const char* text, size_t size) { return size == size_t(-1) ? std::strlen(text) : size; }

bool isHighSurrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

} // namespace

std::wstring utf8ToWide(const char* text, size_t size) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    size_t total = textLength(text, size);
    // Two passes: count the units, then store them.
    size_t units = 0, length = 0;
    for (size_t at = 0;; at += length) {
        uint32_t point = decodeOne(bytes + at, total - at, length);
        if (point == 0)
            break;
        units += point > 0xFFFF ? 2 : 1;
    }
    std::wstring wide;
    wide.reserve(units);
    for (size_t at = 0;; at += length) {
        uint32_t point = decodeOne(bytes + at, total - at, length);
        if (point == 0)
            break;
        if (point > 0xFFFF) {
            point -= 0x10000;
            wide.push_back(wchar_t(0xD800 + (point >> 10)));
            wide.push_back(wchar_t(0xDC00 + (point & 0x3FF)));
        } else {
            wide.push_back(wchar_t(point));
        }
    }
    return wide;
}

std::wstring utf8ToWide(const std::string& text) { return utf8ToWide(text.data(), text.size()); }

std::string wideToUtf8(const wchar_t* text, size_t size) {
    size_t total = size == size_t(-1) ? std::wcslen(text) : size;
    std::string utf8;
    utf8.reserve(total * 3);
    for (size_t i = 0; i < total && text[i]; ++i) {
        uint32_t point = uint16_t(text[i]);
        if (isHighSurrogate(point) && i + 1 < total && isLowSurrogate(uint16_t(text[i + 1]))) {
            point = 0x10000 + ((point - 0xD800) << 10) + (uint16_t(text[i + 1]) - 0xDC00);
            ++i;
        }
        // A surrogate without its partner goes out on its own, in 3 bytes.
        if (point < 0x80) {
            utf8.push_back(char(point));
        } else if (point < 0x800) {
            utf8.push_back(char(0xC0 | (point >> 6)));
            utf8.push_back(char(0x80 | (point & 0x3F)));
        } else if (point < 0x10000) {
            utf8.push_back(char(0xE0 | (point >> 12)));
            utf8.push_back(char(0x80 | ((point >> 6) & 0x3F)));
            utf8.push_back(char(0x80 | (point & 0x3F)));
        } else {
            utf8.push_back(char(0xF0 | (point >> 18)));
            utf8.push_back(char(0x80 | ((point >> 12) & 0x3F)));
            utf8.push_back(char(0x80 | ((point >> 6) & 0x3F)));
            utf8.push_back(char(0x80 | (point & 0x3F)));
        }
    }
    return utf8;
}

std::string wideToUtf8(const std::wstring& text) { return wideToUtf8(text.data(), text.size()); }

} // namespace Qz
