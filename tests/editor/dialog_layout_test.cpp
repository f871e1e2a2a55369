// The generic dialog's layout where end-to-end runs, at 96 and 120 dots per
// inch on both axes, do not reach, and the way back from a control to its
// parameter.

#include "editor/dialog_layout.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DialogLayout, ScalesEveryLengthWithItsAxis) {
    // Across: margin, name column, control's left and width, client width;
    // down: gap between rows, control, value text, name's drop, second
    // row's top, client height.
    const struct {
        const char* name;
        int32_t dpiX, dpiY, widestName, parameters;
        const char* lengths;
    } rows[] = {
        {"a name wider than the column", 120, 120, 133, 1, "20 133 163 320 523 20 40 20 5 100 100 "},
        {"axes apart, rounding", 100, 144, 0, 1, "17 67 92 267 393 24 48 24 6 120 120 "},
        {"a negative count", 96, 96, 0, -3, "16 64 88 256 376 16 32 16 4 80 16 "},
    };
    for (const auto& row : rows) {
        const DialogLayout l(row.dpiX, row.dpiY, row.widestName, row.parameters);
        std::string lengths;
        for (int32_t length : {l.marginX, l.labelWidth, l.controlLeft, l.controlRight - l.controlLeft, l.clientWidth,
                               l.rowGap, l.controlHeight, l.valueHeight, l.labelDrop, l.rowTop(1), l.clientHeight})
            lengths += std::to_string(length) + " ";
        EXPECT_EQ(lengths, row.lengths) << row.name;
    }
}

TEST(DialogLayout, ControlsLeadBackToTheirParameter) {
    const struct {
        int32_t id, parameters, index;
    } rows[] = {{665, 3, -1}, {666, 3, 0},  {669, 3, 0}, {670, 3, 1},  {677, 3, 2},
                {678, 3, -1}, {666, 0, -1}, {2, 3, -1},  {-666, 3, -1}};
    for (const auto& row : rows)
        EXPECT_EQ(parameterOfControl(row.id, row.parameters), row.index)
            << "id " << row.id << " of " << row.parameters << " parameters";
}

} // namespace
