#include "support/http/reply_head.h"

#include "support/error/error.h"
#include "support/file/read_line.h"
#include "support/text/text.h"

namespace Qz {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

size_t skipBlanks(const std::string& text, size_t position) {
    while (position < text.size() && text[position] == ' ')
        ++position;
    return position;
}

} // namespace

bool parseStatusLine(const std::string& line, uint32_t& status, std::string& reason) {
    size_t position = line.find(' ');
    if (position == std::string::npos)
        return false;
    position = skipBlanks(line, position);
    if (line.size() - position < 3 || !isDigit(line[position]) || !isDigit(line[position + 1]) ||
        !isDigit(line[position + 2]))
        return false;
    size_t end = position + 3;
    if (end < line.size() && line[end] != ' ')
        return false;
    status = uint32_t(line[position] - '0') * 100 + uint32_t(line[position + 1] - '0') * 10 +
             uint32_t(line[position + 2] - '0');
    reason = line.substr(skipBlanks(line, end));
    if (reason.empty())
        reason = "Unspecified HTTP Response";
    return true;
}

void readResponseHead(fileReader& reader, std::string& statusLine, std::string& headers) {
    headers.clear();
    if (!readLine(reader, statusLine, maxHeadLine))
        return;
    std::string line;
    while (readLine(reader, line, maxHeadLine) && !line.empty())
        headers += line + "\r\n";
}

void readTunnelHead(fileReader& reader, uint32_t& status, std::string& reason, std::string& headers) {
    std::string statusLine, line;
    headers.clear();
    for (size_t kept = 0;; ++kept) {
        if (!readLine(reader, line, maxHeadLine))
            throw httpRequest_errors::invalid_reply();
        if (line.empty())
            break;
        if (kept == maxTunnelHeadLines)
            throw httpRequest_errors::invalid_reply();
        if (kept == 0)
            statusLine = line;
        else
            headers += line + "\r\n";
    }
    if (!parseStatusLine(statusLine, status, reason))
        throw httpRequest_errors::invalid_reply();
}

uint64_t parseChunkSize(const std::string& line) {
    try {
        return parseHex(line);
    } catch (const invalid_input&) {
        throw httpRequest_errors::invalid_reply();
    } catch (const overflow&) {
        throw httpRequest_errors::invalid_reply();
    }
}

} // namespace Qz
