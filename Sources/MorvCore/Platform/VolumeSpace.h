// How much room a volume has, as the kernel says it.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstdint>

namespace morv {

/// Bytes.
struct VolumeSpace {
    std::int64_t free = 0; ///< for this user: without what is kept for root
    std::int64_t total = 0;

    friend bool operator==(const VolumeSpace&, const VolumeSpace&) = default;
};

/// Of the volume that `url` lies on, links followed. Throws PosixError. A server that does not answer blocks
/// it for as long: never on the main thread.
VolumeSpace volumeSpace(const FileURL& url);

} // namespace morv
