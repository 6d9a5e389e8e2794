// A folder tree as it was fingerprinted: enough to prove, without reading or hashing anything again, that it
// is still exactly that.
//
// A file or link is unchanged when its stat record is, because nothing is remembered of one that somebody
// could have been writing or whose change time was not settled (ContentDigestCache.h). A folder whose change
// time was settled when it was listed is unchanged when its stat record is; any other is listed again and its
// attributes are read again. Immutable; safe to share.
#pragma once

#include "MorvCore/Foundation/ContentHash.h"
#include "MorvCore/Operations/Operations.h"
#include "MorvCore/Platform/FileStat.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class RememberedTree {
public:
    /// One item in the order of the digests; the first is the top.
    struct Item {
        std::uint32_t parent = 0; ///< index of the folder that it stands in; the top's own
        std::uint32_t nameLength = 0;
        std::uint64_t nameStart = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        FileTime modified;
        FileTime changed;
        std::uint32_t mode = 0;
        std::uint32_t folder = 0;     ///< index of its Folder, for a folder
        std::uint32_t attributes = 0; ///< index of the state text's tail
    };
    struct Folder {
        Digest listing{}; ///< SHA-256 of the names in the file system's order, a zero byte after each
        Digest attributes{};
        std::string tags;
        bool isSettled = false;
    };

    /// Whether the item `name` in the open folder `base` is still this tree, and then its fingerprint now:
    /// the top may have been renamed, which changes its change time and so the state digest. Nothing when
    /// anything differs or cannot be seen. Throws CancellationError.
    std::optional<FileFingerprint> recall(int base, const std::string& name,
                                          const std::stop_token& stop) const;

    /// This tree after its top was renamed, which changes nothing below: its fingerprint is what it was, with
    /// the top's new change time. Nothing when `top`, the top's stat record now, shows more than a rename.
    std::shared_ptr<const RememberedTree> renamed(const FileStat& top) const;

    const FileFingerprint& fingerprint() const { return fingerprint_; }
    std::uint64_t device() const { return device_; }
    std::uint64_t inode() const { return items_.front().inode; }
    std::size_t size() const { return items_.size(); }
    std::int64_t byteCount() const { return fingerprint_.byteCount; }

private:
    friend class RememberedTreeBuilder;
    friend class TreeRecall; ///< the look at every item, in the source

    /// Whether the top's record differs at most in its change time.
    bool mayBeRenamed(const FileStat& top) const;
    std::string stateDigest(const FileStat& top) const;
    std::string_view name(const Item& item) const {
        return std::string_view(names_).substr(item.nameStart, item.nameLength);
    }

    std::uint64_t device_ = 0;
    std::vector<Item> items_;
    std::vector<Folder> folders_;
    std::vector<std::string> attributeTails_; ///< tags and attributes as they stand in the state text
    std::string names_;
    FileFingerprint fingerprint_;
};

/// Collects a tree while it is read, in the order of the digests. Gives up on a tree that cannot be
/// remembered.
class RememberedTreeBuilder {
public:
    struct Entry {
        const FileStat& info;
        std::string_view name;
        std::string_view attributeTail;
        bool isProved = false; ///< a file: its digest was admitted; a link: its change time was settled
    };

    void enterFolder(const Entry& entry, RememberedTree::Folder folder);
    void leaveFolder();
    void add(const Entry& entry);
    /// Nothing when the tree cannot be remembered.
    std::shared_ptr<const RememberedTree> finish(const FileFingerprint& fingerprint);

private:
    RememberedTree::Item& append(const Entry& entry);

    std::shared_ptr<RememberedTree> tree_ = std::make_shared<RememberedTree>();
    std::vector<std::uint32_t> path_;
    std::uint32_t lastTail_ = 0;
};

} // namespace morv
