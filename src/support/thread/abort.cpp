#include "support/thread/abort.h"

#include "support/error/error.h"
#include "support/win32.h"

namespace Qz {

namespace {

thread_local waitable* binding = nullptr;

bool isSignalled(void* handle) { return handle && WaitForSingleObject(static_cast<HANDLE>(handle), 0) == WAIT_OBJECT_0; }

} // namespace

bool waitable::signalled() { return isSignalled(handle); }

waitable* currentAbortBinding() { return binding; }

abortScope::abortScope(waitable& event) : previous(binding) {
    if (event.signalled())
        throw user_abort();
    binding = &event;
}

abortScope::~abortScope() { binding = previous; }

void abortCheck() {
    if (binding && binding->signalled())
        throw user_abort();
}

void abortCheck(void* eventHandle) {
    if (isSignalled(eventHandle))
        throw user_abort();
}

bool abortSignalled() { return binding && binding->signalled(); }

} // namespace Qz
