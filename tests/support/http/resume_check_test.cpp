// Which replies to a Range request continue the data at the byte asked
// for, and how much of each must be skipped to do so.

#include "support/http/resume_check.h"

#include <gtest/gtest.h>

#include <string>

#include "support/error/error.h"

namespace {

TEST(ResumeCheck, OnlyTheRestOfTheSameResource) {
    const std::string validators = "ETag: \"v1\"\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n";
    const Qz::resourceIdentity first = Qz::identityOf("Content-Length: 1000\r\n" + validators, 1000);
    const Qz::resourceIdentity bare = Qz::identityOf("Content-Length: 1000\r\n", 1000);
    const uint64_t refused = 1234567;
    struct Case {
        const char* name;
        uint32_t status;
        std::string headers;
        uint64_t expected; // bytes to skip, or refused
        const Qz::resourceIdentity* identity;
    } cases[] = {
        {"206 from the byte asked for", 206,
         "Content-Range: bytes 400-999/1000\r\nContent-Length: 600\r\n" + validators, 0, &first},
        {"206 for a part, unit without case", 206, "Content-Range: Bytes  400-499/1000\r\n" + validators, 0, &first},
        {"206 without validators where the first had none", 206, "Content-Range: bytes 400-999/1000\r\n", 0, &bare},
        {"200 with the whole resource", 200, "Content-Length: 1000\r\n" + validators, 400, &first},
        {"206 from another byte", 206, "Content-Range: bytes 0-999/1000\r\n" + validators, refused, &first},
        {"206 of another length", 206, "Content-Range: bytes 400-1999/2000\r\n" + validators, refused, &first},
        {"206 of an unknown length", 206, "Content-Range: bytes 400-999/*\r\n" + validators, refused, &first},
        {"206 ending before it starts", 206, "Content-Range: bytes 400-300/1000\r\n" + validators, refused, &first},
        {"206 ending past the length", 206, "Content-Range: bytes 400-1000/1000\r\n" + validators, refused, &first},
        {"206 whose length disagrees", 206, "Content-Range: bytes 400-999/1000\r\nContent-Length: 10\r\n" + validators,
         refused, &first},
        {"206 without a range", 206, "Content-Length: 600\r\n" + validators, refused, &first},
        {"206 of another unit", 206, "Content-Range: items 400-999/1000\r\n" + validators, refused, &first},
        {"another ETag", 206,
         "Content-Range: bytes 400-999/1000\r\nETag: \"v2\"\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n",
         refused, &first},
        {"no ETag any more", 206,
         "Content-Range: bytes 400-999/1000\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n", refused, &first},
        {"another date", 206,
         "Content-Range: bytes 400-999/1000\r\nETag: \"v1\"\r\nLast-Modified: Mon, 07 Nov 1994 "
         "08:49:37 GMT\r\n",
         refused, &first},
        {"200 of another length", 200, "Content-Length: 999\r\n" + validators, refused, &first},
        {"200 without a length", 200, validators, refused, &first},
        {"another success status", 204, validators, refused, &first},
    };
    for (const Case& c : cases) {
        uint64_t skip;
        try {
            skip = Qz::resumeSkip(*c.identity, c.status, c.headers, 400);
        } catch (const Qz::httpRequest_errors::resume_mismatch&) {
            skip = refused;
        }
        EXPECT_EQ(skip, c.expected) << c.name;
    }
}

} // namespace
