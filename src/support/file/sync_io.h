// The synchronous read and write loops that the standard handles and plain
// files share: at most 16 MiB per system call, an abort check and
// SetLastError(0) before each, failures mapped by the last error.
#pragma once

#include <cstdint>

namespace Qz {

// Until `size` bytes or a read of 0 bytes; returns the count.
uint64_t readSynchronous(void* handle, void* buffer, uint64_t size);
// All of `buffer`; a write of 0 bytes throws Qz::file_access_error.
void writeSynchronous(void* handle, const void* buffer, uint64_t size);

} // namespace Qz
