// A small file of Morv's own making, where the user wants it.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <string_view>

namespace morv {

/// Writes `content` to a file that only the user can read. It appears under its name complete and on the device,
/// or not at all, and replaces nothing. Throws PosixError with the file's path (EEXIST: the name is taken).
void writeNewFile(const FileURL& file, std::string_view content);

} // namespace morv
