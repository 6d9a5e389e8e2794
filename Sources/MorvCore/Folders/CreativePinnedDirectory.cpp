#include "MorvCore/Folders/CreativePinnedDirectory.h"

#include "MorvCore/Foundation/Cancellation.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <vector>

namespace morv {

namespace {

// Without blocking: whatever is swapped in for a folder cannot hang the open.
constexpr int childFlags = O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC;
constexpr int passageFlags = O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC;

[[noreturn]] void failChanged() {
    throw FileOperationError::changed(
        "A containing folder changed or became a symbolic link. Its contents are unverified.");
}

std::string resolved(const FileURL& url) {
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(url.path().c_str(), nullptr),
                                                           &std::free);
    if (!path)
        throw PosixError(errno, url.path());
    return path.get();
}

} // namespace

CreativePinnedDirectory::CreativePinnedDirectory(Key, Descriptor descriptor, const FileStat& identity,
                                                 std::shared_ptr<const CreativePinnedDirectory> parent,
                                                 std::string name)
    : descriptor_(std::move(descriptor)), identity_(identity), parent_(std::move(parent)),
      name_(std::move(name)) {}

std::shared_ptr<const CreativePinnedDirectory> CreativePinnedDirectory::open(const FileURL& url) {
    const auto path = resolved(url);
    Descriptor root(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!root && errno == EACCES)
        root = Descriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!root)
        throw PosixError(errno, "/");
    const auto rootStat = statDescriptor(root.get());
    std::shared_ptr<const CreativePinnedDirectory> current =
        std::make_shared<CreativePinnedDirectory>(Key(), std::move(root), rootStat, nullptr, "/");
    for (std::size_t start = 1; start < path.size();) {
        const auto end = std::min(path.find('/', start), path.size());
        const auto name = path.substr(start, end - start);
        current->validate();
        try {
            current = current->opened(name, childFlags, std::nullopt);
        } catch (const PosixError& error) {
            // A folder that may be passed but not listed, as a home of another user's, is a fine ancestor.
            if (error.code() != EACCES || end == path.size())
                throw;
            current = current->opened(name, passageFlags, std::nullopt);
        }
        start = end + 1;
    }
    return current;
}

std::shared_ptr<const CreativePinnedDirectory>
CreativePinnedDirectory::child(const std::string& name, const std::optional<FileStat>& expected) const {
    validate();
    return opened(name, childFlags, expected);
}

std::shared_ptr<const CreativePinnedDirectory>
CreativePinnedDirectory::opened(const std::string& name, int flags,
                                const std::optional<FileStat>& expected) const {
    Descriptor descriptor(::openat(descriptor_.get(), name.c_str(), flags));
    if (!descriptor)
        throw PosixError(errno, name);
    const auto identity = statDescriptor(descriptor.get());
    if (!identity.isDirectory() || (expected && !identity.isSameItem(*expected)))
        failChanged();
    return std::make_shared<CreativePinnedDirectory>(Key(), std::move(descriptor), identity,
                                                     shared_from_this(), name);
}

FileStat CreativePinnedDirectory::metadata(const std::string& name, Ancestry ancestry) const {
    if (ancestry == Ancestry::validate)
        validate();
    return statAt(descriptor_.get(), name);
}

void CreativePinnedDirectory::validate() const {
    std::vector<const CreativePinnedDirectory*> chain;
    for (const auto* link = this; link->parent_; link = link->parent_.get())
        chain.push_back(link);
    for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
        FileStat now;
        try {
            now = statAt((*link)->parent_->descriptor_.get(), (*link)->name_);
        } catch (const PosixError&) {
            failChanged();
        }
        if (!now.isDirectory() || !now.isSameItem((*link)->identity_))
            failChanged();
    }
}

CreativeDirectoryCursor::CreativeDirectoryCursor(std::shared_ptr<const CreativePinnedDirectory> directory,
                                                 std::string relativePath)
    : directory_(std::move(directory)), relativePath_(std::move(relativePath)) {
    // Opened anew, so that two cursors over one folder do not share a position.
    Descriptor descriptor(
        ::openat(directory_->descriptor(), ".", O_RDONLY | O_NONBLOCK | O_DIRECTORY | O_CLOEXEC));
    // A folder that may be listed but not passed cannot open its own ".".
    const bool isShared = !descriptor && errno == EACCES;
    if (isShared)
        descriptor = Descriptor(::fcntl(directory_->descriptor(), F_DUPFD_CLOEXEC, 0));
    if (!descriptor)
        throw PosixError(errno);
    stream_.reset(::fdopendir(descriptor.get()));
    if (!stream_)
        throw PosixError(errno);
    descriptor.release();
    if (isShared)
        ::rewinddir(stream_.get());
}

std::optional<std::string> CreativeDirectoryCursor::next(Ancestry ancestry, const std::stop_token& stop) {
    if (ancestry == Ancestry::validate)
        directory_->validate();
    for (;;) {
        checkCancelled(stop);
        errno = 0;
        const auto* item = ::readdir(stream_.get());
        if (!item) {
            if (errno != 0)
                throw PosixError(errno);
            return std::nullopt;
        }
        const std::string_view name = item->d_name;
        if (name != "." && name != "..")
            return std::string(name);
    }
}

} // namespace morv
