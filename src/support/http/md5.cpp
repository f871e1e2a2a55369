// RFC 1321, written from its description: 64-byte blocks, four rounds of
// sixteen steps, little-endian words, a bit count in the padding.

#include "support/http/md5.h"

#include <cstring>

#include "support/text/text.h"

namespace Qz {

struct md5Detail::state {
    uint32_t a, b, c, d;
    uint64_t length; // bytes so far
    uint8_t block[64];
};

namespace {

// Plain stores through a pointer to volatile, so that the compiler cannot
// drop them as dead before the memory is freed.
void wipe(void* memory, size_t size) {
    volatile uint8_t* p = static_cast<volatile uint8_t*>(memory);
    for (size_t i = 0; i < size; ++i)
        p[i] = 0;
}

uint32_t rotateLeft(uint32_t x, unsigned n) {
    return (x << n) | (x >> (32 - n));
}

const uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};
const unsigned shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

void transform(md5Detail::state& s, const uint8_t* block) {
    uint32_t x[16];
    for (int i = 0; i < 16; ++i)
        x[i] = uint32_t(block[4 * i]) | uint32_t(block[4 * i + 1]) << 8 | uint32_t(block[4 * i + 2]) << 16 |
               uint32_t(block[4 * i + 3]) << 24;
    uint32_t a = s.a, b = s.b, c = s.c, d = s.d;
    for (int i = 0; i < 64; ++i) {
        int round = i / 16;
        uint32_t f;
        int k;
        if (round == 0) {
            f = (b & c) | (~b & d);
            k = i;
        } else if (round == 1) {
            f = (b & d) | (c & ~d);
            k = (5 * i + 1) % 16;
        } else if (round == 2) {
            f = b ^ c ^ d;
            k = (3 * i + 5) % 16;
        } else {
            f = c ^ (b | ~d);
            k = (7 * i) % 16;
        }
        uint32_t next = b + rotateLeft(a + f + x[k] + sines[i], shifts[round][i % 4]);
        a = d;
        d = c;
        c = b;
        b = next;
    }
    s.a += a;
    s.b += b;
    s.c += c;
    s.d += d;
    wipe(x, sizeof x);
}

void begin(md5Detail::state& s) {
    s.a = 0x67452301;
    s.b = 0xefcdab89;
    s.c = 0x98badcfe;
    s.d = 0x10325476;
    s.length = 0;
}

// One piece: the 32-bit count keeps each step's arithmetic in range.
void update(md5Detail::state& s, const uint8_t* data, uint32_t size) {
    size_t used = size_t(s.length % 64);
    s.length += size;
    if (used != 0) {
        size_t take = 64 - used < size ? 64 - used : size;
        std::memcpy(s.block + used, data, take);
        data += take;
        size -= uint32_t(take);
        if (used + take < 64)
            return;
        transform(s, s.block);
    }
    for (; size >= 64; data += 64, size -= 64)
        transform(s, data);
    std::memcpy(s.block, data, size);
}

} // namespace

md5Writer::md5Writer() : context(new md5Detail::state()) {
    begin(*context);
}

md5Writer::~md5Writer() {
    wipe(context.get(), sizeof(md5Detail::state));
}

void md5Writer::write(const void* buffer, uint64_t size) {
    const uint8_t* data = static_cast<const uint8_t*>(buffer);
    while (size > 0) {
        uint32_t piece = size > 0x80000000u ? 0x80000000u : uint32_t(size);
        update(*context, data, piece);
        data += piece;
        size -= piece;
    }
}

void md5Writer::finish(uint8_t digest[16]) {
    md5Detail::state& s = *context;
    uint64_t bits = s.length * 8;
    uint8_t padding[72] = {0x80};
    size_t used = size_t(s.length % 64);
    size_t padSize = used < 56 ? 56 - used : 120 - used;
    for (int i = 0; i < 8; ++i)
        padding[padSize + i] = uint8_t(bits >> (8 * i));
    update(s, padding, uint32_t(padSize + 8));
    const uint32_t words[4] = {s.a, s.b, s.c, s.d};
    for (int i = 0; i < 16; ++i)
        digest[i] = uint8_t(words[i / 4] >> (8 * (i % 4)));
    wipe(&s, sizeof s);
    begin(s);
}

std::string md5Writer::finishHex() {
    uint8_t digest[16];
    finish(digest);
    std::string text;
    for (uint8_t byte : digest)
        text += hexText(byte, 2);
    return text;
}

std::string md5Hex(const std::string& bytes) {
    md5Writer md5;
    md5.write(bytes.data(), bytes.size());
    return md5.finishHex();
}

} // namespace Qz
