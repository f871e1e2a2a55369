// Line and head reading on any reader, one byte at a time through read.
#pragma once

#include <cstdint>
#include <string>

#include "support/file/file.h"

namespace Qz {

// One line: a line feed ends it (true); carriage returns are dropped
// wherever they stand; a short read ends it early (false), keeping what was
// read. Every byte taken counts towards `maxLength`, a dropped carriage
// return too; only the line end (a line feed, or a carriage return right
// before it) is free. A line that would take more throws Qz::invalid_input,
// so that no run of bytes, whatever they are, keeps a reader here for
// ever. `line` is replaced only at the end.
bool readLine(fileReader& reader, std::string& line, uint64_t maxLength);
// As above with a limit of 16 MiB; a line without its line feed throws
// Qz::invalid_input.
std::string readLine(fileReader& reader);
// Up to the first 1024 bytes, fewer only at the end of the data.
std::string readHead(fileReader& reader);

} // namespace Qz
