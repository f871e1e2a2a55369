// Cookies a server set, kept for the life of one request object and sent
// back by domain, path and the Secure flag. Expiry and HttpOnly are stored
// but never looked at: the program lives for one job.
#pragma once

#include <list>
#include <map>
#include <mutex>
#include <string>

namespace Qz {

// Orders text without ASCII case, so that "SID" and "sid" are one key.
struct lessNoCase {
    bool operator()(const std::string& a, const std::string& b) const;
};

using noCaseMap = std::map<std::string, std::string, lessNoCase>;

struct cookie {
    std::string name;
    std::string value;
    // "Domain" and "Path" always, then whatever the server added, as it
    // wrote them ("Secure" with an empty value).
    noCaseMap attributes;
};

// Any thread: each call takes the jar's lock.
class cookieJar {
public:
    // Keeps the cookie of one "Set-Cookie" value received in a reply from
    // `host` to a request for `path`. Domain and Path default to those two,
    // the path in full, and the server's own attributes overwrite them. A
    // value with nothing but separators is ignored. An older cookie of the
    // same name is not replaced; collect lets the newer win.
    void store(const std::string& host, const std::string& path, const std::string& setCookie);

    // Name and value of each cookie to send with a request for `path` on
    // `host`: "Secure" ones only if `secure`; a Domain with a leading "."
    // matches the end of `host`, any other only `host` itself (both without
    // case); a Path ending in "/" matches the paths it begins, any other
    // itself and the paths below it. A newer cookie's value wins under the
    // name as first spelled. Throws Qz::invalid_input for a stored cookie
    // without a Domain or Path attribute, which store never makes.
    noCaseMap collect(const std::string& host, const std::string& path, bool secure);

private:
    std::mutex lock;
    std::list<cookie> cookies; // oldest first
};

} // namespace Qz
