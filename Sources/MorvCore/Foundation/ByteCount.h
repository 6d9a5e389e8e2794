// Sizes in words, decimal units as in "1.2 MB"; nothing is "Zero KB".
#pragma once

#include <cstdint>
#include <string>

namespace morv {

std::string formatByteCount(std::int64_t bytes);

} // namespace morv
