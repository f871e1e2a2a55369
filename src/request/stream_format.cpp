#include "request/stream_format.h"

uint32_t countBits(uint32_t mask) {
    uint32_t count = 0;
    for (; mask; mask &= mask - 1)
        ++count;
    return count;
}

uint32_t channelMaskRule(uint32_t channels, uint32_t mask) {
    if (channels == 0)
        return 0;
    if (mask != 0 && countBits(mask) == channels)
        return mask;
    switch (channels) {
    case 1:
        return 0x4;
    case 2:
        return 0x3;
    case 4:
        return 0x33;
    case 6:
        return 0x3F;
    default:
        return 0;
    }
}

bool wantsDouble(const OptionMap& arguments) {
    if (const std::string* float64 = findOption(arguments, "--float64"))
        return decimalValue(*float64) > 0;
    int32_t bits = decimalOption(arguments, "--bits", 0);
    const std::string* tag = findOption(arguments, "--formattag");
    if (tag && decimalValue(*tag) == 3)
        return bits > 32;
    return bits > 24;
}

StreamFormat initialFormat(const OptionMap& arguments) {
    StreamFormat format;
    format.sampleRate = uint32_t(decimalOption(arguments, "--rate", 0));
    format.inputChannels = uint32_t(decimalOption(arguments, "--channels", 0));
    format.outputChannels = uint32_t(decimalOption(arguments, "--channels-output", 0));
    format.inputMask = channelMaskRule(format.inputChannels, uint32_t(decimalOption(arguments, "--chanmask", 0)));
    format.outputMask =
        channelMaskRule(format.outputChannels, uint32_t(decimalOption(arguments, "--chanmask-output", 0)));
    if (format.outputChannels == 0) {
        format.outputChannels = format.inputChannels;
        format.outputMask = format.inputMask;
    }
    return format;
}

bool isUsable(const StreamFormat& format) {
    return format.sampleRate >= 100 && format.sampleRate <= 10000000 && format.inputChannels >= 1 &&
           format.inputChannels <= 32 && format.outputChannels >= 1 && format.outputChannels <= 32;
}
