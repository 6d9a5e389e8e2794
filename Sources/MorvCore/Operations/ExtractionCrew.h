// The members of one archive, dealt with side by side on all cores.
//
// Invariants  I1  run() returned => the work was called once for each member, and no thread is in it any more
//             I2  of several failures the one of the lowest index is told, so that the same archive always
//                 fails with the same sentence
// Memory      less than a megabyte for each worker, of which there are at most eight
// Threading   confined to one thread; each worker is one thread's at a time
#pragma once

#include "MorvCore/Operations/CheckedArchive.h"
#include "MorvCore/Operations/ExtractionFolders.h"
#include "MorvCore/Operations/MemberData.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace morv {

/// What a thread needs to read members and to find their places.
struct ExtractionWorker {
    ExtractionWorker(const CheckedArchive& archive, int staging, const FileURL& shown,
                     ExtractionBudget& budget);

    CheckedArchive::Reader reader;
    ExtractionFolders folders;
    MemberData data;
};

class ExtractionCrew {
public:
    using Work = std::function<void(ExtractionWorker& worker, std::size_t index)>;

    static constexpr const char* changedSentence =
        "The archive changed during extraction. The staged files were retained for inspection.";

    /// The archive and `shown` must outlive it. `staging` is open, and `shown` where it is; at most `mostItems`
    /// are made there.
    ExtractionCrew(const CheckedArchive& archive, int staging, const FileURL& shown, std::int64_t mostItems);

    /// Calls `work` with the index of each member and waits. After a failure what comes behind it is left out.
    void run(const Work& work);
    /// For work that one thread does alone.
    ExtractionWorker& first() { return *workers_.front(); }

private:
    const CheckedArchive& archive_;
    ExtractionBudget budget_;
    std::vector<std::unique_ptr<ExtractionWorker>> workers_;
};

} // namespace morv
