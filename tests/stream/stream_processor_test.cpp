// The stream processor against an in-process stand-in plug-in: the blocks it
// refuses, the block that allocates nothing, and the tail drain's length,
// early end and clean input.

#include "stream/stream_processor.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "../effect/fake_plugin.h"
#include "counting_allocator.h"
#include "run/vst_globals.h"

namespace {

class MemoryWriter : public Qz::fileWriter {
public:
    void write(const void* buffer, uint64_t size) override { bytes.append(static_cast<const char*>(buffer), size); }
    std::string bytes;
};

// A float processor on the stand-in, opened with `pins` of each kind, whose
// output goes to memory. The stand-in outlives the globals, which close it.
struct Rig {
    FakePlugin plugin;
    VSTGlobals globals;
    std::shared_ptr<MemoryWriter> output = std::make_shared<MemoryWriter>();
    std::unique_ptr<FloatStreamProcessor> processor;

    explicit Rig(StreamFormat format = {44100, 2, 0, 2, 0}, VstInt32 pins = 2) {
        plugin.record.numInputs = plugin.record.numOutputs = pins;
        globals.arguments = OptionMap({{"--bits", "16"}});
        globals.output = output;
        globals.effect.reset(new VSTEffect());
        if (!globals.effect->openEffect(&plugin.record))
            throw std::runtime_error("could not open the stand-in");
        processor.reset(new FloatStreamProcessor(globals));
        processor->setFormat(format);
    }
    void process(const std::string& bytes) { processor->processData(bytes.data(), uint32_t(bytes.size())); }
};

TEST(StreamProcessor, RefusedBlocksNeverReachThePlugin) {
    struct Case {
        const char* name;
        uint32_t inputChannels, size;
        bool stopped;
        const char* error;
    } cases[] = {
        {"half a frame", 2, 4 * 3 + 2, false, "bad data alignment"},
        {"no input channels", 0, 0, false, "audio format has no input channels"},
        {"stopped plug-in", 2, 8, true, "VST processing failure"},
    };
    for (const Case& c : cases) {
        Rig rig({44100, c.inputChannels, 0, 2, 0});
        if (c.stopped)
            rig.globals.effect->suspend();
        std::string error = "(nothing thrown)";
        try {
            rig.process(std::string(c.size, '\x10'));
        } catch (const std::exception& e) {
            error = e.what();
        }
        EXPECT_EQ(error, c.error) << c.name;
        EXPECT_TRUE(rig.plugin.blocks.empty()) << c.name;
    }
}

TEST(StreamProcessor, SteadyStateBlockAllocatesNothing) {
    for (VstInt32 pins : {2, 4}) { // 4 pins: the scratch planes are in play too
        Rig rig({44100, 2, 0, 2, 0}, pins);
        std::string block(rig.processor->inputBlockBytes(), '\x10');
        rig.output->bytes.reserve(block.size() * 64);
        rig.plugin.blocks.reserve(64);
        rig.process(block); // the first block may grow things
        allocationCount = 0;
        countAllocations = true;
        for (int i = 0; i < 50; ++i)
            rig.process(block);
        countAllocations = false;
        EXPECT_EQ(allocationCount.load(), 0) << pins << " pins";
    }
}

// After a block of loud input, the plug-in answers `answer` to the tail
// question and puts out `value` for the first `loudBlocks` blocks of the
// drain, then silence.
TEST(StreamProcessor, TailLengthAndEnd) {
    struct Case {
        const char* name;
        VstIntPtr answer;
        size_t loudBlocks;
        float value;
        size_t frames;
    } cases[] = {
        {"1 says none", 1, 10000, 0.25f, 0},
        {"0 says nothing: a tenth of a second", 0, 10000, 0.25f, 4410},
        {"as told", 700, 10000, 0.25f, 700},
        {"a minute is not believed", 2646000, 10000, 0.25f, 0},
        {"only the low 32 bits count", VstIntPtr(0x100000000) + 5, 10000, 0.25f, 5},
        {"ends at the first silent block", 44100, 2, 0.25f, 1024},
        {"a silent first block ends it at once", 44100, 0, 0.25f, 0},
        {"NaN is not silence", 44100, 1, std::numeric_limits<float>::quiet_NaN(), 512},
    };
    for (const Case& c : cases) {
        Rig rig;
        bool inputsClean = true;
        rig.plugin.render = [&](float** in, float** out, VstInt32 frames) {
            size_t drained = rig.plugin.blocks.size() - 1; // this call included
            for (VstInt32 i = 0; i < 2 * frames; ++i) {
                inputsClean = inputsClean && (drained == 0 || in[i % 2][i / 2] == 0.0f);
                out[i % 2][i / 2] = drained == 0 ? 0.5f : drained <= c.loudBlocks ? c.value : 0.0f;
            }
        };
        rig.plugin.tailAnswer = c.answer;
        rig.process(std::string(512 * 4, '\x7f'));
        EXPECT_EQ(rig.processor->drainTail().size(), c.frames * 4) << c.name;
        EXPECT_TRUE(inputsClean) << c.name << ": the drain runs silence";
        EXPECT_EQ(rig.output->bytes.size(), 512u * 4) << c.name << ": the drain writes nothing itself";
        if (c.frames == 4410) {
            std::vector<VstInt32> blocks(9, 512); // the loud block, then 8 x 512 + 314
            blocks.push_back(314);
            EXPECT_EQ(rig.plugin.blocks, blocks) << c.name;
        }
    }
}

} // namespace
