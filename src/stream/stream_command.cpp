#include "stream/stream_command.h"

#include <algorithm>
#include <stdexcept>

#include "run/vst_globals.h"
#include "stream/stream_protocol.h"
#include "support/error/error.h"
#include "support/thread/message_pump.h"

std::unique_ptr<StreamProcessor> makeStreamProcessor(VSTGlobals& globals) {
    bool wish = wantsDouble(globals.arguments);
    if (!globals.effect || !globals.effect->aeffect)
        return nullptr;
    const AEffect* plugin = globals.effect->aeffect;
    // A plug-in that cannot do double gets floats; the bytes on the wire
    // stay what the options say either way.
    if (wish && (plugin->flags & effFlagsCanDoubleReplacing) && plugin->processDoubleReplacing)
        return std::unique_ptr<StreamProcessor>(new DoubleStreamProcessor(globals));
    return std::unique_ptr<StreamProcessor>(new FloatStreamProcessor(globals));
}

namespace {

void writeWord(Qz::fileWriter& output, uint32_t value) {
    uint8_t bytes[4];
    writeLE32(bytes, value);
    output.write(bytes, 4);
}

bool plainLoop(VSTGlobals& globals, StreamProcessor& processor, bool formatSet) {
    if (!formatSet)
        throw std::runtime_error("audio format not set");
    Qz::fileReader& input = *globals.input;
    for (;;) {
        Qz::pumpMessages();
        uint64_t count = input.read(processor.blockBuffer(), processor.inputBlockBytes());
        if (count == 0)
            break;
        processor.processData(processor.blockBuffer(), uint32_t(count));
    }
    if (!globals.output)
        return true;
    Qz::pumpMessages();
    std::vector<uint8_t> tail = processor.drainTail();
    if (!tail.empty() && !processor.silent)
        globals.output->write(tail.data(), tail.size());
    return true;
}

class ChunkedLoop {
public:
    ChunkedLoop(VSTGlobals& globals, StreamProcessor& processor, bool formatSet)
        : globals(globals), processor(processor), formatSet(formatSet) {}

    bool run() {
        Qz::fileReader& input = *globals.input;
        for (;;) {
            Qz::pumpMessages();
            uint8_t header[8];
            // A header cut short is how the parent ends the stream.
            if (input.read(header, 4) < 4 || input.read(header + 4, 4) < 4)
                return true;
            uint32_t command = readLE32(header), size = readLE32(header + 4);
            if (size > maxMessagePayload)
                throw std::runtime_error("message too large");
            if (payload.size() < size)
                payload.resize(size);
            if (size != 0 && input.read(payload.data(), size) < size)
                return false;
            act(command, size);
        }
    }

private:
    bool replying() const { return globals.output && !processor.silent; }

    void requireFormat() const {
        if (!formatSet)
            throw std::runtime_error("audio format not set");
    }

    void act(uint32_t command, uint32_t size) {
        switch (command) {
        case STREAM_CMD_PROCESS: {
            requireFormat();
            uint32_t slice = processor.inputBlockBytes();
            for (uint32_t done = 0; done < size;) {
                uint32_t n = slice == 0 ? size - done : std::min(slice, size - done);
                processor.processData(payload.data() + done, n);
                done += n;
            }
            if (replying())
                writeWord(*globals.output, uint32_t(processor.getLatency()));
            break;
        }
        case STREAM_CMD_SET_DATA:
            if (size != 0 && globals.effect)
                globals.effect->applySettings(payload.data(), size);
            break;
        case STREAM_CMD_SET_FORMAT: {
            if (size != streamFormatBytes)
                throw std::runtime_error("bad input");
            StreamFormat format = decodeStreamFormat(payload.data());
            processor.setFormat(format);
            if (replying()) {
                uint8_t reply[streamFormatBytes];
                encodeStreamFormat(reply, format);
                globals.output->write(reply, sizeof reply);
            }
            formatSet = true;
            break;
        }
        case STREAM_CMD_DRAIN: {
            requireFormat();
            if (!globals.output)
                break;
            std::vector<uint8_t> tail = processor.drainTail();
            if (tail.size() > 0xFFFFFFFFu)
                throw Qz::invalid_input();
            writeWord(*globals.output, uint32_t(tail.size()));
            if (!tail.empty())
                globals.output->write(tail.data(), tail.size());
            break;
        }
        case STREAM_CMD_REOPEN:
            processor.reopen();
            break;
        default:
            throw std::runtime_error("unknown command");
        }
    }

    VSTGlobals& globals;
    StreamProcessor& processor;
    bool formatSet;
    std::vector<uint8_t> payload; // reused from message to message; never shrinks
};

} // namespace

bool process(VSTGlobals& globals) {
    std::unique_ptr<StreamProcessor> processor = makeStreamProcessor(globals);
    if (!processor)
        return false;

    bool formatSet = false;
    StreamFormat format = initialFormat(globals.arguments);
    if (isUsable(format)) {
        StreamFormat asked = format;
        processor->setFormat(format);
        // A changed mask is fine; fewer channels or another rate are not
        // what the parent will send and expect back.
        if (format.sampleRate != asked.sampleRate || format.inputChannels != asked.inputChannels ||
            format.outputChannels != asked.outputChannels)
            throw std::runtime_error("unsupported stream format");
        formatSet = true;
    }

    const std::string* protocol = findOption(globals.arguments, "--protocol");
    if (protocol && *protocol == "chunked")
        return ChunkedLoop(globals, *processor, formatSet).run();
    return plainLoop(globals, *processor, formatSet);
}
