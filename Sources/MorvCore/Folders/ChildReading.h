// What one item of an open folder is, in the pieces that every reader of folders puts together.
//
// Threading   stateless
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Platform/ExtendedAttributes.h"
#include "MorvCore/Platform/FileStat.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace morv {

/// What the folder's own ".hidden" file lists: names, one a line. At most 64 KiB are read; whatever cannot be
/// read hides nothing.
std::unordered_set<std::string> readHiddenNames(int directory);

struct AttributeFacts {
    FileAvailability availability = FileAvailability::local;
    std::shared_ptr<const std::vector<std::string>> tags; ///< null: none
};

/// Unreadable tags are no tags: an entry does not fail for them.
AttributeFacts readAttributes(const FileStat& stat, std::string_view name, const AttributeTarget& item);

/// What an entry owes to the name and the stat record alone.
FileEntry entryFromStat(const FileStat& stat, std::shared_ptr<const FileURL> folder, std::string name);
void addAttributes(FileEntry& entry, AttributeFacts facts);
/// The honest row of an item that cannot be read.
FileEntry unavailableEntry(std::shared_ptr<const FileURL> folder, std::string name);

} // namespace morv
