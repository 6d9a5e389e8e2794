// Telling that a folder should be read again. What changed is never told: reading is DirectoryService's.
//
// Protocol    watch() -> next() on a thread of the caller's, again and again -> end(), from anywhere
// Invariants  I1  a burst of changes is one signal, 150 ms after the last of them; a burst that does not end
//                 is one signal every two seconds, or a folder in constant use would never be seen to change
//             I2  after end() no signal is given any more
//             I3  the watch follows the path: a folder that was deleted, renamed or replaced is a signal, and
//                 so is one that comes back there
// What is seen  creation, deletion, rename and attributes of the direct children, a finished write to one,
//             and the folder's own going and coming. When the kernel gives no watch, the folder's own record
//             is compared once a second: names that come and go are seen then, a child's own changes are not.
// Threading   DirectoryEventMonitor is safe to share; next() is one thread's at a time, end() anybody's
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Foundation/UUID.h"

#include <cstdint>
#include <map>
#include <memory>
#include <stop_token>

namespace morv {

class DirectoryWatchState;

class DirectoryWatch {
public:
    explicit DirectoryWatch(std::unique_ptr<DirectoryWatchState> state);
    ~DirectoryWatch();
    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;

    enum class Signal : std::uint8_t { changed, ended };
    /// Waits for a change. After `ended` every further call answers `ended`. Throws CancellationError when
    /// `stop` was requested; the watch has ended then.
    Signal next(const std::stop_token& stop);
    void end();
    const UUID& id() const;

private:
    std::unique_ptr<DirectoryWatchState> state_;
};

/// Where changes are learnt: from the kernel as far as it can, or only by comparing.
enum class ChangeSource : std::uint8_t { events, comparison };

class DirectoryEventMonitor {
public:
    explicit DirectoryEventMonitor(ChangeSource source = ChangeSource::events) : source_(source) {}
    ~DirectoryEventMonitor() { stop(); }
    DirectoryEventMonitor(const DirectoryEventMonitor&) = delete;
    DirectoryEventMonitor& operator=(const DirectoryEventMonitor&) = delete;

    /// Throws FileOperationError::unsupported "Only physical folders can be watched." or changed "The folder
    /// changed before it could be watched."; PosixError with the path. Releasing the watch ends it.
    std::shared_ptr<DirectoryWatch> watch(const FileURL& folder);
    /// Ends all watches.
    void stop();
    /// Ends one; one that is not there is no error.
    void stop(const UUID& id);

private:
    const ChangeSource source_;
    Mutex mutex_;
    std::map<UUID, std::weak_ptr<DirectoryWatch>> watches_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
