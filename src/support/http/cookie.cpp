#include "support/http/cookie.h"

#include <vector>

#include "support/error/error.h"
#include "support/text/text.h"

namespace Qz {

namespace {

bool isPadding(char c) {
    return static_cast<unsigned char>(c) <= 0x20;
}

std::vector<std::string> splitPieces(const std::string& setCookie) {
    std::vector<std::string> pieces;
    size_t start = 0;
    while (start <= setCookie.size()) {
        size_t end = setCookie.find(';', start);
        if (end == std::string::npos)
            end = setCookie.size();
        size_t first = start, last = end;
        while (first < last && isPadding(setCookie[first]))
            ++first;
        while (last > first && isPadding(setCookie[last - 1]))
            --last;
        if (last > first)
            pieces.push_back(setCookie.substr(first, last - first));
        start = end + 1;
    }
    return pieces;
}

void splitAtEquals(const std::string& piece, std::string& name, std::string& value) {
    size_t equals = piece.find('=');
    name = piece.substr(0, equals);
    value = equals == std::string::npos ? std::string() : piece.substr(equals + 1);
}

bool domainMatches(const std::string& domain, const std::string& host) {
    if (!domain.empty() && domain[0] == '.')
        return domain.size() <= host.size() &&
               compareNoCase(host.data() + host.size() - domain.size(), domain.size(), domain.data(),
                             domain.size()) == 0;
    return compareNoCase(domain.data(), domain.size(), host.data(), host.size()) == 0 &&
           domain.size() == host.size();
}

bool pathMatches(const std::string& cookiePath, const std::string& requestPath) {
    bool prefix = requestPath.compare(0, cookiePath.size(), cookiePath) == 0;
    if (!cookiePath.empty() && cookiePath.back() == '/')
        return prefix;
    return prefix && (requestPath.size() == cookiePath.size() || requestPath[cookiePath.size()] == '/');
}

} // namespace

bool lessNoCase::operator()(const std::string& a, const std::string& b) const {
    int order = compareNoCase(a.data(), a.size(), b.data(), b.size());
    // The counted compare reads past an end as a zero byte; the size keeps
    // "a" and "a\0" two keys, as they are two names.
    return order != 0 ? order < 0 : a.size() < b.size();
}

void cookieJar::store(const std::string& host, const std::string& path, const std::string& setCookie) {
    std::vector<std::string> pieces = splitPieces(setCookie);
    if (pieces.empty())
        return;
    cookie added;
    splitAtEquals(pieces[0], added.name, added.value);
    added.attributes["Domain"] = host;
    added.attributes["Path"] = path;
    for (size_t i = 1; i < pieces.size(); ++i) {
        std::string name, value;
        splitAtEquals(pieces[i], name, value);
        added.attributes[name] = value;
    }
    std::lock_guard<std::mutex> guard(lock);
    cookies.push_back(std::move(added));
}

noCaseMap cookieJar::collect(const std::string& host, const std::string& path, bool secure) {
    noCaseMap result;
    std::lock_guard<std::mutex> guard(lock);
    for (const cookie& c : cookies) {
        if (!secure && c.attributes.count("Secure") != 0)
            continue;
        auto domain = c.attributes.find("Domain");
        auto cookiePath = c.attributes.find("Path");
        if (domain == c.attributes.end() || cookiePath == c.attributes.end())
            throw invalid_input();
        if (domainMatches(domain->second, host) && pathMatches(cookiePath->second, path))
            result[c.name] = c.value;
    }
    return result;
}

} // namespace Qz
