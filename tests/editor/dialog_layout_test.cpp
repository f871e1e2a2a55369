// The generic dialog's layout at the scales that end-to-end runs do not
// reach, and the way back from a control to its parameter.

#include "editor/dialog_layout.h"

#include <gtest/gtest.h>

namespace {

TEST(DialogLayout, ScalesEveryLengthWithItsAxis) {
    struct Row {
        const char* name;
        int32_t dpiX, dpiY, widestName, parameters;
        int32_t marginX, labelWidth, controlLeft, controlWidth, clientWidth;
        int32_t rowGap, controlHeight, valueHeight, labelDrop, secondRowTop, clientHeight;
    };
    const Row rows[] = {
        {"96, narrow names", 96, 96, 40, 2, 16, 64, 88, 256, 376, 16, 32, 16, 4, 80, 144},
        {"125%", 120, 120, 0, 2, 20, 80, 110, 320, 470, 20, 40, 20, 5, 100, 180},
        {"a wide name", 120, 120, 133, 1, 20, 133, 163, 320, 523, 20, 40, 20, 5, 100, 100},
        {"axes apart, rounding", 100, 144, 0, 1, 17, 67, 92, 267, 393, 24, 48, 24, 6, 120, 120},
        {"no parameters", 96, 96, 0, 0, 16, 64, 88, 256, 376, 16, 32, 16, 4, 80, 16},
        {"a negative count", 96, 96, 0, -3, 16, 64, 88, 256, 376, 16, 32, 16, 4, 80, 16},
    };
    for (const Row& row : rows) {
        DialogLayout layout(row.dpiX, row.dpiY, row.widestName, row.parameters);
        EXPECT_EQ(layout.marginX, row.marginX) << row.name;
        EXPECT_EQ(layout.labelWidth, row.labelWidth) << row.name;
        EXPECT_EQ(layout.controlLeft, row.controlLeft) << row.name;
        EXPECT_EQ(layout.controlRight - layout.controlLeft, row.controlWidth) << row.name;
        EXPECT_EQ(layout.clientWidth, row.clientWidth) << row.name;
        EXPECT_EQ(layout.rowGap, row.rowGap) << row.name;
        EXPECT_EQ(layout.controlHeight, row.controlHeight) << row.name;
        EXPECT_EQ(layout.valueHeight, row.valueHeight) << row.name;
        EXPECT_EQ(layout.labelDrop, row.labelDrop) << row.name;
        EXPECT_EQ(layout.rowTop(1), row.secondRowTop) << row.name;
        EXPECT_EQ(layout.clientHeight, row.clientHeight) << row.name;
    }
}

TEST(DialogLayout, ControlsLeadBackToTheirParameter) {
    const struct {
        int32_t id, parameters, index;
    } rows[] = {{665, 3, -1}, {666, 3, 0}, {669, 3, 0}, {670, 3, 1}, {677, 3, 2},
                {678, 3, -1}, {666, 0, -1}, {2, 3, -1}, {-666, 3, -1}};
    for (const auto& row : rows)
        EXPECT_EQ(parameterOfControl(row.id, row.parameters), row.index)
            << "id " << row.id << " of " << row.parameters << " parameters";
}

} // namespace
