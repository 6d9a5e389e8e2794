// Copying the bytes of one open file into another, and reading them, with every byte handed to a sink.
// Threading   each call is confined to its thread; it may run the sink on a thread of its own, one call at a
// time
#pragma once

#include "MorvCore/Foundation/ContentHash.h"
#include "MorvCore/Foundation/FileURL.h"

#include <cstdint>
#include <functional>
#include <stop_token>

namespace morv {

/// Called with the number of bytes of each chunk as it is done.
using ChunkObserver = std::function<void(std::int64_t bytes)>;

struct HashedBytes {
    Digest digest{};
    std::int64_t count = 0;
};

/// Shares the source's blocks (FICLONE) where the volume can. False: nothing was written, copy instead.
bool cloneFile(int source, int destination);

/// Reads `source` from its beginning to its end and hashes it. Checks `stop` after every chunk of at most 1 MiB.
/// `size` is what the file is expected to have: reading ends there, too, so whoever must know of a file that
/// grew compares its size afterwards. Throws PosixError with `shown`, CancellationError.
HashedBytes hashFile(int source, std::int64_t size, const FileURL& shown, const std::stop_token& stop,
                     const ChunkObserver& chunk);

enum class Holes : std::uint8_t { none, possible };

/// Copies `source` to the empty `destination` and hashes what was read on the way. Holes, where possible,
/// stay holes. `size` as for hashFile; it decides whether hashing gets a thread of its own. Throws PosixError
/// with `shown`, CancellationError; what was written stays.
HashedBytes copyFile(int source, int destination, std::int64_t size, Holes holes, const FileURL& shown,
                     const std::stop_token& stop, const ChunkObserver& chunk);

} // namespace morv
