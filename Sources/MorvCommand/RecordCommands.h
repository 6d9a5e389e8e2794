// The verbs about small records of the user's own: the memory of suggestions, and workspaces.
//
// Each holds the data directory's lock from before the store is opened to its end, does the work and returns
// the answer for standard output. Throws what the core throws, and FileOperationError::unavailable for a
// workspace that is not known.
#pragma once

#include "MorvCommand/CommandLine.h"

#include <string>

namespace morv {

std::string suggestionsAnswer(const CommandLine& line);
std::string workspaceAnswer(const CommandLine& line);

} // namespace morv
