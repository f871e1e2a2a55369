#include "support/http/auth.h"

#include "support/error/error.h"
#include "support/http/base64.h"
#include "support/http/header_param.h"
#include "support/http/md5.h"
#include "support/text/text.h"

namespace Qz {

namespace {

bool equalNoCase(const std::string& a, const char* b) {
    return compareNoCase(a.c_str(), b) == 0 && a.find('\0') == std::string::npos;
}

[[noreturn]] void refuse() {
    throw httpRequest_errors::auth_error();
}

std::string basicAnswer(const std::string& credentials) {
    return "Basic " + base64Encode(credentials);
}

std::string digestAnswer(const std::string& method, const std::string& challenge, const std::string& credentials,
                         const std::string& uri, std::string (*makeCnonce)()) {
    size_t colon = credentials.find(':');
    if (colon == std::string::npos)
        refuse();
    std::string user = credentials.substr(0, colon);
    std::string password = credentials.substr(colon + 1);

    std::string scheme, nonce, realm;
    if (!firstToken(challenge, scheme) || !equalNoCase(scheme, "digest"))
        refuse();
    if (!headerParam(challenge, "nonce", nonce, true) || !headerParam(challenge, "realm", realm, true))
        refuse();
    std::string algorithm = "md5";
    headerParam(challenge, "algorithm", algorithm, false);
    bool session = equalNoCase(algorithm, "md5-sess");
    if (!session && !equalNoCase(algorithm, "md5"))
        refuse();
    // Only a server that offers "auth" alone is answered with a qop; a list
    // would need a choice this client does not make.
    std::string qop;
    bool withQop = headerParam(challenge, "qop", qop, true);
    if (withQop && !equalNoCase(qop, "auth"))
        refuse();

    const std::string nc = "00000001";
    std::string cnonce = makeCnonce();

    std::string answer =
        "Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" + nonce + "\", uri=\"" + uri + "\"";
    if (withQop)
        answer += ", qop=" + qop + ", nc=" + nc + ", cnonce=\"" + cnonce + "\"";

    std::string ha2 = md5Hex(method + ":" + uri);
    std::string ha1 = md5Hex(user + ":" + realm + ":" + password);
    if (session)
        ha1 = md5Hex(ha1 + ":" + nonce + ":" + cnonce);
    std::string response = ha1 + ":" + nonce;
    if (withQop)
        response += ":" + nc + ":" + cnonce + ":" + qop;
    response += ":" + ha2;
    answer += ", response=\"" + md5Hex(response) + "\"";

    std::string opaque;
    if (headerParam(challenge, "opaque", opaque, true))
        answer += ", opaque=\"" + opaque + "\"";
    return answer;
}

} // namespace

bool authAnswer(const std::string& method, const std::vector<std::string>& challenges, const std::string& credentials,
                const std::string& uri, std::string& result, std::string (*makeCnonce)()) {
    for (const std::string& challenge : challenges) {
        std::string scheme;
        if (!firstToken(challenge, scheme))
            continue;
        try {
            if (equalNoCase(scheme, "digest")) {
                result = digestAnswer(method, challenge, credentials, uri, makeCnonce);
                return true;
            }
            if (equalNoCase(scheme, "basic")) {
                result = basicAnswer(credentials);
                return true;
            }
        } catch (const httpRequest_errors::auth_error&) {
            // The next challenge may be one this client can answer.
        }
    }
    if (!challenges.empty())
        return false;
    result = basicAnswer(credentials);
    return true;
}

authCache& authCache::instance() {
    static authCache cache;
    return cache;
}

std::vector<std::string> authCache::get(const std::string& key) {
    std::lock_guard<std::mutex> guard(lock);
    auto found = entries.find(key);
    return found == entries.end() ? std::vector<std::string>() : found->second;
}

void authCache::set(const std::string& key, const std::vector<std::string>& challenges) {
    std::lock_guard<std::mutex> guard(lock);
    entries[key] = challenges;
}

} // namespace Qz
