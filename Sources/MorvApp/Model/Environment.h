// The process environment as one value, so that every rule about it can be tested with another.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace morv {

using Environment = std::map<std::string, std::string>;

Environment processEnvironment();

/// Absent and empty are different: an empty value counts as present.
inline std::optional<std::string> value(const Environment& environment, const std::string& name) {
    const auto found = environment.find(name);
    return found == environment.end() ? std::nullopt : std::optional(found->second);
}

} // namespace morv
