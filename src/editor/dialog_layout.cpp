#include "editor/dialog_layout.h"

#include <algorithm>

int32_t scaledToDpi(int32_t length, int32_t dpi) {
    int64_t product = int64_t(length) * dpi;
    int64_t half = product < 0 ? -48 : 48;
    return int32_t((product + half) / 96);
}

DialogLayout::DialogLayout(int32_t dpiX, int32_t dpiY, int32_t widestName, int32_t parameters)
    : marginX(scaledToDpi(16, dpiX)), labelWidth(std::max(scaledToDpi(64, dpiX), widestName)),
      gap(scaledToDpi(8, dpiX)), controlWidth(scaledToDpi(256, dpiX)), rowGap(scaledToDpi(16, dpiY)),
      controlHeight(scaledToDpi(32, dpiY)), valueHeight(scaledToDpi(16, dpiY)), labelDrop(scaledToDpi(4, dpiY)) {
    controlLeft = labelWidth + gap + marginX;
    controlRight = controlLeft + controlWidth;
    rowHeight = controlHeight + valueHeight;
    clientWidth = controlRight + 2 * marginX;
    clientHeight = (rowHeight + rowGap) * std::max(parameters, 0) + rowGap;
}

int32_t parameterOfControl(int32_t id, int32_t parameters) {
    if (id < firstControlId || (id - firstControlId) / 4 >= parameters)
        return -1;
    return (id - firstControlId) / 4;
}

int32_t DialogLayout::shownHeight(int32_t available) const {
    if (clientHeight <= available)
        return clientHeight;
    return std::max(available, rowHeight + 2 * rowGap);
}

int32_t DialogLayout::scrollTop(int32_t wanted, int32_t shown) const {
    return std::max(0, std::min(wanted, clientHeight - shown));
}

int32_t DialogLayout::wheelStep(int32_t delta) const {
    return int32_t(-int64_t(delta) * (rowHeight + rowGap) / 120);
}
