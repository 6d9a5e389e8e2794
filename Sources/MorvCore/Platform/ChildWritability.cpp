#include "MorvCore/Platform/ChildWritability.h"

#include "MorvCore/Platform/VolumeNumber.h"

#include <unistd.h>

namespace morv {

ChildWritability::ChildWritability(int directory) : directory_(directory), user_(::geteuid()) {
    const auto folder = statDescriptor(directory);
    device_ = folder.device;
    mountID_ = folder.mountID;
    // A server decides for itself whatever the mode says, so only local volumes are plain. A read-only mount
    // shows in its flags, a read-only btrfs snapshot only in the answer for the folder.
    isPlain_ = volumeTraits(device_, directory, "").isTrustedLocal && isWritableAt(directory, ".");
}

bool ChildWritability::isWritable(const FileStat& child, const std::string& name) const {
    // The owner's own bit decides for the owner, also where an access control list stands beside it.
    if (isPlain_ && child.device == device_ && child.mountID == mountID_ && child.owner == user_ &&
        (child.isRegular() || child.isDirectory()) && (child.mode & S_IWUSR) && !child.mayBeImmutable)
        return true;
    return isWritableAt(directory_, name);
}

} // namespace morv
