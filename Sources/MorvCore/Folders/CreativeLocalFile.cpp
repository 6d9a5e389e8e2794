#include "MorvCore/Folders/CreativeLocalFile.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/SyncPlaceholder.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace morv {

namespace {

Descriptor openIn(const CreativePinnedDirectory& parent, const std::string& name) {
    // Without blocking: a fifo that is swapped in for the file cannot hang the open.
    Descriptor descriptor(
        ::openat(parent.descriptor(), name.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!descriptor)
        throw PosixError(errno, name);
    return descriptor;
}

/// Nothing when the call fails: a file that cannot be proved counts as changed.
std::optional<FileStat> currentStat(const Descriptor& descriptor) {
    try {
        return statDescriptor(descriptor.get());
    } catch (const PosixError&) {
        return std::nullopt;
    }
}

bool isUnchanged(const FileStat& now, const FileStat& before) {
    return now.isSameItem(before) && now.size == before.size && now.modified == before.modified &&
           now.changed == before.changed;
}

bool isPlaceholder(const FileStat& stat, const std::string& name, const Descriptor& descriptor) {
    return isSyncPlaceholder(stat, name, AttributeTarget::descriptor(descriptor.get()));
}

} // namespace

bool isIncompleteDownload(const FileURL& url) {
    static constexpr std::array<std::string_view, 5> extensions = {"part", "partial", "crdownload",
                                                                   "download", "tmp"};
    const auto extension = pathKey(url.extension());
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

CreativeLocalFile::CreativeLocalFile(const FileURL& url) : entry_(DirectoryService::entry(url)) {
    if (entry_.isDirectory || entry_.isPackage || entry_.isSymbolicLink ||
        entry_.availability != FileAvailability::local || entry_.isDownloading || isIncompleteDownload(url))
        throw FileOperationError::unavailable("Only a complete, local regular file can be inspected.");
    pinnedParent_ = CreativePinnedDirectory::open(url.parent());
    descriptor_ = openIn(*pinnedParent_, entry_.name);
    const auto stat = currentStat(descriptor_);
    if (!stat || !stat->isRegular() || stat->size != entry_.size || stat->volume != entry_.volume ||
        stat->inode != entry_.inode || isPlaceholder(*stat, entry_.name, descriptor_))
        throw FileOperationError::changed("This file changed or is not available locally.");
    before_ = *stat;
}

CreativeLocalFile::CreativeLocalFile(const std::string& name,
                                     std::shared_ptr<const CreativePinnedDirectory> parent,
                                     const FileStat& expected, const FileURL& url)
    : descriptor_(openIn(*parent, name)), pinnedParent_(std::move(parent)) {
    const auto stat = currentStat(descriptor_);
    if (!stat || !stat->isRegular() || !isUnchanged(*stat, expected) ||
        isPlaceholder(*stat, name, descriptor_))
        throw FileOperationError::changed("The file changed before its content could be read.");
    before_ = *stat;
    entry_.folder = std::make_shared<const FileURL>(url.parent());
    entry_.name = name;
    entry_.volume = stat->volume;
    entry_.inode = stat->inode;
    entry_.size = stat->size;
    entry_.modifiedAt = Date::fromUnix(stat->modified.seconds, stat->modified.nanoseconds);
    entry_.isWritable = true;
}

void CreativeLocalFile::validate() const {
    pinnedParent_->validate();
    const auto now = currentStat(descriptor_);
    if (!now || !isUnchanged(*now, before_) || isPlaceholder(*now, entry_.name, descriptor_))
        throw FileOperationError::changed(displayText(entry_.name) +
                                          " changed during inspection. Try again.");
    bool isStillNamed = false;
    try {
        isStillNamed = pinnedParent_->metadata(entry_.name, Ancestry::validate).isSameItem(before_);
    } catch (const PosixError& error) {
        if (error.code() != ENOENT)
            throw;
    }
    if (!isStillNamed)
        throw FileOperationError::changed("The file’s directory entry changed during inspection.");
}

} // namespace morv
