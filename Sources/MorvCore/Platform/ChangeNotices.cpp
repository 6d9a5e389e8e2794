#include "MorvCore/Platform/ChangeNotices.h"

#include "MorvCore/Foundation/Errors.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

namespace morv {

namespace {

// Writers are heard when they close: a growing file would otherwise never leave a quiet moment.
constexpr unsigned folderMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB |
                                IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr unsigned entryMask =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr unsigned selfMask = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;

} // namespace

ChangeNotices::ChangeNotices()
    : queue_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), wake_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (!wake_)
        throw PosixError(errno);
}

int ChangeNotices::add(int folder, unsigned mask) {
    // Through the descriptor, so that a folder put in its place meanwhile is not watched for it.
    const auto path = "/proc/self/fd/" + std::to_string(folder);
    return queue_ ? ::inotify_add_watch(queue_.get(), path.c_str(), mask) : -1;
}

void ChangeNotices::forget(int& watch) {
    if (watch >= 0)
        ::inotify_rm_watch(queue_.get(), watch);
    watch = -1;
}

bool ChangeNotices::watchFolder(int folder) {
    forget(folder_);
    folder_ = add(folder, folderMask);
    return hasFolder();
}

bool ChangeNotices::watchEntry(int parent, std::string name) {
    forget(entry_);
    entry_ = add(parent, entryMask);
    name_ = std::move(name);
    return hasEntry();
}

void ChangeNotices::forgetFolder() {
    forget(folder_);
}

void ChangeNotices::interrupt() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
}

ChangeNotices::Notice ChangeNotices::wait(std::optional<std::chrono::milliseconds> longest) {
    std::array<pollfd, 2> waits = {pollfd{wake_.get(), POLLIN, 0}, pollfd{queue_.get(), POLLIN, 0}};
    const int timeout = longest ? static_cast<int>(longest->count()) : -1;
    if (::poll(waits.data(), waits.size(), timeout) < 0 && errno != EINTR)
        throw PosixError(errno);
    return waits[1].revents != 0 ? read() : Notice();
}

ChangeNotices::Notice ChangeNotices::read() {
    Notice notice;
    alignas(inotify_event) std::array<char, 16384> buffer;
    for (;;) {
        const auto length = ::read(queue_.get(), buffer.data(), buffer.size());
        if (length <= 0)
            return notice;
        for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            const char* name = buffer.data() + at + sizeof event;
            at += sizeof event + event.len;
            const bool isLost = (event.mask & IN_Q_OVERFLOW) != 0;
            const bool isSelf = (event.mask & selfMask) != 0;
            if (isLost || event.wd == folder_) {
                notice.inFolder = true;
                notice.ofEntry = notice.ofEntry || isLost || isSelf;
            }
            if (event.wd == entry_ && (isSelf || (event.len > 0 && name_ == name)))
                notice.ofEntry = true;
            if ((event.mask & IN_IGNORED) != 0) {
                folder_ = event.wd == folder_ ? -1 : folder_;
                entry_ = event.wd == entry_ ? -1 : entry_;
            }
            // A parent that was moved away tells nothing of our path any more.
            if (event.wd == entry_ && (event.mask & (IN_MOVE_SELF | IN_DELETE_SELF)) != 0)
                forget(entry_);
        }
    }
}

} // namespace morv
