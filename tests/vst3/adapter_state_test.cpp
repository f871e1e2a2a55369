// The two state forms of the adapter: the preset image kept in the settings
// file, whose bytes other hosts and older builds read back, and the chunk of
// effGetChunk/effSetChunk; for each, what reaches the plug-in's two parts.

#include "vst3/adapter_state.h"

#include <gtest/gtest.h>

#include <cctype>

#include "adapter_stub.h"

namespace {

using namespace Steinberg;
typedef std::vector<std::string> Lines;

std::string le(uint64_t value, size_t count) {
    std::string bytes;
    for (size_t i = 0; i < count; ++i, value >>= 8)
        bytes += char(value & 0xFF);
    return bytes;
}

// Class id bytes A0..AF, and their text in a preset image (COM order: the
// first three fields byte-swapped).
FUID testClassId() {
    TUID bytes;
    for (int i = 0; i < 16; ++i)
        bytes[i] = char(0xA0 + i);
    return FUID::fromTUID(bytes);
}
const std::string classText = "A3A2A1A0A5A4A7A6A8A9AAABACADAEAF";

struct Entry {
    const char* id;
    uint64_t offset, size;
};

// A preset image: header, `data` from byte 48, then the list of `entries`.
std::string image(const std::string& classOf, const std::string& data, const std::vector<Entry>& entries,
                  uint32_t version = 1) {
    std::string bytes =
        "VST3" + le(version, 4) + classOf + le(48 + data.size(), 8) + data + "List" + le(entries.size(), 4);
    for (const Entry& e : entries)
        bytes += e.id + le(e.offset, 8) + le(e.size, 8);
    return bytes;
}

// A component and a controller apart, with one journal; their states are
// "comp-state" and "ctl".
struct Parts {
    Lines journal;
    IPtr<stub::Plugin> component = owned(new stub::Plugin);
    IPtr<stub::Plugin> controller = owned(new stub::Plugin);
    Parts() {
        component->journal = controller->journal = &journal;
        component->prefix = "component ";
        controller->prefix = "controller ";
        component->state = "comp-state";
        controller->state = "ctl";
    }
    std::string save(bool withController) {
        std::vector<uint8_t> bytes =
            savePresetImage(testClassId(), component, withController ? controller.get() : nullptr);
        return std::string(bytes.begin(), bytes.end());
    }
    Lines load(const std::string& blob, bool withController = true) {
        applyPresetImage(reinterpret_cast<const uint8_t*>(blob.data()), blob.size(), testClassId(), component,
                         withController ? controller.get() : nullptr);
        return journal;
    }
};

const Lines fullLoad = {"component setState comp-state -", "controller setComponentState comp-state -",
                        "controller setState ctl -"};
const std::string bothStates = "comp-statectl";
const std::vector<Entry> bothEntries = {{"Comp", 48, 10}, {"Cont", 58, 3}};

TEST(PresetImage, SavedLayout) {
    Parts parts;
    EXPECT_EQ(parts.save(true), image(classText, bothStates, bothEntries));
    EXPECT_EQ(parts.save(false), image(classText, "comp-state", {{"Comp", 48, 10}}));

    // A part that fails stops the save before the list: its offset stays 0,
    // and such an image gives the plug-in nothing.
    parts.controller->getStateAnswer = kInternalError;
    std::string stopped = parts.save(true);
    EXPECT_EQ(stopped.substr(0, 48), "VST3" + le(1, 4) + classText + le(0, 8));
    EXPECT_EQ(Parts().load(stopped), Lines());
}

TEST(PresetImage, LoadingChecksClassAndList) {
    std::string lowerClass = classText;
    for (char& c : lowerClass)
        c = char(std::tolower(c));
    struct Case {
        const char* name;
        std::string blob;
        bool withController;
        Lines expected;
    } cases[] = {
        {"as saved", image(classText, bothStates, bothEntries), true, fullLoad},
        {"lower-case class", image(lowerClass, bothStates, bothEntries), true, fullLoad},
        {"version 7", image(classText, bothStates, bothEntries, 7), true, fullLoad},
        {"another class", image("B" + classText.substr(1), bothStates, bothEntries), true, {}},
        {"no component state", image(classText, bothStates, {{"Cont", 58, 3}}), true, {}},
        {"no controller state", image(classText, bothStates, {{"Comp", 48, 10}}), true,
         Lines(fullLoad.begin(), fullLoad.begin() + 2)},
        {"no controller", image(classText, bothStates, bothEntries), false,
         Lines(fullLoad.begin(), fullLoad.begin() + 1)},
        {"header only", "VST3", true, {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Parts().load(c.blob, c.withController), c.expected) << c.name;
}

// Anything not starting with "VST3" is the controller's state; one that the
// controller does not take may be records {uint32 id, binary64 value}.
TEST(PresetImage, OtherBlobsAreControllerStateOrParameterRecords) {
    std::string records = le(7, 4) + le(0x3FD0000000000000ull, 8) + le(0x01020304, 4) + le(0x3FF0000000000000ull, 8);
    const std::string setState = "controller setState ";
    struct Case {
        const char* name;
        std::string blob;
        tresult answer;
        Lines expected;
    } cases[] = {
        {"text", "vst3 in lower case", kResultOk, {setState + "vst3 in lower case -"}},
        {"records",
         records,
         kNotImplemented,
         {setState + records + " -", "controller setParamNormalized 7 0.250000",
          "controller setParamNormalized 16909060 1.000000"}},
        {"not whole records", records + "x", kNotImplemented, {setState + records + "x -"}},
        {"records the controller took", records, kResultFalse, {setState + records + " -"}},
    };
    for (const Case& c : cases) {
        Parts parts;
        parts.controller->setStateAnswer = c.answer;
        EXPECT_EQ(parts.load(c.blob), c.expected) << c.name;
    }
    EXPECT_EQ(Parts().load(records, false), Lines()) << "no controller: nowhere to go";
}

TEST(AdapterChunk, SizesMustFitTheChunk) {
    auto chunk = [](int64 c, int64 k, size_t total) {
        std::string bytes = le(uint64_t(c), 8) + le(uint64_t(k), 8);
        bytes.resize(total, 0);
        return bytes;
    };
    struct Case {
        const char* name;
        std::string chunk;
        bool accepted;
    } cases[] = {
        {"exact", chunk(10, 3, 29), true},
        {"longer than needed", chunk(10, 3, 40), true},
        {"one byte short", chunk(10, 3, 28), false},
        {"both empty", chunk(0, 0, 16), true},
        {"too short for the sizes", std::string(4, '\xFF'), true},
        {"c but no k field", chunk(4, 0, 12), false},
        {"negative k", chunk(3, -1, 40), false},
        {"sum overflows", chunk(13, INT64_MAX - 12, 40), false},
    };
    for (const Case& c : cases) {
        int64 componentSize = -99, controllerSize = -99;
        EXPECT_EQ(readAdapterChunkSizes(c.chunk.data(), int32(c.chunk.size()), componentSize, controllerSize),
                  c.accepted)
            << c.name;
        Parts parts;
        applyAdapterChunk(c.chunk.data(), int32(c.chunk.size()), true, parts.component, parts.controller);
        EXPECT_EQ(parts.journal.empty(), !c.accepted) << c.name << ": a refused chunk reaches neither part";
    }
}

TEST(AdapterChunk, EachPartGetsItsStateAndAProjectSaysSo) {
    Parts saved;
    MemoryStream chunk;
    int32 size = buildAdapterChunk(chunk, saved.component, saved.controller);
    EXPECT_EQ(std::string(chunk.getData(), size_t(size)), le(10, 8) + le(3, 8) + bothStates);

    // The component has its stream before the attribute is set.
    Parts project;
    applyAdapterChunk(chunk.getData(), size, false, project.component, project.controller);
    EXPECT_EQ(project.journal,
              Lines({"component setState comp-state -", "controller setComponentState comp-state Project",
                     "controller setState ctl Project"}));
    Parts preset;
    applyAdapterChunk(chunk.getData(), size, true, preset.component, preset.controller);
    EXPECT_EQ(preset.journal, fullLoad);

    // A part that fails counts as empty, whatever it wrote.
    saved.component->getStateAnswer = kResultFalse;
    size = buildAdapterChunk(chunk, saved.component, saved.controller);
    EXPECT_EQ(std::string(chunk.getData(), size_t(size)), le(0, 8) + le(3, 8) + "ctl");
}

} // namespace
