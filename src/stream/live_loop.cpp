#include "stream/live_loop.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <vector>

#include "run/vst_globals.h"
#include "stream/stream_processor.h"
#include "stream/stream_protocol.h"
#include "support/file/std_channels.h"
#include "support/thread/abort.h"

namespace {

void run(VSTGlobals& globals) {
    if (!globals.effect)
        throw std::runtime_error("no VST set");
    // Always floats: the audio goes nowhere, so double precision would buy
    // nothing, and the encoding on the wire still follows --bits.
    FloatStreamProcessor processor(globals);
    processor.silent = true;
    bool accepted = false;
    std::vector<uint8_t> payload; // reused; never shrinks
    Qz::fileReader& input = *globals.input;
    for (;;) {
        Qz::abortCheck();
        uint8_t header[8];
        // The parent ends the stream by closing it; a message cut anywhere,
        // even in its payload, is that end and not a failure: the window
        // stays the parent's answer.
        if (input.read(header, 8) < 8)
            return;
        uint32_t command = readLE32(header), size = readLE32(header + 4);
        if (size > maxMessagePayload)
            throw std::runtime_error("message too large");
        if (payload.size() < size)
            payload.resize(size);
        if (size != 0 && input.read(payload.data(), size) < size)
            return;
        Qz::abortCheck();

        switch (command) {
        case STREAM_CMD_PROCESS: {
            if (!accepted)
                break; // audio for a format the plug-in would not take
            uint32_t slice = processor.inputBlockBytes();
            for (uint32_t done = 0; done < size;) {
                uint32_t n = slice == 0 ? size - done : std::min(slice, size - done);
                processor.processData(payload.data() + done, n);
                done += n;
            }
            break;
        }
        case STREAM_CMD_SET_FORMAT: {
            if (size != streamFormatBytes)
                throw std::runtime_error("bad input");
            StreamFormat format = decodeStreamFormat(payload.data());
            const uint32_t asked = format.inputChannels;
            processor.setFormat(format);
            // Fewer outputs or other masks do not matter: the output goes
            // nowhere. Fewer inputs would mean audio cut to fit.
            accepted = format.inputChannels == asked;
            break;
        }
        default:
            throw std::runtime_error("unknown command");
        }
    }
}

} // namespace

void liveLoop(VSTGlobals& globals) {
    try {
        run(globals);
    } catch (const std::exception& e) {
        std::fprintf(Qz::standardError(), "Live data processing error: %s", e.what());
        std::fflush(Qz::standardError());
    }
}
