// Turns: one operation at a time changes the file system, in the order in which they were admitted.
//
// An id goes through: admitted -> parked -> active -> released. cancel() may take it out while it waits; a
// release by an operation that never got its turn is harmless.
// Invariants  I1  at most one id is active
//             I2  turns are given in the order of admit(), whatever thread asks first
//             I3  a cancelled id never gets a turn that it had not got before
// Threading   safe to share; waitForTurn() blocks
#pragma once

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Foundation/UUID.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>

namespace morv {

class OperationQueue {
public:
    /// Reserves the id and takes the last place. False when it is already reserved: nothing changed.
    bool admit(const UUID& id);
    /// Blocks until `id` has the turn (true) or was cancelled, also through `stop` (false).
    bool waitForTurn(const UUID& id, const std::stop_token& stop);
    /// For what never waits: takes the turn at once, or false when anything is active, reserved or waiting. What
    /// is being released counts as released: that much is waited for.
    bool takeTurn(const UUID& id);
    /// Takes the turn ahead of all who wait for it; nobody may have it.
    void takeTurnFirst(const UUID& id);
    /// Gives the turn on from one id to another without letting anybody in between.
    void passTurn(const UUID& from, const UUID& to);
    /// The token of the operation that has the turn, already set when cancellation was asked before.
    std::shared_ptr<OperationCancellationToken> beginCancellable(const UUID& id);
    /// The operation has ended durably; its end may be told now, and release() follows without waiting for
    /// anybody. So whoever has seen the end never finds the turn still taken by it.
    void beginRelease(const UUID& id);
    void release(const UUID& id);

    /// Nothing named: whatever has the turn. An unknown id is remembered until its release.
    void cancel(const std::optional<UUID>& id);
    bool isBusy() const;
    /// Whether this process is about to run, or running, the operation.
    bool owns(const UUID& id) const;

private:
    struct Parked {
        std::condition_variable resumed;
        std::optional<bool> granted;
    };

    void advance() MORV_REQUIRES(mutex_);
    void leaveQueue(const UUID& id) MORV_REQUIRES(mutex_);

    mutable Mutex mutex_;
    std::optional<UUID> activeID_ MORV_GUARDED_BY(mutex_);
    std::shared_ptr<OperationCancellationToken> activeCancellation_ MORV_GUARDED_BY(mutex_);
    std::set<UUID> cancellations_ MORV_GUARDED_BY(mutex_);
    std::set<UUID> reservedPlans_ MORV_GUARDED_BY(mutex_);
    std::set<UUID> ending_ MORV_GUARDED_BY(mutex_); ///< of `reservedPlans_`
    std::condition_variable ended_;
    std::deque<UUID> waitingOrder_ MORV_GUARDED_BY(mutex_);
    std::map<UUID, Parked*> waitingTurns_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
