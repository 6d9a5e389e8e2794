#include "MorvCore/Platform/VolumeNumber.h"

#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Platform/Descriptor.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <optional>
#include <poll.h>
#include <set>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

namespace morv {

namespace {

// f_type of statfs(2); linux/magic.h lacks several of them.
constexpr std::uint64_t ext = 0xEF53, xfs = 0x58465342, btrfs = 0x9123683E, f2fs = 0xF2F52010;
constexpr std::uint64_t tmpfs = 0x01021994, zfs = 0x2FC12FC1;
constexpr std::uint64_t fat = 0x4D44, exfat = 0x2011BAB0, ntfs = 0x5346544E, ntfs3 = 0x7366746E;
constexpr std::uint64_t smb = 0x517B, cifs = 0xFF534D42, smb2 = 0xFE534D42, fuse = 0x65735546;
constexpr std::uint64_t nfs = 0x6969, ceph = 0x00C36400, afs = 0x5346414F, kafs = 0x6B414653,
                        coda = 0x73757245;
constexpr std::uint64_t ncp = 0x564C, plan9 = 0x01021997;

constexpr std::array stableTypes = {ext, btrfs, f2fs, zfs};
constexpr std::array trustedTypes = {ext, xfs, btrfs, f2fs, tmpfs, zfs};
constexpr std::array lossyTypes = {fat, exfat, ntfs, ntfs3, smb, cifs, smb2, fuse};
constexpr std::array narrowNameTypes = {fat, exfat, ntfs, ntfs3, smb, cifs, smb2};
constexpr std::array remoteTypes = {smb, cifs, smb2, fuse, nfs, ceph, afs, kafs, coda, ncp, plan9};

template <std::size_t N>
bool contains(const std::array<std::uint64_t, N>& types, std::uint64_t type) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

std::optional<struct statfs> readFileSystem(std::uint64_t device, int directory, const char* name) {
    struct statfs system {};
    if (*name == '\0') {
        if (::fstatfs(directory, &system) == 0)
            return system;
        return std::nullopt;
    }
    // statfs would follow a link to another volume.
    if (const Descriptor item(::openat(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC)); item) {
        struct stat now {};
        if (::fstat(item.get(), &now) == 0 && now.st_dev == device && ::fstatfs(item.get(), &system) == 0)
            return system;
    }
    // The item went away: its folder is on the same volume unless the item was a mount point.
    struct stat folder {};
    if (directory >= 0 && ::fstat(directory, &folder) == 0 && folder.st_dev == device &&
        ::fstatfs(directory, &system) == 0)
        return system;
    return std::nullopt;
}

bool isRemovable(std::uint64_t device) {
    const auto link = "/sys/dev/block/" + std::to_string(major(device)) + ":" + std::to_string(minor(device));
    std::array<char, PATH_MAX> resolved;
    if (!::realpath(link.c_str(), resolved.data()))
        return false;
    std::string path = resolved.data();
    if (path.find("/usb") != std::string::npos)
        return true;
    // A partition's mark stands with its whole disk.
    for (const char* place : {"/removable", "/../removable"}) {
        std::ifstream mark(path + place);
        char value = '0';
        if (mark >> value)
            return value == '1';
    }
    return false;
}

std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
    return value ^ (value >> 31);
}

/// Fits a signed number, and never equals a device number of the kernel, which has 32 bits.
std::uint64_t stableNumber(std::uint64_t type, std::uint64_t id) {
    constexpr std::uint64_t mark = std::uint64_t{1} << 62;
    return (mixed(id + mixed(type + 0x9E3779B97F4A7C15)) & (mark - 1)) | mark;
}

VolumeTraits describe(std::uint64_t device, const struct statfs& system) {
    VolumeTraits traits;
    traits.number = device;
    // The kernel's word is signed on some machines; the magic numbers have 32 bits.
    traits.type = static_cast<std::uint32_t>(system.f_type);
    std::uint64_t id = 0;
    static_assert(sizeof system.f_fsid == sizeof id);
    std::memcpy(&id, &system.f_fsid, sizeof id);
    if (id != 0 && contains(stableTypes, traits.type))
        traits.number = stableNumber(traits.type, id);
    traits.isTrustedLocal = contains(trustedTypes, traits.type);
    traits.timesShowEveryChange = traits.isTrustedLocal && traits.type != tmpfs;
    traits.keepsMetadata = !contains(lossyTypes, traits.type);
    traits.keepsEveryName = !contains(narrowNameTypes, traits.type);
    traits.verifyFromDevice = contains(remoteTypes, traits.type) || isRemovable(device);
    return traits;
}

constexpr char mountTable[] = "/proc/self/mountinfo";

std::set<std::uint64_t> mountedDevices() {
    std::set<std::uint64_t> devices;
    std::ifstream table(mountTable);
    std::string line;
    // proc(5): "36 35 98:0 /mnt1 /mnt2 …", the third field is st_dev.
    while (std::getline(table, line)) {
        unsigned first = 0, second = 0;
        if (std::sscanf(line.c_str(), "%*u %*u %u:%u", &first, &second) == 2)
            devices.insert(makedev(first, second));
    }
    return devices;
}

class Cache {
public:
    /// Forgets everything when something was mounted or unmounted since the last call. The lock is held over
    /// the question, so that nobody is answered from before; the table is the kernel's memory, not a disk.
    void noticeMounts() MORV_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        pollfd table{mountTable_.get(), POLLPRI, 0};
        if (!mountTable_ || ::poll(&table, 1, 0) <= 0 || !(table.revents & (POLLPRI | POLLERR)))
            return;
        byDevice_.clear();
        // Of two clones that are still there, the first keeps the number.
        const auto mounted = mountedDevices();
        std::erase_if(deviceOfNumber_, [&](const auto& claim) { return !mounted.contains(claim.second); });
        generation_.fetch_add(1, std::memory_order_release);
    }

    std::optional<VolumeTraits> find(std::uint64_t device) MORV_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        const auto found = byDevice_.find(device);
        return found == byDevice_.end() ? std::nullopt : std::optional(found->second);
    }

    /// What was asked before the mounts changed is not remembered: `asked` is the generation of then.
    VolumeTraits add(std::uint64_t device, VolumeTraits traits, unsigned asked) MORV_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        if (asked != generation_)
            return traits;
        if (deviceOfNumber_.try_emplace(traits.number, device).first->second != device)
            traits.number = device;
        return byDevice_.try_emplace(device, traits).first->second;
    }

    /// Changes with every noticed change of the mounts.
    unsigned generation() const { return generation_.load(std::memory_order_acquire); }

private:
    Mutex mutex_;
    const Descriptor mountTable_{::open(mountTable, O_RDONLY | O_CLOEXEC)};
    std::map<std::uint64_t, VolumeTraits> byDevice_ MORV_GUARDED_BY(mutex_);
    std::map<std::uint64_t, std::uint64_t> deviceOfNumber_ MORV_GUARDED_BY(mutex_);
    std::atomic<unsigned> generation_ = 1;
};

Cache& cache() {
    static Cache instance;
    return instance;
}

VolumeTraits lookedUp(std::uint64_t device, int directory, const char* name) {
    if (const auto known = cache().find(device))
        return *known;
    const auto generation = cache().generation();
    if (const auto system = readFileSystem(device, directory, name))
        return cache().add(device, describe(device, *system), generation);
    // Not remembered: the next item of this volume may answer.
    VolumeTraits unknown;
    unknown.number = device;
    unknown.keepsMetadata = false;
    unknown.verifyFromDevice = true;
    return unknown;
}

} // namespace

void noticeMounts() {
    cache().noticeMounts();
}

VolumeTraits volumeTraits(std::uint64_t device, int directory, const char* name) {
    noticeMounts();
    return lookedUp(device, directory, name);
}

std::uint64_t volumeNumber(std::uint64_t device, int directory, const char* name) {
    // Reading a folder asks for the same volume a hundred thousand times in a row.
    thread_local unsigned lastGeneration = 0;
    thread_local std::uint64_t lastDevice = 0;
    thread_local std::uint64_t lastNumber = 0;
    const auto generation = cache().generation();
    if (generation == lastGeneration && device == lastDevice)
        return lastNumber;
    const auto traits = lookedUp(device, directory, name);
    if (traits.type != 0) {
        lastGeneration = generation;
        lastDevice = device;
        lastNumber = traits.number;
    }
    return traits.number;
}

} // namespace morv
