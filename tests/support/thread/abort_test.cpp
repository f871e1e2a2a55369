#include "support/thread/abort.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/error/error.h"
#include "support/win32.h"

namespace {

class Event : public Qz::waitable {
public:
    Event() { handle = CreateEventW(NULL, TRUE, FALSE, NULL); }
    ~Event() { CloseHandle(static_cast<HANDLE>(handle)); }
    bool confirm() override { return true; }
    void signal() { SetEvent(static_cast<HANDLE>(handle)); }
};

TEST(AbortScope, BindsForItsLifeAndNests) {
    Event outer, inner;
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
    Event event;
    event.signal();
    EXPECT_THROW(Qz::abortScope scope(event), Qz::user_abort);
    EXPECT_EQ(Qz::currentAbortBinding(), nullptr);
    EXPECT_THROW(Qz::abortCheck(event.handle), Qz::user_abort);
    EXPECT_NO_THROW(Qz::abortCheck(nullptr));
}

TEST(AbortScope, BindingBelongsToOneThread) {
    Event event;
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
