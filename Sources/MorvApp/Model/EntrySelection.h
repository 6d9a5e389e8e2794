// Which entries are selected: by identity, so that a selection survives a new reading of the folder.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace morv {

/// What FileEntry::id() says, without making its text: the same object under the same path.
class EntryKey {
public:
    explicit EntryKey(const FileEntry& entry)
        : folder_(entry.folder), name_(entry.name), volume_(entry.volume), inode_(entry.inode) {}

    /// From what FileEntry::id() gave; nothing for a text of another shape.
    static std::optional<EntryKey> parse(std::string_view id);
    std::string id() const;

    std::uint64_t inode() const { return inode_; }
    friend bool operator==(const EntryKey& a, const EntryKey& b) {
        return a.inode_ == b.inode_ && a.volume_ == b.volume_ && a.name_ == b.name_ &&
               isSameFolder(a.folder_, b.folder_);
    }
    friend bool operator==(const EntryKey& key, const FileEntry& entry) {
        return key.inode_ == entry.inode && key.volume_ == entry.volume && key.name_ == entry.name &&
               isSameFolder(key.folder_, entry.folder);
    }

private:
    EntryKey(const FileURL& item, std::uint64_t volume, std::uint64_t inode)
        : folder_(std::make_shared<const FileURL>(item.parent())), name_(item.lastComponent()),
          volume_(volume), inode_(inode) {}

    static bool isSameFolder(const std::shared_ptr<const FileURL>& a,
                             const std::shared_ptr<const FileURL>& b) {
        return a == b || (a && b && *a == *b);
    }

    friend struct EntryKeyHash;

    std::shared_ptr<const FileURL> folder_;
    std::string name_;
    std::uint64_t volume_;
    std::uint64_t inode_;
};

/// Entries are looked up as they are: a key of its own for each of a hundred thousand would be felt.
struct EntryKeyHash {
    using is_transparent = void;
    static std::size_t of(const std::string& name, std::uint64_t inode) noexcept {
        return std::hash<std::string>()(name) ^ static_cast<std::size_t>(inode * 0x9E3779B97F4A7C15U);
    }
    std::size_t operator()(const EntryKey& key) const noexcept { return of(key.name_, key.inode_); }
    std::size_t operator()(const FileEntry& entry) const noexcept { return of(entry.name, entry.inode); }
};

using EntrySelection = std::unordered_set<EntryKey, EntryKeyHash, std::equal_to<>>;

} // namespace morv
