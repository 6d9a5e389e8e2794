#include "MorvCore/Platform/VolumeSpace.h"

#include "MorvCore/Foundation/Errors.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <sys/statvfs.h>

namespace morv {

namespace {

/// Some network volumes claim more than a number holds.
std::int64_t bytes(std::uint64_t blocks, std::uint64_t size) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return static_cast<std::int64_t>(size != 0 && blocks > most / size ? most : blocks * size);
}

} // namespace

VolumeSpace volumeSpace(const FileURL& url) {
    struct statvfs found {};
    int result = 0;
    do
        result = ::statvfs(url.path().c_str(), &found);
    while (result != 0 && errno == EINTR);
    if (result != 0)
        throw PosixError(errno, url.path());
    const auto total = bytes(found.f_blocks, found.f_frsize);
    return {std::min(bytes(found.f_bavail, found.f_frsize), total), total};
}

} // namespace morv
