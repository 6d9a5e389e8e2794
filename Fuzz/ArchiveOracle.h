// What must hold of any bytes at all when they are checked as an archive.
#pragma once

#include <string_view>

namespace morv::fuzz {

/// Checks `bytes` as a file. A refusal must be one of the check's own errors; what passes must keep the
/// promises of SafeArchiveService.h, by a second and slower way of looking. Ends the process otherwise.
void judgeArchive(std::string_view bytes);

} // namespace morv::fuzz
