// Sample conversion in both precisions: each encoding's boundaries and byte
// order on input; rounding, clamping, NaN and full scale on output; exact
// round trips of every integer code.

#include "stream/fmt_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

typedef std::vector<uint8_t> Bytes;

struct Encoding {
    int32_t bits;
    bool isFloat;
    size_t size() const { return size_t(bits / 8); }
};
const Encoding u8 = {8, false}, s16 = {16, false}, s24 = {24, false}, s32 = {32, false}, f32 = {32, true},
               f64 = {64, true};

const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();

template <class T> std::string caseName(const Encoding& e, const std::string& what) {
    return std::string(sizeof(T) == 4 ? "float class, " : "double class, ") + std::to_string(e.bits) +
           (e.isFloat ? "-bit float, " : "-bit, ") + what;
}

// Input conversion, the planes handed across unchanged as a pass-through
// plug-in would, output conversion; in blocks of at most 512 frames, at an
// odd address, so that byte access cannot depend on alignment. `through`
// may change the planes on the way.
template <class T>
Bytes roundTrip(const Encoding& e, uint32_t channels, const Bytes& in, void (*through)(T*, size_t) = nullptr) {
    FmtConverter2<T> converter;
    EXPECT_TRUE(converter.setup(channels, channels, e.bits, e.isFloat));
    const size_t frameBytes = e.size() * channels;
    Bytes source(in.size() + 1), sink(in.size() + 1, 0xCD);
    std::copy(in.begin(), in.end(), source.begin() + 1);
    for (size_t offset = 0; offset < in.size();) {
        uint32_t frames = uint32_t(std::min<size_t>(512, (in.size() - offset) / frameBytes));
        converter.inputConversion(source.data() + 1 + offset, frames);
        for (uint32_t c = 0; c < channels; ++c) {
            std::copy(converter.planesIn()[c], converter.planesIn()[c] + frames, converter.planesOut()[c]);
            if (through)
                through(converter.planesOut()[c], frames);
        }
        converter.outputConversion(sink.data() + 1 + offset, frames);
        offset += frames * frameBytes;
    }
    return Bytes(sink.begin() + 1, sink.end());
}

template <class T> T decodeOne(const Encoding& e, const Bytes& sample) {
    FmtConverter2<T> converter;
    EXPECT_TRUE(converter.setup(1, 1, e.bits, e.isFloat));
    converter.inputConversion(sample.data(), 1);
    return converter.planesIn()[0][0];
}

template <class T> Bytes encodeOne(const Encoding& e, double value) {
    static T planeValue;
    planeValue = T(value);
    return roundTrip<T>(e, 1, Bytes(e.size()), [](T* plane, size_t) { *plane = planeValue; });
}

template <class T> class FmtConverter2Test : public ::testing::Test {};
typedef ::testing::Types<float, double> Precisions;
TYPED_TEST_SUITE(FmtConverter2Test, Precisions);

// Every value is exact in float, so one table holds for both precisions.
TYPED_TEST(FmtConverter2Test, DecodesEachEncodingAtItsBoundaries) {
    typedef TypeParam T;
    struct Case {
        Encoding e;
        Bytes bytes;
        double expected;
    } cases[] = {
        {u8, {0x80}, 0.0},
        {u8, {0x00}, -1.0},
        {u8, {0xFF}, 0.9921875},
        {s16, {0x00, 0x80}, -1.0},
        {s16, {0xFF, 0xFF}, -std::ldexp(1.0, -15)},
        {s16, {0x00, 0x40}, 0.5},
        {s24, {0x00, 0x00, 0x80}, -1.0},
        {s24, {0x56, 0x34, 0x12}, std::ldexp(0x123456, -23)},
        {s32, {0x00, 0x56, 0x34, 0x12}, std::ldexp(0x12345600, -31)},
        {f32, {0x00, 0x00, 0xC0, 0xBF}, -1.5},
        {f32, {0x00, 0x00, 0x00, 0x80}, -0.0},
        {f64, {0, 0, 0, 0, 0, 0, 0xF0, 0xFF}, -inf},
    };
    for (const Case& c : cases) {
        T expected = T(c.expected), actual = decodeOne<T>(c.e, c.bytes);
        EXPECT_EQ(std::memcmp(&expected, &actual, sizeof(T)), 0) << caseName<T>(c.e, ::testing::PrintToString(c.bytes))
                                                                 << ": expected " << expected << ", actual " << actual;
    }
}

TYPED_TEST(FmtConverter2Test, EncodesWithRoundingClampingAndSilenceForNaN) {
    typedef TypeParam T;
    struct Case {
        const char* name;
        Encoding e;
        double value;
        Bytes expected;
    } cases[] = {
        {"-1 is the bottom code", u8, -1.0, {0x00}},
        {"scaled -0.5 rounds away from zero", u8, -0.5 / 128, {0x7F}},
        {"NaN is silence", u8, nan, {0x80}},
        {"-1 is 0x8000", s16, -1.0, {0x00, 0x80}},
        {"-2 clamps", s16, -2.0, {0x00, 0x80}},
        {"scaled 32767.5 rounds up and clamps", s16, 32767.5 / 32768, {0xFF, 0x7F}},
        {"scaled 2.5 rounds to 3", s16, 2.5 / 32768, {0x03, 0x00}},
        {"scaled -2.5 rounds to -3", s16, -2.5 / 32768, {0xFD, 0xFF}},
        {"beyond 32 bits is silence", s16, -std::ldexp(1.0, 40), {0x00, 0x00}},
        {"+1 keeps the top code", s24, 1.0, {0xFF, 0xFF, 0x7F}},
        {"low byte dropped, not rounded", s24, std::ldexp(511, -31), {0x01, 0x00, 0x00}},
        {"rounded before the low byte goes", s24, std::ldexp(255.5, -31), {0x01, 0x00, 0x00}},
        {"just past +1 is silence", s24, 1.0 + std::ldexp(1.0, -23), {0x00, 0x00, 0x00}},
        {"+1 keeps the top code", s32, 1.0, {0xFF, 0xFF, 0xFF, 0x7F}},
        {"scaled -2.5 rounds to -3", s32, -std::ldexp(2.5, -31), {0xFD, 0xFF, 0xFF, 0xFF}},
        {"NaN is silence", s32, nan, {0x00, 0x00, 0x00, 0x00}},
        {"8 is not clamped", f32, 8.0, {0x00, 0x00, 0x00, 0x41}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(encodeOne<T>(c.e, c.value), c.expected) << caseName<T>(c.e, c.name);
}

// 8, 16 and 24 bits come back bit for bit; 32 bits too in double, while in
// float they keep their top 24 significant bits and full scale stays full.
TYPED_TEST(FmtConverter2Test, IntegerCodesSurviveARoundTrip) {
    typedef TypeParam T;
    for (const Encoding* e : {&u8, &s16, &s24}) {
        const uint32_t codes = 1u << e->bits, slice = std::min(codes, 1u << 16);
        Bytes in(slice * e->size());
        for (uint32_t first = 0; first < codes; first += slice) {
            for (uint32_t i = 0; i < slice; ++i)
                for (size_t b = 0; b < e->size(); ++b)
                    in[i * e->size() + b] = uint8_t((first + i) >> (8 * b));
            ASSERT_TRUE(roundTrip<T>(*e, 2, in) == in) << caseName<T>(*e, "codes from " + std::to_string(first));
        }
    }
    struct Case {
        int32_t in, outFloat;
    } cases[] = {
        {INT32_MIN + 1, INT32_MIN}, {INT32_MAX, INT32_MAX}, {0x7FFFFFBF, 0x7FFFFF80}, {0x12345678, 0x12345680}};
    for (const Case& c : cases) {
        int32_t in[2] = {c.in, 0}, out[2], expected = sizeof(T) == 4 ? c.outFloat : c.in;
        Bytes bytes = roundTrip<T>(s32, 2, Bytes(reinterpret_cast<uint8_t*>(in), reinterpret_cast<uint8_t*>(in + 2)));
        std::memcpy(out, bytes.data(), 8);
        EXPECT_EQ(out[0], expected) << caseName<T>(s32, std::to_string(c.in));
    }
}

// Stereo has a path of its own, four frames at a time: it must give what one
// channel at a time gives, for every encoding, edge values and tails
// included.
TYPED_TEST(FmtConverter2Test, StereoMatchesOneChannelAtATime) {
    typedef TypeParam T;
    const double edges[] = {0.0, -0.0, 1.0, -1.0, 2.0, -2.0, nan, -nan, inf, -inf, 0.5 / 32768, -0.5 / 32768,
                            1.5 / 32768, -1.5 / 32768, 32767.5 / 32768, -32768.5 / 32768, std::ldexp(1.0, 16),
                            -std::ldexp(1.0, 16), std::ldexp(1.0, 40), 1e-30, 0.49999997 / 32768, 2.5 / 32768, -2.5 / 32768};
    std::vector<T> values;
    for (double v : edges)
        values.push_back(T(v));
    uint32_t noise = 12345;
    while (values.size() < 2 * 512) {
        noise = noise * 1103515245u + 12345u;
        values.push_back(T(int32_t(noise) / 1073741824.0)); // -2 to 2
    }
    for (const Encoding* e : {&u8, &s16, &s24, &s32, &f32, &f64})
        for (uint32_t frames : {1u, 3u, 4u, 7u, 13u, 512u}) {
            FmtConverter2<T> stereo, mono;
            ASSERT_TRUE(stereo.setup(2, 2, e->bits, e->isFloat) && mono.setup(1, 1, e->bits, e->isFloat));
            const size_t size = e->size();
            Bytes both(2 * frames * size + 1), one(frames * size);
            for (uint32_t i = 0; i < frames; ++i) {
                stereo.planesOut()[0][i] = values[i];
                stereo.planesOut()[1][i] = values[values.size() - 1 - i];
            }
            stereo.outputConversion(both.data() + 1, frames);
            for (uint32_t c = 0; c < 2; ++c) {
                std::copy(stereo.planesOut()[c], stereo.planesOut()[c] + frames, mono.planesOut()[0]);
                mono.outputConversion(one.data(), frames);
                for (uint32_t i = 0; i < frames; ++i)
                    ASSERT_TRUE(std::equal(one.begin() + i * size, one.begin() + (i + 1) * size,
                                           both.begin() + 1 + (2 * i + c) * size))
                        << caseName<T>(*e, "output, channel " + std::to_string(c) + ", frame " + std::to_string(i) +
                                               " of " + std::to_string(frames));
            }
            stereo.inputConversion(both.data() + 1, frames);
            for (uint32_t c = 0; c < 2; ++c) {
                for (uint32_t i = 0; i < frames; ++i)
                    std::copy(both.begin() + 1 + (2 * i + c) * size, both.begin() + 1 + (2 * i + c + 1) * size,
                              one.begin() + i * size);
                mono.inputConversion(one.data(), frames);
                EXPECT_EQ(std::memcmp(mono.planesIn()[0], stereo.planesIn()[c], frames * sizeof(T)), 0)
                    << caseName<T>(*e, "input, channel " + std::to_string(c) + ", " + std::to_string(frames) +
                                           " frames");
            }
        }
}

} // namespace
