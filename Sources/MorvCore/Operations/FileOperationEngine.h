// The one writer: every change that Morv makes to the file system goes through here.
//
// Protocol    plan() -> admit() -> execute() -> (later) undo(). A plan runs once, ever.
//             beginExternalMaintenance() -> the system acts -> endExternalMaintenance()
// On disk     "operations/" + id: the OperationReceipt. While it runs, "operations.steps/" + id + "/" +
//             index: its newest steps (Journal.h). Staging: ".morv-" + plan + "-" + item beside the
//             destination. "systemOperations/" + id: what was handed to the system.
// Invariants  I1  one execution, undo or handoff changes files at a time; turns come in the order of admit()
//             I2  an item is acted on only while it is exactly what the plan saw
//             I3  a final name is only reached by a rename that refuses to replace, and only by verified bytes
//             I4  nothing is deleted: originals and undone results go to the Trash, staging stays and is
//                 recorded
//             I5  the journal is durable before and after every item and never claims more than the disk holds
//             I6  what a dead process left running reads as interrupted, once, and is never replayed
// Threading   safe to share. plan(), execute(), undo() and history() block: call them from worker threads.
//             No lock is held during file work, store access or a callback.
//
// Item failures stand in the receipt. Calls throw only when they could not run or could not record:
// FileOperationError, PosixError, PersistenceError, DecodingError, CancellationError.
#pragma once

#include "MorvCore/Operations/Broadcast.h"
#include "MorvCore/Operations/OperationPlanning.h"
#include "MorvCore/Operations/OperationProgress.h"
#include "MorvCore/Operations/Operations.h"

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class SQLiteStore;
struct EngineState;

/// A place in the queue. Move-only; letting it go unexecuted gives the place up. Must not outlive its engine.
class OperationAdmission {
public:
    OperationAdmission(OperationAdmission&&) noexcept;
    OperationAdmission& operator=(OperationAdmission&&) = delete;
    ~OperationAdmission();

    const UUID& id() const { return plan_.id; }

private:
    friend class FileOperationEngine;
    OperationAdmission(EngineState& engine, FileOperationPlan plan)
        : engine_(&engine), plan_(std::move(plan)) {}

    EngineState* engine_; ///< null once execute() has taken over
    FileOperationPlan plan_;
};

/// Fixed at construction; absent in normal running.
struct EngineObservers {
    std::function<void(const UUID&)> admission;  ///< in execute, before the journal check
    std::function<void(const FileURL&)> staging; ///< a copy has reached staging, before it is verified
    std::function<void(const OperationReceipt&)>
        historyRead; ///< a receipt was loaded, before it counts as stable
    /// A system receipt is about to be written; what it throws counts as a failed write.
    std::function<void(const SystemOperationReceipt&)> externalWrite;
    std::function<void(const SystemOperationReceipt&)> externalHistoryRead; ///< as historyRead
    /// Turns the content-digest cache off: every byte is read every time.
    bool withoutDigestCache = false;
};

class FileOperationEngine {
public:
    explicit FileOperationEngine(
        SQLiteStore& store,
        std::shared_ptr<const OperationTrashProvider> trash = std::make_shared<SystemTrashProvider>(),
        EngineObservers observers = {});
    ~FileOperationEngine();
    FileOperationEngine(const FileOperationEngine&) = delete;
    FileOperationEngine& operator=(const FileOperationEngine&) = delete;

    /// Decides names, skips and warnings and fingerprints every source. Changes nothing on disk.
    FileOperationPlan plan(const OperationRequest& request, const std::stop_token& stop,
                           const ProgressMeter::Observer& progress = {});

    /// Takes the place in the queue now, on the caller's thread, without touching the disk.
    /// Throws invalid "This operation is already queued or running."
    OperationAdmission admit(FileOperationPlan plan);
    /// Waits for the turn, runs the plan and returns the final receipt. `stop` cancels like cancel().
    OperationReceipt execute(OperationAdmission admission, const std::stop_token& stop);
    OperationReceipt execute(const FileOperationPlan& plan, const std::stop_token& stop) {
        return execute(admit(plan), stop);
    }

    /// Reverses what a receipt says took effect, item by item, each only while it is still exactly what the
    /// operation left. Never waits: throws busy while anything is active or queued.
    OperationReceipt undo(const UUID& id, const std::stop_token& stop);

    /// All receipts, newest first. Receipts left active by a dead process become interrupted here.
    std::vector<OperationReceipt> history(const std::stop_token& stop = {});

    /// Cancels one operation, queued or running; without an id whatever holds the turn.
    void cancel(const std::optional<UUID>& id = std::nullopt);
    bool hasActiveOperation();

    /// Takes the turn for something that the system does (HandoffLeases.h) and returns its token. The receipt is
    /// durable before this returns. Never waits: throws busy while anything is active or queued; invalid for a
    /// label that is empty or longer than 512 bytes; CancellationError when nothing is to be asked.
    UUID beginExternalMaintenance(std::string_view label, const std::stop_token& stop);
    /// Records what was observed and gives the turn back, also when it could not be recorded: then the handoff
    /// is presented again at the next start. Throws invalid for a token that is not the lease in force and for
    /// an outcome that is empty or longer than 4,096 bytes.
    void endExternalMaintenance(const UUID& token, std::string_view outcome);
    /// The lease in force, which may have been left by an earlier process: then it requires review.
    std::optional<SystemOperationReceipt> activeExternalMaintenance();
    /// All handoffs: the one in force, then the newest first.
    std::vector<SystemOperationReceipt> externalHistory(const std::stop_token& stop = {});

    /// Every journal write from now on, in journal order; a slow reader keeps the newest 80.
    /// `wake` is called on a working thread after each arrival, with no lock held; it does not call back here:
    /// the operation that it is told of may still have to give back its turn. For every other thread an end that
    /// was told has given it back.
    std::unique_ptr<EngineStream<OperationReceipt>> updates(std::function<void()> wake = {});
    /// Progress of executions and undos; keeps the newest only.
    std::unique_ptr<EngineStream<OperationProgress>> progress(std::function<void()> wake = {});

    /// The fingerprint of one item or tree, with the engine's digest cache.
    FileFingerprint fingerprint(const FileURL& url, const std::stop_token& stop,
                                const ProgressMeter::Observer& progress = {});

private:
    std::unique_ptr<EngineState> state_;
};

} // namespace morv
