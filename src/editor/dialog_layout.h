// Geometry and control identifiers of the generic parameter dialog, in
// device pixels. Pure arithmetic, so that the layout at any DPI can be
// checked without a window.
#pragma once

#include <cstdint>

// Scales a length given at 96 dots per inch to `dpi`, rounding half away
// from zero, as MulDiv(length, dpi, 96) does.
int32_t scaledToDpi(int32_t length, int32_t dpi);

struct DialogLayout {
    // `widestName`: the widest parameter name measured in the title font, in
    // pixels (0 if none could be measured); the name column is never
    // narrower than 64 pixels at 96 DPI. Horizontal lengths scale with
    // `dpiX`, vertical ones with `dpiY`.
    DialogLayout(int32_t dpiX, int32_t dpiY, int32_t widestName, int32_t parameters);

    int32_t marginX;       // left edge of the names; the right margin is twice this
    int32_t labelWidth;    // width of the name column
    int32_t gap;           // between a name and its control
    int32_t controlWidth;  // width of a slider or a list
    int32_t rowGap;        // above the first row, between rows and below the last
    int32_t controlHeight; // height of a slider or a list
    int32_t valueHeight;   // height of the value text under a slider
    int32_t labelDrop;     // how far a name's top lies below its row's top
    int32_t controlLeft, controlRight;
    int32_t rowHeight; // a control and its value text, also for a list
    int32_t clientWidth, clientHeight;

    // Top of parameter `index`'s row.
    int32_t rowTop(int32_t index) const { return rowGap + index * (rowHeight + rowGap); }

    // The client height shown when at most `available` pixels fit on the
    // screen: all of clientHeight if it fits, else `available` (never less
    // than one row), and the rows scroll.
    int32_t shownHeight(int32_t available) const;
    // Where the view's top goes when asked for `wanted`: held between 0 and
    // the point where the last row's bottom margin meets the bottom of
    // `shown` pixels.
    int32_t scrollTop(int32_t wanted, int32_t shown) const;
    // How far a wheel turn of `delta` (120 a notch, forward positive) moves
    // the view's top: one row and its gap a notch, forward moving up.
    int32_t wheelStep(int32_t delta) const;
};

// Parameter i owns four control identifiers from 666 + 4i: its name, its
// slider, the value text under the slider, its list. A row has the slider
// and value text or the list.
const int32_t firstControlId = 666;
inline int32_t nameControlId(int32_t index) {
    return firstControlId + 4 * index;
}
inline int32_t sliderControlId(int32_t index) {
    return firstControlId + 4 * index + 1;
}
inline int32_t valueControlId(int32_t index) {
    return firstControlId + 4 * index + 2;
}
inline int32_t listControlId(int32_t index) {
    return firstControlId + 4 * index + 3;
}

// The parameter that control `id` belongs to, or -1 when it is none of the
// `parameters` rows.
int32_t parameterOfControl(int32_t id, int32_t parameters);
