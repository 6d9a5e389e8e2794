// The way from an open folder to one far below it, without following a link anywhere on it.
#pragma once

#include "MorvCore/Platform/Descriptor.h"

#include <string_view>

namespace morv {

/// Opens the folder `relative` ("a/b/c", or "." for itself) below the open folder `root` for reading its
/// names. The path may be longer than the kernel's limit. Throws PosixError with `relative`: ELOOP or ENOTDIR
/// when a component is a symbolic link or no folder.
Descriptor openFolderBelow(int root, std::string_view relative);

} // namespace morv
