#include "support/http/http_request.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <unordered_map>

#include "support/file/read_line.h"
#include "support/http/auth.h"
#include "support/http/chunked_body.h"
#include "support/http/cookie.h"
#include "support/http/header_block.h"
#include "support/http/header_param.h"
#include "support/http/reply_head.h"
#include "support/text/percent.h"
#include "support/text/text.h"
#include "support/text/url.h"
#include "support/thread/abort.h"
#include "support/thread/guid.h"

namespace Qz {

namespace {

const char lineEnd[] = "\r\n";

// The name of a header line, up to its colon; the whole line without one.
std::string lineName(const std::string& line) { return line.substr(0, line.find(':')); }

// Calls `each` with every line of `lines` (each with its line end, the last
// one possibly without).
template <class Each> void forEachLine(const std::string& lines, Each each) {
    size_t at = 0;
    while (at < lines.size()) {
        size_t end = lines.find('\n', at);
        end = end == std::string::npos ? lines.size() : end + 1;
        each(lines.substr(at, end - at));
        at = end;
    }
}

bool hasLine(const std::string& lines, const char* name) {
    bool found = false;
    forEachLine(lines, [&](const std::string& line) {
        if (compareNoCase(lineName(line).c_str(), name) == 0)
            found = true;
    });
    return found;
}

struct userAgentRegistry {
    std::mutex lock;
    std::unordered_map<std::string, int> products;
};

userAgentRegistry& userAgents() {
    static userAgentRegistry registry;
    return registry;
}

bool isBodyMethod(const std::string& method) { return method == "POST" || method == "NOTIFY" || method == "PUT"; }

std::string formValue(const std::vector<uint8_t>& data) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (uint8_t c : data) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
            c == '.' || c == '~')
            out += char(c);
        else if (c == ' ')
            out += '+';
        else
            out += {'%', digits[c >> 4], digits[c & 15]};
    }
    return out;
}

} // namespace

std::string requestHeadText(const requestHeadParts& parts) {
    std::string extra;
    forEachLine(parts.extraHeaders, [&](const std::string& line) {
        const std::string name = lineName(line);
        if (compareNoCase(name.c_str(), "Range") == 0)
            throw invalid_input();
        if (compareNoCase(name.c_str(), "Connection") != 0)
            extra += line;
    });

    std::string text = parts.method + " " + parts.requestTarget + " HTTP/1.1" + lineEnd;
    text += "Host: " + parts.host + lineEnd;
    if (!parts.authorization.empty())
        text += "Authorization: " + parts.authorization + lineEnd;
    if (!parts.proxyAuthorization.empty())
        text += "Proxy-Authorization: " + parts.proxyAuthorization + lineEnd;
    if (parts.rangeStart != unknownSize)
        text += "Range: bytes=" + decimalText(parts.rangeStart) + "-" + lineEnd;
    if (!parts.keepAlive)
        text += std::string("Connection: close") + lineEnd;
    if (!hasLine(extra, "User-Agent") && !parts.userAgent.empty())
        text += "User-Agent: " + parts.userAgent + lineEnd;
    if (!hasLine(extra, "Accept"))
        text += std::string("Accept: */*") + lineEnd;
    if (!parts.cookies.empty())
        text += "Cookie: " + parts.cookies + lineEnd;
    return text + extra + parts.routeHeaders;
}

void registerUserAgent(const std::string& name, int weight) {
    userAgentRegistry& registry = userAgents();
    std::lock_guard<std::mutex> hold(registry.lock);
    registry.products[name] = weight;
}

std::string userAgentText() {
    userAgentRegistry& registry = userAgents();
    std::lock_guard<std::mutex> hold(registry.lock);
    // Stable, so that within a weight the table's own order stands.
    std::vector<std::pair<std::string, int>> products(registry.products.begin(), registry.products.end());
    std::stable_sort(products.begin(), products.end(),
                     [](const std::pair<std::string, int>& a, const std::pair<std::string, int>& b) {
                         return a.second > b.second;
                     });
    std::string text;
    for (const auto& product : products)
        text += (text.empty() ? "" : " ") + product.first;
    return text;
}

httpRequest::httpRequest() { transport.setTimeout(60.0); }

httpRequest::~httpRequest() {
    try {
        disconnect();
    } catch (...) {
    }
}

void httpRequest::disconnect() {
    keepConnection = false;
    transport.close();
    connectedHost.clear();
    connectedPort.clear();
}

std::string httpRequest::statusText() const { return httpStatusText(reason, status); }

void httpRequest::request(const std::string& url, const std::string& method, uint64_t rangeStart) {
    if (!cookies)
        cookies = std::make_shared<cookieJar>();
    uint32_t budget = maxRedirects;
    std::string current = urlEscapeRaw(url);
    std::vector<std::string> challenges, proxyChallenges;
    bool answered = false;

    for (;;) {
        abortCheck();
        const size_t schemeEnd = current.find("://");
        if (schemeEnd == std::string::npos)
            throw bad_url();
        if (current.find('/', schemeEnd + 3) == std::string::npos)
            current += '/';

        if (proxyResolver)
            proxy = proxyResolver(current);
        urlParts proxyParts;
        if (!proxy.empty() &&
            (!proxyParts.parse(proxy, "http") || (proxyParts.scheme != "http" && proxyParts.scheme != "https")))
            throw invalid_proxy_url();

        bool reuse = transport.isOpen() && keepConnection && (chunked ? chunks.ended() : bodyLeft == 0);
        if (reuse) {
            try {
                transport.checkError();
            } catch (const network_error&) {
                reuse = false;
            }
        }
        chunked = false;
        status = 0;
        statusLine.clear();
        reason.clear();
        responseHeaders.clear();
        bodyLeft = unknownSize;

        urlParts target;
        if (!target.parse(current) || (target.scheme != "http" && target.scheme != "https"))
            throw bad_url();
        const bool useProxy = !proxyParts.host.empty() && !noProxy;
        const bool viaProxy = useProxy && (target.scheme == "http" || !tunnelHttps);
        if (viaProxy)
            proxyChallenges = authCache::instance().get(proxyParts.hostAndPort());

        requestHeadParts head;
        head.method = method;
        head.requestTarget = viaProxy ? current : target.path;
        head.host = target.host + target.portSuffix();
        if (!target.user.empty()) {
            if (challenges.empty())
                challenges = authCache::instance().get(target.hostAndPort());
            // Plain http waits for a challenge rather than send a password
            // in clear text unasked; https answers Basic at once.
            if (!challenges.empty() || target.scheme != "http")
                authAnswer(method, challenges, target.credentials(), target.path, head.authorization);
        }
        if (viaProxy && !proxyChallenges.empty() && !proxyParts.user.empty())
            authAnswer(method, proxyChallenges, proxyParts.credentials(), current, head.proxyAuthorization);
        head.extraHeaders = extraHeaders;
        head.rangeStart = rangeStart;
        head.keepAlive = keepAlive;
        head.userAgent = userAgentText();
        std::string sent;
        for (const auto& entry : cookies->collect(target.host, target.path, target.scheme == "https"))
            sent += (sent.empty() ? "" : "; ") + entry.first + "=" + entry.second;
        head.cookies = sent;
        head.routeHeaders = viaProxy ? proxyHeaders : directHeaders;
        const std::string headText = requestHeadText(head);

        transport.proxyUrl.clear();
        std::string host = target.host, port = target.port;
        bool tls = target.scheme == "https";
        if (viaProxy) {
            host = proxyParts.host;
            port = proxyParts.port;
            tls = proxyParts.scheme == "https";
        } else if (useProxy) {
            transport.proxyUrl = proxy;
        }
        if (!(reuse && connectedHost == host && connectedPort == port && connectedTls == tls)) {
            disconnect();
            transport.connect(host, port, tls ? connectTls : connectPlain);
            connectedHost = host;
            connectedPort = port;
            connectedTls = tls;
        }

        bool sentAll = false;
        try {
            sentAll = send(headText, method);
            readResponseHead(transport, statusLine, responseHeaders);
        } catch (...) {
            disconnect();
            throw;
        }

        requestPath = target.path;
        if (!parseStatusLine(statusLine, status, reason))
            throw invalid_reply();
        std::string connection;
        keepConnection = keepAlive && sentAll &&
                         !(getHeader("Connection", connection) && compareNoCase(connection.c_str(), "close") == 0);
        std::vector<std::string> setCookies;
        if (getHeaders("Set-Cookie", setCookies))
            for (const std::string& value : setCookies)
                cookies->store(target.host, target.path, value);
        if (Qz::isChunked(responseHeaders)) {
            chunked = true;
            chunks = chunkedBody();
        }
        if (method == "HEAD")
            bodyLeft = 0;
        else if (!chunked) {
            try {
                bodyLeft = contentLength();
            } catch (const std::exception&) {
                bodyLeft = unknownSize;
            }
        }

        switch (status) {
        case 301:
        case 302:
        case 303:
        case 307:
        case 308: {
            if ((method != "GET" && method != "HEAD") || budget == 0)
                throw invalid_reply();
            --budget;
            const std::string from = current;
            std::string location;
            if (!getHeader("Location", location))
                throw invalid_reply();
            if (location.find("://") != std::string::npos) {
                current = location;
            } else {
                try {
                    current = urlResolve(from, location);
                } catch (const std::exception&) {
                    throw invalid_reply();
                }
            }
            urlNormalizeRedirect(from, current);
            answered = false;
            continue;
        }
        case 401:
            if (!target.user.empty() && !answered) {
                std::vector<std::string> offered;
                if (!getHeaders("WWW-Authenticate", offered))
                    throw error(statusText());
                // Asking again without an answer would only bring the same 401.
                std::string answer;
                if (!authAnswer(method, offered, target.credentials(), target.path, answer))
                    throw auth_error(statusText());
                authCache::instance().set(target.hostAndPort(), offered);
                challenges = offered;
                answered = true;
                continue;
            }
            if (ignoreStatus)
                return;
            throw auth_error(statusText());
        case 407:
            if (viaProxy && !proxyParts.user.empty() && proxyChallenges.empty()) {
                std::vector<std::string> offered;
                if (!getHeaders("Proxy-Authenticate", offered))
                    throw error(statusText());
                std::string answer;
                if (!authAnswer(method, offered, proxyParts.credentials(), current, answer))
                    throw error(statusText());
                authCache::instance().set(proxyParts.hostAndPort(), offered);
                continue;
            }
            break;
        default:
            break;
        }

        if ((status >= 200 && status <= 299) || ignoreStatus)
            return;
        switch (status) {
        case 403:
            throwDenied();
        case 404:
            throw file_not_found();
        case 405:
            throw method_not_allowed(statusText());
        case 400:
            throw bad_request(statusText());
        default:
            throw error(statusText());
        }
    }
}

void httpRequest::throwDenied() {
    std::string type;
    if (getHeader("Content-Type", type) && type.compare(0, 5, "text/") == 0) {
        std::string head;
        try {
            head = readHead(*this);
        } catch (...) {
        }
        // A server's own marker for a refusal by region, told apart from
        // any other 403.
        if (head.find("notukerror") != std::string::npos)
            throw denied("ni");
    }
    throw denied(statusText());
}

bool httpRequest::send(std::string head, const std::string& method) {
    if (!isBodyMethod(method)) {
        head += lineEnd;
        transport.write(head.data(), head.size());
        return true;
    }
    if (!body.empty()) {
        head += "Content-Length: " + decimalText(body.size()) + lineEnd;
        if (!contentType.empty())
            head += "Content-Type: " + contentType + lineEnd;
        head += lineEnd;
        std::string whole = head + std::string(body.begin(), body.end());
        return transport.writeUntilReadable(whole.data(), whole.size()) == whole.size();
    }

    uint64_t total = 0;
    bool multipart = false;
    for (const formField& field : formFields) {
        total += field.data.size();
        if (!field.fileName.empty() || !field.contentType.empty())
            multipart = true;
    }
    if (total >= 16384)
        multipart = true;

    std::string text;
    if (!multipart) {
        for (const formField& field : formFields)
            text += (text.empty() ? "" : "&") + field.name + "=" + formValue(field.data);
        head += std::string("Content-Type: application/x-www-form-urlencoded") + lineEnd;
        head += "Content-Length: " + decimalText(text.size()) + lineEnd + lineEnd;
        text += lineEnd; // not counted: some servers read up to a line end
    } else {
        const std::string boundary = makeGuidString();
        head += "Content-Type: multipart/form-data; boundary=" + boundary + lineEnd;
        for (const formField& field : formFields) {
            text += "--" + boundary + lineEnd;
            text += "Content-Disposition: form-data; name=\"" + field.name + "\"";
            if (!field.fileName.empty())
                text += "; filename=\"" + field.fileName + "\"";
            text += lineEnd;
            text += "Content-Length: " + decimalText(field.data.size()) + lineEnd;
            if (!field.contentType.empty())
                text += "Content-Type: " + field.contentType + lineEnd;
            text += lineEnd;
            text.append(field.data.begin(), field.data.end());
            text += lineEnd;
        }
        text += "--" + boundary + "--" + lineEnd;
        head += "Content-Length: " + decimalText(text.size()) + lineEnd + lineEnd;
    }
    transport.write(head.data(), head.size());
    transport.write(text.data(), text.size());
    return true;
}

bool httpRequest::getHeader(const std::string& name, std::string& value) const {
    return Qz::getHeader(responseHeaders, name, value);
}

bool httpRequest::getHeaders(const std::string& name, std::vector<std::string>& values) const {
    return Qz::getHeaders(responseHeaders, name, values);
}

uint64_t httpRequest::contentLength() const { return Qz::contentLength(responseHeaders); }

uint64_t httpRequest::lastModified() const { return Qz::lastModified(responseHeaders); }

bool httpRequest::isSeekable() const {
    if (status == 206)
        return true;
    std::string value;
    if (!getHeader("Content-Length", value))
        return false;
    return !getHeader("Accept-Ranges", value) || compareNoCase(value.c_str(), "none") != 0;
}

uint64_t httpRequest::read(void* buffer, uint64_t size) { return readBySome(buffer, size); }

uint64_t httpRequest::readSome(void* buffer, uint64_t size) {
    if (chunked)
        return readChunked(buffer, size);
    if (bodyLeft != unknownSize)
        size = std::min(size, bodyLeft);
    if (size == 0)
        return 0;
    const uint64_t got = transport.readSome(buffer, size);
    if (bodyLeft != unknownSize) {
        if (got > bodyLeft)
            throw bug_check();
        bodyLeft -= got;
        if (bodyLeft == 0 && !keepConnection)
            transport.shutdown(0);
    }
    return got;
}

uint64_t httpRequest::readChunked(void* buffer, uint64_t size) {
    const bool open = !chunks.ended();
    const uint64_t got = chunks.readSome(transport, buffer, size);
    if (open && chunks.ended() && !keepConnection)
        transport.shutdown(0);
    return got;
}

} // namespace Qz
