// Property lists (binary or XML) of bounded size.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// Parses `bytes`, a property list that must be an array of strings. Nothing when the list is of another
/// shape; throws DecodingError with a sentence when the bytes are no property list, or a binary one that
/// names its strings so often that it would unfold to more than 1 MiB.
std::optional<std::vector<std::string>> stringsFromPropertyList(std::string_view bytes);

/// A binary property list: an array of the strings (UTF-8), in order.
std::string binaryPropertyList(const std::vector<std::string>& strings);

} // namespace morv
