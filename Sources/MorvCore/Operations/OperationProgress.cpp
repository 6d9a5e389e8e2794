#include "MorvCore/Operations/OperationProgress.h"

#include <algorithm>

namespace morv {

namespace {

constexpr std::int64_t reportInterval = 50'000'000;
constexpr std::int64_t rateInterval = 500'000'000;

std::int64_t nowNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

std::string_view displayName(OperationPhase phase) {
    switch (phase) {
    case OperationPhase::reading:
        return "Reading";
    case OperationPhase::waiting:
        return "Waiting";
    case OperationPhase::copying:
        return "Copying";
    case OperationPhase::packing:
        return "Compressing";
    case OperationPhase::unpacking:
        return "Extracting";
    case OperationPhase::flushing:
        return "Writing to the device";
    case OperationPhase::verifying:
        return "Verifying";
    case OperationPhase::finishing:
        return "Finishing";
    case OperationPhase::finished:
        return "Finished";
    }
    return "";
}

std::optional<double> OperationProgress::timeLeft() const {
    if (bytesTotal <= 0 || bytesPerSecond < 1 || bytesDone > bytesTotal)
        return std::nullopt;
    return static_cast<double>(bytesTotal - bytesDone) / bytesPerSecond;
}

ProgressMeter::ProgressMeter(UUID id, Items items, Observer observer)
    : id_(id), counted_(items), observer_(std::move(observer)), rateTime_(nowNanoseconds()) {}

void ProgressMeter::setPhase(OperationPhase phase) {
    {
        const MutexLock lock(mutex_);
        if (phase_ == phase)
            return;
        phase_ = phase;
    }
    reportIfDue();
}

void ProgressMeter::setTotals(std::int64_t bytes, std::int64_t items, int passes) {
    const MutexLock lock(mutex_);
    bytesTotal_ = bytes;
    itemsTotal_ = items;
    passes_ = passes;
}

void ProgressMeter::setName(const std::string& displayedName) {
    {
        const MutexLock lock(mutex_);
        name_ = displayedName;
    }
    reportIfDue();
}

void ProgressMeter::addBytes(std::int64_t bytes) {
    bytes_ += bytes;
    reportIfDue();
}

void ProgressMeter::addFoundItems(std::int64_t items) {
    if (counted_ == Items::found)
        items_ += items;
    reportIfDue();
}

void ProgressMeter::addPlannedItems(std::int64_t items) {
    if (counted_ == Items::planned)
        items_ += items;
    reportIfDue();
}

OperationProgress ProgressMeter::snapshot() {
    OperationProgress progress;
    progress.id = id_;
    progress.phase = phase_;
    progress.bytesDone = bytes_ / passes_;
    progress.bytesTotal = bytesTotal_;
    progress.itemsDone = items_;
    progress.itemsTotal = itemsTotal_;
    progress.name = name_;
    const auto now = nowNanoseconds();
    if (now - rateTime_ >= rateInterval) {
        const auto current =
            static_cast<double>(progress.bytesDone - rateBytes_) * 1e9 / static_cast<double>(now - rateTime_);
        rate_ = rate_ > 0 ? 0.7 * rate_ + 0.3 * current : current;
        rateTime_ = now;
        rateBytes_ = progress.bytesDone;
    }
    progress.bytesPerSecond = rate_;
    return progress;
}

void ProgressMeter::reportIfDue() {
    if (!observer_)
        return;
    auto due = nextReport_.load(std::memory_order_relaxed);
    const auto now = nowNanoseconds();
    if (now >= due && nextReport_.compare_exchange_strong(due, now + reportInterval))
        report();
}

void ProgressMeter::report() {
    if (!observer_)
        return;
    // Taken first, so that two threads cannot tell their moments in the wrong order.
    const MutexLock observing(observing_);
    OperationProgress progress;
    {
        const MutexLock lock(mutex_);
        progress = snapshot();
    }
    observer_(progress);
}

} // namespace morv
