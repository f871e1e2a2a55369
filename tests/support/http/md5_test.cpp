// RFC 1321's test suite, fed whole and in awkward pieces, since the block
// buffering between writes is where a hand-written MD5 goes wrong.

#include "support/http/md5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

TEST(Md5, Rfc1321SuiteInAnyPieces) {
    struct Case {
        std::string input, digest;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    // One writer for all rows: finish must leave it ready for the next text.
    Qz::md5Writer md5;
    for (const Case& c : cases) {
        EXPECT_EQ(Qz::md5Hex(c.input), c.digest) << "whole: " << c.input;
        for (size_t piece : {1, 7, 63, 65}) {
            for (size_t at = 0; at < c.input.size(); at += piece)
                md5.write(c.input.data() + at, std::min(piece, c.input.size() - at));
            EXPECT_EQ(md5.finishHex(), c.digest) << "pieces of " << piece << ": " << c.input;
        }
    }
}

} // namespace
