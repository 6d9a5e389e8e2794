// The durable truth of what the engine has done.
//
// On disk     "operations/" + id: the OperationReceipt, whole. One key an operation, for ever.
//             "operations.steps/" + id + "/" + index: while an operation of many items is active, the newest
//             result of one item with the receipt's status and message then, so that an item costs the same
//             however many there are. The whole record is written at the start, whenever the steps have
//             outgrown it, and at the end, after which the steps are removed.
// Invariants  I1  every write returned => what it says survives a power cut
//             I2  reading merges the steps of an active record over it; a step left behind by a crash says
//                 what the record says, and those of a record that is no longer active are ignored
//             I3  a receipt that is read was not being replaced meanwhile
//             I4  observers see every write that was not overtaken, in order
// Threading   safe to share. One thread at a time writes an operation (the one that runs it).
#pragma once

#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Operations/Broadcast.h"
#include "MorvCore/Operations/Operations.h"
#include "MorvCore/Operations/RecordWrites.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

class SQLiteStore;

class Journal {
public:
    using ReadObserver = std::function<void(const OperationReceipt&)>;

    Journal(SQLiteStore& store, ReadObserver readObserver);

    static std::string key(const UUID& id);

    /// Writes the whole receipt and removes its steps, if it has any: one that cannot be removed now says
    /// what the record says, and the next whole write tries again. Throws PersistenceError.
    void persist(const OperationReceipt& receipt);
    /// The same; calls `written` when it is durable and before any observer hears of it.
    void persistLast(const OperationReceipt& receipt, const std::function<void()>& written);
    /// Writes what changed: the receipt's status and message, and the item at `index`. Throws
    /// PersistenceError.
    void persistItem(const OperationReceipt& receipt, std::size_t index);

    /// One receipt as it stands on disk, merged. Throws PersistenceError, DecodingError, CancellationError.
    std::optional<OperationReceipt> read(const UUID& id, const std::stop_token& stop);
    /// Every receipt in key order. One that cannot be read fails the whole call; one that vanished is passed
    /// over. An active receipt that nobody `owns` was left by a process that is gone: it becomes interrupted,
    /// durably.
    std::vector<OperationReceipt> readAll(const std::function<bool(const UUID&)>& owns,
                                          const std::stop_token& stop);

    Broadcast<OperationReceipt>& updates() { return updates_; }

private:
    /// What is on disk of an operation that is being written.
    struct Written {
        std::size_t recordBytes = 0;
        std::size_t stepBytes = 0;
        std::int64_t sequence = 0;
        std::set<std::string> stepKeys;
    };

    using Snapshot = RecordWrites::Stable<std::optional<OperationReceipt>>;

    Snapshot readStable(const UUID& id, const std::set<std::string>& steps, const std::stop_token& stop);
    /// False when the operation has been written since: nothing was done.
    bool interrupt(Snapshot& snapshot);
    void merge(OperationReceipt& receipt, const std::set<std::string>& steps);
    std::set<std::string> stepKeys(const std::string& prefix);
    Written takeWritten(const UUID& id);
    void writeWhole(const OperationReceipt& receipt, Written& written);
    void keepWritten(const OperationReceipt& receipt, Written written);
    template <class Write>
    void writing(const OperationReceipt& receipt, Write&& write);

    SQLiteStore& store_;
    const ReadObserver readObserver_;
    Broadcast<OperationReceipt> updates_;

    RecordWrites writes_;

    Mutex mutex_;
    std::map<UUID, Written> active_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
