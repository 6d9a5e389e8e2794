// Everything that is to be told of one item, read at one moment: for an inspector. The item's content is not
// read, a placeholder of a sync client not downloaded, a link not followed.
//
// Threading   stateless; blocks: never on a main thread
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Inspection/PermissionWords.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

struct ItemInformation {
    FileEntry entry;
    std::int64_t allocated = 0; ///< bytes on the device
    std::uint32_t links = 1;    ///< names of the item
    bool isRegular = false;
    bool isHidden = false; ///< by its own name or by the folder's ".hidden"
    Date accessed;         ///< as often as the mount keeps it
    PermissionFacts permissions;
    std::vector<FileTagMetadata::Tag> tags;
    std::optional<std::string> tagProblem; ///< why the tags are not known: a sentence
    std::optional<std::string> linkTarget; ///< of a link, in bytes, not resolved
    bool leadsNowhere = false;             ///< of a link
    std::optional<MountFacts> mount;
    std::optional<std::string> origin; ///< where a browser says that it was loaded from
    std::optional<std::string> referrer;
};

/// Throws PosixError when the item cannot be read, CancellationError.
ItemInformation readItemInformation(const FileURL& url, const std::stop_token& stop);

/// The SHA-256 of a regular file's bytes, 64 lower-case hexadecimal digits. Calls `progress` with the bytes
/// read so far, on the calling thread. Throws PosixError, FileOperationError (it is no regular file, is not on
/// this disk, or changed while it was read) and, between pieces, CancellationError.
std::string contentChecksum(const FileURL& url, const std::function<void(std::int64_t)>& progress,
                            const std::stop_token& stop);

} // namespace morv
