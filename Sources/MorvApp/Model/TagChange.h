// Tags that are added to items and taken from them, each of which keeps the others that it has. Values.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <array>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class AppModel;

/// Tags that are colours, by the number that is stored with a tag (FileTagMetadata::Tag) less one.
inline constexpr std::array<std::string_view, 7> colourTags{"Grey",   "Green", "Purple", "Blue",
                                                            "Yellow", "Red",   "Orange"};

struct TagChange {
    std::vector<std::string> add = {};
    std::vector<std::string> remove = {};

    /// `tags` as they are afterwards, in their order, new ones last.
    std::vector<std::string> appliedTo(std::vector<std::string> tags) const;
};

/// Items that are to have the same tags.
struct TagGroup {
    std::vector<FileURL> items;
    std::vector<std::string> tags;
};

/// Reads what tags the items have now; those that have what they shall have are left out. In the order of the
/// items. Blocks. Throws as FileTagMetadata::names, and CancellationError.
std::vector<TagGroup> tagGroups(const std::vector<FileURL>& items, const TagChange& change,
                                const std::stop_token& stop);

/// Tags to be offered: those of what the window's panes show, the frequent ones first, then those that were seen
/// elsewhere and the colours.
std::vector<std::string> knownTags(const AppModel& app);

} // namespace morv
