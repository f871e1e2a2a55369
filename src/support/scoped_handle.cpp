#include "support/scoped_handle.h"

#include "support/win32.h"

namespace Qz {

void scopedHandle::reset(void* handle) noexcept
{
    void* old = value;
    value = handle;
    // A failing CloseHandle can only mean a handle that was not ours to
    // begin with; there is nobody to tell from a destructor.
    if (isValidHandle(old))
        CloseHandle(old);
}

} // namespace Qz
