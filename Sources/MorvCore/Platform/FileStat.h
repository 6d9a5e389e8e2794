// What the kernel says of one item, taken with statx and never through a final link.
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Platform/Descriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace morv {

struct FileTime {
    std::int64_t seconds = 0; ///< since 1970-01-01 UTC
    std::uint32_t nanoseconds = 0;

    friend auto operator<=>(const FileTime&, const FileTime&) = default;
};

struct FileStat {
    /// The kernel's own number: it decides where a rename can go, and may change at the next boot.
    std::uint64_t device = 0;
    /// The stable number of the volume (VolumeNumber.h): what identities and digests are made of.
    std::uint64_t volume = 0;
    std::uint64_t inode = 0;
    std::uint64_t mountID = 0;
    std::int64_t size = 0;   ///< bytes
    std::int64_t blocks = 0; ///< units of 512 bytes
    std::uint32_t mode = 0;  ///< with type bits
    std::uint32_t links = 0;
    std::uint32_t owner = 0;
    std::uint32_t group = 0;
    /// Marked immutable, or the volume does not say: the mode alone does not prove that it can be written.
    bool mayBeImmutable = true;
    FileTime modified;
    FileTime changed;
    FileTime accessed; ///< as often as the mount keeps it
    std::optional<FileTime> born;

    bool isDirectory() const { return S_ISDIR(mode); }
    bool isRegular() const { return S_ISREG(mode); }
    bool isSymbolicLink() const { return S_ISLNK(mode); }
    bool isSameItem(const FileStat& other) const { return device == other.device && inode == other.inode; }
    /// Volume number ":" inode, decimal.
    std::string identity() const;
};

/// Throws PosixError with the path.
FileStat statItem(const FileURL& url);
/// `name` relative to the open folder `directory`; throws PosixError with `name`.
FileStat statAt(int directory, const std::string& name);
FileStat statDescriptor(int descriptor);

/// Nothing for whatever reason the item cannot be statted. For questions where every failure means "free".
std::optional<FileStat> statIfPresent(const FileURL& url);

/// Nothing only when the item does not exist (ENOENT, ENOTDIR); throws PosixError otherwise.
std::optional<FileStat> statUnlessMissing(const FileURL& url);

/// `access` with the effective ids (faccessat, AT_EACCESS); follows links, any failure is "no".
bool isWritableItem(const FileURL& url);
bool isWritableAt(int directory, const std::string& name);

} // namespace morv
