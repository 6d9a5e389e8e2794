#include "MorvCore/Operations/RememberedTree.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Operations/FolderListing.h"
#include "MorvCore/Operations/ItemAttributes.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <fmt/format.h>
#include <thread>

namespace morv {

namespace {

/// A tree above this is read again: remembering it would cost more memory than it is worth.
constexpr std::size_t mostItems = 200'000;
/// Deeper trees would need more open folders at once than is fair.
constexpr std::size_t deepest = 32;
/// A tree of many different attributes would be searched again and again.
constexpr std::size_t mostTails = 64;
/// Trees of more folders would need that many open at once.
constexpr std::size_t mostFolders = 250;
constexpr std::size_t batchSize = 512;

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

Digest listingDigest(const std::vector<std::string>& names) {
    ContentHash hash;
    for (const auto& name : names)
        hash.append(name);
    return hash.finish();
}

} // namespace

// MARK: Building

RememberedTree::Item& RememberedTreeBuilder::append(const Entry& entry) {
    auto& tree = *tree_;
    RememberedTree::Item item;
    item.parent = path_.empty() ? 0 : path_.back();
    item.nameStart = tree.names_.size();
    item.nameLength = static_cast<std::uint32_t>(entry.name.size());
    tree.names_ += entry.name;
    item.inode = entry.info.inode;
    item.size = entry.info.size;
    item.modified = entry.info.modified;
    item.changed = entry.info.changed;
    item.mode = entry.info.mode;
    if (tree.attributeTails_.empty() || tree.attributeTails_[lastTail_] != entry.attributeTail) {
        const auto found = std::ranges::find(tree.attributeTails_, entry.attributeTail);
        lastTail_ = static_cast<std::uint32_t>(found - tree.attributeTails_.begin());
        if (found == tree.attributeTails_.end())
            tree.attributeTails_.emplace_back(entry.attributeTail);
    }
    item.attributes = lastTail_;
    return tree.items_.emplace_back(item);
}

void RememberedTreeBuilder::enterFolder(const Entry& entry, RememberedTree::Folder folder) {
    if (!tree_)
        return;
    if (path_.empty())
        tree_->device_ = entry.info.device;
    if (path_.size() >= deepest || tree_->folders_.size() >= mostFolders ||
        entry.info.device != tree_->device_ || tree_->attributeTails_.size() > mostTails) {
        tree_.reset();
        return;
    }
    auto& item = append(entry);
    item.folder = static_cast<std::uint32_t>(tree_->folders_.size());
    path_.push_back(static_cast<std::uint32_t>(tree_->items_.size() - 1));
    tree_->folders_.push_back(std::move(folder));
}

void RememberedTreeBuilder::leaveFolder() {
    if (tree_)
        path_.pop_back();
}

void RememberedTreeBuilder::add(const Entry& entry) {
    if (!tree_)
        return;
    if (!entry.isProved || entry.info.device != tree_->device_ || tree_->items_.size() >= mostItems ||
        tree_->attributeTails_.size() > mostTails)
        tree_.reset();
    else
        append(entry);
}

std::shared_ptr<const RememberedTree> RememberedTreeBuilder::finish(const FileFingerprint& fingerprint) {
    if (tree_)
        tree_->fingerprint_ = fingerprint;
    return tree_;
}

// MARK: Recalling

/// One look at every item of a remembered tree.
class TreeRecall {
public:
    TreeRecall(const RememberedTree& tree, const std::stop_token& stop) : tree_(tree), stop_(stop) {}

    std::optional<FileFingerprint> run(int base, const std::string& name);

private:
    struct OpenFolder {
        Descriptor descriptor;
        std::uint32_t item = 0;
    };
    /// Neighbours in one folder, looked at by one thread.
    struct Batch {
        std::shared_ptr<OpenFolder> folder;
        std::size_t first = 0, last = 0;
    };

    bool isUnchanged(const RememberedTree::Item& item, const FileStat& now) const {
        return now.device == tree_.device_ && now.inode == item.inode && now.mode == item.mode &&
               now.size == item.size && now.modified == item.modified && now.changed == item.changed;
    }
    std::shared_ptr<OpenFolder> openFolder(int parent, const std::string& name, std::uint32_t index);
    bool foldersStillStand(const OpenFolder& folder) const;
    bool planBatches(const std::shared_ptr<OpenFolder>& top);
    void lookAtBatches();

    const RememberedTree& tree_;
    const std::stop_token& stop_;
    FileStat top_;
    std::vector<Batch> batches_;
    std::vector<std::shared_ptr<OpenFolder>> folders_;
    std::atomic<std::size_t> nextBatch_ = 0;
    std::atomic<bool> differs_ = false;
};

std::optional<FileFingerprint> TreeRecall::run(int base, const std::string& name) {
    checkCancelled(stop_);
    top_ = statAt(base, name);
    if (!tree_.mayBeRenamed(top_))
        return std::nullopt;
    const auto top = openFolder(base, name, 0);
    if (!top || !planBatches(top))
        return std::nullopt;
    {
        std::vector<std::jthread> helpers;
        for (unsigned i = 1; i < std::max(2U, std::thread::hardware_concurrency()) && batches_.size() > 1;
             ++i)
            helpers.emplace_back([this] { lookAtBatches(); });
        lookAtBatches();
    }
    checkCancelled(stop_);
    // Last, so that an entry that came or went meanwhile shows in its folder.
    if (differs_ ||
        !std::ranges::all_of(folders_, [this](const auto& folder) { return foldersStillStand(*folder); }))
        return std::nullopt;
    const auto after = statAt(base, name);
    if (!after.isSameItem(top_) || after.changed != top_.changed)
        return std::nullopt;
    auto fingerprint = tree_.fingerprint_;
    if (top_.changed != tree_.items_.front().changed)
        fingerprint.stateDigest = tree_.stateDigest(top_);
    return fingerprint;
}

/// Nothing when the folder is not what is remembered.
std::shared_ptr<TreeRecall::OpenFolder> TreeRecall::openFolder(int parent, const std::string& name,
                                                               std::uint32_t index) {
    auto folder = std::make_shared<OpenFolder>();
    folder->item = index;
    folder->descriptor = Descriptor(openat(parent, name.c_str(), folderFlags));
    if (!folder->descriptor)
        return nullptr;
    const auto& item = tree_.items_[index];
    const auto now = statDescriptor(folder->descriptor.get());
    const bool isSame = isUnchanged(item, now);
    if (!isSame && (index != 0 || !now.isSameItem(top_)))
        return nullptr;
    const auto& known = tree_.folders_[item.folder];
    if (!isSame || !known.isSettled) {
        const auto attributes = readAttributes(AttributeTarget::descriptor(folder->descriptor.get()),
                                               AttributeValues::digestOnly, stop_);
        if (attributes.digest != known.attributes || attributes.tags != known.tags ||
            listingDigest(listFolder(folder->descriptor.get())) != known.listing)
            return nullptr;
    }
    folders_.push_back(folder);
    return folder;
}

bool TreeRecall::foldersStillStand(const OpenFolder& folder) const {
    const auto now = statDescriptor(folder.descriptor.get());
    return folder.item == 0 ? now.isSameItem(top_) && now.changed == top_.changed
                            : isUnchanged(tree_.items_[folder.item], now);
}

bool TreeRecall::planBatches(const std::shared_ptr<OpenFolder>& top) {
    std::vector<std::shared_ptr<OpenFolder>> path = {top};
    for (std::size_t i = 1; i < tree_.items_.size(); ++i) {
        const auto& item = tree_.items_[i];
        while (path.back()->item != item.parent)
            path.pop_back();
        if (S_ISDIR(item.mode)) {
            auto folder = openFolder(path.back()->descriptor.get(), std::string(tree_.name(item)),
                                     static_cast<std::uint32_t>(i));
            if (!folder)
                return false;
            path.push_back(std::move(folder));
        } else if (!batches_.empty() && batches_.back().folder == path.back() && batches_.back().last == i &&
                   i - batches_.back().first < batchSize) {
            ++batches_.back().last;
        } else {
            batches_.push_back({path.back(), i, i + 1});
        }
    }
    return true;
}

void TreeRecall::lookAtBatches() {
    try {
        std::string name;
        for (auto i = nextBatch_++; i < batches_.size() && !differs_ && !stop_.stop_requested();
             i = nextBatch_++)
            for (auto at = batches_[i].first; at < batches_[i].last; ++at) {
                const auto& item = tree_.items_[at];
                name = tree_.name(item);
                if (!isUnchanged(item, statAt(batches_[i].folder->descriptor.get(), name)))
                    differs_ = true;
            }
    } catch (const std::exception&) {
        differs_ = true;
    }
}

bool RememberedTree::mayBeRenamed(const FileStat& top) const {
    const auto& item = items_.front();
    return top.device == device_ && top.inode == item.inode && top.mode == item.mode &&
           top.size == item.size && top.modified == item.modified;
}

std::string RememberedTree::stateDigest(const FileStat& top) const {
    ContentHash state;
    std::string text;
    // One folder's relative path for each step of the present path.
    std::vector<std::pair<std::uint32_t, std::string>> path;
    for (std::uint32_t i = 0; i < items_.size(); ++i) {
        const auto& item = items_[i];
        while (!path.empty() && i != 0 && path.back().first != item.parent)
            path.pop_back();
        text.clear();
        if (i != 0)
            text.append(path.back().second).append("/").append(name(item));
        if (S_ISDIR(item.mode))
            path.emplace_back(i, text);
        const auto& changed = i == 0 ? top.changed : item.changed;
        fmt::format_to(std::back_inserter(text), ":{}:{}:{}:{}:{}:{}:{}", top.volume, item.inode, item.mode,
                       item.modified.seconds, item.modified.nanoseconds, changed.seconds,
                       changed.nanoseconds);
        text.push_back('\0');
        text += attributeTails_[item.attributes];
        state.update(text);
    }
    state.append(fingerprint_.contentDigest);
    return hexText(state.finish());
}

std::shared_ptr<const RememberedTree> RememberedTree::renamed(const FileStat& top) const {
    if (!mayBeRenamed(top))
        return nullptr;
    auto tree = std::make_shared<RememberedTree>(*this);
    tree->items_.front().changed = top.changed;
    tree->folders_.front().isSettled = false;
    tree->fingerprint_.stateDigest = stateDigest(top);
    return tree;
}

std::optional<FileFingerprint> RememberedTree::recall(int base, const std::string& name,
                                                      const std::stop_token& stop) const {
    try {
        return TreeRecall(*this, stop).run(base, name);
    } catch (const PosixError&) {
        return std::nullopt;
    } catch (const FileOperationError&) {
        return std::nullopt;
    }
}

} // namespace morv
