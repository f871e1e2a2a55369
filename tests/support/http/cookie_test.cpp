// What a jar sends back: domain, path and Secure matching, the newer of two
// cookies of one name, and the splitting of a Set-Cookie value.

#include "support/http/cookie.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(CookieJar, WhatIsSentBack) {
    struct Stored {
        std::string host, path, setCookie;
    };
    struct Case {
        const char* name;
        std::vector<Stored> stored;
        std::string host, path;
        bool secure;
        std::string expected; // "name=value" pairs joined by "; "
    } cases[] = {
        {"same path", {{"h", "/a", "c=1"}}, "h", "/a", false, "c=1"},
        {"path below", {{"h", "/a", "c=1"}}, "h", "/a/b", false, "c=1"},
        {"path that only begins alike", {{"h", "/a", "c=1"}}, "h", "/ab", false, ""},
        {"query is part of the default path", {{"h", "/a?x=1", "c=1"}}, "h", "/a", false, ""},
        {"path ending in a slash", {{"h", "/", "c=1; Path=/x/"}}, "h", "/x/y", false, "c=1"},
        {"path ending in a slash, request without it", {{"h", "/", "c=1; Path=/x/"}}, "h", "/x", false, ""},
        {"host without case", {{"Ex.COM", "/", "c=1"}}, "ex.com", "/", false, "c=1"},
        {"domain attribute replaces the host", {{"a.ex.com", "/", "c=1; domain=b.ex"}}, "b.ex", "/", false, "c=1"},
        {"leading dot matches a subdomain", {{"a.ex.com", "/", "c=1; Domain=.ex.com"}}, "B.Ex.com", "/", false, "c=1"},
        {"leading dot, bare domain", {{"a.ex.com", "/", "c=1; Domain=.ex.com"}}, "ex.com", "/", false, ""},
        {"secure over plain http", {{"h", "/", "c=1; Secure"}, {"h", "/", "d=2"}}, "h", "/", false, "d=2"},
        {"secure over https", {{"h", "/", "c=1; secure"}}, "h", "/", true, "c=1"},
        {"newer value under the first spelling", {{"h", "/", "SID=1"}, {"h", "/", "sid=2"}}, "h", "/", false, "SID=2"},
        {"older stays where the newer does not match", {{"h", "/", "c=1"}, {"h", "/x", "c=2"}}, "h", "/", false, "c=1"},
        {"sorted by name without case", {{"h", "/", "b=1"}, {"h", "/", "A=2"}}, "h", "/", false, "A=2; b=1"},
        {"pieces trimmed, empty ones dropped", {{"h", "/", "\t c=1=2 ;; ;Path=/p \x01"}}, "h", "/p", false, "c=1=2"},
        {"name alone", {{"h", "/", "flag; Max-Age=0"}}, "h", "/", false, "flag="},
        {"nothing but separators", {{"h", "/", " ; ;"}}, "h", "/", false, ""},
    };
    for (const Case& c : cases) {
        Qz::cookieJar jar;
        for (const Stored& s : c.stored)
            jar.store(s.host, s.path, s.setCookie);
        std::string sent;
        for (const auto& pair : jar.collect(c.host, c.path, c.secure))
            sent += (sent.empty() ? "" : "; ") + pair.first + "=" + pair.second;
        EXPECT_EQ(sent, c.expected) << c.name;
    }
}

} // namespace
