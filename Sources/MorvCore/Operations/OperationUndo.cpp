#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/EngineState.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Platform/Durability.h"
#include "MorvCore/Platform/SystemTrash.h"

#include <fcntl.h>
#include <fmt/format.h>

namespace morv {

namespace {

/// Undoes one item, if it still is exactly what the operation left.
class ItemReversal {
public:
    ItemReversal(EngineState& engine, OperationKind kind, const OperationItemResult& item,
                 const OperationCancellationToken& cancellation)
        : engine_(engine), kind_(kind), item_(item), cancellation_(cancellation) {}

    /// Where in Trash that lies which was removed, if anything was.
    std::optional<FileURL> run();

private:
    void checkpoint() const {
        if (cancellation_.isCancelled())
            throw CancellationError();
    }
    FileFingerprint fingerprint(const FileURL& url) const {
        return readFingerprint(url, {cancellation_.token(), engine_.cache()});
    }
    void restoreTags() const;
    std::optional<FileURL> restore() const;
    FileURL exchangeForOriginal() const;
    void renameBack() const;
    static void flushMove(const FileURL& from, const FileURL& to);

    EngineState& engine_;
    const OperationKind kind_;
    const OperationItemResult& item_;
    const OperationCancellationToken& cancellation_;
};

std::optional<FileURL> ItemReversal::run() {
    checkpoint();
    if (!item_.destination || !item_.after || fingerprint(*item_.destination) != *item_.after)
        throw FileOperationError::changed("The result changed or is unavailable. Undo preserved it.");
    checkpoint();
    if (item_.status == OperationItemStatus::copiedOriginalRetained) {
        if (!item_.source || !item_.before || fingerprint(*item_.source) != *item_.before)
            throw FileOperationError::changed(
                "The retained original changed or is unavailable. Both copies were preserved.");
        checkpoint();
        return engine_.trash->trash(*item_.destination);
    }
    switch (kind_) {
    case OperationKind::copy:
    case OperationKind::duplicate:
    case OperationKind::newFolder:
    case OperationKind::alias:
    case OperationKind::compressZIP:
    case OperationKind::extractZIP:
        return engine_.trash->trash(*item_.destination);
    case OperationKind::tags:
        restoreTags();
        return std::nullopt;
    case OperationKind::move:
    case OperationKind::rename:
    case OperationKind::trash:
        return restore();
    }
    return std::nullopt;
}

void ItemReversal::restoreTags() const {
    FileTagMetadata::setNames(*item_.destination, item_.originalTags.value_or(std::vector<std::string>()));
    const Descriptor item(
        open(item_.destination->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (item)
        flushDescriptor(item.get(), *item_.destination);
}

std::optional<FileURL> ItemReversal::restore() const {
    const auto occupant = item_.source ? statIfPresent(*item_.source) : std::nullopt;
    const bool isItself =
        occupant && kind_ == OperationKind::rename && occupant->identity() == item_.after->identity;
    if (!item_.source || (occupant && !isItself) || !statIfPresent(item_.source->parent()))
        throw FileOperationError::collision(
            "The original location is occupied or unavailable. Undo preserved the result.");
    if (item_.recoveryURL)
        return exchangeForOriginal();
    renameBack();
    return std::nullopt;
}

/// A move across volumes: the original comes back from Trash, and the copy goes there.
FileURL ItemReversal::exchangeForOriginal() const {
    if (!item_.before || !fingerprint(*item_.recoveryURL).hasSameContent(*item_.before))
        throw FileOperationError::changed("The recovery copy changed or is no longer in Trash.");
    checkpoint();
    OperationFiles::exclusiveMove(*item_.recoveryURL, *item_.source);
    flushMove(*item_.recoveryURL, *item_.source);
    SystemTrash::forget(*item_.recoveryURL);
    return engine_.trash->trash(*item_.destination);
}

void ItemReversal::renameBack() const {
    const auto& source = *item_.source;
    const auto& destination = *item_.destination;
    const auto here = statItem(destination), there = statItem(source.parent());
    if (OperationFiles::crossesVolumes(here, there))
        throw FileOperationError::unsupported(
            "Restoring this item now requires a transfer between volumes. Restore "
            "it from Trash or move it manually.");
    checkpoint();
    if (!statIfPresent(source)) {
        OperationFiles::exclusiveMove(destination, source);
    } else {
        if (!item_.stagingURL)
            throw FileOperationError::invalid("The rename recovery location was not recorded.");
        OperationFiles::exclusiveMove(destination, *item_.stagingURL);
        try {
            OperationFiles::exclusiveMove(*item_.stagingURL, source);
        } catch (...) {
            const auto failure = std::current_exception();
            try {
                OperationFiles::exclusiveMove(*item_.stagingURL, destination);
            } catch (const std::exception&) {
                // The receipt still says where it stands.
            }
            std::rethrow_exception(failure);
        }
    }
    if (kind_ == OperationKind::trash)
        SystemTrash::forget(destination);
    try {
        flushMove(destination, source);
    } catch (const PosixError& error) {
        throw MutationFailure(
            fmt::format("The item is back in its place, but the device did not confirm it: {}", error.what()),
            {source, {}, {}}, MutationFailure::Cause::error);
    }
}

void ItemReversal::flushMove(const FileURL& from, const FileURL& to) {
    flushFolder(to.parent());
    if (from.parent() != to.parent())
        flushFolder(from.parent());
}

class OperationUndo {
public:
    OperationUndo(EngineState& engine, OperationReceipt receipt,
                  std::shared_ptr<OperationCancellationToken> cancellation)
        : engine_(engine), receipt_(std::move(receipt)), cancellation_(std::move(cancellation)),
          progress_(receipt_.id, ProgressMeter::Items::planned,
                    [&engine](const OperationProgress& progress) { engine.progress.publish(progress); }) {}

    OperationReceipt run();

private:
    void undoItem(std::size_t index);

    EngineState& engine_;
    OperationReceipt receipt_;
    std::shared_ptr<OperationCancellationToken> cancellation_;
    ProgressMeter progress_;
    bool someFailed_ = false;
};

OperationReceipt OperationUndo::run() {
    if (!receipt_.canUndo())
        throw FileOperationError::invalid(
            "This operation cannot be undone automatically. Review its recovery details.");
    receipt_.status = OperationStatus::running;
    receipt_.message = "Undo is in progress.";
    engine_.journal.persist(receipt_);
    progress_.setTotals(0, static_cast<std::int64_t>(receipt_.items.size()), 1);

    bool wasStopped = false;
    for (std::size_t i = receipt_.items.size(); i-- > 0;) {
        const auto status = receipt_.items[i].status;
        if (status != OperationItemStatus::succeeded && status != OperationItemStatus::copiedOriginalRetained)
            continue;
        if (cancellation_->isCancelled()) {
            wasStopped = true;
            break;
        }
        undoItem(i);
        progress_.addPlannedItems(1);
    }
    receipt_.status = someFailed_ || wasStopped ? OperationStatus::partial : OperationStatus::undone;
    receipt_.completedAt = Date::now();
    if (wasStopped || (someFailed_ && cancellation_->isCancelled()))
        receipt_.message = "Undo stopped at a safe checkpoint. Unfinished items were preserved.";
    else if (someFailed_)
        receipt_.message =
            "Some items changed or their original locations are occupied. Those items were preserved.";
    else
        receipt_.message = "Undo completed after revalidating the affected items.";
    engine_.persistEnd(receipt_);
    progress_.setPhase(OperationPhase::finished);
    progress_.report();
    return receipt_;
}

void OperationUndo::undoItem(std::size_t index) {
    auto result = receipt_.items[index];
    if (result.destination)
        progress_.setName(displayText(result.destination->lastComponent()));
    if (receipt_.kind == OperationKind::rename && result.source && statIfPresent(*result.source)) {
        result.stagingURL = result.source->parent().child(".morv-undo-" + result.id.text());
        receipt_.items.replace(index, result);
        engine_.journal.persistItem(receipt_, index);
    }
    try {
        if (auto removed = ItemReversal(engine_, receipt_.kind, result, *cancellation_).run())
            result.recoveryURL = std::move(removed);
        result.status = OperationItemStatus::undone;
        result.error.reset();
        result.stagingURL.reset();
    } catch (const CancellationError&) {
        result.error = "Undo stopped at a safe checkpoint. This item was preserved.";
        someFailed_ = true;
    } catch (const MutationFailure& failure) {
        result.status = OperationItemStatus::undone;
        result.error = failure.what();
        result.stagingURL.reset();
        someFailed_ = true;
    } catch (const std::exception& error) {
        result.error = error.what();
        someFailed_ = true;
    }
    receipt_.items.replace(index, std::move(result));
    engine_.journal.persistItem(receipt_, index);
}

} // namespace

OperationReceipt runUndo(EngineState& engine, const UUID& id, const std::stop_token& stop) {
    engine.ensureExternalMaintenanceRecovered();
    if (!engine.queue.takeTurn(id))
        throw FileOperationError::busy();
    const TurnRelease release(engine.queue, id);
    const auto cancellation = engine.queue.beginCancellable(id);
    const std::stop_callback cancelOnStop(stop, [&cancellation] { cancellation->cancel(); });
    auto receipt = engine.journal.read(id, {});
    if (!receipt)
        throw FileOperationError::missingReceipt();
    return OperationUndo(engine, std::move(*receipt), cancellation).run();
}

} // namespace morv
