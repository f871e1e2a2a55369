// The URL record of the HTTP client, its parser and printer, and the
// resolving of relative references. The parser is deliberately lenient and
// small: it splits text, it does not validate it. Hosts are not lower-cased,
// ports are not checked, and there is no bracket syntax for IPv6 literals,
// so a host with colons loses its last group to `port`.
#pragma once

#include <string>
#include <utility>

namespace Qz {

struct urlParts {
    std::string scheme;   // lower case when parsed from text
    std::string user;     // decoded
    std::string password; // decoded
    std::string host;     // as it stood in the URL
    std::string port;     // decimal text as it stood, or the scheme's default
    std::string path;     // as it stood, with the query; "/" when the URL had none

    // Splits `text` into the fields, clearing them first. Without "://" the
    // whole text is the authority and path under `defaultScheme`, taken as it
    // is (not lower-cased); with a null `defaultScheme` such text fails. The
    // credentials end at the last "@" of the authority and split at their
    // first ":"; the port starts behind the last ":". Without a ":" the port
    // is the scheme's default, if it has one. False when the host comes out
    // empty; the fields are then partly filled and meaningless.
    bool parse(const std::string& text, const char* defaultScheme = nullptr);

    // schemePrefix, then user and password encoded with the safe set "-_.~"
    // and "@" (only when `user` is not empty; the password only when it is not
    // empty either), then hostAndPort and path. Nothing is added or checked,
    // so an empty path prints as nothing.
    std::string toString() const;
    // "scheme://", or empty without a scheme.
    std::string schemePrefix() const;
    // ":port", or empty when `port` is empty or is exactly the decimal text of
    // the scheme's default port ("080" is printed). A scheme without a
    // default port never drops the port, not even ":0".
    std::string portSuffix() const;
    std::string hostAndPort() const;
    // "user" or "user:password", not encoded: the text that Basic
    // authentication encodes. Empty when `user` is.
    std::string credentials() const;
    // Scheme, host and port byte for byte: "Host" is another server than
    // "host", and port "" another than "80".
    bool sameServer(const urlParts& other) const;
    // `path` up to the first "?", and the rest from that "?" on (empty if
    // there is none).
    std::pair<std::string, std::string> splitPath() const;

    // Compared without case: http 80, https 443, ftp 21, ftpes 21, ftps 990,
    // anything else 0 (no default).
    static unsigned defaultPort(const std::string& scheme);
};

// `relative` against the absolute URL `base`. A reference starting with "/"
// replaces the base's path; one starting with "?" replaces only its query.
// Otherwise leading "./" and "../" are consumed against the base's path,
// where each "../" takes away one trailing component, the file name
// included: "a/b/c.txt" with "../d" gives "a/b/d". A "../" that finds
// nothing left to take stays in the result. Throws Qz::invalid_input when
// `base` has no "://".
std::string urlResolve(const std::string& base, const std::string& relative);

// Prepares the URL `target` of a redirect coming from the URL `from`.
// Credentials of `from` carry over when both name the same server. A path
// (not its query) that looks unencoded - it holds a blank, or decoding would
// not change it - is percent-encoded with the safe set "_-!.~'()*/". Only if
// one of the two applied is `target` rewritten, in the form of toString;
// otherwise it is left byte for byte, and a `target` that does not parse is
// never touched.
void urlNormalizeRedirect(const std::string& from, std::string& target);

} // namespace Qz
