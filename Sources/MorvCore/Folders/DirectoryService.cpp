#include "MorvCore/Folders/DirectoryService.h"

#include "MorvCore/Folders/ChildReading.h"
#include "MorvCore/Folders/CreativePinnedDirectory.h"
#include "MorvCore/Folders/FolderReadingCrew.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/ChildWritability.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unordered_set>

namespace morv {

class DirectoryBatchState {
public:
    DirectoryBatchState(const FileURL& url, HiddenItems hidden, int batchSize,
                        DirectoryService::MetadataObserver observer)
        : url_(std::make_shared<const FileURL>(url)), hidden_(hidden),
          batchSize_(static_cast<std::size_t>(std::clamp(batchSize, 1, 1024))),
          observer_(std::move(observer)) {}

    std::optional<std::vector<FileEntry>> next(const std::stop_token& stop);

private:
    void open();
    std::optional<std::vector<FileEntry>> readBatch(const std::stop_token& stop);
    std::vector<std::string> nextNames(std::size_t limit, const std::stop_token& stop);
    void appendEntries(std::vector<std::string>& names, std::vector<FileEntry>& batch);
    std::optional<FileEntry> readChild(const std::string& name, const ChildWritability& writability) const;
    bool isHiddenName(const std::string& name) const {
        return hidden_ == HiddenItems::skip && (name.front() == '.' || hiddenNames_.contains(name));
    }

    std::shared_ptr<const FileURL> url_;
    HiddenItems hidden_;
    std::size_t batchSize_;
    DirectoryService::MetadataObserver observer_;
    std::shared_ptr<const CreativePinnedDirectory> folder_;
    std::unordered_set<std::string> hiddenNames_;
    std::optional<CreativeDirectoryCursor> cursor_;
    std::unique_ptr<FolderReadingCrew> crew_;
    bool finished_ = false;
};

void DirectoryBatchState::open() {
    // To its metadata an automount point or an NFS junction is an empty folder until somebody opens it:
    // without this it would turn into another folder between the entry and the pinning.
    const Descriptor passed(::open(url_->path().c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const auto root = DirectoryService::entry(*url_);
    if (!root.isNavigable() || root.isSymbolicLink)
        throw FileOperationError::unsupported("Choose a physical folder to view its contents.");
    if (root.availability != FileAvailability::local || root.isDownloading)
        throw FileOperationError::unavailable("Download this folder before viewing its contents.");
    folder_ = CreativePinnedDirectory::open(*url_);
    if (folder_->identity().volume != root.volume || folder_->identity().inode != root.inode)
        throw FileOperationError::changed("This folder changed before it could be opened.");
    if (hidden_ == HiddenItems::skip)
        hiddenNames_ = readHiddenNames(folder_->descriptor());
    cursor_.emplace(folder_, ".");
}

/// Nothing for a child that has gone.
std::optional<FileEntry> DirectoryBatchState::readChild(const std::string& name,
                                                        const ChildWritability& writability) const {
    const int directory = folder_->descriptor();
    try {
        const auto pinned = folder_->metadata(name, Ancestry::trust);
        // One record serves as the pinned metadata and as the entry's own: what cannot differ needs no
        // comparing. Whoever observes may change the child in between, so there the entry's record is a
        // second one.
        auto own = pinned;
        if (observer_) {
            observer_(url_->child(name));
            own = statAt(directory, name);
        }
        auto entry = entryFromStat(own, url_, name);
        addAttributes(entry, readAttributes(own, name, AttributeTarget::at(directory, name)));
        entry.isWritable = writability.isWritable(own, name);
        // Attributes were asked by name. Where they made a difference, they must be those of the same item.
        const bool tookAttributes = entry.tagList || entry.availability != FileAvailability::local;
        if (!own.isSameItem(pinned) || (tookAttributes && !statAt(directory, name).isSameItem(pinned)))
            throw FileOperationError::changed("The item changed during metadata loading.");
        return entry;
    } catch (const PosixError& error) {
        if (error.code() == ENOENT)
            return std::nullopt;
        folder_->validate();
        return unavailableEntry(url_, name);
    }
}

std::vector<std::string> DirectoryBatchState::nextNames(std::size_t limit, const std::stop_token& stop) {
    std::vector<std::string> names;
    names.reserve(limit);
    while (names.size() < limit) {
        auto name = cursor_->next(Ancestry::trust, stop);
        if (!name) {
            finished_ = true;
            cursor_.reset();
            break;
        }
        if (!isHiddenName(*name))
            names.push_back(std::move(*name));
    }
    return names;
}

void DirectoryBatchState::appendEntries(std::vector<std::string>& names, std::vector<FileEntry>& batch) {
    // Asked anew for each batch: a volume can become read-only while it is read.
    const ChildWritability writability(folder_->descriptor());
    // Threads cost more than a small folder does, and an observer is promised the order.
    constexpr std::size_t worthACrew = 128;
    if (!crew_ && !observer_ && names.size() >= worthACrew)
        crew_ = std::make_unique<FolderReadingCrew>(folder_->descriptor());
    if (!crew_ || names.size() < worthACrew) {
        for (auto& name : names) {
            if (auto entry = readChild(name, writability))
                batch.push_back(std::move(*entry));
        }
        return;
    }
    std::vector<std::optional<FileEntry>> rows(names.size());
    crew_->run(names.size(), [&](std::size_t i) { rows[i] = readChild(names[i], writability); });
    for (auto& row : rows) {
        if (row)
            batch.push_back(std::move(*row));
    }
}

std::optional<std::vector<FileEntry>> DirectoryBatchState::next(const std::stop_token& stop) {
    checkCancelled(stop);
    if (finished_)
        return std::nullopt;
    try {
        return readBatch(stop);
    } catch (...) {
        // Names that were taken from the folder are lost with the failure: nothing may follow as though they
        // had not been there.
        finished_ = true;
        throw;
    }
}

std::optional<std::vector<FileEntry>> DirectoryBatchState::readBatch(const std::stop_token& stop) {
    if (!cursor_)
        open();
    folder_->validate();
    std::vector<FileEntry> batch;
    batch.reserve(batchSize_);
    // Items that vanished leave room: an empty batch is the folder's end and nothing else.
    while (batch.size() < batchSize_ && !finished_) {
        auto names = nextNames(batchSize_ - batch.size(), stop);
        appendEntries(names, batch);
    }
    checkCancelled(stop);
    folder_->validate();
    if (batch.empty())
        return std::nullopt;
    return batch;
}

DirectoryBatches::DirectoryBatches(std::unique_ptr<DirectoryBatchState> state) : state_(std::move(state)) {}
DirectoryBatches::DirectoryBatches(DirectoryBatches&&) noexcept = default;
DirectoryBatches& DirectoryBatches::operator=(DirectoryBatches&&) noexcept = default;
DirectoryBatches::~DirectoryBatches() = default;

std::optional<std::vector<FileEntry>> DirectoryBatches::next(const std::stop_token& stop) {
    return state_->next(stop);
}

DirectoryBatches DirectoryService::batches(const FileURL& folder, HiddenItems hidden, int batchSize) const {
    return DirectoryBatches(std::make_unique<DirectoryBatchState>(folder, hidden, batchSize, observer_));
}

std::vector<FileEntry> DirectoryService::entries(const FileURL& folder, HiddenItems hidden,
                                                 const std::stop_token& stop) const {
    auto stream = batches(folder, hidden, 256);
    std::vector<FileEntry> all;
    while (auto batch = stream.next(stop))
        all.insert(all.end(), std::make_move_iterator(batch->begin()), std::make_move_iterator(batch->end()));
    checkCancelled(stop);
    sortByName(all, stop);
    return all;
}

FileEntry DirectoryService::entry(const FileURL& url) {
    const auto stat = statItem(url);
    auto entry =
        entryFromStat(stat, std::make_shared<const FileURL>(url.parent()), std::string(url.lastComponent()));
    addAttributes(entry, readAttributes(stat, entry.name, AttributeTarget::path(url)));
    entry.isWritable = isWritableItem(url);
    return entry;
}

bool DirectoryService::nameOrder(const FileEntry& a, const FileEntry& b) {
    if (a.isNavigable() != b.isNavigable())
        return a.isNavigable();
    const auto order = NameCollation::compare(a.name, b.name);
    return order != 0 ? order < 0 : a.url() < b.url();
}

void DirectoryService::sortByName(std::vector<FileEntry>& entries, const std::stop_token& stop) {
    struct Row {
        std::string key;
        std::size_t index;
    };
    std::vector<Row> rows(entries.size());
    const auto makeKeys = [&](std::size_t first, std::size_t last) {
        SparseCheckpoint checkpoint(stop);
        for (auto i = first; i < last; ++i) {
            checkpoint();
            // The rank stands before the name, so that one comparison of bytes decides both.
            rows[i].key = (entries[i].isNavigable() ? '\0' : '\1') + NameCollation::sortKey(entries[i].name);
            rows[i].index = i;
        }
    };
    constexpr std::size_t worthAThread = 2048;
    if (rows.size() < worthAThread) {
        makeKeys(0, rows.size());
    } else {
        std::exception_ptr failure;
        {
            const auto makeSecondHalf = [&] {
                try {
                    makeKeys(rows.size() / 2, rows.size());
                } catch (...) {
                    failure = std::current_exception();
                }
            };
            std::jthread helper;
            try {
                helper = std::jthread(makeSecondHalf);
            } catch (const std::system_error&) {
                makeSecondHalf();
            }
            makeKeys(0, rows.size() / 2);
        }
        if (failure)
            std::rethrow_exception(failure);
    }
    SparseCheckpoint checkpoint(stop);
    std::sort(rows.begin(), rows.end(), [&](const Row& a, const Row& b) {
        checkpoint();
        const auto order = a.key <=> b.key;
        return order != 0 ? order < 0 : entries[a.index].url() < entries[b.index].url();
    });
    std::vector<FileEntry> sorted;
    sorted.reserve(entries.size());
    for (const auto& row : rows)
        sorted.push_back(std::move(entries[row.index]));
    entries = std::move(sorted);
}

} // namespace morv
