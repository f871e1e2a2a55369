// The generic dialog's layout where end-to-end runs, at 96 and 120 dots per
// inch on both axes, do not reach, rows that scroll, and the way back from
// a control to its parameter.

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

TEST(DialogLayout, RowsThatDoNotFitScroll) {
    // 10 rows at 96 DPI: rows of 48 with gaps of 16, 656 high in all.
    const DialogLayout l(96, 96, 0, 10);
    const struct {
        const char* name;
        int32_t available, wanted, delta;
        int32_t shown, top, step;
    } rows[] = {
        {"all fit: nothing scrolls", 656, 50, 120, 656, 0, -64},
        {"more room than needed", 2000, -5, -120, 656, 0, 64},
        {"half the height", 328, 200, -240, 328, 200, 128},
        {"no further than the last row", 328, 5000, 60, 328, 328, -32},
        {"above the first row", 328, -64, 0, 328, 0, 0},
        {"never less than a row", 10, 700, 360, 80, 576, -192},
    };
    for (const auto& row : rows) {
        int32_t shown = l.shownHeight(row.available);
        EXPECT_EQ(shown, row.shown) << row.name;
        EXPECT_EQ(l.scrollTop(row.wanted, shown), row.top) << row.name;
        EXPECT_EQ(l.wheelStep(row.delta), row.step) << row.name;
    }
}

} // namespace
