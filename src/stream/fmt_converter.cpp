#include "stream/fmt_converter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define FXHOST_SSE2 1
#endif

namespace {

// Byte assembly rather than loads of wider types: transport samples sit at
// any offset, and the byte order is the transport's, not the machine's.
inline uint32_t load16(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8;
}
inline uint32_t load32(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint64_t load64(const unsigned char* p) {
    return uint64_t(load32(p)) | uint64_t(load32(p + 4)) << 32;
}

inline void store16(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}
inline void store32(unsigned char* p, uint32_t v) {
    store16(p, v);
    store16(p + 2, v >> 16);
}
inline void store64(unsigned char* p, uint64_t v) {
    store32(p, static_cast<uint32_t>(v));
    store32(p + 4, static_cast<uint32_t>(v >> 32));
}

// Bit copies between same-sized types; the conversion from unsigned to signed
// would be implementation-defined for the upper half.
inline int32_t signed32(uint32_t u) {
    int32_t v;
    std::memcpy(&v, &u, sizeof v);
    return v;
}
inline float floatOf(uint32_t u) {
    float v;
    std::memcpy(&v, &u, sizeof v);
    return v;
}
inline uint32_t bitsOf(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}
inline double doubleOf(uint64_t u) {
    double v;
    std::memcpy(&v, &u, sizeof v);
    return v;
}
inline uint64_t bitsOf(double d) {
    uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}

// Powers of two, so input and output scaling are exact inverses and
// full-scale negative survives a round trip unchanged.
const double scale8 = 128.0;         // 2^7
const double scale16 = 32768.0;      // 2^15
const double scale32 = 2147483648.0; // 2^31, also for 24 bits
const double step8 = 1.0 / scale8;
const double step16 = 1.0 / scale16;
const double step32 = 1.0 / scale32;

// Halves away from zero, to a signed 32-bit value. Widening a float product
// to double is exact and rounding does not care about the type it is done
// in, so one function serves both precisions; what depends on T is the
// product, which the caller forms in T.
//
// The range is checked first, by comparisons that NaN fails as well. The
// accepted range runs to just below 2^31 + 0.5, so that a rounded 2^31
// (full-scale positive) is kept and stored as INT32_MAX; see the header.
//
// Rounding by hand rather than with llround, which is a library call per
// sample here: truncation toward zero is one instruction, and the fraction
// it leaves, scaled - truncated, is exact in double.
inline int32_t roundSample(double scaled) {
    if (!(scaled > -2147483648.5 && scaled < 2147483648.5))
        return 0;
    long long rounded = static_cast<long long>(scaled);
    double fraction = scaled - static_cast<double>(rounded);
    if (fraction >= 0.5)
        ++rounded;
    else if (fraction <= -0.5)
        --rounded;
    return rounded > 2147483647LL ? 2147483647 : static_cast<int32_t>(rounded);
}

inline int32_t clampTo(int32_t v, int32_t low, int32_t high) {
    return v < low ? low : (v > high ? high : v);
}

// One codec per transport encoding: `size` bytes per sample, `read` to a
// plane sample, `write` from one.
template <class X> struct Codec;

template <> struct Codec<unsigned char> {
    static const size_t size = 1;
    // Subtracting 128 is the byte with its top bit flipped read as signed.
    template <class T> static T read(const unsigned char* p) { return T(int32_t(p[0]) - 128) * T(step8); }
    template <class T> static void write(unsigned char* p, T x) {
        p[0] = static_cast<unsigned char>(clampTo(roundSample(x * T(scale8)), -128, 127) + 128);
    }
};

template <> struct Codec<short> {
    static const size_t size = 2;
    template <class T> static T read(const unsigned char* p) {
        return T(int32_t(load16(p) ^ 0x8000u) - 0x8000) * T(step16);
    }
    template <class T> static void write(unsigned char* p, T x) {
        store16(p, static_cast<uint32_t>(clampTo(roundSample(x * T(scale16)), -32768, 32767)));
    }
};

struct Packed24 {
    static const size_t size = 3;
    // The three bytes are the upper three of a 32-bit word, so 24-bit samples
    // share the 32-bit scale and need no sign extension of their own.
    template <class T> static T read(const unsigned char* p) {
        return T(signed32(uint32_t(p[0]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 24)) * T(step32);
    }
    // The low byte of the rounded word is dropped, not rounded into the rest:
    // a sample that came in as 24 bits has a zero low byte and comes back as
    // it was.
    template <class T> static void write(unsigned char* p, T x) {
        uint32_t v = static_cast<uint32_t>(roundSample(x * T(scale32)));
        p[0] = static_cast<unsigned char>(v >> 8);
        p[1] = static_cast<unsigned char>(v >> 16);
        p[2] = static_cast<unsigned char>(v >> 24);
    }
};

template <> struct Codec<int> {
    static const size_t size = 4;
    template <class T> static T read(const unsigned char* p) { return T(signed32(load32(p))) * T(step32); }
    template <class T> static void write(unsigned char* p, T x) {
        store32(p, static_cast<uint32_t>(roundSample(x * T(scale32))));
    }
};

template <> struct Codec<float> {
    static const size_t size = 4;
    template <class T> static T read(const unsigned char* p) { return static_cast<T>(floatOf(load32(p))); }
    template <class T> static void write(unsigned char* p, T x) { store32(p, bitsOf(static_cast<float>(x))); }
};

template <> struct Codec<double> {
    static const size_t size = 8;
    template <class T> static T read(const unsigned char* p) { return static_cast<T>(doubleOf(load64(p))); }
    template <class T> static void write(unsigned char* p, T x) { store64(p, bitsOf(static_cast<double>(x))); }
};

// Stereo, the usual stream, four frames at a time where the processor can:
// each returns how many leading frames it did, and the loops below do the
// rest. The results are those of the loops below, to the bit.
template <class C, class T> struct Stereo {
    static uint32_t in(T*, T*, const unsigned char*, uint32_t) { return 0; }
    static uint32_t out(const T*, const T*, unsigned char*, uint32_t) { return 0; }
};

#ifdef FXHOST_SSE2
// Shuffles move bits, not values, so NaN payloads pass as they are.
template <> struct Stereo<Codec<float>, float> {
    static uint32_t in(float* left, float* right, const unsigned char* p, uint32_t frames) {
        uint32_t i = 0;
        for (; i + 4 <= frames; i += 4, p += 32) {
            __m128 a = _mm_loadu_ps(reinterpret_cast<const float*>(p));      // L0 R0 L1 R1
            __m128 b = _mm_loadu_ps(reinterpret_cast<const float*>(p + 16)); // L2 R2 L3 R3
            _mm_storeu_ps(left + i, _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
            _mm_storeu_ps(right + i, _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
        }
        return i;
    }
    static uint32_t out(const float* left, const float* right, unsigned char* p, uint32_t frames) {
        uint32_t i = 0;
        for (; i + 4 <= frames; i += 4, p += 32) {
            __m128 l = _mm_loadu_ps(left + i), r = _mm_loadu_ps(right + i);
            _mm_storeu_ps(reinterpret_cast<float*>(p), _mm_unpacklo_ps(l, r));
            _mm_storeu_ps(reinterpret_cast<float*>(p + 16), _mm_unpackhi_ps(l, r));
        }
        return i;
    }
};

template <> struct Stereo<Codec<short>, float> {
    static uint32_t in(float* left, float* right, const unsigned char* p, uint32_t frames) {
        const __m128 step = _mm_set1_ps(float(step16));
        uint32_t i = 0;
        for (; i + 4 <= frames; i += 4, p += 16) {
            // Each 32-bit lane holds one frame: left in its low half.
            __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            __m128i l = _mm_srai_epi32(_mm_slli_epi32(v, 16), 16), r = _mm_srai_epi32(v, 16);
            _mm_storeu_ps(left + i, _mm_mul_ps(_mm_cvtepi32_ps(l), step));
            _mm_storeu_ps(right + i, _mm_mul_ps(_mm_cvtepi32_ps(r), step));
        }
        return i;
    }
    // roundSample and the clamp, for products that are floats: a float lies
    // inside roundSample's range exactly when its magnitude is at most 2^31,
    // and clamping to the 16-bit codes before rounding gives what rounding
    // first gives, since the codes' limits are whole numbers.
    //
    // The fraction left by truncation lies in (-1, 1), so truncating twice
    // the fraction gives -1, 0 or 1 exactly when it reached a half, away
    // from zero; every step is exact, whatever rounding mode a plug-in left.
    static __m128i encode(__m128 x) {
        const __m128 sign = _mm_set1_ps(-0.0f);
        __m128 scaled = _mm_mul_ps(x, _mm_set1_ps(float(scale16)));
        __m128 inRange = _mm_cmple_ps(_mm_andnot_ps(sign, scaled), _mm_set1_ps(2147483648.0f)); // false for NaN
        __m128 clamped = _mm_min_ps(_mm_max_ps(scaled, _mm_set1_ps(-32768.0f)), _mm_set1_ps(32767.0f));
        __m128i truncated = _mm_cvttps_epi32(clamped);
        __m128 fraction = _mm_sub_ps(clamped, _mm_cvtepi32_ps(truncated));
        __m128i rounded = _mm_add_epi32(truncated, _mm_cvttps_epi32(_mm_add_ps(fraction, fraction)));
        return _mm_and_si128(rounded, _mm_castps_si128(inRange));
    }
    static uint32_t out(const float* left, const float* right, unsigned char* p, uint32_t frames) {
        uint32_t i = 0;
        for (; i + 4 <= frames; i += 4, p += 16) {
            __m128i l = encode(_mm_loadu_ps(left + i)), r = encode(_mm_loadu_ps(right + i));
            __m128i codes = _mm_packs_epi32(_mm_unpacklo_epi32(l, r), _mm_unpackhi_epi32(l, r));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p), codes);
        }
        return i;
    }
};
#endif

// Channel by channel, so that the inner loop writes one plane in order.
template <class C, class T> void toPlanes(T* const* planes, uint32_t channels, const void* bytes, uint32_t frames) {
    const size_t stride = size_t(channels) * C::size;
    const uint32_t done =
        channels == 2 ? Stereo<C, T>::in(planes[0], planes[1], static_cast<const unsigned char*>(bytes), frames) : 0;
    for (uint32_t c = 0; c < channels; ++c) {
        T* plane = planes[c];
        const unsigned char* p = static_cast<const unsigned char*>(bytes) + done * stride + size_t(c) * C::size;
        for (uint32_t i = done; i < frames; ++i, p += stride)
            plane[i] = C::template read<T>(p);
    }
}

template <class C, class T> void fromPlanes(const T* const* planes, uint32_t channels, void* bytes, uint32_t frames) {
    const size_t stride = size_t(channels) * C::size;
    const uint32_t done =
        channels == 2 ? Stereo<C, T>::out(planes[0], planes[1], static_cast<unsigned char*>(bytes), frames) : 0;
    for (uint32_t c = 0; c < channels; ++c) {
        const T* plane = planes[c];
        unsigned char* p = static_cast<unsigned char*>(bytes) + done * stride + size_t(c) * C::size;
        for (uint32_t i = done; i < frames; ++i, p += stride)
            C::template write<T>(p, plane[i]);
    }
}

template <class T> void inputNothing(FmtConverter2<T>&, const void*, uint32_t) {}
template <class T> void outputNothing(const FmtConverter2<T>&, void*, uint32_t) {}

} // namespace

template <class T>
FmtConverter2<T>::FmtConverter2() : inputConversion_(&inputNothing<T>), outputConversion_(&outputNothing<T>) {}

template <class T>
bool FmtConverter2<T>::setup(uint32_t inputChannels, uint32_t outputChannels, int32_t bits, bool isFloat) {
    // Everything is built before the old planes go, so that a failed
    // allocation leaves the converter as it was.
    std::vector<T> storage((size_t(inputChannels) + outputChannels) * maxFrames, T(0));
    std::vector<T*> ins(size_t(inputChannels) + spareNullPointers, nullptr);
    std::vector<T*> outs(size_t(outputChannels) + spareNullPointers, nullptr);
    T* plane = storage.data();
    for (uint32_t c = 0; c < inputChannels; ++c, plane += maxFrames)
        ins[c] = plane;
    for (uint32_t c = 0; c < outputChannels; ++c, plane += maxFrames)
        outs[c] = plane;

    planeStorage_.swap(storage);
    planesIn_.swap(ins);
    planesOut_.swap(outs);
    inputChannels_ = inputChannels;
    outputChannels_ = outputChannels;
    // A refused encoding must not go on converting with the previous one.
    inputConversion_ = &inputNothing<T>;
    outputConversion_ = &outputNothing<T>;

    if (isFloat) {
        switch (bits) {
        case 32:
            setupType<float>();
            return true;
        case 64:
            setupType<double>();
            return true;
        default:
            return false;
        }
    }
    switch (bits) {
    case 8:
        setupType<unsigned char>();
        return true;
    case 16:
        setupType<short>();
        return true;
    case 24:
        setup24();
        return true;
    case 32:
        setupType<int>();
        return true;
    default:
        return false;
    }
}

template <class T> template <class X> void FmtConverter2<T>::setupType() {
    inputConversion_ = [](FmtConverter2& self, const void* bytes, uint32_t frames) {
        toPlanes<Codec<X>>(self.planesIn_.data(), self.inputChannels_, bytes, frames);
    };
    outputConversion_ = [](const FmtConverter2& self, void* bytes, uint32_t frames) {
        fromPlanes<Codec<X>>(self.planesOut_.data(), self.outputChannels_, bytes, frames);
    };
}

template <class T> void FmtConverter2<T>::setup24() {
    inputConversion_ = [](FmtConverter2& self, const void* bytes, uint32_t frames) {
        toPlanes<Packed24>(self.planesIn_.data(), self.inputChannels_, bytes, frames);
    };
    outputConversion_ = [](const FmtConverter2& self, void* bytes, uint32_t frames) {
        fromPlanes<Packed24>(self.planesOut_.data(), self.outputChannels_, bytes, frames);
    };
}

template <class T> void FmtConverter2<T>::zeroPlanes() {
    std::fill(planeStorage_.begin(), planeStorage_.end(), T(0));
}

template class FmtConverter2<float>;
template class FmtConverter2<double>;
