// The folders that a pane has shown, as they are kept in a window session.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

struct PaneNavigationHistory {
    std::vector<FileURL> locations; ///< oldest first
    std::int64_t position = 0;      ///< the present one among them

    friend bool operator==(const PaneNavigationHistory&, const PaneNavigationHistory&) = default;
};
std::string toJSON(const PaneNavigationHistory& history);
/// Throws DecodingError. A position outside the list is kept as it is: whoever restores it checks.
void fromJSON(std::string_view text, PaneNavigationHistory& history);

} // namespace morv
