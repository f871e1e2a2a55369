// The library's failure types. A type says what class of failure happened so
// that a caller can catch a branch of the tree; its text is what the user
// sees. Nothing here logs: whoever catches decides whether the text is shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace Qz {

#define QZ_EXCEPTION(name, base, text)                                  \
    class name : public base {                                          \
    public:                                                             \
        name() : base(text) {}                                          \
        explicit name(const std::string& what) : base(what) {}          \
    }

// An impossible state: a thread that could not be created, use of a closed
// file object, a transport that returned more than it was asked for.
QZ_EXCEPTION(bug_check, std::runtime_error, "bug check");

QZ_EXCEPTION(network_error, std::runtime_error, "network error");
QZ_EXCEPTION(network_error_timeout, network_error, "network timeout");
QZ_EXCEPTION(network_error_connect, network_error, "could not connect");

// Deliberately outside network_error: a retry loop must never swallow it.
QZ_EXCEPTION(user_abort, std::runtime_error, "user abort");
// Deliberately outside network_error too: resumes that brought nothing have
// been given up on, and no retry loop may start them again.
QZ_EXCEPTION(no_progress, std::runtime_error, "server sends no more data");

QZ_EXCEPTION(file_access_error, std::runtime_error, "file access error");
QZ_EXCEPTION(directory_not_empty, file_access_error, "directory not empty");
QZ_EXCEPTION(file_already_exists, file_access_error, "file already exists");
QZ_EXCEPTION(file_not_found, file_access_error, "file not found");

QZ_EXCEPTION(overflow, std::overflow_error, "overflow");

QZ_EXCEPTION(invalid_input, std::runtime_error, "invalid input");
QZ_EXCEPTION(invalid_url, invalid_input, "invalid URL");
QZ_EXCEPTION(invalid_proxy_url, invalid_url, "invalid proxy URL");

QZ_EXCEPTION(not_implemented, std::runtime_error, "not implemented");
QZ_EXCEPTION(denied, std::runtime_error, "denied");

// Deliberately outside network_error: a TLS failure is never retried.
QZ_EXCEPTION(exception_network_authentication, std::runtime_error, "Network authentication error");

// The HTTP failures live in the request's own namespace-like holder so that
// they read as Qz::httpRequest::error and friends; the request class itself
// comes with the HTTP client.
namespace httpRequest_errors {
QZ_EXCEPTION(error, std::runtime_error, "HTTP error");
QZ_EXCEPTION(bad_request, error, "bad request");
QZ_EXCEPTION(method_not_allowed, error, "method not allowed");
QZ_EXCEPTION(bad_url, error, "invalid URL");
QZ_EXCEPTION(auth_error, error, "authentication failure");
QZ_EXCEPTION(invalid_reply, error, "invalid server response");
QZ_EXCEPTION(head_too_large, invalid_reply, "server response header too large");
// A body in gzip or another coding that the client cannot undo.
QZ_EXCEPTION(unsupported_coding, invalid_reply, "server response has an unsupported encoding");
// A reply to a Range request that is not the rest of what was read before.
QZ_EXCEPTION(resume_mismatch, error, "server response does not continue the data");
} // namespace httpRequest_errors

#undef QZ_EXCEPTION

// "<reason> (<status>)", or "Unspecified HTTP Response (<status>)" when the
// reply had no reason phrase.
std::string httpStatusText(const std::string& reason, unsigned status);

// Each of these never returns.
[[noreturn]] void throwWin32Error(uint32_t code);
[[noreturn]] void throwLastError(); // GetLastError, then throwWin32Error
[[noreturn]] void throwSocketError(uint32_t code);
[[noreturn]] void rethrowAsConnectError(const std::exception& cause);
[[noreturn]] void throwSecurityError(uint32_t status);
[[noreturn]] void throwLastSecurityError();

// The system's text for a Win32 code with line breaks folded to blanks and
// trailing white space removed. False, with `text` untouched, if the system
// has none.
bool win32Message(std::wstring& text, uint32_t code);
// The folding win32Message applies, on at most `length` units up to a zero:
// tabs, line feeds, carriage returns and blanks become blanks, and trailing
// ones go.
std::wstring foldSystemText(const wchar_t* text, size_t length);

} // namespace Qz
