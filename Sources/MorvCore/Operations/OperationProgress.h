// How far a plan or an execution has come: beside the receipts, never in them.
#pragma once

#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Foundation/UUID.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace morv {

enum class OperationPhase : std::uint8_t {
    reading,   ///< fingerprinting sources
    waiting,   ///< queued behind other operations
    copying,   ///< writing to staging
    packing,   ///< writing an archive to staging
    unpacking, ///< writing an archive's members to staging
    flushing,  ///< waiting for the device
    verifying, ///< reading back what was written
    finishing, ///< publishing and recording
    finished,
};
std::string_view displayName(OperationPhase phase);

/// One moment. Byte and item totals are 0 while they are not known.
struct OperationProgress {
    UUID id; ///< the plan's
    OperationPhase phase = OperationPhase::reading;
    std::int64_t bytesDone = 0;
    std::int64_t bytesTotal = 0;
    std::int64_t itemsDone = 0;
    std::int64_t itemsTotal = 0;
    double bytesPerSecond = 0; ///< over the last few seconds
    std::string name;          ///< what is being worked on, for display (UTF-8)

    /// Seconds; nothing while it cannot be told.
    std::optional<double> timeLeft() const;
};

/// Counts on the working threads and tells an observer at most every 50 ms.
/// Safe to share; the observer is called on whichever thread counts, one call at a time, with no lock held
/// that a counting thread waits for.
class ProgressMeter {
public:
    using Observer = std::function<void(const OperationProgress&)>;
    /// What an item is: everything found below the sources, or a line of the plan.
    enum class Items : std::uint8_t { found, planned };

    ProgressMeter(UUID id, Items items, Observer observer);

    void setPhase(OperationPhase phase);
    /// `passes`: how often each byte is handled (written, then read back) before it counts as done.
    void setTotals(std::int64_t bytes, std::int64_t items, int passes);
    void setName(const std::string& displayedName);
    void addBytes(std::int64_t bytes);
    void addFoundItems(std::int64_t items);
    void addPlannedItems(std::int64_t items);
    /// Tells the observer the present state now.
    void report();

private:
    void reportIfDue();
    OperationProgress snapshot() MORV_REQUIRES(mutex_);

    const UUID id_;
    const Items counted_;
    const Observer observer_;
    std::atomic<std::int64_t> bytes_ = 0;
    std::atomic<std::int64_t> items_ = 0;
    std::atomic<std::int64_t> nextReport_ = 0; ///< steady clock, nanoseconds
    Mutex mutex_;
    OperationPhase phase_ MORV_GUARDED_BY(mutex_) = OperationPhase::reading;
    std::int64_t bytesTotal_ MORV_GUARDED_BY(mutex_) = 0;
    std::int64_t itemsTotal_ MORV_GUARDED_BY(mutex_) = 0;
    int passes_ MORV_GUARDED_BY(mutex_) = 1;
    std::string name_ MORV_GUARDED_BY(mutex_);
    double rate_ MORV_GUARDED_BY(mutex_) = 0;
    std::int64_t rateBytes_ MORV_GUARDED_BY(mutex_) = 0;
    std::int64_t rateTime_ MORV_GUARDED_BY(mutex_) = 0;
    Mutex observing_;
};

} // namespace morv
