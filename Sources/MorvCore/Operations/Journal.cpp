#include "MorvCore/Operations/Journal.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Operations/OperationItemJSON.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <fmt/format.h>

namespace morv {

namespace {

constexpr std::string_view recordPrefix = "operations/";
constexpr std::string_view stepPrefix = "operations.steps/";
/// Below this a whole record costs no more than a step: the database writes whole pages.
constexpr std::size_t smallRecord = 8 * 1024;

/// One step: the newest state of one item, and of the receipt around it at that moment. What of the item
/// never changes and is long, its fingerprint before, stands in the record only.
struct OperationStep {
    std::int64_t sequence = 0; ///< rises with every write of the operation
    std::int64_t index = 0;
    OperationStatus status = OperationStatus::running;
    std::optional<std::string> message;
    OperationItemResult item;
};

std::string toJSON(const OperationStep& step) {
    auto object = json::Value::object();
    json::put(object, "sequence", step.sequence);
    json::put(object, "index", step.index);
    json::put(object, "status", step.status);
    json::put(object, "message", step.message);
    json::put(object, "item", step.item);
    return json::dump(object);
}

void fromJSON(std::string_view text, OperationStep& step) {
    const auto value = json::parse(text);
    json::take(value, "sequence", step.sequence);
    json::take(value, "index", step.index);
    json::take(value, "status", step.status);
    json::take(value, "message", step.message);
    json::take(value, "item", step.item);
}

std::string stepPrefixOf(const UUID& id) {
    return fmt::format("{}{}/", stepPrefix, id.text());
}

} // namespace

Journal::Journal(SQLiteStore& store, ReadObserver readObserver)
    : store_(store), readObserver_(std::move(readObserver)) {}

std::string Journal::key(const UUID& id) {
    return std::string(recordPrefix) + id.text();
}

/// Runs a write and tells the observers, unless a later one has begun.
template <class Write>
void Journal::writing(const OperationReceipt& receipt, Write&& write) {
    const RecordWrites::Write counted(writes_, receipt.id);
    write();
    if (counted.isNewest())
        updates_.publish(receipt);
}

std::set<std::string> Journal::stepKeys(const std::string& prefix) {
    auto keys = store_.keys(prefix);
    return {std::make_move_iterator(keys.begin()), std::make_move_iterator(keys.end())};
}

/// What is known to be on disk. Taken out while a write is under way: after a failure the store is asked
/// again.
Journal::Written Journal::takeWritten(const UUID& id) {
    {
        const MutexLock lock(mutex_);
        if (auto known = active_.extract(id))
            return std::move(known.mapped());
    }
    Written written;
    written.stepKeys = stepKeys(stepPrefixOf(id));
    return written;
}

void Journal::keepWritten(const OperationReceipt& receipt, Written written) {
    if (!receipt.isActive())
        return;
    const MutexLock lock(mutex_);
    active_[receipt.id] = std::move(written);
}

void Journal::writeWhole(const OperationReceipt& receipt, Written& written) {
    const auto removeSteps = [&] {
        store_.removeAll(std::vector<std::string>(written.stepKeys.begin(), written.stepKeys.end()));
        written.stepKeys.clear();
    };
    // Steps of an earlier run speak again as soon as the record is active again: they go first.
    if (receipt.isActive() && written.recordBytes == 0)
        removeSteps();
    const auto text = toJSON(receipt);
    store_.saveBytes(text, key(receipt.id));
    written.recordBytes = text.size();
    written.stepBytes = 0;
    try {
        removeSteps();
    } catch (const PersistenceError&) {
        return;
    }
}

void Journal::persist(const OperationReceipt& receipt) {
    persistLast(receipt, [] {});
}

void Journal::persistLast(const OperationReceipt& receipt, const std::function<void()>& written) {
    writing(receipt, [&] {
        auto held = takeWritten(receipt.id);
        writeWhole(receipt, held);
        keepWritten(receipt, std::move(held));
        written();
    });
}

void Journal::persistItem(const OperationReceipt& receipt, std::size_t index) {
    writing(receipt, [&] {
        auto written = takeWritten(receipt.id);
        OperationStep step{++written.sequence, static_cast<std::int64_t>(index), receipt.status,
                           receipt.message, receipt.items[index]};
        step.item.before.reset();
        const auto text = toJSON(step);
        auto stepKey = fmt::format("{}{}", stepPrefixOf(receipt.id), index);
        const bool whole =
            written.recordBytes <= smallRecord || written.stepBytes + text.size() > written.recordBytes;
        // An older step of this item must not outlive the record that says more, should a crash come between
        // that record and the removal of the steps.
        if (!whole || written.stepKeys.contains(stepKey)) {
            store_.saveBytes(text, stepKey);
            written.stepBytes += text.size();
            written.stepKeys.insert(std::move(stepKey));
        }
        if (whole)
            writeWhole(receipt, written);
        keepWritten(receipt, std::move(written));
    });
}

void Journal::merge(OperationReceipt& receipt, const std::set<std::string>& steps) {
    if (!receipt.isActive())
        return;
    const auto prefix = stepPrefixOf(receipt.id);
    std::int64_t newest = 0;
    for (auto at = steps.lower_bound(prefix); at != steps.end() && at->starts_with(prefix); ++at) {
        const auto bytes = store_.loadBytes(*at);
        if (!bytes)
            continue;
        OperationStep step;
        fromJSON(*bytes, step);
        const auto index = static_cast<std::size_t>(step.index);
        if (step.index < 0 || index >= receipt.items.size() || receipt.items[index].id != step.item.id)
            throw PersistenceError("A step of an operation does not match its receipt.");
        if (step.sequence > newest) {
            newest = step.sequence;
            receipt.status = step.status;
            receipt.message = step.message;
        }
        step.item.before = receipt.items[index].before;
        receipt.items.replace(index, std::move(step.item));
    }
}

Journal::Snapshot Journal::readStable(const UUID& id, const std::set<std::string>& steps,
                                      const std::stop_token& stop) {
    bool isFirst = true;
    auto snapshot = writes_.readStable(id, stop, [&](std::uint64_t version) {
        auto receipt = store_.load<OperationReceipt>(key(id));
        if (receipt && receipt->id == id)
            merge(*receipt, isFirst && version == 0 ? steps : stepKeys(stepPrefixOf(id)));
        if (receipt && readObserver_)
            readObserver_(*receipt);
        isFirst = false;
        return receipt;
    });
    if (snapshot.value && snapshot.value->id != id)
        throw PersistenceError("An operation receipt does not match its journal key.");
    return snapshot;
}

std::optional<OperationReceipt> Journal::read(const UUID& id, const std::stop_token& stop) {
    return readStable(id, stepKeys(stepPrefixOf(id)), stop).value;
}

std::vector<OperationReceipt> Journal::readAll(const std::function<bool(const UUID&)>& owns,
                                               const std::stop_token& stop) {
    const auto keys = store_.keys(std::string(recordPrefix));
    const auto steps = stepKeys(std::string(stepPrefix));
    std::vector<OperationReceipt> receipts;
    for (const auto& key : keys) {
        const auto id = UUID::parse(std::string_view(key).substr(recordPrefix.size()));
        if (!id)
            throw PersistenceError("An operation receipt has an invalid journal key.");
        // Asked on both sides of the reading: an operation may begin or end while its receipt is being read.
        const bool wasOwned = owns(*id);
        auto snapshot = readStable(*id, steps, stop);
        if (snapshot.value && snapshot.value->isActive() && !wasOwned && !owns(*id) && !interrupt(snapshot))
            // An operation came and went in between: what it wrote last is what stands.
            snapshot = readStable(*id, steps, stop);
        if (snapshot.value)
            receipts.push_back(std::move(*snapshot.value));
    }
    return receipts;
}

bool Journal::interrupt(Snapshot& snapshot) {
    auto& receipt = *snapshot.value;
    if (writes_.version(receipt.id) != snapshot.version)
        return false;
    receipt.status = OperationStatus::interrupted;
    receipt.completedAt = Date::now();
    receipt.message =
        "Morv stopped during this operation. Inspect source, destination and any staging location "
        "before creating a new operation. Nothing has been replayed.";
    persist(receipt);
    return true;
}

} // namespace morv
