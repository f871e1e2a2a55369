#include "support/http/header_block.h"

#include <algorithm>
#include <cstring>

#include "support/error/error.h"
#include "support/file/file.h"
#include "support/http/header_param.h"
#include "support/text/text.h"

namespace Qz {

namespace {

// Calls `found` with the value of each line named `name`, in order, until it
// returns false.
template <typename Found> void eachHeader(const std::string& headers, const std::string& name, Found found) {
    size_t start = 0;
    while (start < headers.size()) {
        size_t end = headers.find('\n', start);
        if (end == std::string::npos)
            end = headers.size();
        size_t lineEnd = end > start && headers[end - 1] == '\r' ? end - 1 : end;
        // Searched within the line only: a long run of lines without a colon
        // must not cost a search to the end of the text each.
        size_t colon = size_t(std::find(headers.begin() + start, headers.begin() + lineEnd, ':') - headers.begin());
        if (colon < lineEnd && colon - start == name.size() &&
            compareNoCase(headers.data() + start, name.size(), name.data(), name.size()) == 0) {
            size_t valueStart = colon + 1;
            while (valueStart < lineEnd && headers[valueStart] == ' ')
                ++valueStart;
            if (!found(headers.substr(valueStart, lineEnd - valueStart)))
                return;
        }
        start = end + 1;
    }
}

// atoi as far as the fields of a date need it: leading blanks, an optional
// sign, digits, and anything behind them ignored; a value too big for any
// field saturates instead of overflowing.
long fieldValue(const std::string& text) {
    size_t i = 0;
    while (i < text.size() && text[i] == ' ')
        ++i;
    bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+'))
        ++i;
    long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        if (value < 1000000)
            value = value * 10 + (text[i] - '0');
    return negative ? -value : value;
}

bool isLeapYear(long year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// Days from 1601-01-01 to the first of `month` (1 to 12) of `year`.
long daysBefore(long year, long month) {
    static const int monthStart[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    long y = year - 1601;
    long days = y * 365 + y / 4 - y / 100 + y / 400 + monthStart[month - 1];
    if (month > 2 && isLeapYear(year))
        ++days;
    return days;
}

// The tokens of every line named `name`, separated by commas, blanks and tabs.
std::vector<std::string> tokensOf(const std::string& headers, const char* name) {
    std::vector<std::string> tokens;
    eachHeader(headers, name, [&](const std::string& value) {
        for (size_t at = value.find_first_not_of(", \t"); at != std::string::npos;
             at = value.find_first_not_of(", \t", at)) {
            const size_t end = value.find_first_of(", \t", at);
            tokens.push_back(value.substr(at, end == std::string::npos ? std::string::npos : end - at));
            at = end;
        }
        return true;
    });
    return tokens;
}

// Sized, so that a zero byte inside a token cannot end the comparison early.
bool isWord(const std::string& token, const char* word) {
    return compareNoCase(token.data(), token.size(), word, std::strlen(word)) == 0;
}

} // namespace

bool getHeader(const std::string& headers, const std::string& name, std::string& value) {
    bool any = false;
    eachHeader(headers, name, [&](const std::string& found) {
        value = found;
        any = true;
        return false;
    });
    return any;
}

bool getHeaders(const std::string& headers, const std::string& name, std::vector<std::string>& values) {
    values.clear();
    eachHeader(headers, name, [&](const std::string& found) {
        values.push_back(found);
        return true;
    });
    return !values.empty();
}

uint64_t contentLength(const std::string& headers) {
    std::vector<std::string> values;
    if (!getHeaders(headers, "content-length", values))
        return unknownSize;
    // Two lengths that differ leave the body's end unknown: neither may be
    // trusted to cut the data.
    uint64_t length = unknownSize;
    for (const std::string& value : values) {
        uint64_t parsed;
        try {
            parsed = parseDecimal(value);
        } catch (const invalid_input&) {
            throw httpRequest_errors::invalid_reply();
        } catch (const overflow&) {
            throw httpRequest_errors::invalid_reply();
        }
        if (&value != &values.front() && parsed != length)
            throw httpRequest_errors::invalid_reply();
        length = parsed;
    }
    return length;
}

uint64_t lastModified(const std::string& headers) {
    std::string value;
    if (!getHeader(headers, "last-modified", value) || value.find(',') == std::string::npos ||
        value.find('-') != std::string::npos)
        return 0;

    // Day, month, year and time: the blank-separated words after the first.
    std::string words[4];
    size_t position = value.find(' ');
    for (std::string& word : words) {
        while (position < value.size() && value[position] == ' ')
            ++position;
        if (position >= value.size())
            return 0;
        size_t end = value.find(' ', position);
        word = value.substr(position, end == std::string::npos ? std::string::npos : end - position);
        position = end;
    }
    static const char* const months[12] = {"jan", "feb", "mar", "apr", "may", "jun",
                                           "jul", "aug", "sep", "oct", "nov", "dec"};
    long month = 0;
    for (long m = 0; m < 12 && month == 0; ++m)
        if (words[1].size() >= 3 && compareNoCase(words[1].data(), 3, months[m], 3) == 0)
            month = m + 1;
    size_t minuteColon = words[3].find(':');
    size_t secondColon = minuteColon == std::string::npos ? minuteColon : words[3].find(':', minuteColon + 1);
    if (month == 0 || secondColon == std::string::npos)
        return 0;

    long day = fieldValue(words[0]);
    long year = fieldValue(words[2]);
    long hour = fieldValue(words[3]);
    long minute = fieldValue(words[3].substr(minuteColon + 1));
    long second = fieldValue(words[3].substr(secondColon + 1));
    // The limits of SystemTimeToFileTime, which refuses such a date.
    static const int monthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    long daysInMonth = monthDays[month - 1] + (month == 2 && isLeapYear(year) ? 1 : 0);
    if (year < 1601 || year > 30827 || day < 1 || day > daysInMonth || hour < 0 || hour > 23 || minute < 0 ||
        minute > 59 || second < 0 || second > 59)
        throw invalid_input();
    uint64_t days = uint64_t(daysBefore(year, month) + day - 1);
    uint64_t seconds = ((days * 24 + uint64_t(hour)) * 60 + uint64_t(minute)) * 60 + uint64_t(second);
    return seconds * 10000000;
}

bool isChunked(const std::string& headers) {
    std::string value, token;
    return getHeader(headers, "transfer-encoding", value) && firstToken(value, token) &&
           compareNoCase(token.data(), token.size(), "chunked", 7) == 0 && token.size() == 7;
}

bool plainCodings(const std::string& headers) {
    for (const std::string& coding : tokensOf(headers, "content-encoding"))
        if (!isWord(coding, "identity"))
            return false;
    const std::vector<std::string> transfer = tokensOf(headers, "transfer-encoding");
    // A "chunked" that isChunked does not see (behind a tab, on a second
    // line) would leave the chunk framing in the data.
    return transfer.empty() || (transfer.size() == 1 && (isWord(transfer[0], "identity") ||
                                                         (isWord(transfer[0], "chunked") && isChunked(headers))));
}

} // namespace Qz
