// Ownership of one Win32 handle: closed exactly once, never one of the two
// "no handle" values.

#include "support/scoped_handle.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/win32.h"

namespace {

HANDLE newEvent() { return CreateEventW(NULL, TRUE, FALSE, NULL); }

// Whether `handle` still names an open object of this process. Asked right
// after a close, before anything else can reuse the value.
bool isOpen(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != 0;
}

TEST(ScopedHandle, ClosesExactlyOnceAndFollowsMoves) {
    HANDLE raw = newEvent();
    ASSERT_NE(raw, nullptr);
    {
        Qz::scopedHandle owner(raw);
        EXPECT_TRUE(owner.valid());
        Qz::scopedHandle moved(std::move(owner));
        EXPECT_FALSE(owner.valid()) << "a moved-from wrapper owns nothing";
        EXPECT_EQ(moved.get(), raw);
        EXPECT_TRUE(isOpen(raw)) << "the move must not close";
    }
    EXPECT_FALSE(isOpen(raw)) << "the last owner closes";

    HANDLE first = newEvent();
    HANDLE second = newEvent();
    Qz::scopedHandle a(first), b(second);
    a = std::move(b);
    EXPECT_FALSE(isOpen(first)) << "assignment closes what the target held";
    EXPECT_EQ(a.get(), second);
    EXPECT_FALSE(b.valid());

    HANDLE kept = a.release();
    EXPECT_FALSE(a.valid());
    EXPECT_TRUE(isOpen(kept)) << "release gives the handle up without closing";
    a.reset(kept);
    a.reset();
    EXPECT_FALSE(isOpen(kept)) << "reset closes";
}

TEST(ScopedHandle, BothInvalidValuesAreEmpty) {
    struct Case {
        const char* name;
        HANDLE value;
    } cases[] = {{"null", NULL}, {"INVALID_HANDLE_VALUE", INVALID_HANDLE_VALUE}};
    for (const Case& c : cases) {
        EXPECT_EQ(Qz::scopedHandle::invalidHandleValue(), INVALID_HANDLE_VALUE);
        Qz::scopedHandle handle(c.value);
        EXPECT_FALSE(handle.valid()) << c.name;
        EXPECT_FALSE(static_cast<bool>(handle)) << c.name;
    }
    // Closing INVALID_HANDLE_VALUE would name this process; it must still be
    // usable after an empty wrapper has gone.
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeProcess(GetCurrentProcess(), &code));
}

} // namespace
