#include "MorvCore/Operations/ExtractionCrew.h"

#include "MorvCore/Foundation/Mutex.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <system_error>
#include <thread>

namespace morv {

namespace {

constexpr unsigned mostWorkers = 8;

/// What the workers of one run share.
class Turns {
public:
    Turns(std::size_t count, const ExtractionCrew::Work& work) : end_(count), work_(work) {}

    void serve(ExtractionWorker& worker) noexcept {
        for (;;) {
            const auto index = next_++;
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
    std::atomic<std::size_t> next_ = 0;
    std::atomic<std::size_t> end_; ///< of what is still to be done: the count, or the first failure
    const ExtractionCrew::Work& work_;
    Mutex mutex_;
    std::exception_ptr failure_ MORV_GUARDED_BY(mutex_);
};

} // namespace

ExtractionCrew::ExtractionCrew(const CheckedArchive& archive, int staging, const FileURL& shown) {
    const auto count = std::clamp(std::thread::hardware_concurrency(), 1U, mostWorkers);
    for (unsigned i = 0; i < count; ++i)
        workers_.push_back(std::make_unique<ExtractionWorker>(
            CheckedArchive::Reader(archive, changedSentence), ExtractionFolders(staging, shown, budget_)));
}

void ExtractionCrew::run(std::size_t count, const Work& work) {
    Turns turns(count, work);
    {
        std::vector<std::jthread> others;
        for (std::size_t i = 1; i < std::min(workers_.size(), count); ++i) {
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
