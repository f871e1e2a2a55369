#include "support/text/text.h"

#include "support/error/error.h"

namespace Qz {

namespace {

// Folding through unsigned char keeps bytes from 0x80 up above all of ASCII,
// whatever the signedness of char is on the compiler at hand.
int foldedByte(char c) {
    return static_cast<unsigned char>(toLowerAscii(c));
}

} // namespace

int hexDigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

int compareNoCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        int difference = foldedByte(*a) - foldedByte(*b);
        if (difference != 0 || *a == 0)
            return difference;
    }
}

int compareNoCase(const char* a, size_t aSize, const char* b, size_t bSize) {
    size_t longer = aSize > bSize ? aSize : bSize;
    for (size_t i = 0; i < longer; ++i) {
        int difference = (i < aSize ? foldedByte(a[i]) : 0) - (i < bSize ? foldedByte(b[i]) : 0);
        if (difference != 0)
            return difference;
    }
    return 0;
}

char toLowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string toLowerAscii(std::string text) {
    for (char& c : text)
        c = toLowerAscii(c);
    return text;
}

std::string hexText(uint64_t value, unsigned minDigits, bool upperCase) {
    const char* digits = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    do {
        text.insert(text.begin(), digits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    if (text.size() < minDigits)
        text.insert(0, minDigits - text.size(), '0');
    return text;
}

std::string decimalText(uint64_t value) {
    char buffer[20];
    size_t start = sizeof buffer;
    do {
        buffer[--start] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    return std::string(buffer + start, sizeof buffer - start);
}

std::string decimalText(int64_t value) {
    if (value >= 0)
        return decimalText(static_cast<uint64_t>(value));
    // Negating in unsigned arithmetic keeps the minimum of int64, whose
    // magnitude has no int64 of its own.
    return "-" + decimalText(0 - static_cast<uint64_t>(value));
}

uint64_t parseDecimal(const char* text, size_t size) {
    for (size_t i = 0; i < size; ++i)
        if (text[i] < '0' || text[i] > '9')
            throw invalid_input();
    const uint64_t limit = UINT64_MAX / 10;
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) {
        unsigned digit = static_cast<unsigned>(text[i] - '0');
        if (value > limit || (value == limit && digit > UINT64_MAX % 10))
            throw overflow();
        value = value * 10 + digit;
    }
    return value;
}

uint64_t parseDecimal(const std::string& text) {
    return parseDecimal(text.data(), text.size());
}

uint64_t parseHex(const char* text, size_t size) {
    for (size_t i = 0; i < size; ++i)
        if (hexDigitValue(text[i]) < 0)
            throw invalid_input();
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) {
        // A set top nibble means the next digit would shift bits out.
        if (value >> 60 != 0)
            throw overflow();
        value = value << 4 | static_cast<uint64_t>(hexDigitValue(text[i]));
    }
    return value;
}

uint64_t parseHex(const std::string& text) {
    return parseHex(text.data(), text.size());
}

} // namespace Qz
