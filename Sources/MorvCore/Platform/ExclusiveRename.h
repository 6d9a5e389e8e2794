// The one way a result reaches its final name: a rename that refuses to replace.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

namespace morv {

/// renameat2 with RENAME_NOREPLACE, relative to open folders; never follows a final link.
/// Where the file system does not know the flag, a regular file is published by linkat and unlinkat; anything
/// else throws FileOperationError::unsupported and nothing was changed.
/// Throws PosixError (EEXIST: the name is taken, EXDEV: another volume) with the destination's path.
void renameWithoutReplacing(int fromDirectory, const std::string& fromName, int toDirectory,
                            const std::string& toName, const FileURL& to);
void renameWithoutReplacing(const FileURL& from, const FileURL& to);

} // namespace morv
