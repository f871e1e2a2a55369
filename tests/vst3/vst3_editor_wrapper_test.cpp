// The editor's VST 2 face over the stub's view, through the adapter's
// dispatcher: the rectangle the host is given at its edges, a view's resize
// that the host refuses or need not hear of, and the key, wheel and knob
// calls that no run of the host makes. A view's resize in a real window is
// the end-to-end tests'.

#include "vst3/vst3_editor_wrapper.h"

#include <gtest/gtest.h>

#include "adapted.h"

namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;
using namespace stub;

char window[1]; // stands for the host's window: the stub view only passes it on

// The rectangle the host is given, as "top left bottom right", "none" (a null
// rectangle) or "untouched".
std::string rectOf(Adapted& a) {
    ERect* const untouched = reinterpret_cast<ERect*>(&a);
    ERect* rect = untouched;
    VstIntPtr result = a.dispatch(effEditGetRect, 0, 0, &rect);
    if (rect == untouched)
        return result == 0 ? "untouched" : "untouched, yet answered 1";
    if (!rect)
        return result == 0 ? "none" : "none, yet answered 1";
    return std::to_string(rect->top) + " " + std::to_string(rect->left) + " " + std::to_string(rect->bottom) + " " +
           std::to_string(rect->right) + (result == 1 ? "" : ", yet answered 0");
}

TEST(Vst3EditorWrapper, RectangleTheHostIsGiven) {
    struct Row {
        const char* name;
        ViewRect size;
        tresult sizeAnswer;
        const char* rect;
    } rows[] = {
        {"away from the corner", ViewRect(10, 20, 410, 320), kResultOk, "20 10 320 410"},
        {"no width", ViewRect(0, 0, 0, 300), kResultOk, "none"},
        {"no height", ViewRect(0, 0, 400, 0), kResultOk, "none"},
        {"no size to give", ViewRect(0, 0, 400, 300), kResultFalse, "none"},
        {"wider than 16 bits hold", ViewRect(0, 0, 40000, 300), kResultOk, "0 0 300 -25536"},
    };
    for (const Row& row : rows) {
        Adapted a;
        a.plugin->offerView(row.size, row.sizeAnswer);
        ASSERT_TRUE(a.create()) << row.name;
        EXPECT_EQ(rectOf(a), row.rect) << row.name;
    }
    // A controller without a view: no editor, and the editor calls do nothing.
    Adapted none;
    ASSERT_TRUE(none.create());
    EXPECT_FALSE(none.effect->flags & effFlagsHasEditor);
    EXPECT_EQ(rectOf(none), "untouched");
    EXPECT_EQ(none.dispatch(effEditOpen, 0, 0, window), 0);
}

// Each row: a view's resize of its open editor, or a call of the host's
// with the editor open.
TEST(Vst3EditorWrapper, ResizesKeysWheelAndKnobMode) {
    struct Row {
        const char* name;
        VstInt32 opcode, index; // opcode 0: the view asks for index by value
        VstIntPtr value;
        float opt;
        VstIntPtr result;
        Lines calls; // what host and plug-in got
    } rows[] = {
        {"the size getRect saw", 0, 400, 300, 0, kResultOk, {}},
        {"a new size", 0, 500, 200, 0, kResultOk, {"sizeWindow 500 200", "view onSize 500 200"}},
        {"a host that refuses", 0, 500, 200, 0, kResultFalse, {"sizeWindow 500 200"}},
        // Character in index, virtual key in value, modifiers in opt.
        {"space", effEditKeyDown, 'x', 7, 2.0f, 1, {"view onKeyDown 32 7 2"}},
        {"numeric pad 2", effEditKeyUp, 0, 130, 1.0f, 1, {"view onKeyUp 50 130 1"}},
        {"numeric pad 0", effEditKeyDown, 0, 128, 0.0f, 1, {"view onKeyDown 48 128 0"}},
        {"another key", effEditKeyDown, 'a', 65, 4.0f, 1, {"view onKeyDown 0 65 4"}},
        {"wheel", effVendorSpecific, 0x73744341, 0x57686565, 1.5f, 1, {"view onWheel 1.500000"}},
        {"wheel, other spelling", effVendorSpecific, 0x73744361, 0x57686565, -2.0f, 1, {"view onWheel -2.000000"}},
        {"another vendor call", effVendorSpecific, 0x73744341, 0x12345678, 1.5f, 0, {}},
        {"knob mode", effSetEditKnobMode, 0, 2, 0.0f, 1, {"setKnobMode 2"}},
    };
    for (const Row& row : rows) {
        Adapted a;
        a.plugin->offerView(ViewRect(50, 50, 450, 350));
        a.calls.sizeWindowAnswer = row.opcode == 0 && row.result != kResultOk ? 0 : 1;
        ASSERT_TRUE(a.create()) << row.name;
        EXPECT_EQ(rectOf(a), "50 50 350 450") << row.name;
        ASSERT_EQ(a.dispatch(effEditOpen, 0, 0, window), 1) << row.name;
        View* view = a.plugin->view;
        ASSERT_TRUE(view && view->frame) << row.name;
        size_t before = a.plugin->calls.size();
        ViewRect size(0, 0, row.index, VstInt32(row.value));
        EXPECT_EQ(row.opcode ? a.dispatch(row.opcode, row.index, row.value, nullptr, row.opt)
                             : view->frame->resizeView(view, &size),
                  row.result)
            << row.name;
        Lines calls = a.calls.calls;
        calls.insert(calls.end(), a.plugin->calls.begin() + std::ptrdiff_t(before), a.plugin->calls.end());
        EXPECT_EQ(calls, row.calls) << row.name;
        EXPECT_EQ(view->frame->resizeView(nullptr, &size), kResultFalse) << row.name;
        EXPECT_EQ(view->frame->resizeView(view, nullptr), kResultFalse) << row.name;
    }
}

} // namespace
