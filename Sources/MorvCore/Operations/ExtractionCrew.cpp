#include "MorvCore/Operations/ExtractionCrew.h"

#include "MorvCore/Foundation/Mutex.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <span>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>

namespace morv {

namespace {

constexpr unsigned mostWorkers = 8;
constexpr std::size_t longestBatch = 64;
constexpr std::size_t largestBatch = 262'144; // stored bytes

/// What the workers of one run share.
class Turns {
public:
    Turns(std::span<const CheckedArchive::Member> members, const ExtractionCrew::Work& work)
        : members_(members), work_(work), end_(members.size()) {}

    void serve(ExtractionWorker& worker) noexcept {
        std::size_t index = 0, batchEnd = 0;
        for (;; ++index) {
            if (index == batchEnd)
                std::tie(index, batchEnd) = takeBatch();
            if (index >= end_)
                return;
            try {
                work_(worker, index);
            } catch (...) {
                const MutexLock lock(mutex_);
                if (index < end_) {
                    end_ = index;
                    failure_ = std::current_exception();
                }
            }
        }
    }

    /// Once nobody serves any more.
    void finish() {
        const MutexLock lock(mutex_);
        if (failure_)
            std::rethrow_exception(failure_);
    }

private:
    /// Neighbours stand in the same folder, which makes one item at a time: two workers in it would wait for
    /// each other.
    std::pair<std::size_t, std::size_t> takeBatch() {
        const MutexLock lock(mutex_);
        const auto start = next_;
        std::size_t bytes = 0;
        while (next_ < members_.size() && next_ - start < longestBatch && bytes < largestBatch)
            bytes += members_[next_++].compressedSize;
        return {start, next_};
    }

    const std::span<const CheckedArchive::Member> members_;
    const ExtractionCrew::Work& work_;
    std::atomic<std::size_t> end_; ///< of what is still to be done: the count, or the first failure
    Mutex mutex_;
    std::size_t next_ MORV_GUARDED_BY(mutex_) = 0;
    std::exception_ptr failure_ MORV_GUARDED_BY(mutex_);
};

} // namespace

ExtractionWorker::ExtractionWorker(const CheckedArchive& archive, int staging, const FileURL& shown,
                                   ExtractionBudget& budget)
    : reader(archive, ExtractionCrew::changedSentence), folders(staging, shown, budget) {}

ExtractionCrew::ExtractionCrew(const CheckedArchive& archive, int staging, const FileURL& shown,
                               std::int64_t mostItems)
    : archive_(archive), budget_(mostItems) {
    const auto count = std::clamp(std::thread::hardware_concurrency(), 1U, mostWorkers);
    for (unsigned i = 0; i < count; ++i)
        workers_.push_back(std::make_unique<ExtractionWorker>(archive, staging, shown, budget_));
}

void ExtractionCrew::run(const Work& work) {
    Turns turns(archive_.members(), work);
    {
        std::vector<std::jthread> others;
        for (std::size_t i = 1; i < std::min(workers_.size(), archive_.members().size()); ++i) {
            try {
                others.emplace_back([&turns, &worker = *workers_[i]] { turns.serve(worker); });
            } catch (const std::system_error&) {
                break; // Whoever is there does it all.
            }
        }
        turns.serve(*workers_.front());
    }
    turns.finish();
}

} // namespace morv
