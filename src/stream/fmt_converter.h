// FmtConverter2<T>: the one place where transport samples become the planes a
// plug-in processes and back. The transport carries interleaved little-endian
// samples (frame by frame, channels ascending, no alignment promised); the
// plug-in wants one plane of T per channel. The same encoding is used in both
// directions. There is no dither, resampling, channel mapping or byte
// swapping: each sample is scaled on its own.
//
// Encodings (bits, isFloat):
//   8  integer  unsigned, 128 is silence      plane = (byte - 128) / 2^7
//   16 integer  signed                        plane = value / 2^15
//   24 integer  signed, 3 bytes               plane = (value << 8) / 2^31
//   32 integer  signed                        plane = value / 2^31
//   32 float    IEEE binary32                 copied, widened in double
//   64 float    IEEE binary64                 copied, narrowed in float
// The arithmetic runs in T: in FmtConverter2<float> a 32-bit integer is
// rounded to float before it is scaled, and output products are float
// products.
//
// Output rounds the scaled value to the nearest integer, halves away from
// zero (lroundf / lround). NaN and infinities give 0, and so does a scaled
// value whose rounding lies outside the signed 32-bit range, in every
// encoding. 8 and 16 bits then clamp to their codes, so +1.0 gives the top
// code. 24 and 32 bits do not clamp: 24 bits keep the upper three bytes of
// the 32-bit result, the low byte dropped rather than rounded.
//
// Full-scale positive in 24 and 32 bits: +1.0 scales to 2^31, one step past
// INT32_MAX. A rounded value of exactly 2^31 is written as INT32_MAX
// (7F FF FF FF; FF FF 7F in 24 bits) in both precisions, rather than 0 or the
// wrapped 0x80000000 that lround happens to give on some targets. Plug-ins
// that hard-limit at 0 dBFS produce exactly 1.0, and a 32-bit stream running
// through the float class turns its top 64 codes into 1.0f on input; either
// would otherwise come back as silence or as full-scale negative. Anything
// that rounds further out still gives 0.
//
// Round trips (input conversion, planes copied across, output conversion)
// are bit-exact for 8, 16 and 24 bits and both float encodings in both
// precisions, and for 32 bits in double. In float, 32-bit samples keep their
// top 24 significant bits.
//
// One thread at a time; the converter takes no lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

template <class T> class FmtConverter2 {
public:
    // Frames in one plane: the block size every plug-in is given.
    static constexpr uint32_t maxFrames = 512;
    // Null entries after the last plane pointer of each side, so that a
    // plug-in that looks past the channels it was given finds null.
    static constexpr size_t spareNullPointers = 16;

    // No planes and no encoding: both conversions do nothing until a setup
    // succeeds.
    FmtConverter2();
    // Move-only: the plane pointers point into this object's storage.
    FmtConverter2(const FmtConverter2&) = delete;
    FmtConverter2& operator=(const FmtConverter2&) = delete;
    FmtConverter2(FmtConverter2&&) = default;
    FmtConverter2& operator=(FmtConverter2&&) = default;

    // Replaces the planes with zero-filled ones for the given channel counts
    // (inputs first, then outputs, each maxFrames long, back to back in one
    // block) and chooses the encoding. False for a (bits, isFloat) pair that
    // is not one of the six above; the planes have been replaced all the
    // same, and the conversions then do nothing. Throws std::bad_alloc or
    // std::length_error if the planes cannot be had, leaving the converter as
    // it was.
    bool setup(uint32_t inputChannels, uint32_t outputChannels, int32_t bits, bool isFloat);

    // Transport bytes to the first `frames` samples of each input plane, and
    // the first `frames` samples of each output plane to transport bytes,
    // exactly frames * outputChannels samples. `frames` is at most maxFrames;
    // 0 touches nothing. Neither allocates nor fails.
    void inputConversion(const void* bytes, uint32_t frames) { inputConversion_(*this, bytes, frames); }
    void outputConversion(void* bytes, uint32_t frames) const { outputConversion_(*this, bytes, frames); }

    // Zeroes every sample of every plane, inputs and outputs alike.
    void zeroPlanes();

    // One pointer per channel, followed by spareNullPointers nulls; null
    // before the first setup.
    T** planesIn() { return planesIn_.data(); }
    T** planesOut() { return planesOut_.data(); }
    uint32_t inputChannels() const { return inputChannels_; }
    uint32_t outputChannels() const { return outputChannels_; }

private:
    // The converter is passed in at each call rather than captured, so that a
    // moved converter keeps working.
    typedef void (*InputFunction)(FmtConverter2& self, const void* bytes, uint32_t frames);
    typedef void (*OutputFunction)(const FmtConverter2& self, void* bytes, uint32_t frames);

    // Bind both conversions for one transport sample type (unsigned char,
    // short, int, float, double), or for packed 24 bits.
    template <class X> void setupType();
    void setup24();

    std::vector<T*> planesIn_;
    std::vector<T*> planesOut_;
    std::vector<T> planeStorage_;
    InputFunction inputConversion_;
    OutputFunction outputConversion_;
    uint32_t inputChannels_ = 0;
    uint32_t outputChannels_ = 0;
};

extern template class FmtConverter2<float>;
extern template class FmtConverter2<double>;
