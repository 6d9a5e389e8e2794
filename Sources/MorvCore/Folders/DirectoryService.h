// The only way a folder is read for display.
//
// Protocol    DirectoryService::batches() -> next() until it gives nothing
// Invariants  I1  the folder is pinned by descriptor at the first next() and read exactly once
//             I2  a child's row describes the item that was enumerated; one that vanished is left out, one
//             that
//                 cannot be read is an honest "unavailable" row
//             I3  a batch is handed over only while the folder is still the folder that was opened
// Threading   DirectoryService is safe to share; a DirectoryBatches is used by one thread at a time
//
// Errors      PosixError (the folder cannot be statted or opened), FileOperationError (it is no physical
//             folder, not downloaded, or changed), CancellationError
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

namespace morv {

enum class HiddenItems : std::uint8_t { skip, show };

class DirectoryBatchState;

/// A pull stream of batches in the order of the file system. Destroying it closes the folder.
class DirectoryBatches {
public:
    explicit DirectoryBatches(std::unique_ptr<DirectoryBatchState> state);
    DirectoryBatches(DirectoryBatches&&) noexcept;
    DirectoryBatches& operator=(DirectoryBatches&&) noexcept;
    ~DirectoryBatches();

    /// The next batch, never empty; nothing at the end.
    std::optional<std::vector<FileEntry>> next(const std::stop_token& stop);

private:
    std::unique_ptr<DirectoryBatchState> state_;
};

class DirectoryService {
public:
    /// Called with each child just before its metadata is read; for observing and interleaving in tests.
    using MetadataObserver = std::function<void(const FileURL&)>;

    explicit DirectoryService(MetadataObserver observer = {}) : observer_(std::move(observer)) {}

    /// `batchSize` is clamped to 1…1024. Nothing is opened before the first next().
    DirectoryBatches batches(const FileURL& folder, HiddenItems hidden, int batchSize) const;
    /// All entries, sorted by nameOrder.
    std::vector<FileEntry> entries(const FileURL& folder, HiddenItems hidden,
                                   const std::stop_token& stop) const;

    /// One item. Throws PosixError; unreadable tags or attributes give their fallbacks.
    static FileEntry entry(const FileURL& url);

    /// The canonical listing order: folders first, then names in the user's order, then paths.
    static bool nameOrder(const FileEntry& a, const FileEntry& b);
    /// Sorts by nameOrder with one collation key per name. A CancellationError leaves `entries` as they were.
    static void sortByName(std::vector<FileEntry>& entries, const std::stop_token& stop = {});

private:
    MetadataObserver observer_;
};

} // namespace morv
