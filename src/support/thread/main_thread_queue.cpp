#include "support/thread/main_thread_queue.h"

#include <new>
#include <utility>

#include "support/error/error.h"
#include "support/win32.h"

namespace Qz {

namespace {

const wchar_t windowClassName[] = L"{98D6E7EC-023D-481A-AAF8-80711410F353}";
// Tells our message from any other WM_USER that might reach the window.
constexpr WPARAM postMark = 0xD062F41;

// Until a callback ends without throwing, drain again: the rest of the
// queue still runs.
void drainSwallowing(mainThreadQueue& queue) noexcept {
    for (;;) {
        try {
            queue.drain();
            return;
        } catch (...) {
        }
    }
}

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_USER) {
        if (wParam == postMark && lParam != 0)
            drainSwallowing(*reinterpret_cast<mainThreadQueue*>(lParam));
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

// The module that holds windowProc, which is not necessarily the program's
// executable.
HINSTANCE ownModule() {
    HMODULE module = NULL;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&windowProc), &module);
    return module;
}

INIT_ONCE classOnce = INIT_ONCE_STATIC_INIT;

// Once per process. A failed registration is not remembered, so the next
// queue tries again.
void registerWindowClass() {
    BOOL pending = FALSE;
    if (!InitOnceBeginInitialize(&classOnce, 0, &pending, NULL) || !pending)
        return;
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = windowProc;
    windowClass.hInstance = ownModule();
    windowClass.lpszClassName = windowClassName;
    const bool registered = RegisterClassW(&windowClass) != 0;
    InitOnceComplete(&classOnce, registered ? 0 : INIT_ONCE_INIT_FAILED, NULL);
}

class lockGuard {
public:
    explicit lockGuard(CRITICAL_SECTION* section) : section(section) { EnterCriticalSection(section); }
    ~lockGuard() { LeaveCriticalSection(section); }
    lockGuard(const lockGuard&) = delete;
    lockGuard& operator=(const lockGuard&) = delete;

private:
    CRITICAL_SECTION* section;
};

} // namespace

static_assert(sizeof(CRITICAL_SECTION) <= 40, "mainThreadQueue::lock is too small");
static_assert(alignof(CRITICAL_SECTION) <= alignof(void*), "mainThreadQueue::lock is misaligned");

namespace {
CRITICAL_SECTION* criticalSection(unsigned char* storage) {
    return reinterpret_cast<CRITICAL_SECTION*>(storage);
}
} // namespace

mainThreadQueue::mainThreadQueue() {
    InitializeCriticalSection(new (lock) CRITICAL_SECTION);
    registerWindowClass();
    window = CreateWindowExW(0, windowClassName, L"", 0, 0, 0, 0, 0, NULL, NULL, ownModule(), NULL);
    if (!window) {
        DeleteCriticalSection(criticalSection(lock));
        throw bug_check();
    }
}

mainThreadQueue::~mainThreadQueue() {
    drainSwallowing(*this);
    DestroyWindow(static_cast<HWND>(window));
    callbacks.clear();
    DeleteCriticalSection(criticalSection(lock));
}

void mainThreadQueue::post(std::function<void()> callback) {
    lockGuard guard(criticalSection(lock));
    callbacks.push_back(std::move(callback));
    if (!posted)
        posted = PostMessageW(static_cast<HWND>(window), WM_USER, postMark, reinterpret_cast<LPARAM>(this)) != 0;
}

void mainThreadQueue::drain() {
    for (;;) {
        std::function<void()> callback;
        {
            lockGuard guard(criticalSection(lock));
            // Cleared under the same lock as the look at the list: a post
            // that comes after this drain has seen the list empty sends a
            // message of its own instead of counting on this drain.
            posted = false;
            if (callbacks.empty())
                return;
            callback = std::move(callbacks.front());
            callbacks.pop_front();
        }
        callback();
    }
}

} // namespace Qz
