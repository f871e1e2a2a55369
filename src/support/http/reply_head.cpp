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

namespace {

// Counts what the line reader takes, so that the whole head is measured in
// bytes off the wire, whatever the lines keep of them.
class countingReader : public fileReader {
public:
    explicit countingReader(fileReader& inner) : inner(inner) {}
    uint64_t read(void* buffer, uint64_t size) override {
        const uint64_t got = inner.read(buffer, size);
        taken += got;
        if (taken > maxHeadBytes)
            throw httpRequest_errors::head_too_large();
        return got;
    }

private:
    fileReader& inner;
    uint64_t taken = 0;
};

bool isInterim(const std::string& statusLine) {
    uint32_t status = 0;
    std::string reason;
    // 101 switches protocols, which a client that never asked cannot follow.
    return parseStatusLine(statusLine, status, reason) && status >= 100 && status <= 199 && status != 101;
}

} // namespace

void readResponseHead(fileReader& reader, std::string& statusLine, std::string& headers) {
    countingReader counted(reader);
    do {
        headers.clear();
        if (!readLine(counted, statusLine, maxHeadLine))
            return;
        std::string line;
        while (readLine(counted, line, maxHeadLine) && !line.empty())
            headers += line + "\r\n";
    } while (isInterim(statusLine));
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
    size_t end = line.find(';');
    if (end == std::string::npos)
        end = line.size();
    else
        while (end > 0 && (line[end - 1] == ' ' || line[end - 1] == '\t'))
            --end;
    if (end == 0)
        throw httpRequest_errors::invalid_reply();
    try {
        return parseHex(line.data(), end);
    } catch (const invalid_input&) {
        throw httpRequest_errors::invalid_reply();
    } catch (const overflow&) {
        throw httpRequest_errors::invalid_reply();
    }
}

} // namespace Qz
