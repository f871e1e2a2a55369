// The stream's format: what the command line asks for and what goes over
// the wire in the chunked protocol. Pure code, no Win32.
#pragma once

#include <cstdint>

#include "request/options.h"

// In memory and on the wire alike: five unsigned 32-bit little-endian
// fields, 20 bytes, no gaps. Masks use the wave channel-mask bit layout
// (bit 0 front left, bit 1 front right, bit 2 centre, ...); 0 means
// unspecified.
struct StreamFormat {
    uint32_t sampleRate;
    uint32_t inputChannels;
    uint32_t inputMask;
    uint32_t outputChannels;
    uint32_t outputMask;
};
static_assert(sizeof(StreamFormat) == 20, "StreamFormat is a wire record");

uint32_t countBits(uint32_t mask);

// A mask that names exactly `channels` speakers is kept; otherwise the
// usual layout for that many channels, or 0 when there is none.
uint32_t channelMaskRule(uint32_t channels, uint32_t mask);

// Whether the options ask for double-precision processing: --float64 when
// given, else wide samples (integer above 24 bits, float above 32 bits).
bool wantsDouble(const OptionMap& arguments);

// The format the command line describes (--rate, --channels,
// --channels-output, --chanmask, --chanmask-output); output follows input
// when --channels-output is absent or 0.
StreamFormat initialFormat(const OptionMap& arguments);

// Rate from 100 to 10000000 Hz and 1 to 32 channels on each side.
bool isUsable(const StreamFormat& format);
