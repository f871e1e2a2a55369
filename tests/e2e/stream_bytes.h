// Bytes of the stream protocols, for building what a parent sends and
// checking what it gets back.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

inline std::string le32(uint32_t v) {
    return std::string(reinterpret_cast<const char*>(&v), 4); // little-endian, as x64 is
}

inline std::string le64(uint64_t v) {
    return le32(uint32_t(v)) + le32(uint32_t(v >> 32));
}

// A VST 3 preset image as the host writes its settings: the class as 32
// hexadecimal digits, the component's state, the controller's, and the
// list of the two.
inline std::string presetImage(const std::string& classId, const std::string& component,
                               const std::string& controller) {
    const uint64_t c = component.size(), k = controller.size();
    return "VST3" + le32(1) + classId + le64(48 + c + k) + component + controller + "List" + le32(2) + "Comp" +
           le64(48) + le64(c) + "Cont" + le64(48 + c) + le64(k);
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
    std::vector<float> samples(frames.size() / 4);
    std::memcpy(samples.data(), frames.data(), samples.size() * 4);
    for (float& sample : samples)
        sample *= factor;
    return std::string(reinterpret_cast<const char*>(samples.data()), samples.size() * 4);
}

inline std::string pcm16(const std::vector<int16_t>& samples) {
    return std::string(reinterpret_cast<const char*>(samples.data()), 2 * samples.size());
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
    size_t at = 0;
    while (at < actual.size() && at < expected.size() && actual[at] == expected[at])
        ++at;
    if (actual == expected)
        return ::testing::AssertionSuccess();
    auto byte = [at](const std::string& bytes) { return at < bytes.size() ? int(uint8_t(bytes[at])) : -1; };
    return ::testing::AssertionFailure() << "sizes " << actual.size() << " and " << expected.size()
                                         << ", first difference at byte " << at << ": got " << byte(actual)
                                         << ", expected " << byte(expected);
}
