// Sole ownership of one Win32 HANDLE. Win32 has two "no handle" values:
// CreateFileW and CreateNamedPipeW fail with INVALID_HANDLE_VALUE, most other
// calls with null. Both count as empty here, so a wrapper never hands either
// of them to CloseHandle (closing INVALID_HANDLE_VALUE would name the current
// process pseudo-handle).
//
// The handle is kept as void* so that this header stays free of <windows.h>.
#pragma once

#include <cstdint>

namespace Qz {

class scopedHandle {
public:
    scopedHandle() noexcept = default;
    explicit scopedHandle(void* handle) noexcept : value(handle) {}
    ~scopedHandle() { reset(); }

    scopedHandle(scopedHandle&& other) noexcept : value(other.release()) {}
    scopedHandle& operator=(scopedHandle&& other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    scopedHandle(const scopedHandle&) = delete;
    scopedHandle& operator=(const scopedHandle&) = delete;

    void* get() const noexcept { return value; }
    // False for null and for INVALID_HANDLE_VALUE.
    bool valid() const noexcept { return isValidHandle(value); }
    explicit operator bool() const noexcept { return valid(); }

    // Gives up ownership without closing; the wrapper is empty afterwards.
    void* release() noexcept
    {
        void* handle = value;
        value = nullptr;
        return handle;
    }
    // Closes the owned handle, if any, and takes `handle` instead.
    void reset(void* handle = nullptr) noexcept;

    static bool isValidHandle(void* handle) noexcept
    {
        return handle != nullptr && handle != invalidHandleValue();
    }
    // INVALID_HANDLE_VALUE without <windows.h>.
    static void* invalidHandleValue() noexcept
    {
        return reinterpret_cast<void*>(static_cast<std::intptr_t>(-1));
    }

private:
    void* value = nullptr;
};

} // namespace Qz
