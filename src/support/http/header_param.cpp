#include "support/http/header_param.h"

#include "support/text/text.h"

namespace Qz {

namespace {

bool isSeparator(char c) {
    return c == ' ' || c == ',';
}

// The token that starts at or after `position`, which moves behind it.
bool nextToken(const std::string& text, size_t& position, std::string& token) {
    size_t start = position;
    while (start < text.size() && isSeparator(text[start]))
        ++start;
    if (start == text.size()) {
        position = start;
        return false;
    }
    size_t end = start;
    bool quoted = false;
    for (; end < text.size(); ++end) {
        if (text[end] == '"')
            quoted = !quoted;
        else if (!quoted && isSeparator(text[end]))
            break;
    }
    token.assign(text, start, end - start);
    position = end;
    return true;
}

} // namespace

bool firstToken(const std::string& text, std::string& token) {
    size_t position = 0;
    return nextToken(text, position, token);
}

bool headerParam(const std::string& text, const std::string& name, std::string& out, bool quoted) {
    size_t position = 0;
    std::string token;
    while (nextToken(text, position, token)) {
        size_t valueStart = name.size() + 1;
        if (token.size() <= valueStart || token[name.size()] != '=' ||
            compareNoCase(token.data(), name.size(), name.data(), name.size()) != 0)
            continue;
        if (!quoted) {
            out = token.substr(valueStart);
            return true;
        }
        if (token[valueStart] != '"')
            continue;
        size_t close = token.find('"', valueStart + 1);
        if (close == std::string::npos)
            continue;
        out = token.substr(valueStart + 1, close - valueStart - 1);
        return true;
    }
    return false;
}

} // namespace Qz
