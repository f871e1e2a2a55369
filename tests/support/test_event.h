// A manual-reset event to bind as a thread's abort event or to wait on.
#pragma once

#include "support/thread/abort.h"
#include "support/win32.h"

class TestEvent : public Qz::waitable {
public:
    TestEvent() { handle = CreateEventW(NULL, TRUE, FALSE, NULL); }
    ~TestEvent() { CloseHandle(static_cast<HANDLE>(handle)); }
    TestEvent(const TestEvent&) = delete;
    TestEvent& operator=(const TestEvent&) = delete;
    bool confirm() override { return true; }
    void signal() { SetEvent(static_cast<HANDLE>(handle)); }
    void reset() { ResetEvent(static_cast<HANDLE>(handle)); }
};
