#include "MorvCore/Platform/Durability.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/Descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace morv {

void flushDescriptor(int descriptor, const FileURL& shown) {
    if (fsync(descriptor) != 0)
        throw PosixError(errno, shown.path());
}

void flushVolume(int descriptor, const FileURL& shown) {
    if (syncfs(descriptor) != 0)
        throw PosixError(errno, shown.path());
}

void flushFolder(int folder, const FileURL& shown) {
    // Some FUSE and network file systems have no fsync for folders; they order their own metadata.
    if (fsync(folder) != 0 && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        throw PosixError(errno, shown.path());
}

void flushFolder(const FileURL& folder) {
    const Descriptor descriptor(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor)
        throw PosixError(errno, folder.path());
    flushFolder(descriptor.get(), folder);
}

void startFlushing(int descriptor, long offset, long length) {
    sync_file_range(descriptor, offset, length, SYNC_FILE_RANGE_WRITE);
}

} // namespace morv
