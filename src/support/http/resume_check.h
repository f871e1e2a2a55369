// Whether a reply to a Range request continues exactly what the reader
// delivered before: the same resource, from the requested byte on. A reader
// that splices anything else in gives wrong data with no failure at all.
#pragma once

#include <cstdint>
#include <string>

#include "support/file/file.h"

namespace Qz {

// What tells one version of a resource from another, as its first reply
// gave it. An empty validator is one the reply did not give.
struct resourceIdentity {
    uint64_t length = unknownSize; // of the whole resource
    std::string etag;              // "ETag", as sent
    std::string lastModified;      // "Last-Modified", as sent
};

// The identity that the first reply's header lines give, with the length
// the reader worked out from it.
resourceIdentity identityOf(const std::string& headers, uint64_t length);

// For a reply with `status` and `headers` to a request for the bytes from
// `offset` on: how many bytes at the start of its body must be skipped to
// continue at `offset`. A 206 must have "Content-Range: bytes
// <offset>-<last>/<length>" with the length of `first` (and a
// "Content-Length" that agrees, if any): nothing to skip. A 200 must carry
// the whole of the same resource, "Content-Length" equal to the known
// length: `offset` bytes to skip. In both, each validator `first` has must
// come back unchanged. Anything else throws Qz::httpRequest::resume_mismatch.
uint64_t resumeSkip(const resourceIdentity& first, uint32_t status, const std::string& headers, uint64_t offset);

} // namespace Qz
