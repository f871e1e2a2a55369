// Challenge values are split into tokens by blanks and commas outside
// quotes; a parameter is found by name with or without its quotes.

#include "support/http/header_param.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(HeaderParam, TokensAndParameters) {
    const char* none = "(none)";
    struct Case {
        const char* name;
        std::string text, param;
        bool quoted;
        std::string expected; // the first token when `param` is empty
    } cases[] = {
        {"first token", "  ,Digest realm=x", "", false, "Digest"},
        {"first token keeps quotes and quoted separators", "\"a b,c\" d", "", false, "\"a b,c\""},
        {"only separators", " , ,", "", false, none},
        {"tab is no separator", "Basic\trealm", "", false, "Basic\trealm"},
        {"quoted value", "Digest realm=\"a, b\", nonce=\"n\"", "realm", true, "a, b"},
        {"name without case", "Digest REALM=\"r\"", "realm", true, "r"},
        {"unquoted value kept as it stands", "Digest algorithm=\"MD5\"", "algorithm", false, "\"MD5\""},
        {"unquoted value skipped when quotes wanted", "x realm=r, realm=\"q\"", "realm", true, "q"},
        {"unquoted value only", "x realm=r", "realm", true, none},
        {"no closing quote", "x realm=\"r", "realm", true, none},
        {"empty quoted value", "x realm=\"\"", "realm", true, ""},
        {"nothing behind the equals sign", "x realm= nonce=1", "realm", false, none},
        {"longer name is another", "x realmx=1, realm=2", "realm", false, "2"},
        {"name alone", "x realm", "realm", false, none},
        {"quotes end at the next quote", "x realm=\"a\"b\"", "realm", true, "a"},
    };
    for (const Case& c : cases) {
        std::string out = none;
        bool found = c.param.empty() ? Qz::firstToken(c.text, out) : Qz::headerParam(c.text, c.param, out, c.quoted);
        EXPECT_EQ(out, c.expected) << c.name;
        EXPECT_EQ(found, c.expected != none) << c.name;
    }
}

} // namespace
