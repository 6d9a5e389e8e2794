// The engine's turn, lent to the system for a change that the engine can neither make nor watch.
//
// Protocol    begin() -> the caller asks the system -> a person says that it has finished -> end()
// On disk     "systemOperations/" + id: the SystemOperationReceipt, for ever. pending -> outcomeRecorded, or
//             pending -> requiresReview (the process that held it is gone) -> outcomeRecorded
// Invariants  I1  begin() returned => the receipt is durable and nothing else changes files until end()
//             I2  a lease that was not ended comes back at the next start, as a turn that is held; several
//                 come one after the other, the oldest first, without a gap in which anything could run
//             I3  no operation gets a turn while what the last process left is unknown
//             I4  nothing that was asked of the system is asked again
// Threading   safe to share. Calls block on the store; the lock is never held meanwhile.
//
// Throws PersistenceError and DecodingError from recovery, and what is said beside each call.
#pragma once

#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Operations/FileOperationEngine.h"
#include "MorvCore/Operations/RecordWrites.h"

#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>
#include <string_view>
#include <vector>

namespace morv {

class OperationQueue;

class HandoffLeases {
public:
    HandoffLeases(SQLiteStore& store, OperationQueue& queue, const EngineObservers& observers);

    /// Holds the turn for what an earlier process left. Runs once: callers meanwhile wait for its end. After
    /// a failure, which all of them get, the next call tries again.
    void ensureRecovered();

    UUID begin(std::string_view label, const std::stop_token& stop);
    void end(const UUID& token, std::string_view outcome);
    std::optional<SystemOperationReceipt> active();
    std::vector<SystemOperationReceipt> history(const std::stop_token& stop);

private:
    enum class Phase : std::uint8_t { preparing, leased, ending };
    struct Lease {
        SystemOperationReceipt receipt;
        Phase phase;
    };
    struct Recovery {
        bool isLoading = true;
        std::exception_ptr failure;
    };
    using Snapshot = RecordWrites::Stable<std::optional<SystemOperationReceipt>>;

    void recover();
    std::deque<SystemOperationReceipt> unresolved();
    void finishTurn(const UUID& token);
    void setLease(SystemOperationReceipt receipt, Phase phase);
    bool isHeld(const UUID& id) const;
    void persist(const SystemOperationReceipt& receipt);
    void markForReview(SystemOperationReceipt& receipt);
    Snapshot readStable(const std::string& key, const std::stop_token& stop);

    SQLiteStore& store_;
    OperationQueue& queue_;
    const EngineObservers& observers_;
    RecordWrites writes_;

    mutable Mutex mutex_;
    std::condition_variable recoveryEnded_;
    bool isRecovered_ MORV_GUARDED_BY(mutex_) = false;
    std::shared_ptr<Recovery> recovery_ MORV_GUARDED_BY(mutex_); ///< while one is under way
    std::optional<Lease> maintenance_ MORV_GUARDED_BY(mutex_);
    std::deque<SystemOperationReceipt> recoveredMaintenance_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
