#include "support/thread/message_pump.h"

#include "support/win32.h"

namespace Qz {

void pumpMessages() {
    MSG msg = {};
    while (PeekMessageW(&msg, NULL, 0, 0, PM_REMOVE))
        DispatchMessageW(&msg);
}

} // namespace Qz
