// What the parts of the engine share. Each part guards its own fields.
#pragma once

#include "MorvCore/Operations/ContentDigestCache.h"
#include "MorvCore/Operations/FileOperationEngine.h"
#include "MorvCore/Operations/HandoffLeases.h"
#include "MorvCore/Operations/Journal.h"
#include "MorvCore/Operations/OperationQueue.h"
#include "MorvCore/Operations/TreePass.h"

namespace morv {

struct EngineState {
    EngineState(SQLiteStore& store, std::shared_ptr<const OperationTrashProvider> trashProvider,
                EngineObservers engineObservers)
        : trash(std::move(trashProvider)), observers(std::move(engineObservers)),
          journal(store, observers.historyRead), leases(store, queue, observers) {}

    ContentDigestCache* cache() { return observers.withoutDigestCache ? nullptr : &digests; }

    /// At the head of all that could change something: a handoff that was not ended holds the turn first.
    void ensureExternalMaintenanceRecovered() { leases.ensureRecovered(); }

    /// The last write of an operation, whose TurnRelease follows.
    void persistEnd(const OperationReceipt& receipt) {
        journal.persistLast(receipt, [&] { queue.beginRelease(receipt.id); });
    }

    const std::shared_ptr<const OperationTrashProvider> trash;
    const EngineObservers observers;
    OperationQueue queue;
    Journal journal;
    HandoffLeases leases;
    ContentDigestCache digests;
    Broadcast<OperationProgress> progress;
};

/// Gives the turn, or the place in the queue, back at the end of a scope.
class TurnRelease {
public:
    TurnRelease(OperationQueue& queue, const UUID& id) : queue_(queue), id_(id) {}
    ~TurnRelease() { queue_.release(id_); }
    TurnRelease(const TurnRelease&) = delete;
    TurnRelease& operator=(const TurnRelease&) = delete;

private:
    OperationQueue& queue_;
    const UUID id_;
};

/// Runs an admitted plan to its final receipt; the caller has given the id a place in the queue.
OperationReceipt runExecution(EngineState& engine, const FileOperationPlan& plan,
                              const std::stop_token& stop);
OperationReceipt runUndo(EngineState& engine, const UUID& id, const std::stop_token& stop);

} // namespace morv
