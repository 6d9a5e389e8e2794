// One ordered reading of an item and everything below it: its fingerprint comes from here, and so does its
// copy, because a copy is a reading that writes what it reads.
//
// Order       every folder's children by canonicalOrder, depth first; digests do not depend on how many
// threads work Threads     files are read side by side on all cores; the calling thread walks and feeds the
// digests Bounds      stack, open descriptors and memory do not grow with depth or width, apart from the
//             names of the folders on the present path
// Links       every component is opened relative to its parent's descriptor and never through a link
//
// What goes into the digests (T: a text and one zero byte; numbers decimal; times as seconds and
// nanoseconds):
//   content     T(relative path) T(kind) per item; files add T(hex SHA-256 of the bytes) T(count), links
//   T(target) state       T(relative:volume:inode:mode:mtime:mtime ns:ctime:ctime ns) T(tags) T(attributes),
//   last T(content digest) metadata    T(relative:permission bits:mtime:mtime ns) T(tags) T(attributes)
// The item's own relative path is the empty text. Tags are sorted and joined by a zero byte. Attributes are
// the hex SHA-256 over name, zero byte, SHA-256 of the value, zero byte for each of "user.*" and
// "system.posix_acl_*".
//
// Errors      the first in order: FileOperationError (changed, unsupported, unavailable), PosixError,
//             CancellationError
#pragma once

#include "MorvCore/Operations/ContentDigestCache.h"
#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/Operations.h"
#include "MorvCore/Platform/Descriptor.h"

#include <optional>
#include <stop_token>

namespace morv {

enum class ReadFrom : std::uint8_t {
    anywhere, ///< what is proved unchanged is not read again
    disk,     ///< every byte is read; memory may answer
    device    ///< cached pages are dropped first, so that the device is read
};

/// One regular file as it was read: its stat record then, and what was in it.
struct ReadFile {
    FileStat info;
    CachedFile file;
};

/// What a reading needs beside the item. References must outlive the call.
struct ReadingContext {
    std::stop_token stop = {};
    ContentDigestCache* cache = nullptr; ///< null: nothing is remembered and every byte is read
    ProgressMeter* progress = nullptr;
    ReadFrom from = ReadFrom::anywhere;
    /// Proved by the caller to be still what it was (RenameProof): a file with this stat record is not read
    /// again.
    const ReadFile* proved = nullptr;
    /// Receives the item itself, when it is a regular file whose content became known.
    std::optional<ReadFile>* topFile = nullptr;
};

/// The fingerprint of `url` and everything below it.
FileFingerprint readFingerprint(const FileURL& url, const ReadingContext& context);

enum class CopyFidelity : std::uint8_t {
    everything,  ///< modes, times, attributes: a failure to keep one is an error
    contentsOnly ///< a volume that cannot keep them: contents and names, the rest as far as it goes
};

struct CopyResult {
    /// The source as it was read. Its content digest is empty when blocks were shared instead of read.
    FileFingerprint source;
    /// Open on what was written: flushing the copy goes through it (Durability.h). For a link, its folder.
    Descriptor written;
};

struct CopyRequest {
    FileURL source;
    FileURL staging;        ///< where the copy will stand; nothing may stand there yet
    int stagingFolder = -1; ///< its folder, open
    CopyFidelity fidelity = CopyFidelity::everything;
};

/// Copies an item and everything below it. Keeps permission bits, modification times, "user.*" attributes,
/// POSIX ACLs, links and holes; nothing is readable by more people than its source at any moment. After a
/// throw what was written stands at `staging`.
CopyResult copyTree(const CopyRequest& request, const ReadingContext& context);

} // namespace morv
