// MD5 as a byte sink, so that anything that writes to a Qz::fileWriter can
// be hashed without a copy. Digest authentication is its only user; MD5 is
// no protection against a forger and nothing else here should rely on it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "support/file/file.h"

namespace Qz {

namespace md5Detail {
struct state;
} // namespace md5Detail

class md5Writer : public fileWriter {
public:
    md5Writer();
    // Wipes the state: Digest authentication feeds passwords through it.
    ~md5Writer();
    md5Writer(const md5Writer&) = delete;
    md5Writer& operator=(const md5Writer&) = delete;

    // Any size: the bytes go in as pieces of at most 2 GiB.
    void write(const void* buffer, uint64_t size) override;
    // Writes the 16 bytes of the digest of everything written since the last
    // finish (or construction) and wipes the state, which then starts anew.
    void finish(uint8_t digest[16]);
    // finish as 32 lower-case hexadecimal digits.
    std::string finishHex();

private:
    std::unique_ptr<md5Detail::state> context;
};

// The digest of `bytes` as 32 lower-case hexadecimal digits.
std::string md5Hex(const std::string& bytes);

} // namespace Qz
