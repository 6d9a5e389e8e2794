#include "MorvCore/Operations/FileOperationEngine.h"

#include "MorvCore/Operations/EngineState.h"
#include "MorvCore/Operations/OperationFiles.h"

#include <algorithm>

namespace morv {

namespace {

constexpr std::size_t receiptsKept = 80;

} // namespace

OperationAdmission::OperationAdmission(OperationAdmission&& other) noexcept
    : engine_(std::exchange(other.engine_, nullptr)), plan_(std::move(other.plan_)) {}

OperationAdmission::~OperationAdmission() {
    if (engine_)
        engine_->queue.release(plan_.id);
}

FileOperationEngine::FileOperationEngine(SQLiteStore& store,
                                         std::shared_ptr<const OperationTrashProvider> trash,
                                         EngineObservers observers)
    : state_(std::make_unique<EngineState>(store, std::move(trash), std::move(observers))) {}

FileOperationEngine::~FileOperationEngine() = default;

FileOperationPlan FileOperationEngine::plan(const OperationRequest& request, const std::stop_token& stop,
                                            const ProgressMeter::Observer& progress) {
    return planOperation(request, state_->cache(), stop, progress);
}

OperationAdmission FileOperationEngine::admit(FileOperationPlan plan) {
    if (!state_->queue.admit(plan.id))
        throw FileOperationError::invalid("This operation is already queued or running.");
    return {*state_, std::move(plan)};
}

OperationReceipt FileOperationEngine::execute(OperationAdmission admission, const std::stop_token& stop) {
    admission.engine_ = nullptr;
    return runExecution(*state_, admission.plan_, stop);
}

OperationReceipt FileOperationEngine::undo(const UUID& id, const std::stop_token& stop) {
    return runUndo(*state_, id, stop);
}

std::vector<OperationReceipt> FileOperationEngine::history(const std::stop_token& stop) {
    auto receipts = state_->journal.readAll([this](const UUID& id) { return state_->queue.owns(id); }, stop);
    std::ranges::stable_sort(receipts, [](const OperationReceipt& a, const OperationReceipt& b) {
        return a.startedAt > b.startedAt;
    });
    return receipts;
}

void FileOperationEngine::cancel(const std::optional<UUID>& id) {
    state_->queue.cancel(id);
}

bool FileOperationEngine::hasActiveOperation() {
    try {
        state_->ensureExternalMaintenanceRecovered();
    } catch (const std::exception&) {
        return true;
    }
    return state_->queue.isBusy();
}

UUID FileOperationEngine::beginExternalMaintenance(std::string_view label, const std::stop_token& stop) {
    return state_->leases.begin(label, stop);
}

void FileOperationEngine::endExternalMaintenance(const UUID& token, std::string_view outcome) {
    state_->leases.end(token, outcome);
}

std::optional<SystemOperationReceipt> FileOperationEngine::activeExternalMaintenance() {
    return state_->leases.active();
}

std::vector<SystemOperationReceipt> FileOperationEngine::externalHistory(const std::stop_token& stop) {
    return state_->leases.history(stop);
}

std::unique_ptr<EngineStream<OperationReceipt>> FileOperationEngine::updates(std::function<void()> wake) {
    return state_->journal.updates().subscribe(receiptsKept, std::move(wake));
}

std::unique_ptr<EngineStream<OperationProgress>> FileOperationEngine::progress(std::function<void()> wake) {
    return state_->progress.subscribe(1, std::move(wake));
}

FileFingerprint FileOperationEngine::fingerprint(const FileURL& url, const std::stop_token& stop,
                                                 const ProgressMeter::Observer& progress) {
    ProgressMeter meter(UUID(), ProgressMeter::Items::found, progress);
    return readFingerprint(OperationFiles::normalized(url), {stop, state_->cache(), &meter});
}

} // namespace morv
