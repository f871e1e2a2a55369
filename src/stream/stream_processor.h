// The object between a byte stream and the plug-in: one negotiated format,
// one pair of sample conversions, one block buffer. Callers hand it at most
// one block (512 frames) of bytes at a time.
//
// Threads: all calls into one processor come from one thread (the main
// thread in `process`).
#pragma once

#include <cstdint>
#include <vector>

#include "stream/fmt_converter.h"
#include "request/stream_format.h"

struct VSTGlobals;

class StreamProcessor {
public:
    // Frames per block, everywhere: effSetBlockSize, planes, slicing.
    static const uint32_t blockFrames = 512;

    // Makes the plug-in agree with `format` (changed in place to what was
    // granted) and sets up conversions and the block buffer. Throws "VST
    // refused audio format" or "Format conversion failure", leaving the
    // previous format in place.
    virtual void setFormat(StreamFormat& format) = 0;
    // Converts `size` bytes (whole frames, at most one block), runs the
    // plug-in and writes the converted output to globals.output. Throws
    // "bad data alignment" or "VST processing failure".
    virtual void processData(const void* bytes, uint32_t size) = 0;
    // Runs silence through the plug-in until its tail ends; the tail's bytes
    // in the stream's encoding. Writes nothing by itself.
    virtual std::vector<uint8_t> drainTail() = 0;
    // The plug-in's delay in frames, read fresh each time.
    uint64_t getLatency() const;
    // Replaces the plug-in with a new instance from the same library or
    // module. Throws "Could not reopen VST", leaving no effect.
    void reopen();
    virtual ~StreamProcessor() = default;

    // Block buffer: the plain loop reads into it; output is converted into
    // it. Empty until the first setFormat.
    uint8_t* blockBuffer() { return buffer.data(); }
    uint32_t inputBlockBytes() const { return inBlockBytes; }
    uint32_t inputFrameBytes() const { return inFrameBytes; }
    uint32_t outputFrameBytes() const { return outFrameBytes; }

    // True in the live loop: the plug-in runs, but nothing is converted or
    // written out.
    bool silent = false;

protected:
    explicit StreamProcessor(VSTGlobals& globals);
    void resizeFor(const StreamFormat& format);

    VSTGlobals& globals;
    const int32_t bits;      // --bits, 0 when absent; a stream never changes its encoding
    const int32_t formatTag; // --formattag when above 0, else 1 (integer PCM)
    std::vector<uint8_t> buffer;
    uint32_t inFrameBytes = 0;
    uint32_t outFrameBytes = 0;
    uint32_t inBlockBytes = 0;
    uint32_t outBlockBytes = 0;
};

// The float and double processors differ only in their sample type.
template <class T> class SampleStreamProcessor : public StreamProcessor {
public:
    explicit SampleStreamProcessor(VSTGlobals& globals);
    void setFormat(StreamFormat& format) override;
    void processData(const void* bytes, uint32_t size) override;
    std::vector<uint8_t> drainTail() override;

    const StreamFormat& currentFormat() const { return format; }

private:
    bool runPlugin(uint32_t frames);
    bool outputIsSilent(uint32_t frames);

    FmtConverter2<T> converter;
    StreamFormat format; // as negotiated by the last successful setFormat
};

typedef SampleStreamProcessor<float> FloatStreamProcessor;
typedef SampleStreamProcessor<double> DoubleStreamProcessor;
