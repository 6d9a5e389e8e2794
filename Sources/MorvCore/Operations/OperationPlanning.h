// From a request to the exact plan: every final name, skip and warning, and every source fingerprinted.
// Changes nothing on disk and needs no engine: what a user confirms is the plan and nothing else.
//
// The order of the checks is fixed, because it decides which sentence the user sees:
// each source's form, duplicates, what the kind needs, a folder with its own contents, the destination, then
// the items one after the other. Threading   stateless; blocks while it reads
#pragma once

#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/Operations.h"

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

class ContentDigestCache;

/// What a plan is asked to do.
struct OperationRequest {
    OperationKind kind = OperationKind::copy;
    std::vector<FileURL> sources = {};
    std::optional<FileURL> destination = {};
    std::optional<std::string> newName =
        {}; ///< bytes; for several sources a template with {name}, {ext}, {n}
    CollisionPolicy collision = CollisionPolicy::keepBoth;
    std::vector<std::string> tags = {};
};

/// Throws FileOperationError, PosixError, DecodingError (damaged tags) or CancellationError; no partial plan
/// is given out. `cache` may be null: then every byte is read.
FileOperationPlan planOperation(const OperationRequest& request, ContentDigestCache* cache,
                                const std::stop_token& stop, const ProgressMeter::Observer& progress = {});

} // namespace morv
