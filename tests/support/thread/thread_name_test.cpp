#include "support/thread/thread_name.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/thread/worker_thread.h"
#include "support/win32.h"

namespace {

using getThreadDescriptionFn = HRESULT(WINAPI*)(HANDLE, PWSTR*);

getThreadDescriptionFn findGetThreadDescription() {
    HMODULE kernelBase = GetModuleHandleW(L"KernelBase.dll");
    FARPROC found = kernelBase ? GetProcAddress(kernelBase, "GetThreadDescription") : nullptr;
    return reinterpret_cast<getThreadDescriptionFn>(reinterpret_cast<void (*)()>(found));
}

// The calling thread's description; "<none>" if the system has none.
std::wstring ownDescription() {
    static const getThreadDescriptionFn get = findGetThreadDescription();
    PWSTR text = nullptr;
    if (!get || FAILED(get(GetCurrentThread(), &text)))
        return L"<none>";
    std::wstring result = text;
    LocalFree(text);
    return result;
}

TEST(SetThreadName, DescribesTheCallingThreadOnly) {
    if (ownDescription() == L"<none>")
        GTEST_SKIP() << "this system has no thread descriptions";
    const std::wstring before = ownDescription();

    std::wstring named;
    std::thread other([&] {
        Qz::setThreadName("Ger\xC3\xA4t \xE2\x99\xAA");
        named = ownDescription();
    });
    other.join();
    EXPECT_EQ(named, L"Ger\u00e4t \u266a") << "UTF-8 in, the same text out";
    EXPECT_EQ(ownDescription(), before);
}

TEST(SetThreadName, WorkerThreadNamesItsThread) {
    if (ownDescription() == L"<none>")
        GTEST_SKIP() << "this system has no thread descriptions";
    std::wstring seen;
    Qz::workerThread worker("live loop", 0); // without an event, join only waits
    worker.start([&] { seen = ownDescription(); }, THREAD_PRIORITY_NORMAL);
    worker.join();
    EXPECT_EQ(seen, L"live loop");
}

} // namespace
