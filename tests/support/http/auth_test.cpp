// Which challenge is answered and how: RFC 2617's worked example, the
// variants of Digest this client supports, and every way a challenge falls
// through to the next one, and at last to no answer at all: never to a
// Basic answer that no server asked for.

#include "support/http/auth.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string rfcCnonce() {
    return "0a4f113b";
}

TEST(AuthAnswer, ChoiceAndDigestArithmetic) {
    const std::string realmAndNonce = "realm=\"testrealm@host.com\", nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\"";
    const std::string opaque = ", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"";
    const std::string rfc = "Digest " + realmAndNonce + ", qop=\"auth\"" + opaque;
    const std::string basic = "Basic TXVmYXNhOkNpcmNsZSBPZiBMaWZl";
    const std::string none = "(no answer)";
    const std::string head = "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", "
                             "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", uri=\"/dir/index.html\"";
    const std::string withQop = head + ", qop=auth, nc=00000001, cnonce=\"0a4f113b\", response=\"";
    const std::string rfcAnswer = withQop + "6629fae49393a05397450978507c4ef1\"" + opaque;
    struct Case {
        const char* name;
        std::vector<std::string> challenges;
        std::string expected;
        std::string method = "GET", credentials = "Mufasa:Circle Of Life";
    } cases[] = {
        {"RFC 2617 example", {rfc}, rfcAnswer},
        {"scheme and parameter names without case",
         {"dIGEST REALM=\"testrealm@host.com\", Nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", QOP=\"auth\"" + opaque},
         rfcAnswer},
        {"algorithm md5 named", {rfc + ", algorithm=MD5"}, rfcAnswer},
        {"a longer parameter name is another",
         {"Digest realmx=\"x\", " + realmAndNonce + ", qop=\"auth\"" + opaque},
         rfcAnswer},
        {"md5-sess hashes the hex text of the first digest",
         {rfc + ", algorithm=md5-sess"},
         withQop + "8e3825c57e897f5a0dec6c2d4e5059d0\"" + opaque},
        {"no qop: no nc and no cnonce",
         {"Digest " + realmAndNonce},
         head + ", response=\"670fd8c2df070c60b045671b8b24ff02\""},
        {"method goes into the digest",
         {"Digest " + realmAndNonce},
         head + ", response=\"606b58711e1cc9535f12f39968f07304\"",
         "POST"},
        {"unknown scheme, then Digest", {"Negotiate abc", "", rfc}, rfcAnswer},
        {"Basic before Digest is answered first", {"Basic realm=\"x\"", rfc}, basic},
        {"no challenge at all", {}, basic},
        {"qop offering two values", {"Digest " + realmAndNonce + ", qop=\"auth,auth-int\""}, none},
        {"qop auth-int", {"Digest " + realmAndNonce + ", qop=\"auth-int\""}, none},
        {"unquoted realm", {"Digest realm=testrealm@host.com, nonce=\"n\""}, none},
        {"no nonce", {"Digest realm=\"r\""}, none},
        {"nonce without its closing quote", {"Digest realm=\"r\", nonce=\"n"}, none},
        {"quoted algorithm", {rfc + ", algorithm=\"MD5\""}, none},
        {"other algorithm", {rfc + ", algorithm=SHA-256"}, none},
        {"credentials without colon", {rfc}, none, "GET", "Mufasa"},
        {"only schemes it does not know", {"Negotiate abc", "NTLM"}, none},
        {"credentials without colon, no challenge yet", {}, "Basic TXVmYXNh", "GET", "Mufasa"},
    };
    for (const Case& c : cases) {
        std::string result = none;
        const bool answered =
            Qz::authAnswer(c.method, c.challenges, c.credentials, "/dir/index.html", result, rfcCnonce);
        EXPECT_EQ(result, c.expected) << c.name;
        EXPECT_EQ(answered, c.expected != none) << c.name;
    }
}

} // namespace
