#include "MorvCore/Platform/FileStat.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/sysmacros.h>

namespace morv {

namespace {

FileTime time(const struct statx_timestamp& stamp) {
    return {stamp.tv_sec, stamp.tv_nsec};
}

/// Nothing with errno set.
std::optional<FileStat> read(int directory, const char* name, int flags) {
    struct statx record {};
    if (::statx(directory, name, flags | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID, &record) != 0)
        return std::nullopt;
    FileStat stat;
    stat.device = makedev(record.stx_dev_major, record.stx_dev_minor);
    stat.volume = volumeNumber(stat.device, directory, name);
    stat.inode = record.stx_ino;
    if (record.stx_mask & STATX_MNT_ID)
        stat.mountID = record.stx_mnt_id;
    stat.size = static_cast<std::int64_t>(record.stx_size);
    stat.blocks = static_cast<std::int64_t>(record.stx_blocks);
    stat.mode = record.stx_mode;
    stat.links = record.stx_nlink;
    stat.owner = record.stx_uid;
    stat.group = record.stx_gid;
    stat.mayBeImmutable = !(record.stx_attributes_mask & STATX_ATTR_IMMUTABLE) ||
                          (record.stx_attributes & STATX_ATTR_IMMUTABLE);
    stat.modified = time(record.stx_mtime);
    stat.changed = time(record.stx_ctime);
    stat.accessed = time(record.stx_atime);
    if (record.stx_mask & STATX_BTIME)
        stat.born = time(record.stx_btime);
    return stat;
}

} // namespace

std::string FileStat::identity() const {
    return std::to_string(volume) + ':' + std::to_string(inode);
}

FileStat statItem(const FileURL& url) {
    // What begins with a path may have been plugged in a moment ago; what is relative to a descriptor was
    // not.
    noticeMounts();
    if (auto stat = read(AT_FDCWD, url.path().c_str(), 0))
        return *stat;
    throw PosixError(errno, url.path());
}

FileStat statAt(int directory, const std::string& name) {
    if (auto stat = read(directory, name.c_str(), 0))
        return *stat;
    throw PosixError(errno, name);
}

FileStat statDescriptor(int descriptor) {
    if (auto stat = read(descriptor, "", AT_EMPTY_PATH))
        return *stat;
    throw PosixError(errno);
}

std::optional<FileStat> statIfPresent(const FileURL& url) {
    return read(AT_FDCWD, url.path().c_str(), 0);
}

std::optional<FileStat> statUnlessMissing(const FileURL& url) {
    auto stat = read(AT_FDCWD, url.path().c_str(), 0);
    if (!stat && errno != ENOENT && errno != ENOTDIR)
        throw PosixError(errno, url.path());
    return stat;
}

bool isWritableItem(const FileURL& url) {
    return isWritableAt(AT_FDCWD, url.path());
}

bool isWritableAt(int directory, const std::string& name) {
    return ::faccessat(directory, name.c_str(), W_OK, AT_EACCESS) == 0;
}

} // namespace morv
