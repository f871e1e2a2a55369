// Base64 with the standard alphabet and "=" padding, the form Basic
// authentication sends.
#pragma once

#include <cstddef>
#include <string>

namespace Qz {

std::string base64Encode(const void* data, size_t size);
std::string base64Encode(const std::string& bytes);

} // namespace Qz
