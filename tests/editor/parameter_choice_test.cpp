// The generic dialog's probe and texts, for what the end-to-end runs do not
// reach (they show one text, two, ten and eleven): texts that come back
// after another, runs of uneven width, labels that alone make a difference,
// and positions at and beyond the ends.

#include "editor/parameter_choice.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

std::string described(const std::vector<ParameterChoice>& items) {
    std::string text;
    for (const ParameterChoice& item : items)
        text += item.display + "|" + item.label + "=" + std::to_string(item.value) + " ";
    return text;
}

TEST(Choices, RunsBecomeItemsAtTheirMiddles) {
    struct Row {
        const char* name;
        std::function<ParameterTexts(float)> texts;
        std::string items;
    };
    const std::vector<Row> rows = {
        {"a text that comes back is an item again",
         [](float v) { return ParameterTexts{v < 0.295f || v >= 0.595f ? "A" : "B", ""}; },
         "A|=15 B|=45 A|=80 "},
        {"the label alone makes a new item",
         [](float v) { return ParameterTexts{"1", v < 0.5f ? "Hz" : "kHz"}; }, "1|Hz=25 1|kHz=75 "},
        {"a last run of one step", [](float v) { return ParameterTexts{v < 0.995f ? "low" : "top", ""}; },
         "low|=50 top|=100 "},
        {"a first run of one step", [](float v) { return ParameterTexts{v < 0.005f ? "off" : "on", ""}; },
         "off|=0 on|=50 "},
        {"texts are compared as they are, blanks and all",
         [](float v) { return ParameterTexts{v < 0.5f ? "x" : " x", ""}; }, "x|=25  x|=75 "},
    };
    for (const Row& row : rows) {
        int calls = 0;
        std::vector<ParameterChoice> items = choices([&](float value) {
            EXPECT_EQ(value, float(calls) * 0.01f) << row.name << ": the sweep goes up in hundredths";
            ++calls;
            return row.texts(value);
        });
        EXPECT_EQ(calls, 101) << row.name;
        EXPECT_EQ(described(items), row.items) << row.name;
    }
}

TEST(ParameterText, PositionsAndJoinedTexts) {
    const struct {
        float value;
        int32_t position;
    } positions[] = {{0.006f, 1}, {0.004f, 0}, {0.994f, 99}, {0.996f, 100}, {1.0f, 100},
                     {-0.5f, 0},  {1.5f, 100}, {NAN, 0},      {-INFINITY, 0}, {INFINITY, 100}};
    for (const auto& row : positions)
        EXPECT_EQ(position(row.value), row.position) << "value " << row.value;

    const struct {
        const char* display;
        const char* label;
        const char* joined;
    } texts[] = {{"  0.50 ", " dB ", "0.50 dB"}, {" On ", "", "On"},   {"On", "   ", "On"},
                 {"", "Hz", " Hz"},              {"\t1\t", "", "\t1\t"}, {"a  b", "c d", "a  b c d"}};
    for (const auto& row : texts)
        EXPECT_EQ(joined(row.display, row.label), row.joined) << "[" << row.display << "] [" << row.label << "]";
}

} // namespace
