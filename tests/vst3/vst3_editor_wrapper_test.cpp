// The editor's VST 2 face over the stub's view, through the adapter's
// dispatcher: the rectangle the host is given, a view's own resize, and the
// key, wheel and knob calls that no run of the host makes.

#include "vst3/vst3_editor_wrapper.h"

#include <gtest/gtest.h>

#include "adapted.h"

namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;
using namespace stub;

char window[1]; // stands for the host's window: the stub view only passes it on

std::string rectText(const ERect* rect) {
    if (!rect)
        return "none";
    return std::to_string(rect->top) + " " + std::to_string(rect->left) + " " + std::to_string(rect->bottom) + " " +
           std::to_string(rect->right);
}

TEST(Vst3EditorWrapper, RectangleTheHostIsGiven) {
    struct Row {
        const char* name;
        ViewRect size;
        tresult sizeAnswer;
        const char* rect; // top left bottom right, or "none"
    } rows[] = {
        {"400 by 300", ViewRect(0, 0, 400, 300), kResultOk, "0 0 300 400"},
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
        EXPECT_TRUE(a.effect->flags & effFlagsHasEditor) << row.name;
        ERect* rect = reinterpret_cast<ERect*>(&a); // must be overwritten
        VstIntPtr result = a.dispatch(effEditGetRect, 0, 0, &rect);
        EXPECT_EQ(rectText(rect), row.rect) << row.name;
        EXPECT_EQ(result, rect ? 1 : 0) << row.name;
    }
    // A controller without a view: no editor, and the editor calls do nothing.
    Adapted none;
    ASSERT_TRUE(none.create());
    EXPECT_FALSE(none.effect->flags & effFlagsHasEditor);
    ERect* rect = nullptr;
    EXPECT_EQ(none.dispatch(effEditGetRect, 0, 0, &rect), 0);
    EXPECT_EQ(none.dispatch(effEditOpen, 0, 0, window), 0);
}

TEST(Vst3EditorWrapper, AViewsResizeGoesToTheHostUnlessTheSizeIsKnown) {
    struct Row {
        const char* name;
        int32 width, height;
        VstIntPtr hostAnswer;
        tresult result;
        Lines host; // the host's calls
        Lines view; // the view's calls
    } rows[] = {
        {"the size getRect saw", 400, 300, 1, kResultOk, {}, {}},
        {"a new size", 500, 200, 1, kResultOk, {"sizeWindow 500 200"}, {"view onSize 500 200"}},
        {"a new height alone", 400, 301, 1, kResultOk, {"sizeWindow 400 301"}, {"view onSize 400 301"}},
        {"a new width alone", 401, 300, 1, kResultOk, {"sizeWindow 401 300"}, {"view onSize 401 300"}},
        {"a host that refuses", 500, 200, 0, kResultFalse, {"sizeWindow 500 200"}, {}},
    };
    for (const Row& row : rows) {
        Adapted a;
        a.plugin->offerView(ViewRect(50, 50, 450, 350));
        a.calls.sizeWindowAnswer = row.hostAnswer;
        ASSERT_TRUE(a.create()) << row.name;
        ERect* rect = nullptr;
        a.dispatch(effEditGetRect, 0, 0, &rect);
        ASSERT_EQ(a.dispatch(effEditOpen, 0, 0, window), 1) << row.name;
        View* view = a.plugin->view;
        ASSERT_TRUE(view && view->frame) << row.name;
        size_t before = a.plugin->calls.size();
        ViewRect size(0, 0, row.width, row.height);
        EXPECT_EQ(view->frame->resizeView(view, &size), row.result) << row.name;
        EXPECT_EQ(a.calls.calls, row.host) << row.name;
        EXPECT_EQ(Lines(a.plugin->calls.begin() + std::ptrdiff_t(before), a.plugin->calls.end()), row.view)
            << row.name;
        EXPECT_EQ(view->frame->resizeView(nullptr, &size), kResultFalse) << row.name;
        EXPECT_EQ(view->frame->resizeView(view, nullptr), kResultFalse) << row.name;
    }
}

TEST(Vst3EditorWrapper, KeysWheelAndKnobModeReachThePlugIn) {
    struct Row {
        const char* name;
        VstInt32 opcode, index;
        VstIntPtr value;
        float opt;
        VstIntPtr result;
        const char* call; // what the plug-in got, or "" for nothing
    } rows[] = {
        // Character in index, virtual key in value, modifiers in opt.
        {"space", effEditKeyDown, 'x', 7, 2.0f, 1, "view onKeyDown 32 7 2"},
        {"numeric pad 2", effEditKeyUp, 0, 130, 1.0f, 1, "view onKeyUp 50 130 1"},
        {"numeric pad 0", effEditKeyDown, 0, 128, 0.0f, 1, "view onKeyDown 48 128 0"},
        {"another key", effEditKeyDown, 'a', 65, 4.0f, 1, "view onKeyDown 0 65 4"},
        {"wheel", effVendorSpecific, 0x73744341, 0x57686565, 1.5f, 1, "view onWheel 1.500000"},
        {"wheel, other spelling", effVendorSpecific, 0x73744361, 0x57686565, -2.0f, 1, "view onWheel -2.000000"},
        {"another vendor call", effVendorSpecific, 0x73744341, 0x12345678, 1.5f, 0, ""},
        {"knob mode", effSetEditKnobMode, 0, 2, 0.0f, 1, "setKnobMode 2"},
    };
    for (const Row& row : rows) {
        Adapted a;
        a.plugin->offerView(ViewRect(0, 0, 400, 300));
        ASSERT_TRUE(a.create()) << row.name;
        ASSERT_EQ(a.dispatch(effEditOpen, 0, 0, window), 1) << row.name;
        size_t before = a.plugin->calls.size();
        EXPECT_EQ(a.dispatch(row.opcode, row.index, row.value, nullptr, row.opt), row.result) << row.name;
        Lines calls(a.plugin->calls.begin() + std::ptrdiff_t(before), a.plugin->calls.end());
        EXPECT_EQ(calls, *row.call ? Lines({row.call}) : Lines()) << row.name;
    }
}

} // namespace
