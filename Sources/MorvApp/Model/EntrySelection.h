// Which entries are selected: by identity, so that a selection survives a new reading of the folder.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <unordered_set>

namespace morv {

/// What FileEntry::id() says, without making its text: the same object under the same path.
class EntryKey {
public:
    explicit EntryKey(const FileEntry& entry)
        : folder_(entry.folder), name_(entry.name), volume_(entry.volume), inode_(entry.inode) {}

    std::uint64_t inode() const { return inode_; }
    std::size_t hash() const noexcept {
        return std::hash<std::string>()(name_) ^ static_cast<std::size_t>(inode_ * 0x9E3779B97F4A7C15U);
    }
    friend bool operator==(const EntryKey& a, const EntryKey& b) {
        return a.inode_ == b.inode_ && a.volume_ == b.volume_ && a.name_ == b.name_ &&
               (a.folder_ == b.folder_ || (a.folder_ && b.folder_ && *a.folder_ == *b.folder_));
    }

private:
    std::shared_ptr<const FileURL> folder_;
    std::string name_;
    std::uint64_t volume_;
    std::uint64_t inode_;
};

struct EntryKeyHash {
    std::size_t operator()(const EntryKey& key) const noexcept { return key.hash(); }
};

using EntrySelection = std::unordered_set<EntryKey, EntryKeyHash>;

} // namespace morv
