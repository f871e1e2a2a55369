// Bytes of the stream protocols, for building what a parent sends and
// checking what it gets back.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

inline std::string le32(uint32_t v) {
    const char bytes[4] = {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    return std::string(bytes, 4);
}

inline std::string message(uint32_t command, const std::string& payload) {
    return le32(command) + le32(uint32_t(payload.size())) + payload;
}

inline std::string formatRecord(uint32_t rate, uint32_t in, uint32_t inMask, uint32_t out, uint32_t outMask) {
    return le32(rate) + le32(in) + le32(inMask) + le32(out) + le32(outMask);
}

// Interleaved float32 frames whose every sample is exact and non-zero.
inline std::string floatFrames(size_t frames, int channels, size_t first = 0) {
    std::string bytes;
    for (size_t i = first; i < first + frames; ++i)
        for (int c = 0; c < channels; ++c) {
            int k = int((i * 7 + size_t(c) * 3) % 198);
            float v = float(k < 99 ? k - 99 : k - 98) / 128.0f;
            bytes.append(reinterpret_cast<const char*>(&v), 4);
        }
    return bytes;
}

// Float 32 samples, each multiplied by `factor`.
inline std::string scaled(const std::string& frames, float factor) {
    std::string out = frames;
    for (size_t i = 0; i + 4 <= out.size(); i += 4) {
        float v;
        std::memcpy(&v, &out[i], 4);
        v *= factor;
        std::memcpy(&out[i], &v, 4);
    }
    return out;
}

inline std::string pcm16(const std::vector<int16_t>& samples) {
    std::string bytes;
    for (int16_t s : samples)
        bytes += le32(uint16_t(s)).substr(0, 2);
    return bytes;
}

// A deterministic 16-bit signal over the whole range.
inline std::vector<int16_t> signal16(size_t samples) {
    std::vector<int16_t> result(samples);
    for (size_t i = 0; i < samples; ++i)
        result[i] = int16_t(int32_t(((i * 2654435761u) >> 16) & 0xFFFF) - 32768);
    return result;
}

// Compares byte strings and, on a difference, says where it is.
inline ::testing::AssertionResult sameBytes(const std::string& actual, const std::string& expected) {
    if (actual == expected)
        return ::testing::AssertionSuccess();
    size_t at = 0;
    while (at < actual.size() && at < expected.size() && actual[at] == expected[at])
        ++at;
    auto hex = [at](const std::string& bytes) {
        std::string text;
        for (size_t i = at; i < bytes.size() && i < at + 8; ++i)
            text += {"0123456789ABCDEF"[uint8_t(bytes[i]) >> 4], "0123456789ABCDEF"[bytes[i] & 15], ' '};
        return text;
    };
    return ::testing::AssertionFailure() << "sizes " << actual.size() << " and " << expected.size()
                                         << ", first difference at byte " << at << ": got " << hex(actual)
                                         << "expected " << hex(expected);
}
