// The two state forms of the adapter: the preset image kept in the settings
// file and the chunk of effGetChunk/effSetChunk. The image's bytes are read
// back by other hosts and by older fxhost builds, so its layout is checked
// byte by byte; loading is checked for what reaches the plug-in.

#include "vst3/adapter_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

#include "pluginterfaces/vst/ivstattributes.h"
#include "stub_plugin.h"
#include "vst3/preset_keys.h"

using namespace Steinberg;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytesOf(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

std::string textOf(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

std::string textAt(const Bytes& bytes, size_t offset, size_t count) {
    if (offset + count > bytes.size())
        return "<beyond the end>";
    return std::string(bytes.begin() + static_cast<ptrdiff_t>(offset),
                       bytes.begin() + static_cast<ptrdiff_t>(offset + count));
}

int64 intAt(const Bytes& bytes, size_t offset, size_t count) {
    uint64_t value = 0;
    for (size_t i = count; i-- > 0;)
        value = (value << 8) | bytes.at(offset + i);
    if (count == 4)
        return static_cast<int32>(value);
    return static_cast<int64>(value);
}

void putInt(Bytes& bytes, uint64_t value, size_t count) {
    for (size_t i = 0; i < count; ++i, value >>= 8)
        bytes.push_back(static_cast<uint8_t>(value));
}

// Class id bytes A0..AF, so that the order of the text shows which byte
// went where.
FUID testClassId() {
    TUID bytes;
    for (int i = 0; i < 16; ++i)
        bytes[i] = static_cast<char>(0xA0 + i);
    return FUID::fromTUID(bytes);
}
// COM order: the first three fields byte-swapped, the last eight as they are.
const char* const kTestClassText = "A3A2A1A0A5A4A7A6A8A9AAABACADAEAF";

const std::string kComponentState = "comp-state"; // 10 bytes
const std::string kControllerState = "ctl";

// What the stubs were given, one line per call: "<call> <bytes> <StateType>",
// the attribute "-" when the stream has none.
struct Plugin {
    std::vector<std::string> log;
    IPtr<StubComponent> component = owned(new StubComponent);
    IPtr<StubController> controller = owned(new StubController);

    Plugin() {
        component->getStateFunc = [](IBStream* s) { return writeAll(s, bytesOf(kComponentState)); };
        controller->getStateFunc = [](IBStream* s) { return writeAll(s, bytesOf(kControllerState)); };
        component->setStateFunc = [this](IBStream* s) { return record("component.setState", s); };
        controller->setComponentStateFunc = [this](IBStream* s) { return record("controller.setComponentState", s); };
        controller->setStateFunc = [this](IBStream* s) { return record("controller.setState", s); };
        controller->setParamNormalizedFunc = [this](Vst::ParamID id, Vst::ParamValue value) {
            log.push_back("controller.setParamNormalized " + std::to_string(id) + " " + std::to_string(value));
            return kResultOk;
        };
    }

    tresult record(const char* call, IBStream* stream) {
        std::string stateType = "-";
        FUnknownPtr<Vst::IStreamAttributes> attributes(stream);
        if (attributes && attributes->getAttributes()) {
            Vst::String128 value = {};
            if (attributes->getAttributes()->getString(Vst::PresetAttributes::kStateType, value, sizeof value) ==
                kResultOk) {
                stateType.clear();
                for (size_t i = 0; value[i] != 0; ++i)
                    stateType += static_cast<char>(value[i]);
            }
        }
        log.push_back(std::string(call) + " " + textOf(readAll(stream)) + " " + stateType);
        return kResultOk;
    }
};

// What a plug-in that took the whole test image is given.
const std::vector<std::string> kFullLoad = {
    "component.setState comp-state -",
    "controller.setComponentState comp-state -",
    "controller.setState ctl -",
};

struct Entry {
    std::string id;
    int64 offset;
    int64 size;
};

// A preset image put together by hand: header, `data` from byte 48, then the
// list of `entries`.
Bytes handMadeImage(int32 version, const std::string& classText, const std::string& data,
                    const std::vector<Entry>& entries) {
    Bytes image = bytesOf("VST3");
    putInt(image, static_cast<uint32_t>(version), 4);
    image.insert(image.end(), classText.begin(), classText.end());
    putInt(image, 48 + data.size(), 8);
    image.insert(image.end(), data.begin(), data.end());
    for (char c : std::string("List"))
        image.push_back(static_cast<uint8_t>(c));
    putInt(image, entries.size(), 4);
    for (const Entry& e : entries) {
        image.insert(image.end(), e.id.begin(), e.id.end());
        putInt(image, static_cast<uint64_t>(e.offset), 8);
        putInt(image, static_cast<uint64_t>(e.size), 8);
    }
    return image;
}

std::vector<std::string> loadImage(const Bytes& image, const FUID& classId = testClassId()) {
    Plugin plugin;
    applyPresetImage(image.data(), image.size(), classId, plugin.component, plugin.controller);
    return plugin.log;
}

} // namespace

TEST(PresetImage, HasThePresetFileLayout) {
    Plugin plugin;
    Bytes image = savePresetImage(testClassId(), plugin.component, plugin.controller);
    ASSERT_EQ(image.size(), 109u);
    EXPECT_EQ(textAt(image, 0, 4), "VST3");
    EXPECT_EQ(intAt(image, 4, 4), 1);
    EXPECT_EQ(textAt(image, 8, 32), kTestClassText);
    EXPECT_EQ(intAt(image, 40, 8), 61);
    EXPECT_EQ(textAt(image, 48, 10), kComponentState);
    EXPECT_EQ(textAt(image, 58, 3), kControllerState);
    EXPECT_EQ(textAt(image, 61, 4), "List");
    EXPECT_EQ(intAt(image, 65, 4), 2);
    EXPECT_EQ(textAt(image, 69, 4), "Comp");
    EXPECT_EQ(intAt(image, 73, 8), 48);
    EXPECT_EQ(intAt(image, 81, 8), 10);
    EXPECT_EQ(textAt(image, 89, 4), "Cont");
    EXPECT_EQ(intAt(image, 93, 8), 58);
    EXPECT_EQ(intAt(image, 101, 8), 3);

    Bytes componentOnly = savePresetImage(testClassId(), plugin.component, nullptr);
    ASSERT_EQ(componentOnly.size(), 48u + 10 + 8 + 20);
    EXPECT_EQ(intAt(componentOnly, 40, 8), 58);
    EXPECT_EQ(intAt(componentOnly, 62, 4), 1);
    EXPECT_EQ(textAt(componentOnly, 66, 4), "Comp");

    // A part that fails stops the save before the list: the offset stays 0
    // and such an image gives the plug-in nothing.
    Plugin failing;
    failing.component->getStateFunc = [](IBStream*) { return kResultFalse; };
    Bytes stopped = savePresetImage(testClassId(), failing.component, failing.controller);
    ASSERT_EQ(stopped.size(), 48u);
    EXPECT_EQ(intAt(stopped, 40, 8), 0);
    EXPECT_EQ(loadImage(stopped), std::vector<std::string>());

    failing.component->getStateFunc = plugin.component->getStateFunc;
    failing.controller->getStateFunc = [](IBStream* s) {
        writeAll(s, bytesOf("half"));
        return kInternalError;
    };
    stopped = savePresetImage(testClassId(), failing.component, failing.controller);
    ASSERT_GE(stopped.size(), 58u);
    EXPECT_EQ(intAt(stopped, 40, 8), 0);
}

TEST(PresetImage, LoadingGivesEachPartItsStateInOrder) {
    Plugin saved;
    Bytes image = savePresetImage(testClassId(), saved.component, saved.controller);
    EXPECT_EQ(loadImage(image), kFullLoad);

    // Without a controller state the controller still learns the component's.
    Bytes componentOnly = savePresetImage(testClassId(), saved.component, nullptr);
    EXPECT_EQ(loadImage(componentOnly), std::vector<std::string>(kFullLoad.begin(), kFullLoad.begin() + 2));

    // Without a controller object, only the component.
    Plugin plugin;
    applyPresetImage(image.data(), image.size(), testClassId(), plugin.component, nullptr);
    EXPECT_EQ(plugin.log, std::vector<std::string>(kFullLoad.begin(), kFullLoad.begin() + 1));
}

TEST(PresetImage, LoadingChecksClassAndListButToleratesTheRest) {
    const std::string data = kComponentState + kControllerState;
    const std::vector<Entry> both = {{"Comp", 48, 10}, {"Cont", 58, 3}};
    std::string lowerClass = kTestClassText;
    std::transform(lowerClass.begin(), lowerClass.end(), lowerClass.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });

    // The list holds at most 128 entries; later ones are not read.
    std::vector<Entry> compAt127(127, Entry{"Xtra", 48, 1});
    compAt127.push_back({"Comp", 48, 10});
    compAt127.resize(200, Entry{"Cont", 58, 3});
    std::vector<Entry> compAt128(128, Entry{"Xtra", 48, 1});
    compAt128.push_back({"Comp", 48, 10});
    compAt128.resize(200, Entry{"Xtra", 48, 1});

    Bytes pastEnd = handMadeImage(1, kTestClassText, data, {{"Comp", 58, 1000}});
    std::string pastEndState = textAt(pastEnd, 58, pastEnd.size() - 58);

    struct Case {
        const char* name;
        Bytes image;
        FUID classId;
        std::vector<std::string> expected;
    } cases[] = {
        {"as saved", handMadeImage(1, kTestClassText, data, both), testClassId(), kFullLoad},
        {"another class", handMadeImage(1, kTestClassText, data, both), FUID(1, 2, 3, 4), {}},
        {"no component state", handMadeImage(1, kTestClassText, data, {{"Cont", 58, 3}}), testClassId(), {}},
        {"no entries", handMadeImage(1, kTestClassText, data, {}), testClassId(), {}},
        {"version 7", handMadeImage(7, kTestClassText, data, both), testClassId(), kFullLoad},
        {"lower-case class", handMadeImage(1, lowerClass, data, both), testClassId(), kFullLoad},
        {"component state at entry 127",
         handMadeImage(1, kTestClassText, data, compAt127),
         testClassId(),
         {kFullLoad[0], kFullLoad[1]}},
        {"component state at entry 128", handMadeImage(1, kTestClassText, data, compAt128), testClassId(), {}},
        // Reads what there is up to the end of the image, list included.
        {"entry past the end",
         pastEnd,
         testClassId(),
         {"component.setState " + pastEndState + " -", "controller.setComponentState " + pastEndState + " -"}},
        {"header only", bytesOf("VST3"), testClassId(), {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(loadImage(c.image, c.classId), c.expected);
    }
}

TEST(PresetImage, OtherBlobsAreControllerStateOrParameterRecords) {
    // Anything not starting with "VST3" goes to the controller whole.
    for (const std::string& blob : std::vector<std::string>{"hello", "VST", "vst3 in lower case", ""}) {
        SCOPED_TRACE(blob);
        EXPECT_EQ(loadImage(bytesOf(blob)), std::vector<std::string>{"controller.setState " + blob + " -"});
    }

    Bytes records;
    putInt(records, 7, 4);
    putInt(records, 0x3FD0000000000000ull, 8); // 0.25
    putInt(records, 0x01020304, 4);
    putInt(records, 0x3FF0000000000000ull, 8); // 1.0

    struct Case {
        const char* name;
        tresult setStateAnswer;
        Bytes blob;
        std::vector<std::string> expected;
    } cases[] = {
        {"two records",
         kNotImplemented,
         records,
         {"controller.setParamNormalized 7 0.250000", "controller.setParamNormalized 16909060 1.000000"}},
        {"not whole records", kNotImplemented, Bytes(25, 0), {}},
        {"no records", kNotImplemented, Bytes(), {}},
        // Any other answer means the controller dealt with the state.
        {"setState failed", kResultFalse, records, {}},
        {"setState took it", kResultOk, records, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Plugin plugin;
        tresult answer = c.setStateAnswer;
        // Reading the stream to its end first: the records are read again
        // from the start.
        plugin.controller->setStateFunc = [answer](IBStream* s) {
            readAll(s);
            return answer;
        };
        applyPresetImage(c.blob.data(), c.blob.size(), testClassId(), plugin.component, plugin.controller);
        EXPECT_EQ(plugin.log, c.expected);
    }

    // Without a controller such a blob has nowhere to go.
    Plugin plugin;
    applyPresetImage(records.data(), records.size(), testClassId(), plugin.component, nullptr);
    EXPECT_TRUE(plugin.log.empty());
}

TEST(AdapterChunk, BuildsSizesThenBothParts) {
    Plugin plugin;
    MemoryStream chunk;
    ASSERT_EQ(buildAdapterChunk(chunk, plugin.component, plugin.controller), 29);
    Bytes bytes(chunk.getData(), chunk.getData() + chunk.getSize());
    ASSERT_EQ(bytes.size(), 29u);
    EXPECT_EQ(intAt(bytes, 0, 8), 10);
    EXPECT_EQ(intAt(bytes, 8, 8), 3);
    EXPECT_EQ(textAt(bytes, 16, 13), kComponentState + kControllerState);

    struct Case {
        const char* name;
        tresult componentAnswer;
        tresult controllerAnswer;
        bool withController;
        int32 size;
        int64 c;
        int64 k;
    } cases[] = {
        {"component fails", kResultFalse, kResultOk, true, 19, 0, 3},
        {"controller not implemented", kResultOk, kNotImplemented, true, 26, 10, 0},
        {"no controller", kResultOk, kResultOk, false, 26, 10, 0},
        {"both fail", kInternalError, kResultFalse, true, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        tresult componentAnswer = c.componentAnswer;
        tresult controllerAnswer = c.controllerAnswer;
        // Each part writes before it answers: a failed part's bytes must go.
        plugin.component->getStateFunc = [componentAnswer](IBStream* s) {
            writeAll(s, bytesOf(kComponentState));
            return componentAnswer;
        };
        plugin.controller->getStateFunc = [controllerAnswer](IBStream* s) {
            writeAll(s, bytesOf(kControllerState));
            return controllerAnswer;
        };
        // `chunk` still holds the previous build: it must be emptied first.
        EXPECT_EQ(buildAdapterChunk(chunk, plugin.component, c.withController ? plugin.controller.get() : nullptr),
                  c.size);
        EXPECT_EQ(chunk.getSize(), c.size);
        if (c.size > 0) {
            Bytes got(chunk.getData(), chunk.getData() + chunk.getSize());
            EXPECT_EQ(intAt(got, 0, 8), c.c);
            EXPECT_EQ(intAt(got, 8, 8), c.k);
            EXPECT_EQ(textAt(got, 16, static_cast<size_t>(c.c + c.k)),
                      kComponentState.substr(0, static_cast<size_t>(c.c)) +
                          kControllerState.substr(0, static_cast<size_t>(c.k)));
        }
    }

    // Parts that answer kResultOk with nothing written.
    Plugin silent;
    silent.component->getStateFunc = nullptr;
    silent.controller->getStateFunc = nullptr;
    EXPECT_EQ(buildAdapterChunk(chunk, silent.component, silent.controller), 0);
    EXPECT_EQ(chunk.getSize(), 0);
}

TEST(AdapterChunk, SizesMustFitTheChunk) {
    auto chunkOf = [](int64 c, int64 k, size_t total) {
        Bytes bytes;
        putInt(bytes, static_cast<uint64_t>(c), 8);
        putInt(bytes, static_cast<uint64_t>(k), 8);
        bytes.resize(total, 0);
        return bytes;
    };
    struct Case {
        const char* name;
        Bytes chunk;
        bool accepted;
        int64 c;
        int64 k;
    } cases[] = {
        {"exact", chunkOf(10, 3, 29), true, 10, 3},
        {"longer than needed", chunkOf(10, 3, 40), true, 10, 3},
        {"one byte short", chunkOf(10, 3, 28), false, 10, 3},
        {"both empty", chunkOf(0, 0, 16), true, 0, 0},
        {"too short for the sizes", Bytes(4, 0xFF), true, 0, 0},
        {"nothing at all", Bytes(), true, 0, 0},
        {"no room for k", chunkOf(0, 0, 12), true, 0, 0},
        {"c but no k field", chunkOf(4, 0, 12), false, 4, 0},
        {"negative c", chunkOf(-1, 3, 40), false, -1, 3},
        {"negative k", chunkOf(3, -1, 40), false, 3, -1},
        {"huge c", chunkOf(INT64_MAX, 0, 40), false, INT64_MAX, 0},
        {"sum overflows", chunkOf(13, INT64_MAX - 12, 40), false, 13, INT64_MAX - 12},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        int64 componentSize = -99;
        int64 controllerSize = -99;
        EXPECT_EQ(
            readAdapterChunkSizes(c.chunk.data(), static_cast<int32>(c.chunk.size()), componentSize, controllerSize),
            c.accepted);
        EXPECT_EQ(componentSize, c.c);
        EXPECT_EQ(controllerSize, c.k);

        // A refused chunk reaches neither part.
        Plugin plugin;
        applyAdapterChunk(c.chunk.data(), static_cast<int32>(c.chunk.size()), true, plugin.component,
                          plugin.controller);
        EXPECT_EQ(plugin.log.empty(), !c.accepted);
    }
}

TEST(AdapterChunk, SetChunkGivesEachPartItsStateWithTheStateType) {
    Plugin saved;
    MemoryStream chunk;
    int32 size = buildAdapterChunk(chunk, saved.component, saved.controller);

    // A project: the controller sees "Project", the component (which has its
    // stream before the attribute is set) does not.
    Plugin project;
    applyAdapterChunk(chunk.getData(), size, false, project.component, project.controller);
    EXPECT_EQ(project.log, (std::vector<std::string>{
                               "component.setState comp-state -",
                               "controller.setComponentState comp-state Project",
                               "controller.setState ctl Project",
                           }));

    Plugin preset;
    applyAdapterChunk(chunk.getData(), size, true, preset.component, preset.controller);
    EXPECT_EQ(preset.log, kFullLoad);

    Plugin componentOnly;
    applyAdapterChunk(chunk.getData(), size, false, componentOnly.component, nullptr);
    EXPECT_EQ(componentOnly.log, std::vector<std::string>{"component.setState comp-state -"});

    // A chunk too short for its sizes is empty state, not garbage.
    const uint8_t shortChunk[4] = {1, 2, 3, 4};
    Plugin empty;
    applyAdapterChunk(shortChunk, sizeof shortChunk, false, empty.component, empty.controller);
    EXPECT_EQ(empty.log, (std::vector<std::string>{
                             "component.setState  -",
                             "controller.setComponentState  Project",
                             "controller.setState  Project",
                         }));
}
