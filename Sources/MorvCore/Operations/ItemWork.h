// The work for one item of a plan: revalidate, stage, verify, publish.
//
// Protocol    source as previewed? -> destination as previewed? -> staging -> flush -> read back and compare
//             -> no-replace rename -> flush the folders -> fingerprint of the result
// Invariants  I1  nothing is changed before the source and the destination's folder are what the plan saw
//             I2  the final name never refers to bytes that were not verified, and never replaces
//             I3  returned => data and folder entries are on the device
//             I4  an error after something took effect is a MutationFailure that says what stands on disk; a
//                 result that was published as verified and cannot be read again throws what the reading
//                 threw
//             I5  staging is never removed: after an error it is where the request put it, if it was made
// Threading   blocks; one item at a time
#pragma once

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/Operations.h"

#include <functional>
#include <optional>

namespace morv {

class ContentDigestCache;

/// References must outlive the call.
struct ItemWorkRequest {
    OperationKind kind = OperationKind::copy;
    const FileOperationItem& item;
    std::optional<FileURL> staging;
    const std::vector<std::string>& tags;
    const OperationTrashProvider& trash;
    const OperationCancellationToken& cancellation;
    ContentDigestCache* cache = nullptr;
    ProgressMeter* progress = nullptr;
    const std::function<void(const FileURL&)>& stagingObserver;
};

/// Throws CancellationError at a checkpoint, MutationFailure after an effect, and whatever prevented the
/// work.
Performed performItem(const ItemWorkRequest& request);

} // namespace morv
