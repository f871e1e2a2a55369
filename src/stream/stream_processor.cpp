#include "stream/stream_processor.h"

#include <cstring>
#include <algorithm>
#include <stdexcept>

#include "run/vst_globals.h"
#include "effect/open_module.h"

namespace {

int32_t formatTagOption(const OptionMap& arguments) {
    int32_t tag = decimalOption(arguments, "--formattag", 0);
    return tag > 0 ? tag : 1;
}

bool runOn(VSTEffect& effect, float** inputs, float** outputs, uint32_t frames) {
    return effect.processFloat(inputs, outputs, frames);
}

bool runOn(VSTEffect& effect, double** inputs, double** outputs, uint32_t frames) {
    return effect.processDouble(inputs, outputs, frames);
}

} // namespace

StreamProcessor::StreamProcessor(VSTGlobals& globals)
    : globals(globals), bits(decimalOption(globals.arguments, "--bits", 0)),
      formatTag(formatTagOption(globals.arguments)) {}

void StreamProcessor::resizeFor(const StreamFormat& format) {
    uint32_t sampleBytes = uint32_t(bits) / 8;
    inFrameBytes = sampleBytes * format.inputChannels;
    outFrameBytes = sampleBytes * format.outputChannels;
    inBlockBytes = inFrameBytes * blockFrames;
    outBlockBytes = outFrameBytes * blockFrames;
    std::vector<uint8_t>(std::max(inBlockBytes, outBlockBytes), 0).swap(buffer);
}

uint64_t StreamProcessor::getLatency() const { return globals.effect ? globals.effect->latency() : 0; }

void StreamProcessor::reopen() {
    VstPluginMainProc entry = globals.effect ? globals.effect->entryPoint : nullptr;
    // The module moves out first, so that it outlives the old effect.
    std::shared_ptr<VST3::Hosting::Module> module;
    if (globals.effect)
        module = std::move(globals.effect->module);
    globals.effect.reset();

    std::unique_ptr<VSTEffect> fresh = VSTEffect::create(globals.arguments);
    bool opened = false;
    if (entry)
        opened = fresh->openEntry(entry);
    else if (module)
        opened = openFactory(*fresh, std::move(module));
    if (!opened)
        throw std::runtime_error("Could not reopen VST");
    globals.effect = std::move(fresh);
}

template <class T>
SampleStreamProcessor<T>::SampleStreamProcessor(VSTGlobals& globals) : StreamProcessor(globals) {
    std::memset(&format, 0, sizeof format);
}

template <class T> void SampleStreamProcessor<T>::setFormat(StreamFormat& requested) {
    VSTEffect* effect = globals.effect.get();
    if (effect)
        effect->setPrecision(sizeof(T) == sizeof(double));
    if (!effect || !effect->negotiateFormat(requested))
        throw std::runtime_error("VST refused audio format");
    if (!converter.setup(requested.inputChannels, requested.outputChannels, bits, formatTag == 3))
        throw std::runtime_error("Format conversion failure");
    format = requested;
    resizeFor(format);
}

template <class T> bool SampleStreamProcessor<T>::runPlugin(uint32_t frames) {
    return globals.effect && runOn(*globals.effect, converter.planesIn(), converter.planesOut(), frames);
}

template <class T> void SampleStreamProcessor<T>::processData(const void* bytes, uint32_t size) {
    if (inFrameBytes == 0)
        throw std::runtime_error("audio format has no input channels");
    uint32_t frames = size / inFrameBytes;
    if (size % inFrameBytes != 0)
        throw std::runtime_error("bad data alignment");
    converter.inputConversion(bytes, frames);
    if (!runPlugin(frames))
        throw std::runtime_error("VST processing failure");
    if (globals.output && !silent) {
        converter.outputConversion(buffer.data(), frames);
        globals.output->write(buffer.data(), uint64_t(frames) * outFrameBytes);
    }
}

template <class T> bool SampleStreamProcessor<T>::outputIsSilent(uint32_t frames) {
    T* const* planes = converter.planesOut();
    for (uint32_t c = 0; c < format.outputChannels; ++c)
        for (uint32_t i = 0; i < frames; ++i)
            if (!(planes[c][i] == T(0))) // a NaN is not silence
                return false;
    return true;
}

template <class T> std::vector<uint8_t> SampleStreamProcessor<T>::drainTail() {
    std::vector<uint8_t> tail;
    tail.reserve(0x100000);
    if (!globals.effect)
        return tail;

    uint64_t frames = globals.effect->tailSize();
    if (frames == 1)
        return tail; // the plug-in says it has none
    if (frames == 0)
        frames = format.sampleRate / 10; // it does not say: a tenth of a second
    // A minute or more is not believed.
    if (frames >= uint64_t(format.sampleRate) * 60)
        return tail;

    while (frames > 0) {
        converter.zeroPlanes();
        uint32_t n = uint32_t(std::min<uint64_t>(frames, blockFrames));
        if (!runPlugin(n))
            return tail;
        if (outputIsSilent(n))
            return tail;
        converter.outputConversion(buffer.data(), n);
        tail.insert(tail.end(), buffer.data(), buffer.data() + size_t(n) * outFrameBytes);
        frames -= n;
    }
    return tail;
}

template class SampleStreamProcessor<float>;
template class SampleStreamProcessor<double>;
