#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/EngineState.h"
#include "MorvCore/Operations/ItemWork.h"
#include "MorvCore/Operations/OperationFiles.h"

#include <algorithm>
#include <fmt/format.h>

namespace morv {

namespace {

FileURL stagingURL(const FileOperationPlan& plan, const FileOperationItem& item) {
    return item.destination->parent().child(fmt::format(".morv-{}-{}", plan.id.text(), item.id.text()));
}

std::string shownName(const OperationItemResult& item) {
    if (item.source)
        return displayText(item.source->lastComponent());
    return item.destination ? displayText(item.destination->lastComponent()) : "Item";
}

std::string_view pastVerb(OperationKind kind) {
    switch (kind) {
    case OperationKind::copy:
        return "Copied";
    case OperationKind::move:
        return "Moved";
    case OperationKind::rename:
        return "Renamed";
    case OperationKind::duplicate:
        return "Duplicated";
    case OperationKind::trash:
        return "Moved to Trash:";
    case OperationKind::newFolder:
        return "Created";
    case OperationKind::alias:
        return "Created aliases for";
    case OperationKind::tags:
        return "Tagged";
    case OperationKind::compressZIP:
        return "Compressed";
    case OperationKind::extractZIP:
        return "Extracted";
    }
    return "";
}

std::size_t count(const OperationReceipt& receipt, OperationItemStatus status) {
    return static_cast<std::size_t>(std::count_if(receipt.items.begin(), receipt.items.end(),
                                                  [&](const auto& item) { return item.status == status; }));
}

std::string summary(const OperationReceipt& receipt) {
    std::vector<std::string> sentences;
    if (const auto n = count(receipt, OperationItemStatus::succeeded))
        sentences.push_back(fmt::format("{} {} {}", pastVerb(receipt.kind), n, n == 1 ? "item." : "items."));
    if (const auto n = count(receipt, OperationItemStatus::skipped))
        sentences.push_back(fmt::format("Skipped {}.", n));
    if (const auto n = count(receipt, OperationItemStatus::failed))
        sentences.push_back(fmt::format("Failed: {}. Review Activity for details.", n));
    if (const auto n = count(receipt, OperationItemStatus::cancelled))
        sentences.push_back(fmt::format("Cancelled: {}.", n));
    if (const auto n = count(receipt, OperationItemStatus::copiedOriginalRetained))
        sentences.push_back(fmt::format(
            "Created {} verified {}; originals retained after cancellation. Review Activity for details.", n,
            n == 1 ? "copy" : "copies"));
    return fmt::format("{}", fmt::join(sentences, " "));
}

OperationStatus finalStatus(const OperationReceipt& receipt) {
    const auto succeeded = count(receipt, OperationItemStatus::succeeded);
    if (succeeded + count(receipt, OperationItemStatus::skipped) == receipt.items.size())
        return OperationStatus::completed;
    if (succeeded > 0 || count(receipt, OperationItemStatus::copiedOriginalRetained) > 0)
        return OperationStatus::partial;
    return count(receipt, OperationItemStatus::cancelled) > 0 ? OperationStatus::cancelled
                                                              : OperationStatus::failed;
}

bool isArchiveKind(OperationKind kind) {
    return kind == OperationKind::compressZIP || kind == OperationKind::extractZIP;
}

bool countsBytes(const FileOperationPlan& plan, const FileOperationItem& item) {
    if (item.skipReason || !item.source || !item.fingerprint || !item.destination)
        return false;
    if (plan.kind == OperationKind::copy || plan.kind == OperationKind::duplicate || isArchiveKind(plan.kind))
        return true;
    const auto source = statIfPresent(*item.source), folder = statIfPresent(item.destination->parent());
    return plan.kind == OperationKind::move && source && folder &&
           OperationFiles::crossesVolumes(*source, *folder);
}

class OperationExecution {
public:
    OperationExecution(EngineState& engine, const FileOperationPlan& plan)
        : engine_(engine), plan_(plan),
          progress_(plan.id, ProgressMeter::Items::planned,
                    [&engine](const OperationProgress& progress) { engine.progress.publish(progress); }) {}

    OperationReceipt run(const std::stop_token& stop);

private:
    void makeReceipt();
    void runItems();
    void runItem(std::size_t index);
    void cancelFrom(std::size_t index);
    void record(std::size_t index, OperationItemResult result);
    void finish(OperationStatus status, std::string message);

    EngineState& engine_;
    const FileOperationPlan& plan_;
    ProgressMeter progress_;
    OperationReceipt receipt_;
    std::shared_ptr<OperationCancellationToken> cancellation_;
};

OperationReceipt OperationExecution::run(const std::stop_token& stop) {
    engine_.ensureExternalMaintenanceRecovered();
    if (engine_.observers.admission)
        engine_.observers.admission(plan_.id);
    if (engine_.journal.read(plan_.id, {}))
        throw FileOperationError::invalid(
            "This operation has already been recorded. Make a fresh preview before trying again.");
    makeReceipt();
    engine_.journal.persist(receipt_);

    progress_.setPhase(OperationPhase::waiting);
    if (!engine_.queue.waitForTurn(plan_.id, stop)) {
        cancelFrom(0);
        finish(OperationStatus::cancelled, "Cancelled before starting. No files changed.");
        return receipt_;
    }
    cancellation_ = engine_.queue.beginCancellable(plan_.id);
    const std::stop_callback cancelOnStop(stop, [this] { cancellation_->cancel(); });
    receipt_.status = OperationStatus::running;
    receipt_.message = fmt::format("Starting {} items.", plan_.items.size());
    engine_.journal.persist(receipt_);
    runItems();
    finish(finalStatus(receipt_), summary(receipt_));
    return receipt_;
}

void OperationExecution::makeReceipt() {
    receipt_.id = plan_.id;
    receipt_.kind = plan_.kind;
    receipt_.status = OperationStatus::queued;
    receipt_.startedAt = Date::now();
    receipt_.message = "Queued · waiting for earlier file operations.";
    std::int64_t bytes = 0;
    for (const auto& item : plan_.items) {
        OperationItemResult result;
        result.id = item.id;
        result.source = item.source;
        result.destination = item.destination;
        result.originalTags = item.originalTags;
        result.before = item.fingerprint;
        receipt_.items.append(std::move(result));
        if (countsBytes(plan_, item))
            bytes += item.fingerprint->byteCount;
    }
    // A copied byte is written and read back before it counts as done; an archive's source is read once.
    progress_.setTotals(bytes, static_cast<std::int64_t>(plan_.items.size()),
                        isArchiveKind(plan_.kind) ? 1 : 2);
}

void OperationExecution::runItems() {
    for (std::size_t i = 0; i < plan_.items.size(); ++i) {
        if (cancellation_->isCancelled()) {
            cancelFrom(i);
            return;
        }
        runItem(i);
        progress_.addPlannedItems(1);
    }
}

void OperationExecution::runItem(std::size_t index) {
    const auto& item = plan_.items[index];
    auto result = receipt_.items[index];
    if (item.skipReason) {
        result.status = OperationItemStatus::skipped;
        result.error = item.skipReason;
        record(index, std::move(result));
        return;
    }
    if (item.destination)
        result.stagingURL = stagingURL(plan_, item);
    const auto name = shownName(result);
    receipt_.message = fmt::format("Processing {} of {} · {}", index + 1, plan_.items.size(), name);
    progress_.setName(name);
    record(index, result);

    try {
        auto performed =
            performItem({plan_.kind, item, result.stagingURL, plan_.tags, *engine_.trash, *cancellation_,
                         engine_.cache(), &progress_, engine_.observers.staging});
        result.destination = std::move(performed.destination);
        result.recoveryURL = std::move(performed.recovery);
        result.after = std::move(performed.after);
        result.status = OperationItemStatus::succeeded;
        result.stagingURL.reset();
    } catch (const CancellationError&) {
        result.status = OperationItemStatus::cancelled;
        result.error =
            "Cancelled at a safe checkpoint. The original and any recorded staging copy were preserved.";
    } catch (const MutationFailure& failure) {
        result.status =
            failure.cancelled() ? OperationItemStatus::copiedOriginalRetained : OperationItemStatus::failed;
        result.error = failure.what();
        result.destination = failure.outcome().destination;
        result.recoveryURL = failure.outcome().recovery;
        result.after = failure.outcome().after;
    } catch (const std::exception& error) {
        result.status = OperationItemStatus::failed;
        result.error = error.what();
    }
    if (result.stagingURL && !statIfPresent(*result.stagingURL))
        result.stagingURL.reset();
    record(index, std::move(result));
}

void OperationExecution::cancelFrom(std::size_t index) {
    for (auto i = index; i < receipt_.items.size(); ++i) {
        auto result = receipt_.items[i];
        result.status = OperationItemStatus::cancelled;
        receipt_.items.replace(i, std::move(result));
    }
}

void OperationExecution::record(std::size_t index, OperationItemResult result) {
    receipt_.items.replace(index, std::move(result));
    engine_.journal.persistItem(receipt_, index);
}

void OperationExecution::finish(OperationStatus status, std::string message) {
    receipt_.status = status;
    receipt_.message = std::move(message);
    receipt_.completedAt = Date::now();
    engine_.persistEnd(receipt_);
    progress_.setPhase(OperationPhase::finished);
    progress_.report();
}

} // namespace

OperationReceipt runExecution(EngineState& engine, const FileOperationPlan& plan,
                              const std::stop_token& stop) {
    const TurnRelease release(engine.queue, plan.id);
    return OperationExecution(engine, plan).run(stop);
}

} // namespace morv
