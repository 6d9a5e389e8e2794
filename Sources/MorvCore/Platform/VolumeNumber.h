// A number for a volume that stays the same across boots.
//
// st_dev of btrfs, device-mapper, NVMe and network volumes may change at every boot, and a receipt must
// still be undoable after one. Where the file system gives a stable id (f_fsid of ext2/3/4, btrfs, f2fs, zfs)
// the number is made from its type and that id; elsewhere it is st_dev. Looked up once per st_dev, and anew
// when something was mounted or unmounted: the next stick in the same socket gets the st_dev of the last.
// When two st_dev of one process give the same number (a cloned image), the later one keeps its st_dev.
#pragma once

#include <cstdint>
#include <string>

namespace morv {

/// What kind of volume a descriptor's file lives on.
struct VolumeTraits {
    std::uint64_t number = 0;
    /// The type of file system, as in statfs(2) f_type; 0 when the item went away before it could be asked.
    std::uint64_t type = 0;
    /// A local disk or memory volume whose times and leases can be believed (never network or FUSE).
    bool isTrustedLocal = false;
    /// Whatever changes a file that nobody has open for writing now has changed its times (a trusted local
    /// disk). In a memory volume a write through a mapping can leave both times as they were.
    bool timesShowEveryChange = false;
    /// Keeps permission bits, attributes and exact times (not FAT, exFAT, NTFS, SMB or FUSE).
    bool keepsMetadata = true;
    /// A name may hold any byte but "/" (not on FAT, exFAT, NTFS or SMB, which answer EINVAL to some).
    bool keepsEveryName = true;
    /// Removable, network or FUSE: what was written is read back from the device, not from memory.
    bool verifyFromDevice = false;
};

/// `device` is st_dev of `name` relative to `directory` (AT_FDCWD and an absolute path are fine; an empty
/// name means the descriptor itself). True of the mounts at the moment of the call. Safe from any thread.
VolumeTraits volumeTraits(std::uint64_t device, int directory, const char* name);

/// The number alone, for every item of a long reading: changes of the mounts count from the last
/// volumeTraits() or noticeMounts() of any thread. Safe from any thread.
std::uint64_t volumeNumber(std::uint64_t device, int directory, const char* name);

/// Forgets what is known of the volumes if something was mounted or unmounted since the last call; one poll.
void noticeMounts();

} // namespace morv
