#include "support/thread/abort.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/error/error.h"
#include "support/win32.h"
#include "../test_event.h"

namespace {

TEST(AbortScope, BindsForItsLifeAndNests) {
    TestEvent outer, inner;
    EXPECT_EQ(Qz::currentAbortBinding(), nullptr);
    {
        Qz::abortScope a(outer);
        EXPECT_EQ(Qz::currentAbortBinding(), &outer);
        {
            Qz::abortScope b(inner);
            EXPECT_EQ(Qz::currentAbortBinding(), &inner);
            outer.signal();
            EXPECT_NO_THROW(Qz::abortCheck()) << "only the innermost binding counts";
        }
        EXPECT_EQ(Qz::currentAbortBinding(), &outer);
        EXPECT_THROW(Qz::abortCheck(), Qz::user_abort);
        EXPECT_TRUE(Qz::abortSignalled());
    }
    EXPECT_EQ(Qz::currentAbortBinding(), nullptr);
    EXPECT_NO_THROW(Qz::abortCheck());
    EXPECT_FALSE(Qz::abortSignalled());
}

TEST(AbortScope, SignalledEventThrowsAndBindsNothing) {
    TestEvent event;
    event.signal();
    EXPECT_THROW(Qz::abortScope scope(event), Qz::user_abort);
    EXPECT_EQ(Qz::currentAbortBinding(), nullptr);
    EXPECT_THROW(Qz::abortCheck(event.handle), Qz::user_abort);
    EXPECT_NO_THROW(Qz::abortCheck(nullptr));
}

TEST(AbortScope, BindingBelongsToOneThread) {
    TestEvent event;
    Qz::abortScope scope(event);
    event.signal();
    bool otherAborted = false;
    std::thread other([&] {
        try {
            Qz::abortCheck();
        } catch (const Qz::user_abort&) {
            otherAborted = true;
        }
    });
    other.join();
    EXPECT_FALSE(otherAborted);
    EXPECT_THROW(Qz::abortCheck(), Qz::user_abort);
}

} // namespace
