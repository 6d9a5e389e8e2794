#include "MorvCore/Operations/HandoffLeases.h"

#include "MorvCore/Foundation/SystemWords.h"
#include "MorvCore/Foundation/TextSearch.h"
#include "MorvCore/Operations/OperationQueue.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>

namespace morv {

namespace {

constexpr std::string_view externalPrefix = "systemOperations/";
constexpr std::size_t labelLimit = 512;
constexpr std::size_t outcomeLimit = 4096;

/// Trimmed, or nothing when it is empty, longer than `limit` bytes or holds a zero character.
std::optional<std::string> shortText(std::string_view text, std::size_t limit) {
    auto result = trimmed(text);
    if (result.empty() || result.size() > limit || result.find('\0') != std::string::npos)
        return std::nullopt;
    return result;
}

} // namespace

HandoffLeases::HandoffLeases(SQLiteStore& store, OperationQueue& queue, const EngineObservers& observers)
    : store_(store), queue_(queue), observers_(observers) {}

void HandoffLeases::ensureRecovered() {
    std::shared_ptr<Recovery> recovery;
    bool isMine = false;
    {
        MutexLock lock(mutex_);
        if (isRecovered_)
            return;
        isMine = !recovery_;
        if (isMine)
            recovery_ = std::make_shared<Recovery>();
        recovery = recovery_;
        while (!isMine && recovery->isLoading)
            lock.wait(recoveryEnded_);
    }
    if (isMine) {
        std::exception_ptr failure;
        try {
            recover();
        } catch (...) {
            failure = std::current_exception();
        }
        {
            const MutexLock lock(mutex_);
            isRecovered_ = !failure;
            recovery->failure = std::move(failure);
            recovery->isLoading = false;
            recovery_.reset();
        }
        recoveryEnded_.notify_all();
    }
    // Nobody writes it any more.
    if (recovery->failure)
        std::rethrow_exception(recovery->failure);
}

/// Under a turn of its own, so that nothing can start while it is not known what was left.
void HandoffLeases::recover() {
    const auto turn = UUID::random();
    queue_.takeTurnFirst(turn);
    try {
        auto found = unresolved();
        const MutexLock lock(mutex_);
        recoveredMaintenance_ = std::move(found);
    } catch (...) {
        queue_.release(turn);
        throw;
    }
    finishTurn(turn);
}

std::deque<SystemOperationReceipt> HandoffLeases::unresolved() {
    std::deque<SystemOperationReceipt> found;
    for (const auto& key : store_.keys(std::string(externalPrefix))) {
        // A caller who is cancelled does not cancel what the others wait for too.
        auto receipt = readStable(key, {}).value;
        if (!receipt || receipt->status == SystemOperationStatus::outcomeRecorded)
            continue;
        if (receipt->status == SystemOperationStatus::pending)
            markForReview(*receipt);
        found.push_back(std::move(*receipt));
    }
    std::ranges::sort(found, [](const SystemOperationReceipt& a, const SystemOperationReceipt& b) {
        return a.createdAt != b.createdAt ? a.createdAt < b.createdAt : a.id.text() < b.id.text();
    });
    return found;
}

/// Gives up the turn, or passes it on to the next handoff that nobody has resolved. Only who has the turn
/// comes here; until it is given on the lease answers to nobody.
void HandoffLeases::finishTurn(const UUID& token) {
    std::optional<SystemOperationReceipt> next;
    {
        const MutexLock lock(mutex_);
        if (!recoveredMaintenance_.empty()) {
            next = std::move(recoveredMaintenance_.front());
            recoveredMaintenance_.pop_front();
        } else {
            maintenance_.reset();
        }
    }
    if (!next) {
        queue_.release(token);
        return;
    }
    queue_.passTurn(token, next->id);
    setLease(std::move(*next), Phase::leased);
}

void HandoffLeases::setLease(SystemOperationReceipt receipt, Phase phase) {
    const MutexLock lock(mutex_);
    maintenance_ = Lease{std::move(receipt), phase};
}

UUID HandoffLeases::begin(std::string_view label, const std::stop_token& stop) {
    checkCancelled(stop);
    ensureRecovered();
    if (queue_.isBusy())
        throw FileOperationError::busy();
    auto accepted = shortText(label, labelLimit);
    if (!accepted)
        throw FileOperationError::invalid("Enter a short system operation label.");
    SystemOperationReceipt receipt{.id = UUID::random(),
                                   .kind = "emptyTrash",
                                   .label = std::move(*accepted),
                                   .status = SystemOperationStatus::pending,
                                   .createdAt = Date::now(),
                                   .finishedAt = {},
                                   .outcome = {}};
    if (!queue_.takeTurn(receipt.id))
        throw FileOperationError::busy();
    setLease(receipt, Phase::preparing);
    try {
        persist(receipt);
        if (stop.stop_requested()) {
            receipt.status = SystemOperationStatus::outcomeRecorded;
            receipt.finishedAt = Date::now();
            receipt.outcome = words::handoffCancelled;
            persist(receipt);
            throw CancellationError();
        }
    } catch (...) {
        finishTurn(receipt.id);
        throw;
    }
    setLease(receipt, Phase::leased);
    return receipt.id;
}

void HandoffLeases::end(const UUID& token, std::string_view outcome) {
    ensureRecovered();
    SystemOperationReceipt receipt;
    {
        const MutexLock lock(mutex_);
        if (!maintenance_ || maintenance_->receipt.id != token || maintenance_->phase != Phase::leased)
            throw FileOperationError::invalid(
                "This system operation lease is not active or is already ending.");
        maintenance_->phase = Phase::ending;
        receipt = maintenance_->receipt;
    }
    try {
        auto accepted = shortText(outcome, outcomeLimit);
        if (!accepted)
            throw FileOperationError::invalid("Record a short observed system outcome.");
        receipt.status = SystemOperationStatus::outcomeRecorded;
        receipt.finishedAt = Date::now();
        receipt.outcome = std::move(*accepted);
        persist(receipt);
    } catch (...) {
        // The turn is given up all the same: what is on disk says pending, and the next start asks again.
        finishTurn(token);
        throw;
    }
    finishTurn(token);
}

std::optional<SystemOperationReceipt> HandoffLeases::active() {
    ensureRecovered();
    const MutexLock lock(mutex_);
    if (!maintenance_ || maintenance_->phase != Phase::leased)
        return std::nullopt;
    return maintenance_->receipt;
}

bool HandoffLeases::isHeld(const UUID& id) const {
    {
        const MutexLock lock(mutex_);
        if (maintenance_ && maintenance_->receipt.id == id)
            return true;
    }
    return queue_.owns(id);
}

std::vector<SystemOperationReceipt> HandoffLeases::history(const std::stop_token& stop) {
    ensureRecovered();
    std::vector<SystemOperationReceipt> receipts;
    for (const auto& key : store_.keys(std::string(externalPrefix))) {
        auto snapshot = readStable(key, stop);
        // Pending and held by nobody: it was given up without a word. Unless its end was recorded after it was
        // read here; nobody writes it who does not hold it, so the count of its writes cannot change again.
        while (snapshot.value && snapshot.value->status == SystemOperationStatus::pending &&
               !isHeld(snapshot.value->id)) {
            if (writes_.version(snapshot.value->id) == snapshot.version) {
                markForReview(*snapshot.value);
                break;
            }
            snapshot = readStable(key, stop);
        }
        if (snapshot.value)
            receipts.push_back(std::move(*snapshot.value));
    }
    std::optional<UUID> current;
    {
        const MutexLock lock(mutex_);
        if (maintenance_)
            current = maintenance_->receipt.id;
    }
    std::ranges::stable_sort(receipts, [&](const auto& a, const auto& b) {
        const bool aIsCurrent = a.id == current, bIsCurrent = b.id == current;
        return aIsCurrent != bIsCurrent ? aIsCurrent : a.createdAt > b.createdAt;
    });
    return receipts;
}

void HandoffLeases::persist(const SystemOperationReceipt& receipt) {
    const RecordWrites::Write counted(writes_, receipt.id);
    if (observers_.externalWrite)
        observers_.externalWrite(receipt);
    store_.save(receipt, std::string(externalPrefix) + receipt.id.text());
}

void HandoffLeases::markForReview(SystemOperationReceipt& receipt) {
    receipt.status = SystemOperationStatus::requiresReview;
    receipt.outcome = words::handoffNeedsReview;
    receipt.finishedAt.reset();
    persist(receipt);
}

HandoffLeases::Snapshot HandoffLeases::readStable(const std::string& key, const std::stop_token& stop) {
    const auto id = UUID::parse(std::string_view(key).substr(externalPrefix.size()));
    if (!id)
        throw PersistenceError("A system receipt has an invalid journal key.");
    auto snapshot = writes_.readStable(*id, stop, [&](std::uint64_t) {
        auto receipt = store_.load<SystemOperationReceipt>(key);
        if (receipt && observers_.externalHistoryRead)
            observers_.externalHistoryRead(*receipt);
        return receipt;
    });
    if (snapshot.value && snapshot.value->id != *id)
        throw PersistenceError("A system receipt does not match its journal key.");
    return snapshot;
}

} // namespace morv
