// The guard before ZIP archives: whatever it cannot prove harmless is refused, before a byte is extracted.
//
// What it reads   the end record, the central directory and every local header; never the members' data
// Invariants      I1  passed => every name is UTF-8, relative, at most 128 components deep, free of "..", and
//                     no two name the same item on a volume that ignores case and composition
//                 I2  passed => no member is a link, a device, encrypted, or stored in another way than as
//                     it is or deflated; no two members share a byte of the archive; no file is another's folder
//                 I3  passed => the members say that they hold at most 20 GiB, and none of 100 MiB or more
//                     that it grows more than a thousand times. Data may lie: who extracts must count as well
//                 I4  nothing is told of an archive until all of it has passed
// Files           read through small buffers instead of a mapping (docs/decisions/0008). An archive that
//                 somebody changes meanwhile is refused. The answer is about the file at that moment: who
//                 acts on it later must know that it is still the same, as a plan does by its fingerprint.
// Memory          about 100 bytes for each member, of which there are at most 65,534, however long their names
//                 are
// Errors          FileOperationError with the reason (unsupported: honest archives of other kinds;
//                 invalid: damaged or dangerous ones; changed), PosixError, CancellationError. Checking
//                 changes nothing on disk.
// Threading       stateless
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Operations/ArchiveLimits.h"
#include "MorvCore/Platform/Descriptor.h"

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>

namespace morv {

class ProgressMeter;

namespace SafeArchiveService {

/// One checked member.
struct Entry {
    /// UTF-8, without a trailing "/". Control and bidirectional characters are legal: show it by displayText.
    std::string name;
    std::uint64_t size = 0; ///< bytes when extracted, as the directory says
    bool isDirectory = false;

    friend bool operator==(const Entry&, const Entry&) = default;
};

/// An object with `name`, `size` and `isDirectory`, in ASCII: what a name could do to a terminal is escaped.
std::string toJSON(const Entry& entry);

/// Throws unless the archive passes. Looks at `stop` before every member.
void validate(const FileURL& url, const std::stop_token& stop);

/// As validate, and then gives `visit` each member in the order of the directory. A list would hold whatever
/// amount of names a hostile archive brings. The names are read again, and proved to be those that passed:
/// FileOperationError::changed may therefore still come between two visits.
void entries(const FileURL& url, const std::stop_token& stop, const std::function<void(const Entry&)>& visit);

/// Throws what compress() would refuse before it writes anything, as far as it can be seen without reading the
/// files: names and kinds of items that no archive of ours can hold, their sizes and their number.
void checkCanPack(const FileURL& source, const std::stop_token& stop);

/// Packing and unpacking: from where, to where, and who watches. References must outlive the call.
struct Work {
    const FileURL& source;
    const FileURL& staging; ///< where the result will stand; nothing may stand there yet
    int stagingFolder = -1; ///< its folder, open: everything is made relative to it
    std::stop_token stop = {};
    ProgressMeter* progress = nullptr; ///< counts the bytes of the source that are done
    std::int64_t mostItems = ArchiveLimits::mostExtractedItems; ///< that an archive may become on disk
};

/// Writes `source`, a file or a folder with everything below it, as a ZIP archive that passes validate().
/// Names begin with the source's own. Keeps permission bits, times of modification to the second and, as
/// "__MACOSX/" members, "user.*" attributes; access lists do not travel. The archive is readable by everybody
/// when all that is in it is, else by its owner alone. What cannot be kept so is refused before anything is
/// written; a file that changes meanwhile is FileOperationError::changed. Polls `stop` for every MiB at least.
/// Gives the archive, open for its flush. After a throw what was written stands at `staging`.
Descriptor compress(const Work& work);

/// Extracts the archive `source` into a new folder, after the whole check. Gives the folder, open for its
/// flush. After a throw what was written stands at `staging`.
Descriptor extract(const Work& work);

} // namespace SafeArchiveService
} // namespace morv
