// What a scan could not read: the common form of a failure that costs one item and not the scan.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <string>
#include <string_view>

namespace morv {

/// Value; its identity is its content.
struct ScanIssue {
    FileURL url;
    std::string message; ///< one user-ready sentence

    friend bool operator==(const ScanIssue&, const ScanIssue&) = default;
};
std::string toJSON(const ScanIssue& issue);
void fromJSON(std::string_view text, ScanIssue& issue);

} // namespace morv
