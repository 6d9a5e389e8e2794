#include "MorvCore/Folders/DirectoryEventMonitor.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Platform/ChangeNotices.h"
#include "MorvCore/Platform/FileStat.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <optional>

namespace morv {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto quiet = std::chrono::milliseconds(150);
constexpr auto longestBurst = std::chrono::seconds(2);
constexpr auto comparing = std::chrono::seconds(1);

Descriptor openFolder(const FileURL& url, int further) {
    return Descriptor(::open(url.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | further));
}

/// Rounded up: a wait that ends a moment early would only be repeated.
std::chrono::milliseconds until(Clock::time_point moment) {
    return std::max(std::chrono::milliseconds(0),
                    std::chrono::ceil<std::chrono::milliseconds>(moment - Clock::now()));
}

} // namespace

class DirectoryWatchState {
public:
    DirectoryWatchState(FileURL url, ChangeSource source, Descriptor folder)
        : url_(std::move(url)), source_(source), folder_(std::move(folder)),
          seen_(statDescriptor(folder_.get())) {
        arm();
    }

    DirectoryWatch::Signal next(const std::stop_token& stop) {
        const std::stop_callback wake(stop, [this] { end(); });
        std::optional<Clock::time_point> due, burstEnd;
        auto comparison = Clock::now() + comparing;
        for (;;) {
            checkCancelled(stop);
            if (ended_)
                return DirectoryWatch::Signal::ended;
            const auto now = Clock::now();
            if (due && now >= *due)
                return DirectoryWatch::Signal::changed;
            std::optional<Clock::time_point> wakeAt = due;
            if (compares())
                wakeAt = due ? std::min(*due, comparison) : comparison;
            const auto notice = notices_.wait(wakeAt ? std::optional(until(*wakeAt)) : std::nullopt);
            bool isChanged = notice.inFolder;
            if (notice.ofEntry || (compares() && Clock::now() >= comparison)) {
                isChanged = compare() || isChanged;
                comparison = Clock::now() + comparing;
            }
            if (isChanged) {
                const auto heard = Clock::now();
                if (!burstEnd)
                    burstEnd = heard + longestBurst;
                due = std::min(heard + quiet, *burstEnd);
            }
        }
    }

    void end() {
        ended_ = true;
        notices_.interrupt();
    }

    const UUID& id() const { return id_; }

private:
    /// Only the root has no entry in a parent.
    bool compares() const {
        return (folder_ && !notices_.hasFolder()) || (!notices_.hasEntry() && !url_.isRoot());
    }

    void arm() {
        if (source_ == ChangeSource::comparison)
            return;
        if (folder_ && !notices_.hasFolder())
            notices_.watchFolder(folder_.get());
        if (!notices_.hasEntry() && !url_.isRoot()) {
            if (const auto parent = openFolder(url_.parent(), 0))
                notices_.watchEntry(parent.get(), std::string(url_.lastComponent()));
        }
    }

    /// Takes what the path leads to now. True when that is another folder, none any more, or changed itself.
    bool compare() {
        auto now = openFolder(url_, O_NOFOLLOW);
        std::optional<FileStat> record;
        if (now)
            record = statDescriptor(now.get());
        const bool isSame = record && seen_ && record->isSameItem(*seen_);
        const bool isChanged =
            record.has_value() != seen_.has_value() ||
            (record && (!isSame || record->modified != seen_->modified || record->changed != seen_->changed));
        if (!isSame) {
            notices_.forgetFolder();
            folder_ = std::move(now);
        }
        const bool hadWatches = !compares();
        seen_ = record;
        arm();
        // What happened between the loss of a watch and its return was told to nobody.
        return isChanged || (!isSame && record) || (!hadWatches && !compares());
    }

    const FileURL url_;
    const ChangeSource source_;
    const UUID id_ = UUID::random();
    Descriptor folder_;
    std::optional<FileStat> seen_;
    ChangeNotices notices_;
    std::atomic<bool> ended_ = false;
};

DirectoryWatch::DirectoryWatch(std::unique_ptr<DirectoryWatchState> state) : state_(std::move(state)) {}
DirectoryWatch::~DirectoryWatch() = default;

DirectoryWatch::Signal DirectoryWatch::next(const std::stop_token& stop) {
    return state_->next(stop);
}

void DirectoryWatch::end() {
    state_->end();
}

const UUID& DirectoryWatch::id() const {
    return state_->id();
}

std::shared_ptr<DirectoryWatch> DirectoryEventMonitor::watch(const FileURL& folder) {
    const auto entry = DirectoryService::entry(folder);
    if (!entry.isDirectory || entry.isSymbolicLink)
        throw FileOperationError::unsupported("Only physical folders can be watched.");
    auto opened = openFolder(folder, O_NOFOLLOW);
    if (!opened)
        throw PosixError(errno, folder.path());
    const auto stat = statDescriptor(opened.get());
    if (stat.volume != entry.volume || stat.inode != entry.inode)
        throw FileOperationError::changed("The folder changed before it could be watched.");
    auto watch = std::make_shared<DirectoryWatch>(
        std::make_unique<DirectoryWatchState>(folder, source_, std::move(opened)));
    const MutexLock lock(mutex_);
    std::erase_if(watches_, [](const auto& known) { return known.second.expired(); });
    watches_.emplace(watch->id(), watch);
    return watch;
}

void DirectoryEventMonitor::stop() {
    std::map<UUID, std::weak_ptr<DirectoryWatch>> ending;
    {
        const MutexLock lock(mutex_);
        ending.swap(watches_);
    }
    for (const auto& [id, watch] : ending) {
        if (const auto held = watch.lock())
            held->end();
    }
}

void DirectoryEventMonitor::stop(const UUID& id) {
    std::shared_ptr<DirectoryWatch> ending;
    {
        const MutexLock lock(mutex_);
        const auto found = watches_.find(id);
        if (found == watches_.end())
            return;
        ending = found->second.lock();
        watches_.erase(found);
    }
    if (ending)
        ending->end();
}

} // namespace morv
