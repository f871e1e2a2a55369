// Runs what is queued for the calling thread right now (timers, posted
// work) and returns; it never waits. Without TranslateMessage: nothing
// here takes keyboard input.
#pragma once

namespace Qz {

void pumpMessages();

} // namespace Qz
