// What the system says of one item beyond its stat record: who owns it, what this process may do with it, where
// a link leads, and what is mounted there.
//
// Threading   stateless; everything may wait for a disk or a directory of users: never on a main thread
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

/// The name in the user database, else the number in decimal.
std::string userName(std::uint32_t id);
std::string groupName(std::uint32_t id);
/// Whether `id` is the effective user of this process.
bool isThisUser(std::uint32_t id);

/// What the effective user may do, with access lists and read-only mounts considered. Of a link: its target.
struct ItemAccess {
    bool canRead = false;
    bool canWrite = false;
    bool canExecute = false; ///< of a folder: go through it

    friend bool operator==(const ItemAccess&, const ItemAccess&) = default;
};
ItemAccess itemAccess(const FileURL& url);

/// The target's bytes as they stand in the link, not resolved. Throws PosixError.
std::string linkTarget(const FileURL& link);

struct MountFacts {
    FileURL root;     ///< where it is mounted
    std::string type; ///< "ext4", "fuse.sshfs"
    /// "/dev/sda1", "server:/export"; may be empty. A password in it stands as "•••" and never leaves here.
    std::string source;
    bool isReadOnly = false;

    friend bool operator==(const MountFacts&, const MountFacts&) = default;
};
/// `mountID` as in FileStat. Nothing when nothing is mounted under it (any more).
std::optional<MountFacts> mountFacts(std::uint64_t mountID);
/// The same from the text of a table in the form of /proc/self/mountinfo, proc(5).
std::optional<MountFacts> mountFacts(std::string_view table, std::uint64_t mountID);

} // namespace morv
