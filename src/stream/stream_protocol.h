// The chunked stream's wire vocabulary. Every message from the parent is an
// 8-byte header (command, payload size; unsigned 32-bit little-endian) and
// its payload. Replies carry no header: the parent reads them by count.
#pragma once

#include <cstdint>

enum StreamCommand : uint32_t {
    STREAM_CMD_PROCESS = 1,    // samples in; samples out, then 4 bytes of latency
    STREAM_CMD_SET_DATA = 2,   // settings blob; no reply
    STREAM_CMD_SET_FORMAT = 3, // a 20-byte StreamFormat; the granted one back
    STREAM_CMD_DRAIN = 4,      // payload ignored; 4 bytes of length, then the tail
    STREAM_CMD_REOPEN = 5,     // payload ignored; no reply
};

// No real message comes near this; a larger size is refused before
// anything is allocated for it. (Ten minutes of 32 channels of 64-bit
// samples at 48 kHz is about 1.4 GiB; a parent sends far smaller pieces.)
const uint32_t maxMessagePayload = 256u * 1024 * 1024;

#include "request/stream_format.h"

inline uint32_t readLE32(const uint8_t* bytes) {
    return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

inline void writeLE32(uint8_t* bytes, uint32_t value) {
    bytes[0] = uint8_t(value);
    bytes[1] = uint8_t(value >> 8);
    bytes[2] = uint8_t(value >> 16);
    bytes[3] = uint8_t(value >> 24);
}

const uint32_t streamFormatBytes = 20;

inline StreamFormat decodeStreamFormat(const uint8_t* bytes) {
    StreamFormat format;
    format.sampleRate = readLE32(bytes);
    format.inputChannels = readLE32(bytes + 4);
    format.inputMask = readLE32(bytes + 8);
    format.outputChannels = readLE32(bytes + 12);
    format.outputMask = readLE32(bytes + 16);
    return format;
}

inline void encodeStreamFormat(uint8_t* bytes, const StreamFormat& format) {
    writeLE32(bytes, format.sampleRate);
    writeLE32(bytes + 4, format.inputChannels);
    writeLE32(bytes + 8, format.inputMask);
    writeLE32(bytes + 12, format.outputChannels);
    writeLE32(bytes + 16, format.outputMask);
}
