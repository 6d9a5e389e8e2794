// Stateless file primitives beneath the engine. Nothing here writes, except exclusiveMove.
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Platform/FileStat.h"

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace morv::OperationFiles {

/// The canonical form of an item's location: links resolved in the parent only, a final link kept.
/// Throws invalid "Choose a local file or folder below the volume root.", or PosixError.
FileURL normalized(const FileURL& url);

/// The canonical form of a writable destination folder, all links resolved.
/// Throws PosixError, invalid (not a folder) or unavailable (read-only).
FileURL directory(const FileURL& url);

/// Free numbered names for one planning, in which names are only ever added to those that are taken: what was
/// found taken is not asked about again, so that twenty thousand items of one name are as many questions.
class NumberedNames {
public:
    /// The first free one beside `url`, from 2 on: not on disk and its path key not in `reserved`, which holds
    /// what it held at the last call.
    FileURL next(const FileURL& url, const std::set<std::string>& reserved);

private:
    std::unordered_map<std::string, unsigned> firstToTry_; ///< by the path that is numbered
};

/// Throws invalid unless `name` may be a file name: 1–255 bytes, not "." or "..", no slash, colon or NUL.
void validateName(std::string_view name);

FileStat info(const FileURL& url);
/// Volume number ":" inode of the item itself.
std::string identity(const FileURL& url);
/// "directory", "file" or "symbolicLink"; throws unsupported for anything else.
std::string kindOf(const FileStat& info);

/// Whether an item cannot be renamed into a folder, because they stand on different volumes or mounts.
bool crossesVolumes(const FileStat& item, const FileStat& folder);

/// A rename that refuses to replace. Throws PosixError with the destination's path, or unsupported.
/// Flushes nothing: the caller knows which folders to flush.
void exclusiveMove(const FileURL& source, const FileURL& destination);

} // namespace morv::OperationFiles
