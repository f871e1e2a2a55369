// A small HTTP/1.1 client: one object, one transport, one request at a time.
// It writes a request, follows redirects, answers authentication
// challenges, keeps cookies, decodes chunked bodies, and is then itself the
// reader of the response body. Its connection may serve the next request.
//
// One thread at a time uses an object. Every blocking step ends with
// Qz::user_abort when the calling thread's abort event is signalled.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/error/error.h"
#include "support/file/file.h"
#include "support/http/chunked_body.h"
#include "support/net/net_connection.h"

namespace Qz {

class cookieJar;

struct formField {
    std::string name;
    std::string fileName;
    std::string contentType;
    std::vector<uint8_t> data;
};

// What a request head is made of once the request has decided where it goes
// and what it answers. Kept apart from the object, so that the exact text
// can be checked without a network.
struct requestHeadParts {
    std::string method;
    std::string requestTarget;      // the whole URL through a proxy, else the path
    std::string host;               // host and port suffix, for the "Host" line
    std::string authorization;      // the answer, or empty for no line
    std::string proxyAuthorization; // likewise
    std::string extraHeaders;       // whole lines, each with its line end
    std::string routeHeaders;       // proxy-only or direct-only lines
    uint64_t rangeStart = unknownSize; // all ones: no "Range" line
    bool keepAlive = false;
    std::string userAgent; // empty: no line
    std::string cookies;   // "name=value; ..." or empty
};

// The head without its closing empty line, each line ending in CR LF.
// "Connection" lines of `extraHeaders` are dropped, because the object
// decides about the connection; a "Range" line there throws
// Qz::invalid_input, because the range belongs to the reader.
std::string requestHeadText(const requestHeadParts& parts);

// The process-wide user-agent products: the "User-Agent" text is all names,
// highest weight first. Nothing registered, no "User-Agent" line.
void registerUserAgent(const std::string& name, int weight);
std::string userAgentText();

class httpRequest : public fileReader {
public:
    using error = httpRequest_errors::error;
    using bad_request = httpRequest_errors::bad_request;
    using method_not_allowed = httpRequest_errors::method_not_allowed;
    using bad_url = httpRequest_errors::bad_url;
    using auth_error = httpRequest_errors::auth_error;
    using invalid_reply = httpRequest_errors::invalid_reply;

    httpRequest();
    // Disconnects, ignoring any failure of that.
    ~httpRequest();
    httpRequest(const httpRequest&) = delete;
    httpRequest& operator=(const httpRequest&) = delete;

    bool ignoreStatus = false; // a failure status returns instead of throwing, the body readable
    bool keepAlive = false;    // no "Connection: close"; the connection may serve the next request
    bool tunnelHttps = true;   // https through a proxy goes by CONNECT
    bool noProxy = false;
    std::shared_ptr<cookieJar> cookies; // made at the first request if null
    uint32_t maxRedirects = 10;
    std::vector<formField> formFields; // for POST, PUT and NOTIFY without `body`
    netConnection transport;           // 60 s per wait unless changed
    std::function<std::string(const std::string& url)> proxyResolver; // if set, gives `proxy` per URL
    std::string proxy;         // URL of an http or https proxy; empty: direct
    std::string extraHeaders;  // whole lines with their line ends, for every request
    std::string proxyHeaders;  // the same, only when the request goes to a proxy
    std::string directHeaders; // the same, only when it does not
    std::vector<uint8_t> body; // raw body for POST, PUT and NOTIFY
    std::string contentType;   // of `body`

    // Sends and returns with the body ready to read. `rangeStart` of all
    // ones asks for the whole resource. Throws: bad_url for a URL that is
    // not http or https; Qz::invalid_proxy_url; invalid_reply for a broken
    // reply or a redirect that cannot be followed; for a status that is not
    // handled: Qz::file_not_found (404), Qz::denied (403), bad_request,
    // method_not_allowed, auth_error, or error, with the status text; and
    // whatever the connection throws, after which it is closed.
    void request(const std::string& url, const std::string& method, uint64_t rangeStart);

    // The first response header of that name, compared without case; the
    // value without the blanks after the colon. False if there is none.
    bool getHeader(const std::string& name, std::string& value) const;
    bool getHeaders(const std::string& name, std::vector<std::string>& values) const;
    // "Content-Length", all ones without one; a malformed one throws invalid_reply.
    uint64_t contentLength() const;
    // "Last-Modified" as a FILETIME value; 0 without a usable one.
    uint64_t lastModified() const;
    // Whether a Range request can be expected to work on this resource.
    bool isSeekable() const;
    uint32_t statusCode() const { return status; }
    // The header lines of the last reply, each with CR LF, no status line.
    const std::string& headerText() const { return responseHeaders; }
    void disconnect();

    uint64_t read(void* buffer, uint64_t size) override;
    // At most `size` bytes of the body; 0 at its end. A chunked body that
    // breaks the format throws invalid_reply.
    uint64_t readSome(void* buffer, uint64_t size) override;

private:
    bool send(std::string head, const std::string& method);
    void readReplyHead();
    uint64_t readChunked(void* buffer, uint64_t size);
    [[noreturn]] void throwDenied();
    std::string statusText() const;

    std::string responseHeaders; // header lines with CR LF, no status line
    bool chunked = false;
    chunkedBody chunks; // where a chunked body stands
    bool keepConnection = false;
    std::string statusLine;
    std::string reason;
    uint32_t status = 0;
    uint64_t bodyLeft = unknownSize;
    std::string connectedHost;
    std::string connectedPort;
    bool connectedTls = false;
    std::string requestPath;
};

} // namespace Qz
