// The stream processor against an in-process stand-in plug-in: format
// set-up, one block through the plug-in with exact bytes out, the tail
// drain's limits and early end, reopening, and the allocation-free block.

#include "stream/stream_processor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "../vst2/fake_plugin.h"
#include "counting_allocator.h"
#include "host/vst_globals.h"
#include "memory_streams.h"

namespace {

// A plug-in opened on a VSTGlobals whose output is a memory writer. The
// stand-in outlives the globals, which close it.
struct Rig {
    FakePlugin plugin;
    VSTGlobals globals;
    std::shared_ptr<MemoryWriter> output = std::make_shared<MemoryWriter>();

    explicit Rig(std::initializer_list<OptionMap::value_type> arguments,
                 VstInt32 flags = effFlagsCanReplacing | effFlagsCanDoubleReplacing)
        : plugin(flags) {
        globals.arguments = OptionMap(arguments);
        globals.output = output;
        globals.effect.reset(new VSTEffect());
        if (!globals.effect->openEffect(&plugin.record))
            throw std::runtime_error("could not open the stand-in");
    }
};

std::string pcm16(std::initializer_list<int16_t> samples) {
    std::string bytes;
    for (int16_t s : samples) {
        bytes.push_back(char(uint16_t(s) & 0xFF));
        bytes.push_back(char(uint16_t(s) >> 8));
    }
    return bytes;
}

std::string throwText(const std::function<void()>& f) {
    try {
        f();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "(nothing thrown)";
}

TEST(StreamProcessorFormat, PrecisionThenNegotiation) {
    Rig rig({{"--bits", "16"}});
    FloatStreamProcessor floats(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    rig.plugin.calls.clear();
    floats.setFormat(format);
    EXPECT_EQ(rig.plugin.calls.front(), "77 0 0");
    EXPECT_EQ(floats.inputFrameBytes(), 4u);
    EXPECT_EQ(floats.inputBlockBytes(), 2048u);
    EXPECT_FALSE(rig.globals.effect->useDouble);

    DoubleStreamProcessor doubles(rig.globals);
    rig.plugin.calls.clear();
    doubles.setFormat(format);
    EXPECT_EQ(rig.plugin.calls.front(), "77 0 1");
    EXPECT_TRUE(rig.globals.effect->useDouble);
}

TEST(StreamProcessorFormat, FailuresKeepThePreviousFormat) {
    Rig rig({{"--bits", "12"}});
    FloatStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    EXPECT_EQ(throwText([&] { processor.setFormat(format); }), "Format conversion failure");
    EXPECT_EQ(processor.currentFormat().sampleRate, 0u);

    Rig good({{"--bits", "16"}});
    FloatStreamProcessor other(good.globals);
    other.setFormat(format);
    good.plugin.record.numInputs = 0;
    StreamFormat next = {48000, 1, 0, 1, 0};
    EXPECT_EQ(throwText([&] { other.setFormat(next); }), "VST refused audio format");
    EXPECT_EQ(other.currentFormat().sampleRate, 44100u);
    EXPECT_EQ(other.inputBlockBytes(), 2048u);
}

TEST(StreamProcessorBlocks, ExactBytesThroughAKnownFunction) {
    Rig rig({{"--bits", "16"}});
    // Left halves, right inverts: exact in 16 bits.
    rig.plugin.render = [](float** in, float** out, VstInt32 frames) {
        for (VstInt32 i = 0; i < frames; ++i) {
            out[0][i] = in[0][i] * 0.5f;
            out[1][i] = -in[1][i];
        }
    };
    FloatStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    processor.setFormat(format);
    std::string in = pcm16({1000, 2000, -32768, 32767, 3, -3});
    processor.processData(in.data(), uint32_t(in.size()));
    EXPECT_EQ(rig.output->bytes, pcm16({500, -2000, -16384, -32767, 2, 3}));
    EXPECT_EQ(rig.plugin.blocks, std::vector<VstInt32>({3}));
}

TEST(StreamProcessorBlocks, MisalignedBlockIsDroppedWhole) {
    Rig rig({{"--bits", "16"}});
    FloatStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    processor.setFormat(format);
    std::string in(4 * 3 + 2, '\0');
    EXPECT_EQ(throwText([&] { processor.processData(in.data(), uint32_t(in.size())); }), "bad data alignment");
    EXPECT_TRUE(rig.plugin.blocks.empty());
    EXPECT_TRUE(rig.output->bytes.empty());
}

TEST(StreamProcessorBlocks, NoInputChannelsIsAnError) {
    Rig rig({{"--bits", "16"}});
    FloatStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 0, 0, 2, 0};
    processor.setFormat(format);
    EXPECT_EQ(throwText([&] { processor.processData("", 0); }), "audio format has no input channels");
}

TEST(StreamProcessorBlocks, StoppedPluginIsAProcessingFailure) {
    Rig rig({{"--bits", "16"}});
    FloatStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    processor.setFormat(format);
    rig.globals.effect->suspend();
    std::string in(8, '\0');
    EXPECT_EQ(throwText([&] { processor.processData(in.data(), 8); }), "VST processing failure");
}

TEST(StreamProcessorBlocks, SilentProcessorRunsThePluginAndWritesNothing) {
    Rig rig({{"--bits", "32"}, {"--formattag", "3"}});
    FloatStreamProcessor processor(rig.globals);
    processor.silent = true;
    StreamFormat format = {44100, 2, 0, 2, 0};
    processor.setFormat(format);
    std::string in(8 * 512, '\x01');
    processor.processData(in.data(), uint32_t(in.size()));
    EXPECT_EQ(rig.plugin.blocks.size(), 1u);
    EXPECT_TRUE(rig.output->bytes.empty());
}

TEST(StreamProcessorBlocks, SteadyStateAllocatesNothing) {
    for (VstInt32 pins : {2, 4}) { // 4 pins: the scratch planes are in play too
        Rig rig({{"--bits", "24"}});
        rig.plugin.record.numInputs = rig.plugin.record.numOutputs = pins;
        FloatStreamProcessor processor(rig.globals);
        StreamFormat format = {48000, 2, 0, 2, 0};
        processor.setFormat(format);
        std::string block(processor.inputBlockBytes(), '\x10');
        rig.output->bytes.reserve(block.size() * 64);
        rig.plugin.blocks.reserve(64);
        processor.processData(block.data(), uint32_t(block.size())); // the first block may grow things

        allocationCount = 0;
        countAllocations = true;
        for (int i = 0; i < 50; ++i)
            processor.processData(block.data(), uint32_t(block.size()));
        countAllocations = false;
        EXPECT_EQ(allocationCount.load(), 0) << pins << " pins";
    }
}

TEST(StreamProcessorLatency, ReadFreshAndNeverNegative) {
    Rig rig({{"--bits", "16"}});
    FloatStreamProcessor processor(rig.globals);
    EXPECT_EQ(processor.getLatency(), 0u);
    rig.plugin.record.initialDelay = 512;
    EXPECT_EQ(processor.getLatency(), 512u);
    rig.plugin.record.initialDelay = -5;
    EXPECT_EQ(processor.getLatency(), 0u);
}

// The plug-in sounds for `loudBlocks` audio calls, then falls silent.
void soundFor(Rig& rig, size_t loudBlocks, float value = 0.25f) {
    rig.plugin.render = [&rig, loudBlocks, value](float**, float** out, VstInt32 frames) {
        float v = rig.plugin.blocks.size() <= loudBlocks ? value : 0.0f;
        for (VstInt32 c = 0; c < 2; ++c)
            for (VstInt32 i = 0; i < frames; ++i)
                out[c][i] = v;
    };
}

TEST(StreamProcessorTail, LengthFromThePluginsAnswer) {
    struct Case {
        VstIntPtr answer;
        size_t expectedFrames;
    } cases[] = {
        {1, 0},                 // no tail
        {0, 4410},              // unknown: a tenth of a second, 8 x 512 + 314
        {700, 700},             // as told
        {2646000, 0},           // a minute or more is not believed
        {2645999, 2645999},     // just under a minute runs
        {VstIntPtr(0x100000000) + 5, 5}, // only the low 32 bits count
    };
    for (const Case& c : cases) {
        Rig rig({{"--bits", "16"}});
        soundFor(rig, 100000);
        rig.plugin.tailAnswer = c.answer;
        FloatStreamProcessor processor(rig.globals);
        StreamFormat format = {44100, 2, 0, 2, 0};
        processor.setFormat(format);
        std::vector<uint8_t> tail = processor.drainTail();
        EXPECT_EQ(tail.size(), c.expectedFrames * 4) << "answer " << c.answer;
        EXPECT_TRUE(rig.output->bytes.empty()) << "the drain writes nothing itself";
        if (c.answer == 0) {
            std::vector<VstInt32> blocks(8, 512);
            blocks.push_back(314);
            EXPECT_EQ(rig.plugin.blocks, blocks);
        }
    }
}

TEST(StreamProcessorTail, EndsAtTheFirstSilentBlock) {
    Rig rig({{"--bits", "16"}});
    soundFor(rig, 2);
    rig.plugin.tailAnswer = 44100;
    FloatStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    processor.setFormat(format);
    std::vector<uint8_t> tail = processor.drainTail();
    EXPECT_EQ(tail.size(), 2u * 512 * 4);
    EXPECT_EQ(rig.plugin.blocks.size(), 3u) << "the silent block is run but not kept";
    // 0.25 in 16 bits is 8192 = 0x2000, little-endian.
    EXPECT_EQ(tail[0], 0x00);
    EXPECT_EQ(tail[1], 0x20);

    Rig quiet({{"--bits", "16"}});
    soundFor(quiet, 0);
    quiet.plugin.tailAnswer = 44100;
    FloatStreamProcessor second(quiet.globals);
    second.setFormat(format);
    EXPECT_TRUE(second.drainTail().empty()) << "a silent first block ends the tail at once";
}

TEST(StreamProcessorTail, NanIsNotSilenceAndPlanesStartClean) {
    Rig rig({{"--bits", "32"}, {"--formattag", "3"}});
    float fill = std::numeric_limits<float>::quiet_NaN();
    bool inputsClean = true;
    rig.plugin.render = [&](float** in, float** out, VstInt32 frames) {
        for (VstInt32 c = 0; c < 2; ++c)
            for (VstInt32 i = 0; i < frames; ++i) {
                bool draining = rig.plugin.blocks.size() >= 2;
                inputsClean = inputsClean && (!draining || in[c][i] == 0.0f);
                out[c][i] = rig.plugin.blocks.size() == 2 ? fill : 0.0f;
            }
    };
    rig.plugin.tailAnswer = 2048;
    FloatStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    processor.setFormat(format);
    std::string loud(8 * 512, '\x7f');
    processor.processData(loud.data(), uint32_t(loud.size()));
    EXPECT_EQ(processor.drainTail().size(), 512u * 8);
    EXPECT_TRUE(inputsClean);
}

TEST(StreamProcessorTail, DoublePrecision) {
    Rig rig({{"--bits", "32"}});
    rig.plugin.renderDouble = [&rig](double**, double** out, VstInt32 frames) {
        for (VstInt32 c = 0; c < 2; ++c)
            for (VstInt32 i = 0; i < frames; ++i)
                out[c][i] = rig.plugin.blocks.size() == 1 ? 0.5 : 0.0;
    };
    rig.plugin.tailAnswer = 600;
    DoubleStreamProcessor processor(rig.globals);
    StreamFormat format = {44100, 2, 0, 2, 0};
    processor.setFormat(format);
    std::vector<uint8_t> tail = processor.drainTail();
    ASSERT_EQ(tail.size(), 512u * 8);
    EXPECT_EQ(tail[3], 0x40) << "0.5 as signed 32-bit is 0x40000000";
}

TEST(StreamProcessorReopen, WithoutAnEntryTheEffectIsGone) {
    Rig rig({{"--bits", "16"}});
    FloatStreamProcessor processor(rig.globals);
    EXPECT_EQ(throwText([&] { processor.reopen(); }), "Could not reopen VST");
    EXPECT_FALSE(rig.globals.effect);
    EXPECT_EQ(rig.plugin.callsOf(effClose).size(), 1u) << "the old instance was closed first";
}

FakePlugin* nextPlugin = nullptr;
AEffect* VSTCALLBACK fakeEntry(audioMasterCallback) { return nextPlugin ? &nextPlugin->record : nullptr; }

TEST(StreamProcessorReopen, NewInstanceFromTheSameEntry) {
    FakePlugin second;
    Rig rig({{"--bits", "16"}, {"--process", "realtime"}});
    rig.globals.effect->entryPoint = &fakeEntry;
    nextPlugin = &second;
    FloatStreamProcessor processor(rig.globals);
    processor.reopen();
    nextPlugin = nullptr;
    ASSERT_TRUE(rig.globals.effect);
    EXPECT_EQ(rig.globals.effect->aeffect, &second.record);
    EXPECT_EQ(rig.globals.effect->processLevel, kVstProcessLevelRealtime);
    EXPECT_EQ(rig.globals.effect->sampleRate, 0u) << "--rate is not applied again";
    EXPECT_EQ(rig.plugin.callsOf(effClose).size(), 1u);
    rig.globals.effect.reset(); // close `second` while it still exists
}

} // namespace
