// Digests of files that are proved unchanged, so that no byte is read twice for nothing.
//
// An entry says: the file with this device, inode, size, modification and change time has this content and
// these attributes. It is admitted only when nobody could have been writing while it was made:
//   - a read lease was granted just before and again just after the content was hashed (ReadLease.h);
//   - the stat records before and after are equal;
//   - the change time was at least 100 ms old when hashing began, so that a later change must show a later
//   one;
//   - the volume's times show every change (local disks only: not network volumes, FUSE or memory).
// Whoever finds an entry and an equal stat record need not read the file again. The digests that come out are
// the same with and without the cache.
//
// Threading   safe to share
#pragma once

#include "MorvCore/Foundation/ContentHash.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Operations/RememberedTree.h"
#include "MorvCore/Platform/FileStat.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

namespace morv {

struct CachedFile {
    Digest content{};
    Digest attributes{};
    std::string tags; ///< sorted, joined by NUL
};

/// Whether a change time lies far enough back that any later change must show a later one.
bool isSettled(const FileTime& changed);

/// Watches one file while it is read; made before the first read, that of its attributes included.
class DigestAdmission {
public:
    /// `info` is the file's stat record, taken before; `descriptor` is open for reading.
    DigestAdmission(const FileStat& info, int descriptor);
    /// Whether what was read since the constructor may be kept; `after` is the stat record taken after the
    /// last read.
    bool isProved(const FileStat& after) const;

private:
    FileStat before_;
    int descriptor_;
    bool possible_;
};

class ContentDigestCache {
public:
    std::optional<CachedFile> find(const FileStat& info) const;
    /// Only for what a DigestAdmission proved. The oldest entries make room.
    void admit(const FileStat& info, CachedFile file);

    /// The tree of this top folder as it was read last, if it is remembered.
    std::shared_ptr<const RememberedTree> findTree(const FileStat& top) const;
    void remember(std::shared_ptr<const RememberedTree> tree);

private:
    struct Key {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        FileTime modified;
        FileTime changed;

        explicit Key(const FileStat& info)
            : device(info.device), inode(info.inode), size(info.size), modified(info.modified),
              changed(info.changed) {}
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const noexcept {
            return (key.inode * 0x9E3779B97F4A7C15ULL) ^ (key.device << 32) ^
                   static_cast<std::size_t>(key.changed.nanoseconds);
        }
    };
    using Generation = std::unordered_map<Key, CachedFile, KeyHash>;
    /// Of one generation; the cache holds two, and forgets the older one when the younger is full.
    static constexpr std::size_t capacity = 65'536;

    /// Of remembered trees, all together.
    static constexpr std::size_t treeItems = 400'000;

    mutable Mutex mutex_;
    std::deque<std::shared_ptr<const RememberedTree>> trees_ MORV_GUARDED_BY(mutex_); ///< newest first
    Generation young_ MORV_GUARDED_BY(mutex_);
    Generation old_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
