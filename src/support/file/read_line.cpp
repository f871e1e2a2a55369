#include "support/file/read_line.h"

#include "support/error/error.h"

namespace Qz {

bool readLine(fileReader& reader, std::string& line, uint64_t maxLength) {
    std::string text;
    bool complete = false;
    uint64_t taken = 0;
    bool endStarted = false; // a carriage return past the limit: only the line feed may follow
    char c;
    while (reader.read(&c, 1) == 1) {
        if (c == '\n') {
            complete = true;
            break;
        }
        if (endStarted || (taken >= maxLength && c != '\r'))
            throw invalid_input();
        if (taken >= maxLength) {
            endStarted = true;
            continue;
        }
        ++taken;
        if (c != '\r')
            text.push_back(c);
    }
    line.swap(text);
    return complete;
}

std::string readLine(fileReader& reader) {
    std::string line;
    if (!readLine(reader, line, 0x1000000))
        throw invalid_input();
    return line;
}

std::string readHead(fileReader& reader) {
    char head[1024];
    return std::string(head, size_t(reader.read(head, sizeof head)));
}

} // namespace Qz
