#include "stream/fmt_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;

typedef std::vector<uint8_t> Bytes;

struct Encoding {
    const char* name;
    int32_t bits;
    bool isFloat;
    size_t size; // bytes per sample
};

const Encoding u8 = {"8-bit", 8, false, 1};
const Encoding s16 = {"16-bit", 16, false, 2};
const Encoding s24 = {"24-bit", 24, false, 3};
const Encoding s32 = {"32-bit", 32, false, 4};
const Encoding f32 = {"float32", 32, true, 4};
const Encoding f64 = {"float64", 64, true, 8};
const Encoding allEncodings[] = {u8, s16, s24, s32, f32, f64};

const double nan = std::numeric_limits<double>::quiet_NaN();
const double inf = std::numeric_limits<double>::infinity();

// 2^e, exact, for building values at the edges of a scale.
double pow2(int e) {
    return std::ldexp(1.0, e);
}

std::string hex(const uint8_t* p, size_t n) {
    std::ostringstream out;
    out << std::hex << std::uppercase << std::setfill('0');
    for (size_t i = 0; i < n; ++i)
        out << (i ? " " : "") << std::setw(2) << unsigned(p[i]);
    return out.str();
}

std::string hex(const Bytes& bytes) {
    return hex(bytes.data(), bytes.size());
}

AssertionResult sameBytes(const std::string& what, const Bytes& expected, const Bytes& actual) {
    if (expected == actual)
        return AssertionSuccess();
    return AssertionFailure() << what << ": expected [" << hex(expected) << "], actual [" << hex(actual) << "]";
}

template <class T> std::string describe(T value) {
    unsigned char raw[sizeof(T)];
    std::memcpy(raw, &value, sizeof raw);
    std::reverse(raw, raw + sizeof raw); // most significant byte first
    std::ostringstream out;
    out << std::setprecision(17) << value << " (" << hex(raw, sizeof raw) << ")";
    return out.str();
}

// Bit for bit, so that -0.0 differs from 0.0; any NaN matches any NaN.
template <class T> AssertionResult sameValue(const std::string& what, T expected, T actual) {
    bool same = (std::isnan(expected) && std::isnan(actual)) || std::memcmp(&expected, &actual, sizeof(T)) == 0;
    if (same)
        return AssertionSuccess();
    return AssertionFailure() << what << ": expected " << describe(expected) << ", actual " << describe(actual);
}

template <class T> const char* precisionName() {
    return sizeof(T) == 4 ? "float class" : "double class";
}

template <class T> std::string caseName(const Encoding& e, const char* what) {
    return std::string(precisionName<T>()) + ", " + e.name + ", " + what;
}

// Little-endian bytes of a value, written out independently of the converter.
Bytes bytesOf(uint64_t value, size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = uint8_t(value >> (8 * i));
    return bytes;
}
Bytes bytesOfFloat(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return bytesOf(u, 4);
}
Bytes bytesOfDouble(double d) {
    uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return bytesOf(u, 8);
}
Bytes bytesOfInt32(int32_t v) {
    return bytesOf(uint32_t(v), 4);
}

// One channel each way; a sample at an odd address, to make sure the byte
// access does not depend on alignment.
template <class T> T decodeOne(const Encoding& e, const Bytes& sample) {
    FmtConverter2<T> converter;
    EXPECT_TRUE(converter.setup(1, 1, e.bits, e.isFloat));
    Bytes shifted(sample.size() + 1);
    std::copy(sample.begin(), sample.end(), shifted.begin() + 1);
    converter.inputConversion(shifted.data() + 1, 1);
    return converter.planesIn()[0][0];
}

template <class T> Bytes encodeOne(const Encoding& e, T value) {
    FmtConverter2<T> converter;
    EXPECT_TRUE(converter.setup(1, 1, e.bits, e.isFloat));
    converter.planesOut()[0][0] = value;
    Bytes shifted(e.size + 1, 0xCD);
    converter.outputConversion(shifted.data() + 1, 1);
    EXPECT_EQ(shifted[0], 0xCD) << "wrote before its sample";
    return Bytes(shifted.begin() + 1, shifted.end());
}

// Input conversion, planes handed across unchanged as a pass-through plug-in
// would, output conversion; in blocks of at most 512 frames, at an odd
// address.
template <class T> Bytes roundTrip(const Encoding& e, uint32_t channels, const Bytes& in) {
    FmtConverter2<T> converter;
    EXPECT_TRUE(converter.setup(channels, channels, e.bits, e.isFloat));
    const size_t frameBytes = e.size * channels;
    Bytes source(in.size() + 1), sink(in.size() + 1, 0xCD);
    std::copy(in.begin(), in.end(), source.begin() + 1);
    for (size_t offset = 0; offset < in.size();) {
        uint32_t frames = uint32_t(std::min<size_t>(512, (in.size() - offset) / frameBytes));
        converter.inputConversion(source.data() + 1 + offset, frames);
        for (uint32_t c = 0; c < channels; ++c)
            std::copy(converter.planesIn()[c], converter.planesIn()[c] + frames, converter.planesOut()[c]);
        converter.outputConversion(sink.data() + 1 + offset, frames);
        offset += frames * frameBytes;
    }
    return Bytes(sink.begin() + 1, sink.end());
}

// Names the first sample that differs, rather than dumping megabytes.
AssertionResult sameSamples(const std::string& what, const Encoding& e, const Bytes& expected, const Bytes& actual) {
    if (expected.size() != actual.size())
        return AssertionFailure() << what << ": " << expected.size() << " bytes expected, " << actual.size()
                                  << " given";
    for (size_t i = 0; i + e.size <= expected.size(); i += e.size) {
        if (std::memcmp(&expected[i], &actual[i], e.size) != 0)
            return AssertionFailure() << what << ": sample " << i / e.size << " expected [" << hex(&expected[i], e.size)
                                      << "], actual [" << hex(&actual[i], e.size) << "]";
    }
    return AssertionSuccess();
}

template <class T> class FmtConverter2Test : public ::testing::Test {};
typedef ::testing::Types<float, double> Precisions;
TYPED_TEST_SUITE(FmtConverter2Test, Precisions);

// Every value below is exact in float, so the same table holds for both
// precisions.
TYPED_TEST(FmtConverter2Test, DecodesEachEncodingAtItsBoundaries) {
    typedef TypeParam T;
    struct Case {
        const char* name;
        Encoding e;
        Bytes bytes;
        double expected;
    } cases[] = {
        {"0x80 is silence", u8, {0x80}, 0.0},
        {"0x00 is -1", u8, {0x00}, -1.0},
        {"0xFF is the top", u8, {0xFF}, 0.9921875},
        {"0x7F is one step below silence", u8, {0x7F}, -0.0078125},
        {"0x81 is one step above silence", u8, {0x81}, 0.0078125},

        {"0x8000 is -1", s16, {0x00, 0x80}, -1.0},
        {"0x7FFF is the top", s16, {0xFF, 0x7F}, 0.999969482421875},
        {"0 is silence", s16, {0x00, 0x00}, 0.0},
        {"1 is one step", s16, {0x01, 0x00}, pow2(-15)},
        {"-1 is one step down", s16, {0xFF, 0xFF}, -pow2(-15)},
        {"low byte first", s16, {0x00, 0x40}, 0.5},
        {"0xC000 is -0.5", s16, {0x00, 0xC0}, -0.5},

        {"00 00 80 is -1", s24, {0x00, 0x00, 0x80}, -1.0},
        {"FF FF 7F is just below 1", s24, {0xFF, 0xFF, 0x7F}, 1.0 - pow2(-23)},
        {"0 is silence", s24, {0x00, 0x00, 0x00}, 0.0},
        {"1 is one step", s24, {0x01, 0x00, 0x00}, pow2(-23)},
        {"-1 is one step down", s24, {0xFF, 0xFF, 0xFF}, -pow2(-23)},
        {"00 00 40 is 0.5", s24, {0x00, 0x00, 0x40}, 0.5},
        {"byte order", s24, {0x56, 0x34, 0x12}, 0x123456 * pow2(-23)},

        {"0x80000000 is -1", s32, {0x00, 0x00, 0x00, 0x80}, -1.0},
        {"0x40000000 is 0.5", s32, {0x00, 0x00, 0x00, 0x40}, 0.5},
        {"1 is one step", s32, {0x01, 0x00, 0x00, 0x00}, pow2(-31)},
        {"-1 is one step down", s32, {0xFF, 0xFF, 0xFF, 0xFF}, -pow2(-31)},
        {"byte order", s32, {0x00, 0x56, 0x34, 0x12}, 0x12345600 * pow2(-31)},

        {"0.25", f32, {0x00, 0x00, 0x80, 0x3E}, 0.25},
        {"-1.5 is not clamped", f32, {0x00, 0x00, 0xC0, 0xBF}, -1.5},
        {"smallest subnormal", f32, {0x01, 0x00, 0x00, 0x00}, pow2(-149)},
        {"-0.0 keeps its sign", f32, {0x00, 0x00, 0x00, 0x80}, -0.0},
        {"infinity", f32, {0x00, 0x00, 0x80, 0x7F}, inf},
        {"NaN", f32, {0x00, 0x00, 0xC0, 0x7F}, nan},

        {"0.25", f64, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xD0, 0x3F}, 0.25},
        {"8.0 is not clamped", f64, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x20, 0x40}, 8.0},
        {"-0.0 keeps its sign", f64, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80}, -0.0},
        {"-infinity", f64, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0xFF}, -inf},
        {"NaN", f64, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF8, 0x7F}, nan},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(sameValue(caseName<T>(c.e, c.name) + " [" + hex(c.bytes) + "]", static_cast<T>(c.expected),
                              decodeOne<T>(c.e, c.bytes)));
    }
}

TYPED_TEST(FmtConverter2Test, EncodesEachEncodingWithRoundingAndClipping) {
    typedef TypeParam T;
    struct Case {
        const char* name;
        Encoding e;
        double value;
        Bytes expected;
    } cases[] = {
        {"silence", u8, 0.0, {0x80}},
        {"-1 is the bottom code", u8, -1.0, {0x00}},
        {"+1 clamps to the top code", u8, 1.0, {0xFF}},
        {"the top code's own value", u8, 0.9921875, {0xFF}},
        {"1.5 clamps", u8, 1.5, {0xFF}},
        {"-1.5 clamps", u8, -1.5, {0x00}},
        {"scaled 2.5 rounds to 3", u8, 2.5 / 128, {0x83}},
        {"scaled -2.5 rounds to -3", u8, -2.5 / 128, {0x7D}},
        {"scaled 0.5 rounds away from zero", u8, 0.5 / 128, {0x81}},
        {"scaled -0.5 rounds away from zero", u8, -0.5 / 128, {0x7F}},
        {"NaN is silence", u8, nan, {0x80}},
        {"infinity is silence", u8, inf, {0x80}},
        {"-infinity is silence", u8, -inf, {0x80}},
        {"beyond 32 bits is silence", u8, pow2(40), {0x80}},

        {"0.5 is 16384", s16, 0.5, {0x00, 0x40}},
        {"-0.5", s16, -0.5, {0x00, 0xC0}},
        {"-1 is 0x8000", s16, -1.0, {0x00, 0x80}},
        {"+1 clamps to 0x7FFF", s16, 1.0, {0xFF, 0x7F}},
        {"the top code's own value", s16, 0.999969482421875, {0xFF, 0x7F}},
        {"scaled 32767.5 rounds up and clamps", s16, 32767.5 / 32768, {0xFF, 0x7F}},
        {"scaled -32768.5 rounds down and clamps", s16, -32768.5 / 32768, {0x00, 0x80}},
        {"2.0 clamps", s16, 2.0, {0xFF, 0x7F}},
        {"-2.0 clamps", s16, -2.0, {0x00, 0x80}},
        {"scaled 2.5 rounds to 3", s16, 2.5 / 32768, {0x03, 0x00}},
        {"scaled -2.5 rounds to -3", s16, -2.5 / 32768, {0xFD, 0xFF}},
        {"scaled 0.5 rounds away from zero", s16, 0.5 / 32768, {0x01, 0x00}},
        {"NaN is silence", s16, nan, {0x00, 0x00}},
        {"infinity is silence", s16, inf, {0x00, 0x00}},
        {"-infinity is silence", s16, -inf, {0x00, 0x00}},
        {"beyond 32 bits is silence", s16, -pow2(40), {0x00, 0x00}},

        {"-1 is 00 00 80", s24, -1.0, {0x00, 0x00, 0x80}},
        {"0.5", s24, 0.5, {0x00, 0x00, 0x40}},
        {"the top code's own value", s24, 1.0 - pow2(-23), {0xFF, 0xFF, 0x7F}},
        {"+1 keeps the top code", s24, 1.0, {0xFF, 0xFF, 0x7F}},
        {"low byte dropped, not rounded", s24, 511 * pow2(-31), {0x01, 0x00, 0x00}},
        {"rounded before the low byte goes", s24, 255.5 * pow2(-31), {0x01, 0x00, 0x00}},
        {"just below a step stays below", s24, 255.25 * pow2(-31), {0x00, 0x00, 0x00}},
        {"negative low bits drop towards -1", s24, -1 * pow2(-31), {0xFF, 0xFF, 0xFF}},
        {"scaled -257", s24, -257 * pow2(-31), {0xFE, 0xFF, 0xFF}},
        {"just past +1 is silence", s24, 1.0 + pow2(-23), {0x00, 0x00, 0x00}},
        {"just past -1 is silence", s24, -1.0 - pow2(-23), {0x00, 0x00, 0x00}},
        {"1.5 is silence", s24, 1.5, {0x00, 0x00, 0x00}},
        {"NaN is silence", s24, nan, {0x00, 0x00, 0x00}},
        {"infinity is silence", s24, inf, {0x00, 0x00, 0x00}},
        {"-infinity is silence", s24, -inf, {0x00, 0x00, 0x00}},

        {"-1 is 0x80000000", s32, -1.0, {0x00, 0x00, 0x00, 0x80}},
        {"0.5", s32, 0.5, {0x00, 0x00, 0x00, 0x40}},
        {"+1 keeps the top code", s32, 1.0, {0xFF, 0xFF, 0xFF, 0x7F}},
        {"scaled 2.5 rounds to 3", s32, 2.5 * pow2(-31), {0x03, 0x00, 0x00, 0x00}},
        {"scaled -2.5 rounds to -3", s32, -2.5 * pow2(-31), {0xFD, 0xFF, 0xFF, 0xFF}},
        {"scaled 0.5 rounds away from zero", s32, 0.5 * pow2(-31), {0x01, 0x00, 0x00, 0x00}},
        {"scaled -0.5 rounds away from zero", s32, -0.5 * pow2(-31), {0xFF, 0xFF, 0xFF, 0xFF}},
        {"just past +1 is silence", s32, 1.0 + pow2(-23), {0x00, 0x00, 0x00, 0x00}},
        {"just past -1 is silence", s32, -1.0 - pow2(-23), {0x00, 0x00, 0x00, 0x00}},
        {"-1.5 is silence", s32, -1.5, {0x00, 0x00, 0x00, 0x00}},
        {"NaN is silence", s32, nan, {0x00, 0x00, 0x00, 0x00}},
        {"infinity is silence", s32, inf, {0x00, 0x00, 0x00, 0x00}},
        {"-infinity is silence", s32, -inf, {0x00, 0x00, 0x00, 0x00}},

        {"0.25", f32, 0.25, {0x00, 0x00, 0x80, 0x3E}},
        {"8.0 is not clamped", f32, 8.0, {0x00, 0x00, 0x00, 0x41}},
        {"-0.0 keeps its sign", f32, -0.0, {0x00, 0x00, 0x00, 0x80}},
        {"infinity", f32, inf, {0x00, 0x00, 0x80, 0x7F}},

        {"0.25", f64, 0.25, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xD0, 0x3F}},
        {"-1.5 is not clamped", f64, -1.5, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF8, 0xBF}},
        {"-0.0 keeps its sign", f64, -0.0, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80}},
        {"infinity", f64, inf, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x7F}},
    };
    for (const Case& c : cases) {
        T value = static_cast<T>(c.value);
        EXPECT_TRUE(
            sameBytes(caseName<T>(c.e, c.name) + " from " + describe(value), c.expected, encodeOne<T>(c.e, value)));
    }
}

// The edges of the signed 32-bit range lie between floats, so they are
// reached only in double.
TEST(FmtConverter2Double, EncodesTheEdgesOfThe32BitRange) {
    struct Case {
        const char* name;
        Encoding e;
        double value;
        Bytes expected;
    } cases[] = {
        {"scaled 2^31 - 2 stays", s32, 1.0 - pow2(-30), {0xFE, 0xFF, 0xFF, 0x7F}},
        {"scaled 2^31 - 0.5 rounds to full scale", s32, 1.0 - pow2(-32), {0xFF, 0xFF, 0xFF, 0x7F}},
        {"scaled 2^31 + 0.25 is still full scale", s32, 1.0 + pow2(-33), {0xFF, 0xFF, 0xFF, 0x7F}},
        {"scaled 2^31 + 0.5 rounds out of range", s32, 1.0 + pow2(-32), {0x00, 0x00, 0x00, 0x00}},
        {"scaled -2^31 - 0.25 rounds to -2^31", s32, -1.0 - pow2(-33), {0x00, 0x00, 0x00, 0x80}},
        {"scaled -2^31 - 0.5 rounds out of range", s32, -1.0 - pow2(-32), {0x00, 0x00, 0x00, 0x00}},
        {"far out", s32, 1e300, {0x00, 0x00, 0x00, 0x00}},
        {"far out below", s32, -1e300, {0x00, 0x00, 0x00, 0x00}},
        {"scaled 2^31 + 0.25 is still full scale", s24, 1.0 + pow2(-33), {0xFF, 0xFF, 0x7F}},
        {"scaled 2^31 + 0.5 rounds out of range", s24, 1.0 + pow2(-32), {0x00, 0x00, 0x00}},
        {"scaled -2^31 - 0.5 rounds out of range", s24, -1.0 - pow2(-32), {0x00, 0x00, 0x00}},
        {"scaled 2^31 + 0.5 is silence in 16 bits too", s16, pow2(16) + pow2(-16), {0x00, 0x00}},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(sameBytes(caseName<double>(c.e, c.name) + " from " + describe(c.value), c.expected,
                              encodeOne<double>(c.e, c.value)));
    }
}

TEST(FmtConverter2Float, EncodesTheTopOfThe32BitRange) {
    struct Case {
        const char* name;
        float value;
        Bytes expected;
    } cases[] = {
        {"largest float below 1", 1.0f - float(pow2(-24)), {0x80, 0xFF, 0xFF, 0x7F}},
        {"+1 keeps the top code", 1.0f, {0xFF, 0xFF, 0xFF, 0x7F}},
        {"smallest float above 1 is silence", 1.0f + float(pow2(-23)), {0x00, 0x00, 0x00, 0x00}},
        {"-1 is the bottom code", -1.0f, {0x00, 0x00, 0x00, 0x80}},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(sameBytes(caseName<float>(s32, c.name) + " from " + describe(c.value), c.expected,
                              encodeOne<float>(s32, c.value)));
    }
}

// In the float class a 32-bit integer is rounded to float before it is
// scaled, so the top 64 codes all read as 1.0.
TEST(FmtConverter2, Decodes32BitIntegersInEachPrecision) {
    struct Case {
        int32_t code;
        double inFloat;
        double inDouble;
    } cases[] = {
        {INT32_MIN, -1.0, -1.0},
        {INT32_MAX, 1.0, 1.0 - pow2(-31)},
        {0x7FFFFFC0, 1.0, 1.0 - 64 * pow2(-31)},
        {0x7FFFFFBF, 1.0 - pow2(-24), 1.0 - 65 * pow2(-31)},
        {0x12345678, 305419904 * pow2(-31), 305419896 * pow2(-31)},
        {-0x12345678, -305419904 * pow2(-31), -305419896 * pow2(-31)},
        {0x00FFFFFF, 0x00FFFFFF * pow2(-31), 0x00FFFFFF * pow2(-31)},
        {0x01000001, 0x01000000 * pow2(-31), 0x01000001 * pow2(-31)},
    };
    for (const Case& c : cases) {
        std::string name = "code " + hex(bytesOfInt32(c.code));
        EXPECT_TRUE(sameValue(caseName<float>(s32, name.c_str()), float(c.inFloat),
                              decodeOne<float>(s32, bytesOfInt32(c.code))));
        EXPECT_TRUE(
            sameValue(caseName<double>(s32, name.c_str()), c.inDouble, decodeOne<double>(s32, bytesOfInt32(c.code))));
    }
}

// Narrowing rounds to nearest, ties to even; widening is exact. The float
// class narrows float64 on input, the double class narrows float32 on
// output, so the same pairs hold for both.
TEST(FmtConverter2, FloatEncodingsCrossPrecisions) {
    struct Case {
        const char* name;
        double wide;
        float narrow;
    } cases[] = {
        {"exact", 0.75, 0.75f},
        {"tie goes to the even 1.0", 1.0 + pow2(-24), 1.0f},
        {"tie goes to the even neighbour above", 1.0 + 3 * pow2(-24), float(1.0 + pow2(-22))},
        {"just above a tie rounds up", 1.0 + pow2(-24) + pow2(-50), float(1.0 + pow2(-23))},
        {"0.1", 0.1, 0.1f},
        {"-0.1", -0.1, -0.1f},
        {"too small is zero", 1e-50, 0.0f},
        {"too small negative is -0.0", -1e-50, -0.0f},
        {"smallest subnormal survives", pow2(-149), float(pow2(-149))},
        {"too large is infinity", 1e300, std::numeric_limits<float>::infinity()},
        {"-infinity", -inf, -std::numeric_limits<float>::infinity()},
        {"NaN", nan, std::numeric_limits<float>::quiet_NaN()},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(sameValue(caseName<float>(f64, c.name), c.narrow, decodeOne<float>(f64, bytesOfDouble(c.wide))));
        Bytes narrowed = encodeOne<double>(f32, c.wide);
        if (std::isnan(c.wide)) {
            EXPECT_TRUE(std::isnan(decodeOne<float>(f32, narrowed)))
                << "double class, NaN to float32: " << hex(narrowed);
        } else {
            EXPECT_TRUE(sameBytes(caseName<double>(f32, c.name), bytesOfFloat(c.narrow), narrowed));
        }
        if (!std::isnan(c.narrow)) {
            EXPECT_TRUE(sameValue(caseName<double>(f32, c.name) + ", widened", double(c.narrow),
                                  decodeOne<double>(f32, bytesOfFloat(c.narrow))));
            EXPECT_TRUE(sameBytes(caseName<float>(f64, c.name) + ", widened", bytesOfDouble(double(c.narrow)),
                                  encodeOne<float>(f64, c.narrow)));
        }
    }
}

TYPED_TEST(FmtConverter2Test, EveryEightAndSixteenBitCodeSurvivesARoundTrip) {
    typedef TypeParam T;
    Bytes codes8(256), codes16(65536 * 2);
    for (size_t i = 0; i < 256; ++i)
        codes8[i] = uint8_t(i);
    for (size_t i = 0; i < 65536; ++i) {
        codes16[2 * i] = uint8_t(i);
        codes16[2 * i + 1] = uint8_t(i >> 8);
    }
    EXPECT_TRUE(sameSamples(caseName<T>(u8, "all codes"), u8, codes8, roundTrip<T>(u8, 2, codes8)));
    EXPECT_TRUE(sameSamples(caseName<T>(s16, "all codes"), s16, codes16, roundTrip<T>(s16, 2, codes16)));
}

TYPED_TEST(FmtConverter2Test, EveryTwentyFourBitCodeSurvivesARoundTrip) {
    typedef TypeParam T;
    // In slices, to keep the buffers small; each slice is whole blocks.
    const uint32_t slice = 1u << 16;
    Bytes codes(slice * 3);
    for (uint32_t first = 0; first < (1u << 24); first += slice) {
        for (uint32_t i = 0; i < slice; ++i) {
            uint32_t code = first + i;
            codes[3 * i] = uint8_t(code);
            codes[3 * i + 1] = uint8_t(code >> 8);
            codes[3 * i + 2] = uint8_t(code >> 16);
        }
        AssertionResult same = sameSamples(caseName<T>(s24, "all codes"), s24, codes, roundTrip<T>(s24, 2, codes));
        ASSERT_TRUE(same);
    }
}

// Every bit pattern in steps of a prime, and the patterns around the edges;
// NaNs are left out, their payloads may change on the way.
std::vector<uint32_t> float32Patterns() {
    std::vector<uint32_t> patterns;
    const uint32_t edges[] = {0x00000000, 0x00000001, 0x007FFFFF, 0x00800000, 0x3F7FFFFF,
                              0x3F800000, 0x3F800001, 0x7F7FFFFF, 0x7F800000};
    for (uint32_t edge : edges) {
        patterns.push_back(edge);
        patterns.push_back(edge | 0x80000000u);
    }
    for (uint64_t u = 0; u <= 0xFFFFFFFFu; u += 4099) {
        if ((u & 0x7F800000u) != 0x7F800000u || (u & 0x007FFFFFu) == 0)
            patterns.push_back(uint32_t(u));
    }
    return patterns;
}

TYPED_TEST(FmtConverter2Test, Float32SurvivesARoundTrip) {
    typedef TypeParam T;
    std::vector<uint32_t> patterns = float32Patterns();
    if (patterns.size() % 2)
        patterns.push_back(0);
    Bytes in;
    in.reserve(patterns.size() * 4);
    for (uint32_t u : patterns) {
        Bytes b = bytesOf(u, 4);
        in.insert(in.end(), b.begin(), b.end());
    }
    EXPECT_TRUE(sameSamples(caseName<T>(f32, "bit pattern sweep"), f32, in, roundTrip<T>(f32, 2, in)));
}

TEST(FmtConverter2Double, Float64AndThirtyTwoBitSurviveARoundTrip) {
    Bytes ints, doubles;
    std::vector<int64_t> codes = {INT32_MIN, INT32_MIN + 1, -1, 0, 1, INT32_MAX - 1, INT32_MAX};
    for (int64_t v = INT32_MIN; v <= INT32_MAX; v += 4093)
        codes.push_back(v);
    for (int e = 0; e < 31; ++e) {
        for (int64_t v : {(int64_t(1) << e) - 1, int64_t(1) << e, (int64_t(1) << e) + 1}) {
            codes.push_back(v);
            codes.push_back(-v);
        }
    }
    if (codes.size() % 2)
        codes.push_back(0);
    for (int64_t v : codes) {
        Bytes b = bytesOfInt32(int32_t(v));
        ints.insert(ints.end(), b.begin(), b.end());
    }
    EXPECT_TRUE(sameSamples(caseName<double>(s32, "sweep"), s32, ints, roundTrip<double>(s32, 2, ints)));

    // A multiplicative walk over all 64-bit patterns, NaNs left out.
    uint64_t u = 0x0123456789ABCDEFull;
    for (int i = 0; i < 200000; ++i, u = u * 6364136223846793005ull + 1442695040888963407ull) {
        double d;
        std::memcpy(&d, &u, sizeof d);
        if (std::isnan(d))
            continue;
        Bytes b = bytesOf(u, 8);
        doubles.insert(doubles.end(), b.begin(), b.end());
    }
    for (double d : {0.0, -0.0, inf, -inf, pow2(-1074), std::numeric_limits<double>::max(), 1.0}) {
        Bytes b = bytesOfDouble(d);
        doubles.insert(doubles.end(), b.begin(), b.end());
    }
    if (doubles.size() % 16)
        doubles.resize(doubles.size() + 8, 0);
    EXPECT_TRUE(sameSamples(caseName<double>(f64, "sweep"), f64, doubles, roundTrip<double>(f64, 2, doubles)));
}

// In float, a 32-bit sample keeps its top 24 significant bits, and full scale
// stays full scale at both ends.
TEST(FmtConverter2Float, ThirtyTwoBitRoundTripKeepsTheTopBits) {
    struct Case {
        int32_t in;
        int32_t out;
    } cases[] = {
        {INT32_MIN, INT32_MIN},
        {INT32_MIN + 1, INT32_MIN},
        {INT32_MAX, INT32_MAX},
        {0x7FFFFFC0, INT32_MAX},
        {0x7FFFFFBF, 0x7FFFFF80},
        {0x12345678, 0x12345680},
        {0x00FFFFFF, 0x00FFFFFF},
        {0x01000001, 0x01000000},
        {-0x01000003, -0x01000004},
        {1, 1},
        {-1, -1},
        {0, 0},
    };
    for (const Case& c : cases) {
        Bytes in = bytesOfInt32(c.in);
        in.resize(8, 0); // two channels, the second silent
        Bytes expected = bytesOfInt32(c.out);
        expected.resize(8, 0);
        EXPECT_TRUE(sameBytes(caseName<float>(s32, "round trip"), expected, roundTrip<float>(s32, 2, in)));
    }
}

// Interleaving: the transport sample of frame i, channel c sits at sample
// index i * channels + c, in every encoding. Checked against single samples
// converted on their own, for partial blocks, a full block and none at all;
// nothing past the given frames is touched.
TYPED_TEST(FmtConverter2Test, InterleavesChannelsAndTouchesOnlyTheGivenFrames) {
    typedef TypeParam T;
    const uint32_t ins = 3, outs = 2;
    const T untouched = T(9.0);
    // Multiples of 2^-7 in range: exact in every encoding.
    auto value = [](uint32_t frame, uint32_t channel) {
        return T(int32_t((frame * 7 + channel * 3 + 5) % 256) - 128) / T(128);
    };
    for (const Encoding& e : allEncodings) {
        for (uint32_t frames : {0u, 1u, 5u, 511u, 512u}) {
            std::string name = caseName<T>(e, "") + std::to_string(frames) + " frames";
            FmtConverter2<T> converter;
            ASSERT_TRUE(converter.setup(ins, outs, e.bits, e.isFloat));

            Bytes in(512 * ins * e.size);
            for (uint32_t i = 0; i < frames; ++i)
                for (uint32_t c = 0; c < ins; ++c) {
                    Bytes one = encodeOne<T>(e, value(i, c));
                    std::copy(one.begin(), one.end(), &in[(i * ins + c) * e.size]);
                }
            for (uint32_t c = 0; c < ins; ++c)
                std::fill(converter.planesIn()[c], converter.planesIn()[c] + 512, untouched);
            converter.inputConversion(in.data(), frames);
            for (uint32_t c = 0; c < ins; ++c)
                for (uint32_t i = 0; i < 512; ++i) {
                    T expected = i < frames ? value(i, c) : untouched;
                    AssertionResult same =
                        sameValue(name + ", input channel " + std::to_string(c) + ", frame " + std::to_string(i),
                                  expected, converter.planesIn()[c][i]);
                    ASSERT_TRUE(same);
                }

            Bytes expected((512 + 2) * outs * e.size, 0xCD);
            for (uint32_t c = 0; c < outs; ++c)
                for (uint32_t i = 0; i < 512; ++i) {
                    converter.planesOut()[c][i] = i < frames ? value(i, c + 7) : untouched;
                    if (i < frames) {
                        Bytes one = encodeOne<T>(e, value(i, c + 7));
                        std::copy(one.begin(), one.end(), &expected[(i * outs + c) * e.size]);
                    }
                }
            Bytes out(expected.size(), 0xCD);
            converter.outputConversion(out.data(), frames);
            EXPECT_TRUE(sameSamples(name + ", output", e, expected, out));
        }
    }
}

// The plug-in and the tail drain rely on one block: 512 samples per plane,
// inputs then outputs back to back, and null after the last plane.
TYPED_TEST(FmtConverter2Test, PlanesAreOneZeroedBlockWithNullsAfterThem) {
    typedef TypeParam T;
    FmtConverter2<T> converter;
    ASSERT_TRUE(converter.setup(1, 2, 16, false));
    EXPECT_EQ(converter.inputChannels(), 1u);
    EXPECT_EQ(converter.outputChannels(), 2u);
    T* base = converter.planesIn()[0];
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(converter.planesOut()[0], base + 512);
    EXPECT_EQ(converter.planesOut()[1], base + 1024);
    for (int i = 1; i <= 16; ++i)
        EXPECT_EQ(converter.planesIn()[i], nullptr) << "input pointer " << i;
    for (int i = 2; i <= 17; ++i)
        EXPECT_EQ(converter.planesOut()[i], nullptr) << "output pointer " << i;

    for (int i = 0; i < 1536; ++i)
        ASSERT_EQ(base[i], T(0)) << "sample " << i << " of a fresh set-up";
    std::fill(base, base + 1536, T(0.5));
    converter.zeroPlanes();
    for (int i = 0; i < 1536; ++i)
        ASSERT_EQ(base[i], T(0)) << "sample " << i << " after zeroPlanes";
}

// Whatever the pair, the old planes are gone first; a refused pair then
// converts nothing at all.
TYPED_TEST(FmtConverter2Test, SetupReplacesThePlanesEvenWhenItRefusesThePair) {
    typedef TypeParam T;
    struct Case {
        int32_t bits;
        bool isFloat;
        bool accepted;
    } cases[] = {
        {8, false, true}, {16, false, true},  {24, false, true},  {32, false, true},   {32, true, true},
        {64, true, true}, {64, false, false}, {12, false, false}, {0, false, false},   {16, true, false},
        {8, true, false}, {24, true, false},  {0, true, false},   {-16, false, false}, {48, false, false},
    };
    for (const Case& c : cases) {
        std::ostringstream name;
        name << precisionName<T>() << ", bits " << c.bits << (c.isFloat ? " float" : " integer");
        FmtConverter2<T> converter;
        ASSERT_TRUE(converter.setup(2, 2, 16, false));
        converter.planesIn()[1][3] = T(0.25);
        converter.planesOut()[1][3] = T(0.25);

        EXPECT_EQ(converter.setup(3, 1, c.bits, c.isFloat), c.accepted) << name.str();
        EXPECT_EQ(converter.inputChannels(), 3u) << name.str();
        EXPECT_EQ(converter.outputChannels(), 1u) << name.str();
        ASSERT_NE(converter.planesIn()[2], nullptr) << name.str();
        EXPECT_EQ(converter.planesIn()[3], nullptr) << name.str();
        EXPECT_EQ(converter.planesOut()[1], nullptr) << name.str();
        const T* base = converter.planesIn()[0];
        EXPECT_EQ(std::count(base, base + 4 * 512, T(0)), 4 * 512) << name.str() << ": planes not fresh";

        if (!c.accepted) {
            Bytes in(3 * 8 * 4, 0x40), out(8 * 4 + 1, 0xCD);
            converter.planesOut()[0][0] = T(0.5);
            converter.inputConversion(in.data(), 4);
            converter.outputConversion(out.data(), 4);
            EXPECT_EQ(std::count(base, base + 3 * 512, T(0)), 3 * 512) << name.str() << ": input converted";
            EXPECT_TRUE(sameBytes(name.str() + ", output", Bytes(out.size(), 0xCD), out));
        }
    }
}

// A stream may set its format many times; each setup brings its own channel
// counts and encoding. A moved converter keeps converting into its own
// planes.
TYPED_TEST(FmtConverter2Test, SetupsInARowEachTakeEffect) {
    typedef TypeParam T;
    struct Step {
        uint32_t ins, outs;
        Encoding e;
    } steps[] = {
        {2, 2, s16}, {1, 3, u8}, {2, 1, f64}, {3, 3, s24}, {1, 1, f32}, {2, 2, s32}, {2, 2, s16},
    };
    FmtConverter2<T> converter;
    int n = 0;
    for (const Step& s : steps) {
        std::string name = caseName<T>(s.e, "step ") + std::to_string(++n);
        ASSERT_TRUE(converter.setup(s.ins, s.outs, s.e.bits, s.e.isFloat)) << name;
        FmtConverter2<T> moved(std::move(converter));
        converter = std::move(moved);

        Bytes in;
        for (uint32_t c = 0; c < s.ins; ++c) {
            Bytes one = encodeOne<T>(s.e, T(-0.5) + T(0.25) * T(c));
            in.insert(in.end(), one.begin(), one.end());
        }
        converter.inputConversion(in.data(), 1);
        for (uint32_t c = 0; c < s.ins; ++c)
            EXPECT_TRUE(
                sameValue(name + ", input " + std::to_string(c), T(-0.5) + T(0.25) * T(c), converter.planesIn()[c][0]));

        Bytes expected;
        for (uint32_t c = 0; c < s.outs; ++c) {
            converter.planesOut()[c][0] = T(0.5) - T(0.125) * T(c);
            Bytes one = encodeOne<T>(s.e, T(0.5) - T(0.125) * T(c));
            expected.insert(expected.end(), one.begin(), one.end());
        }
        Bytes out(expected.size());
        converter.outputConversion(out.data(), 1);
        EXPECT_TRUE(sameBytes(name + ", output", expected, out));
    }
}

} // namespace
