#include "request/options.h"

#include <cctype>
#include <limits>

#include "support/text/utf.h"

bool parseCommandLine(int argc, const wchar_t* const* argv, std::string& command, OptionMap& options) {
    if (argc < 2 || argc % 2 != 0)
        return false;
    for (int i = 2; i + 1 < argc; i += 2)
        options[Qz::wideToUtf8(argv[i])] = Qz::wideToUtf8(argv[i + 1]);
    command = Qz::wideToUtf8(argv[1]);
    return true;
}

const std::string* findOption(const OptionMap& options, const std::string& key) {
    OptionMap::const_iterator found = options.find(key);
    return found == options.end() ? nullptr : &found->second;
}

int32_t decimalValue(const std::string& text) {
    size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    // Accumulate as a magnitude one past INT32_MAX so that INT32_MIN is exact.
    const int64_t limit = int64_t(std::numeric_limits<int32_t>::max()) + (negative ? 1 : 0);
    int64_t magnitude = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        magnitude = magnitude * 10 + (text[i] - '0');
        if (magnitude > limit)
            magnitude = limit; // keep reading digits, but saturated
    }
    return int32_t(negative ? -magnitude : magnitude);
}

int32_t decimalOption(const OptionMap& options, const std::string& key, int32_t fallback) {
    const std::string* value = findOption(options, key);
    return value ? decimalValue(*value) : fallback;
}
