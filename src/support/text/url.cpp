#include "support/text/url.h"

#include "support/error/error.h"
#include "support/text/path.h"
#include "support/text/percent.h"
#include "support/text/text.h"

#include <cstring>

namespace Qz {

namespace {

const char credentialSafe[] = "-_.~";
const char redirectPathSafe[] = "_-!.~'()*/";

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

} // namespace

bool urlParts::parse(const std::string& text, const char* defaultScheme) {
    *this = urlParts();

    std::string rest;
    size_t schemeEnd = text.find("://");
    if (schemeEnd != std::string::npos) {
        scheme = toLowerAscii(text.substr(0, schemeEnd));
        rest = text.substr(schemeEnd + 3);
    } else {
        if (defaultScheme == nullptr)
            return false;
        scheme = defaultScheme;
        rest = text;
    }

    std::string authority;
    size_t pathStart = rest.find('/');
    if (pathStart != std::string::npos) {
        path = rest.substr(pathStart);
        authority = rest.substr(0, pathStart);
    } else {
        path = "/";
        authority = rest;
    }

    // The last "@" so that an unescaped "@" in a password still parses.
    size_t at = authority.rfind('@');
    if (at != std::string::npos) {
        std::string userInfo = authority.substr(0, at);
        authority.erase(0, at + 1);
        size_t colon = userInfo.find(':');
        user = percentDecode(userInfo.substr(0, colon));
        if (colon != std::string::npos)
            password = percentDecode(userInfo.substr(colon + 1));
    }

    size_t colon = authority.rfind(':');
    if (colon != std::string::npos) {
        port = authority.substr(colon + 1);
        authority.erase(colon);
    } else if (unsigned fallback = defaultPort(scheme)) {
        port = decimalText(fallback);
    }

    if (authority.empty())
        return false;
    host = authority;
    return true;
}

std::string urlParts::toString() const {
    std::string text = schemePrefix();
    if (!user.empty()) {
        text += percentEncode(user, credentialSafe);
        if (!password.empty())
            text += ":" + percentEncode(password, credentialSafe);
        text += "@";
    }
    return text + hostAndPort() + path;
}

std::string urlParts::schemePrefix() const {
    return scheme.empty() ? std::string() : scheme + "://";
}

std::string urlParts::portSuffix() const {
    unsigned fallback = defaultPort(scheme);
    if (port.empty() || (fallback != 0 && port == decimalText(fallback)))
        return std::string();
    return ":" + port;
}

std::string urlParts::hostAndPort() const {
    return host + portSuffix();
}

std::string urlParts::credentials() const {
    if (user.empty())
        return std::string();
    return password.empty() ? user : user + ":" + password;
}

bool urlParts::sameServer(const urlParts& other) const {
    return scheme == other.scheme && host == other.host && port == other.port;
}

std::pair<std::string, std::string> urlParts::splitPath() const {
    size_t query = path.find('?');
    if (query == std::string::npos)
        return {path, std::string()};
    return {path.substr(0, query), path.substr(query)};
}

unsigned urlParts::defaultPort(const std::string& scheme) {
    struct Known {
        const char* scheme;
        unsigned port;
    };
    static const Known known[] = {{"http", 80}, {"https", 443}, {"ftp", 21}, {"ftpes", 21}, {"ftps", 990}};
    for (const Known& k : known)
        if (compareNoCase(scheme.c_str(), scheme.size(), k.scheme, std::strlen(k.scheme)) == 0)
            return k.port;
    return 0;
}

std::string urlResolve(const std::string& base, const std::string& relative) {
    size_t schemeEnd = base.find("://");
    if (schemeEnd == std::string::npos)
        throw invalid_input();
    size_t root = base.find('/', schemeEnd + 3);

    if (root == std::string::npos)
        return base + (startsWith(relative, "/") ? "" : "/") + relative;
    if (startsWith(relative, "/"))
        return base.substr(0, root) + relative;

    std::string dir = base.substr(root + 1);
    size_t query = dir.find('?');
    if (query != std::string::npos)
        dir.erase(query);

    size_t consumed = 0;
    for (;;) {
        std::string rest = relative.substr(consumed);
        if (startsWith(rest, "../")) {
            std::string parent = parentPath(dir);
            // Nothing left to climb: the surplus "../" goes to the server as is.
            if (parent == dir)
                break;
            dir = parent;
            consumed += 3;
        } else if (startsWith(rest, "./")) {
            consumed += 2;
        } else {
            break;
        }
    }
    std::string reference = relative.substr(consumed);

    bool queryOnly = startsWith(reference, "?");
    if (!queryOnly) {
        size_t lastSlash = dir.rfind('/');
        dir.erase(lastSlash == std::string::npos ? 0 : lastSlash);
    }

    std::string result = base.substr(0, root + 1) + dir;
    if (!queryOnly && result.back() != '/')
        result += '/';
    return result + reference;
}

void urlNormalizeRedirect(const std::string& from, std::string& target) {
    urlParts source;
    if (!source.parse(from))
        source = urlParts();
    urlParts destination;
    if (!destination.parse(target))
        destination = urlParts();

    bool changed = false;
    if (!source.user.empty() && source.sameServer(destination)) {
        destination.user = source.user;
        destination.password = source.password;
        changed = true;
    }

    std::pair<std::string, std::string> split = destination.splitPath();
    const std::string& pathOnly = split.first;
    bool looksEncoded = pathOnly.find(' ') == std::string::npos && percentDecodePlus(pathOnly) != pathOnly;
    if (!looksEncoded) {
        std::string encoded = percentEncode(pathOnly, redirectPathSafe);
        if (encoded != pathOnly) {
            destination.path = encoded + split.second;
            changed = true;
        }
    }

    if (changed)
        target = destination.toString();
}

} // namespace Qz
