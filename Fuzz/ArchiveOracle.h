// What must hold of any bytes at all when they are checked as an archive.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <string_view>

namespace morv::fuzz {

/// Ends the process with `promise` when it does not hold.
void require(bool holds, const char* promise);

/// One file in memory that holds `bytes` until the next call, and is gone with the process.
FileURL fileHolding(std::string_view bytes);

/// Checks `bytes` as a file. A refusal must be one of the check's own errors; what passes must keep the
/// promises of SafeArchiveService.h, by a second and slower way of looking. Ends the process otherwise.
void judgeArchive(std::string_view bytes);

} // namespace morv::fuzz
