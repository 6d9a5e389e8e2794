#include "MorvCore/Inspection/FolderInsights.h"

#include "MorvCore/Folders/ChildReading.h"
#include "MorvCore/Folders/CreativePinnedDirectory.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/ByteCount.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Platform/FolderPassage.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <unordered_set>
#include <utility>

namespace morv {

namespace {

using Limits = FolderInsightScanner;

std::shared_ptr<const CreativePinnedDirectory> openRoot(const FileURL& url) {
    // An automount point is an empty folder until somebody opens it.
    const Descriptor passed(::open(url.path().c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const auto root = DirectoryService::entry(url);
    if (!root.isNavigable() || root.isSymbolicLink)
        throw FileOperationError::unsupported("Choose a physical folder to view its contents.");
    auto pinned = CreativePinnedDirectory::open(url);
    if (pinned->identity().volume != root.volume || pinned->identity().inode != root.inode)
        throw FileOperationError::changed("This folder changed before it could be opened.");
    return pinned;
}

/// The names of one folder, without the hidden ones.
class VisibleNames {
public:
    explicit VisibleNames(Descriptor folder) : stream_(::fdopendir(folder.get())) {
        if (!stream_)
            throw PosixError(errno);
        folder.release();
        hidden_ = readHiddenNames(descriptor());
    }

    int descriptor() const { return ::dirfd(stream_.get()); }
    /// Nothing at the end. Throws PosixError, and CancellationError at every name.
    std::optional<std::string> next(const std::stop_token& stop) {
        for (;;) {
            checkCancelled(stop);
            errno = 0;
            const auto* item = ::readdir(stream_.get());
            if (!item && errno != 0)
                throw PosixError(errno);
            if (!item)
                return std::nullopt;
            std::string name = item->d_name;
            if (name.front() != '.' && !hidden_.contains(name))
                return name;
        }
    }

private:
    struct Close {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };
    std::unique_ptr<DIR, Close> stream_;
    std::unordered_set<std::string> hidden_;
};

class Walk {
public:
    Walk(const FileURL& url, const FolderInsightScanner::FolderObserver& observer,
         const std::stop_token& stop)
        : observer_(observer), stop_(stop), root_(openRoot(url)) {
        insight_.complete = insight_.byteCountComplete = true;
        add({std::make_shared<const FileURL>(url.asFolder()), ".", root_->identity(), 0, {}});
    }

    FolderInsight run() {
        while (!queue_.empty() && !isSpent_) {
            read(queue_.extract(queue_.begin()).mapped());
        }
        checkCancelled(stop_);
        root_->validate();
        insight_.complete = insight_.complete && !isSpent_ && insight_.skippedCount == 0;
        std::ranges::sort(insight_.peek, DirectoryService::nameOrder, &FolderPeekNode::entry);
        for (auto& node : insight_.peek)
            DirectoryService::sortByName(node.children, stop_);
        return std::move(insight_);
    }

private:
    struct Folder {
        std::shared_ptr<const FileURL> url;
        std::string relative;
        FileStat stat;
        int level = 0;                   ///< below the root
        std::optional<std::size_t> node; ///< whose children these are in the peek
    };

    void add(Folder folder) {
        const std::pair place(folder.level, folder.stat.size);
        queue_.emplace(place, std::move(folder));
    }

    void read(const Folder& folder) {
        try {
            if (observer_)
                observer_(*folder.url);
            auto opened = openFolderBelow(root_->descriptor(), folder.relative);
            if (!statDescriptor(opened.get()).isSameItem(folder.stat))
                throw FileOperationError::changed("The item changed during metadata loading.");
            VisibleNames names(std::move(opened));
            const OpenFolder open(names.descriptor(), folder.url);
            while (const auto name = names.next(stop_)) {
                if (insight_.scannedCount == Limits::entryBudget) {
                    isSpent_ = true;
                    return;
                }
                ++insight_.scannedCount;
                ++insight_.childCounts[folder.url->path()];
                take(folder, open, *name);
            }
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception&) {
            if (folder.level == 0)
                throw;
            skip();
        }
    }

    void take(const Folder& folder, const OpenFolder& open, const std::string& name) {
        try {
            const auto stat = statAt(open.directory, name);
            auto entry = readEntry(open, stat, name);
            count(entry);
            const bool isEntered = mayEnter(entry, stat, folder.level + 1);
            const auto node = keep(folder, std::move(entry));
            if (isEntered)
                add({std::make_shared<const FileURL>(folder.url->child(name).asFolder()),
                     folder.level == 0 ? name : folder.relative + '/' + name, stat, folder.level + 1, node});
        } catch (const PosixError&) {
            skip();
        } catch (const FileOperationError&) {
            skip();
        }
    }

    void skip() {
        ++insight_.skippedCount;
        insight_.byteCountComplete = false;
    }

    void count(const FileEntry& entry) {
        if (entry.isNavigable())
            return;
        ++insight_.counts[entry.kind];
        // What a package weighs nobody has looked at, and a placeholder's own size is not its content's.
        std::int64_t sum = 0;
        if (entry.isPackage || entry.availability != FileAvailability::local ||
            __builtin_add_overflow(insight_.bytes, entry.size, &sum)) {
            insight_.byteCountComplete = false;
            return;
        }
        insight_.bytes = sum;
        insight_.kindBytes[entry.kind] += entry.size;
    }

    bool mayEnter(const FileEntry& entry, const FileStat& stat, int level) {
        if (!entry.isNavigable())
            return false;
        // A glance at a folder wakes no other disk and asks no server.
        if (level > Limits::deepestEntered || stat.mountID != root_->identity().mountID) {
            insight_.complete = false;
            return false;
        }
        return true;
    }

    /// The place in the peek of an item that stands directly in the folder.
    std::optional<std::size_t> keep(const Folder& folder, FileEntry entry) {
        if (folder.level == 0) {
            ++insight_.directCount;
            if (insight_.peek.size() == Limits::peekItems)
                return std::nullopt;
            insight_.peek.push_back({std::move(entry), {}});
            return insight_.peek.size() - 1;
        }
        if (folder.node && insight_.peek[*folder.node].children.size() < Limits::peekChildren)
            insight_.peek[*folder.node].children.push_back(std::move(entry));
        return std::nullopt;
    }

    const FolderInsightScanner::FolderObserver& observer_;
    const std::stop_token& stop_;
    std::shared_ptr<const CreativePinnedDirectory> root_;
    /// By level, and in it by what the volume spends on a folder's names: one huge folder is not to eat the
    /// budget of all its neighbours.
    std::multimap<std::pair<int, std::int64_t>, Folder> queue_;
    bool isSpent_ = false;
    FolderInsight insight_;
};

FolderInsight walk(const FileURL& url, const FolderInsightScanner::FolderObserver& observer,
                   const std::stop_token& stop) {
    checkCancelled(stop);
    const auto started = Date::now();
    try {
        auto insight = Walk(url, observer, stop).run();
        insight.scannedAt = started;
        return insight;
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& failure) {
        return FolderInsight::failed(failure.what(), started);
    }
}

json::Value encode(const std::map<FileKind, std::int64_t>& numbers) {
    auto object = json::Value::object();
    for (const auto& [kind, number] : numbers)
        object[std::string(rawValue(kind))] = number;
    return object;
}

} // namespace

std::optional<FileKind> FolderInsight::dominantKind() const {
    std::optional<FileKind> found;
    for (const auto& [kind, count] : counts) {
        if (kind != FileKind::folder && (!found || count > counts.at(*found)))
            found = kind;
    }
    return found;
}

std::string FolderInsight::countLabel() const {
    if (error)
        return "Unavailable";
    return fmt::format("{}{} {}", directCount, complete ? "" : "+",
                       directCount == 1 && complete ? "item" : "items");
}

std::string FolderInsight::sizeLabel() const {
    if (error)
        return "—";
    return (complete && byteCountComplete ? "" : "≥ ") + formatByteCount(bytes);
}

std::string FolderInsight::coverage() const {
    if (complete)
        return "Readable local contents scanned.";
    return fmt::format("Partial scan · {} entries checked · {} skipped. Size is a lower bound.", scannedCount,
                       skippedCount);
}

FolderInsight FolderInsight::failed(std::string sentence, Date at) {
    FolderInsight insight;
    insight.error = std::move(sentence);
    insight.scannedAt = at;
    return insight;
}

std::string toJSON(const FolderInsight& insight) {
    auto object = json::Value::object();
    json::put(object, "directCount", insight.directCount);
    json::put(object, "scannedCount", insight.scannedCount);
    json::put(object, "bytes", insight.bytes);
    json::put(object, "complete", insight.complete);
    json::put(object, "byteCountComplete", insight.byteCountComplete);
    json::put(object, "skippedCount", insight.skippedCount);
    object["counts"] = encode(insight.counts);
    object["kindBytes"] = encode(insight.kindBytes);
    auto& children = object["childCounts"] = json::Value::object();
    for (const auto& [path, count] : insight.childCounts)
        children[json::keyOf(FileURL::folder(path))] = count;
    auto& peek = object["peek"] = json::Value::array();
    for (const auto& node : insight.peek) {
        auto& item = peek.emplace_back(json::Value::object());
        item["entry"] = json::parse(toJSON(node.entry));
        auto& inner = item["children"] = json::Value::array();
        for (const auto& child : node.children)
            inner.push_back(json::parse(toJSON(child)));
    }
    json::put(object, "error", insight.error);
    json::put(object, "scannedAt", insight.scannedAt);
    return json::dump(object);
}

/// A place among the scans that run, for a scope.
class FolderInsightScanner::Slot {
public:
    Slot(FolderInsightScanner& scanner, const std::stop_token& stop)
        : scanner_(entered(scanner, stop)), givenUp_(stop, [this] { leave(); }) {}
    ~Slot() { leave(); }
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

private:
    static FolderInsightScanner& entered(FolderInsightScanner& scanner, const std::stop_token& stop) {
        scanner.enter(stop);
        return scanner;
    }
    /// Once, whoever comes first.
    void leave() {
        if (!hasLeft_.exchange(true))
            scanner_.leave();
    }

    FolderInsightScanner& scanner_;
    std::atomic<bool> hasLeft_ = false;
    /// A scan that hangs in the system sees no stop request; it must not keep the others waiting.
    std::stop_callback<std::function<void()>> givenUp_;
};

FolderInsight FolderInsightScanner::scan(const FileURL& url, const std::stop_token& stop) {
    const Slot slot(*this, stop);
    return walk(url, observer_, stop);
}

FolderInsight FolderInsightScanner::read(const FileURL& url, const std::stop_token& stop) {
    return walk(url, {}, stop);
}

std::size_t FolderInsightScanner::waiting() const {
    const MutexLock lock(mutex_);
    return waiters_.size();
}

void FolderInsightScanner::enter(const std::stop_token& stop) {
    Waiter waiter;
    // Made before the lock and gone after it: the callback may run at once, and its end waits for a run.
    const std::stop_callback wake(stop, [this, &waiter] {
        const MutexLock lock(mutex_);
        waiter.turn.notify_one();
    });
    MutexLock lock(mutex_);
    if (active_ < simultaneousScans) {
        ++active_;
        return;
    }
    waiters_.push_back(&waiter);
    while (!waiter.isAdmitted && !stop.stop_requested())
        lock.wait(waiter.turn);
    if (!waiter.isAdmitted) {
        std::erase(waiters_, &waiter);
        throw CancellationError();
    }
}

void FolderInsightScanner::leave() {
    const MutexLock lock(mutex_);
    if (waiters_.empty()) {
        --active_;
        return;
    }
    // The next in the queue takes over this place: nobody who comes now can be quicker.
    waiters_.front()->isAdmitted = true;
    waiters_.front()->turn.notify_one();
    waiters_.pop_front();
}

} // namespace morv
