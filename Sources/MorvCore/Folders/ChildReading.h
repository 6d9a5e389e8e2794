// What one item of an open folder is, in the pieces that every reader of folders puts together.
//
// Threading   stateless
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Platform/ChildWritability.h"
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

/// A folder that is open for reading its children.
struct OpenFolder {
    int directory;
    std::shared_ptr<const FileURL> url;
    ChildWritability writability;

    OpenFolder(int opened, std::shared_ptr<const FileURL> location)
        : directory(opened), url(std::move(location)), writability(opened) {}
};
/// All that an entry says of the child that `stat` describes. Throws FileOperationError::changed when
/// attributes made a difference and another item has the name by now, PosixError when none has.
FileEntry readEntry(const OpenFolder& folder, const FileStat& stat, std::string name);
/// The honest row of an item that cannot be read.
FileEntry unavailableEntry(std::shared_ptr<const FileURL> folder, std::string name);

} // namespace morv
