#include "MorvApp/Model/AppModel.h"
#include "MorvCore/Foundation/TextSearch.h"
#include "MorvCore/Review/SuggestionMemoryStore.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>

namespace morv {

namespace {

/// Empty for what has not ended.
std::string_view outcomeWord(OperationStatus status) {
    switch (status) {
    case OperationStatus::completed:
        return "completed";
    case OperationStatus::partial:
        return "partially completed";
    case OperationStatus::failed:
        return "failed";
    case OperationStatus::cancelled:
        return "cancelled";
    case OperationStatus::interrupted:
        return "interrupted — review Activity";
    case OperationStatus::undone:
        return "undone";
    case OperationStatus::queued:
    case OperationStatus::running:
        break;
    }
    return {};
}

const OperationReceipt* activeReceipt(const std::vector<OperationReceipt>& receipts) {
    for (const auto status : {OperationStatus::running, OperationStatus::queued}) {
        const auto found = std::ranges::find(receipts, status, &OperationReceipt::status);
        if (found != receipts.end())
            return &*found;
    }
    return nullptr;
}

std::string items(std::size_t count) {
    return fmt::format("{} item{}", count, count == 1 ? "" : "s");
}

OperationRequest requestOf(OperationKind kind, std::vector<FileURL> sources) {
    OperationRequest request;
    request.kind = kind;
    request.sources = std::move(sources);
    return request;
}

} // namespace

void AppModel::planSelection(OperationKind kind) {
    if (auto urls = currentPane().selectedURLs(); !urls.empty())
        plan(requestOf(kind, std::move(urls)));
}

void AppModel::renameItem(const FileURL& item, std::string newName) {
    auto request = requestOf(OperationKind::rename, {item});
    request.newName = std::move(newName);
    plan(std::move(request));
}

void AppModel::renameItems(std::vector<FileURL> items, std::string pattern) {
    auto request = requestOf(OperationKind::rename, std::move(items));
    request.newName = std::move(pattern);
    plan(std::move(request), Review::always);
}

void AppModel::createFolder(const FileURL& parent, std::string name) {
    auto request = requestOf(OperationKind::newFolder, {});
    request.destination = parent;
    request.newName = std::move(name);
    plan(std::move(request));
}

void AppModel::setTags(std::vector<FileURL> items, std::vector<std::string> tags) {
    auto request = requestOf(OperationKind::tags, std::move(items));
    request.tags = std::move(tags);
    if (!request.sources.empty())
        plan(std::move(request));
}

void AppModel::changeTags(std::vector<FileURL> items, TagChange change) {
    tasks_.run(
        TaskLane::reading,
        [items = std::move(items), change = std::move(change)](const std::stop_token& stop) {
            return tagGroups(items, change, stop);
        },
        [this](std::vector<TagGroup> groups) {
            for (auto& group : groups)
                setTags(std::move(group.items), std::move(group.tags));
        },
        [this](const std::exception_ptr& failure) { setErrorMessage(sentence(failure)); });
}

void AppModel::sendByMail(std::vector<FileURL> files) {
    if (!services_.itemSender)
        return setErrorMessage("No message could be opened. Check that an e-mail program is installed.");
    tasks_.run(
        TaskLane::watching,
        [sender = services_.itemSender, files = std::move(files)](const std::stop_token& stop) {
            sender->sendByMail(files, stop);
        },
        [] {}, [this](const std::exception_ptr& failure) { setErrorMessage(sentence(failure)); });
}

void AppModel::copyLocations(const std::vector<FileURL>& urls) {
    if (clipboard_.writeLocations(urls))
        setStatus(urls.size() == 1 ? "Copied the location" : "Copied the locations of " + items(urls.size()));
}

void AppModel::copySelection(FileClipboard::Mode mode) {
    const auto urls = currentPane().selectedURLs();
    if (urls.empty() || !clipboard_.write(urls, mode))
        return;
    if (mode == FileClipboard::Mode::move)
        setStatus(items(urls.size()) + " ready to move · Paste in Morv or in another file manager.");
    else
        setStatus("Copied " + items(urls.size()));
}

void AppModel::paste(FileClipboard::Mode least) {
    auto offer = clipboard_.read();
    if (offer.urls.empty())
        return;
    const bool moves = least == FileClipboard::Mode::move || offer.mode == FileClipboard::Mode::move;
    if (selectedWorkspaceID_) {
        if (moves)
            return setErrorMessage(
                "A workspace contains references. Open a physical folder to move copied files.");
        return library().appendReferences(*selectedWorkspaceID_, offer.urls);
    }
    auto request = requestOf(moves ? OperationKind::move : OperationKind::copy, std::move(offer.urls));
    request.destination = currentPane().location();
    plan(std::move(request));
}

void AppModel::transferToOtherPane(OperationKind kind) {
    const auto& active = activeTab();
    if (!active.second)
        return setErrorMessage("Open split view to transfer between panes.");
    const auto& target = &activePane() == active.pane.get() ? *active.second : *active.pane;
    auto request = requestOf(kind, currentPane().selectedURLs());
    if (request.sources.empty())
        return;
    request.destination = target.location();
    plan(std::move(request), kind == OperationKind::move ? Review::always : Review::whenNeeded);
}

void AppModel::execute(FileOperationPlan confirmed) {
    setOperating(true);
    // Another plan that waits for its confirmation goes on waiting.
    if (reviewPlan_ && reviewPlan_->id == confirmed.id)
        endReview();
    try {
        // The admission takes the place in the queue now, so that turns follow the order of the commands. The
        // execution gets no stop of ours: it outlives the window, and is stopped by its id.
        tasks_.run(
            TaskLane::operations,
            [&engine = services_.engine,
             admission = services_.engine.admit(std::move(confirmed))](const std::stop_token&) mutable {
                return engine.execute(std::move(admission), std::stop_token());
            },
            [this, before = selectedInTab(), errors = errorRevision_](const OperationReceipt& receipt) {
                if (receipt.status == OperationStatus::completed)
                    clearError(errors);
                finishExecution(receipt, before);
            },
            [this](const std::exception_ptr& failure) {
                setErrorMessage(sentence(failure));
                refreshOperationHistory([this] { operatingFromReceipts(); });
            });
    } catch (const std::exception& error) {
        setErrorMessage(error.what());
        operatingFromReceipts();
    }
}

void AppModel::finishExecution(const OperationReceipt& receipt, const EntrySelection& selectedBefore) {
    if (receipt.kind == OperationKind::move) {
        std::unordered_map<FileURL, FileURL> moved;
        for (const auto& item : receipt.items)
            if (item.status == OperationItemStatus::succeeded && item.source && item.destination)
                moved.emplace(*item.source, *item.destination);
        clipboard_.completedMove(moved);
        recordLearning(receipt);
    }
    mergeReceipt(receipt);
    Q_EMIT receiptsChanged();
    updateOperationStatus(&receipt);
    selectResults(receipt, selectedBefore);
    refresh();
    if (receipt.status == OperationStatus::partial || receipt.status == OperationStatus::failed ||
        receipt.status == OperationStatus::cancelled) {
        refreshOperationHistory();
        bringSheet(AppSheet::activity);
    }
    operatingFromReceipts();
}

/// The item's id names what it taught, so that an undo can take exactly that back.
void AppModel::recordLearning(const OperationReceipt& receipt) {
    tasks_.run(
        TaskLane::suggestions,
        [&store = services_.store, items = receipt.items](const std::stop_token&) {
            SuggestionMemoryStore memory(store);
            for (const auto& item : items)
                if (item.status == OperationItemStatus::succeeded && item.source && item.destination)
                    memory.record({item.id, *item.source, *item.destination, Date::now()});
        },
        [] {}, [this](const std::exception_ptr&) { learningFailed(); });
}

void AppModel::forgetLearning(const OperationReceipt& receipt) {
    if (receipt.kind != OperationKind::move)
        return;
    tasks_.run(
        TaskLane::suggestions,
        [&store = services_.store, items = receipt.items](const std::stop_token&) {
            SuggestionMemoryStore memory(store);
            for (const auto& item : items)
                if (item.status == OperationItemStatus::undone)
                    memory.remove(item.id);
        },
        [] {}, [this](const std::exception_ptr&) { learningFailed(); });
}

void AppModel::learningFailed() {
    setStatus(status_.value_or("File operation completed") +
              " · Local suggestion memory couldn’t be updated.");
}

EntrySelection AppModel::selectedInTab() const {
    auto selected = activeTab().pane->selection();
    for (const PaneModel* other : {activeTab().second.get(), columnPane_})
        if (other)
            selected.insert(other->selection().begin(), other->selection().end());
    return selected;
}

/// Not over what the user has selected since: the next key is meant for that.
void AppModel::selectResults(const OperationReceipt& receipt, const EntrySelection& selectedBefore) {
    if (!std::ranges::all_of(selectedInTab(),
                             [&](const EntryKey& key) { return selectedBefore.contains(key); }))
        return;
    if (receipt.kind == OperationKind::trash || receipt.kind == OperationKind::tags)
        return;
    std::vector<FileURL> results;
    for (const auto& item : receipt.items)
        if (item.destination && item.status == OperationItemStatus::succeeded)
            results.push_back(*item.destination);
    // A transfer's results are in the other pane.
    const auto& active = activeTab();
    for (auto* pane : {active.pane.get(), active.second.get(), columnPane_})
        if (pane)
            pane->selectWhenLoaded(results);
}

void AppModel::undo(std::optional<UUID> id) {
    if (!id && isPlanning())
        return takeBackPlanning();
    if (isUndoing_)
        return;
    setUndoing(true);
    tasks_.run(
        TaskLane::reading,
        [&engine = services_.engine](const std::stop_token& stop) { return engine.history(stop); },
        [this, id](const std::vector<OperationReceipt>& history) {
            const auto found = std::ranges::find_if(history, [&id](const OperationReceipt& receipt) {
                return id ? receipt.id == *id : receipt.canUndo();
            });
            if (found == history.end())
                return setUndoing(false);
            undoReceipt(found->id);
        },
        [this](const std::exception_ptr& failure) {
            setErrorMessage(sentence(failure));
            setUndoing(false);
        });
}

void AppModel::undoReceipt(const UUID& id) {
    setOperating(true);
    tasks_.run(
        TaskLane::operations,
        [&engine = services_.engine, id](const std::stop_token&) {
            return engine.undo(id, std::stop_token());
        },
        [this, errors = errorRevision_](const OperationReceipt& receipt) {
            if (receipt.status == OperationStatus::undone)
                clearError(errors);
            forgetLearning(receipt);
            refreshOperationHistory([this, receipt] {
                updateOperationStatus(&receipt);
                refresh();
                operatingFromReceipts();
                setUndoing(false);
            });
        },
        [this](const std::exception_ptr& failure) {
            setErrorMessage(sentence(failure));
            operatingFromReceipts();
            setUndoing(false);
        });
}

void AppModel::clearError(std::uint64_t revision) {
    if (errorRevision_ == revision)
        setErrorMessage(std::nullopt);
}

void AppModel::cancelOperation() {
    cancelPlanning();
    if (const auto* active = activeReceipt(receipts_))
        services_.engine.cancel(active->id);
    else if (isOperating_)
        services_.engine.cancel();
}

void AppModel::cancelOperation(const UUID& id) {
    services_.engine.cancel(id);
}

void AppModel::drainUpdates() {
    // A long operation sends many between two turns: the views follow all of them at once.
    bool isAny = false;
    std::optional<OperationReceipt> ended;
    while (const auto receipt = operationUpdates_->take()) {
        streamedReceiptVersions_[receipt->id] = ++receiptRevision_;
        mergeReceipt(*receipt);
        isAny = true;
        if (!receipt->isActive())
            ended = *receipt;
    }
    if (!isAny)
        return;
    Q_EMIT receiptsChanged();
    updateOperationStatus(ended ? &*ended : nullptr);
    if (ended)
        refresh();
}

void AppModel::drainProgress() {
    while (auto progress = progressUpdates_->take())
        if (progress->phase == OperationPhase::finished)
            setOperationProgress(std::nullopt);
        else if (isOperating_)
            setOperationProgress(std::move(*progress));
}

void AppModel::mergeReceipt(const OperationReceipt& receipt) {
    const auto found = std::ranges::find(receipts_, receipt.id, &OperationReceipt::id);
    if (found != receipts_.end())
        *found = receipt;
    else
        receipts_.insert(receipts_.begin(), receipt);
}

void AppModel::refreshOperationHistory(std::function<void()> then) {
    if (historyState_ == HistoryState::failed)
        setHistoryState(HistoryState::reading);
    tasks_.run(
        TaskLane::reading,
        [&engine = services_.engine](const std::stop_token& stop) { return engine.history(stop); },
        [this, started = receiptRevision_, then](std::vector<OperationReceipt> history) {
            for (auto& receipt : history) {
                const auto version = streamedReceiptVersions_.find(receipt.id);
                if (version == streamedReceiptVersions_.end() || version->second <= started)
                    continue;
                const auto held = std::ranges::find(receipts_, receipt.id, &OperationReceipt::id);
                if (held != receipts_.end())
                    receipt = *held;
            }
            // What began after the reading did is not in it.
            for (const auto& held : receipts_) {
                const auto version = streamedReceiptVersions_.find(held.id);
                if (version != streamedReceiptVersions_.end() && version->second > started &&
                    std::ranges::find(history, held.id, &OperationReceipt::id) == history.end())
                    history.push_back(held);
            }
            std::ranges::stable_sort(history, [](const OperationReceipt& a, const OperationReceipt& b) {
                return a.startedAt > b.startedAt;
            });
            receipts_ = std::move(history);
            clearError(historyError_);
            setHistoryState(HistoryState::read);
            Q_EMIT receiptsChanged();
            updateOperationStatus(nullptr);
            if (then)
                then();
        },
        [this, then](const std::exception_ptr& failure) {
            setErrorMessage("Activity couldn’t be loaded: " + sentence(failure));
            historyError_ = errorRevision_;
            setHistoryState(HistoryState::failed);
            if (then)
                then();
        });
}

void AppModel::updateOperationStatus(const OperationReceipt* completed) {
    const auto* active = activeReceipt(receipts_);
    setOperating(active != nullptr);
    if (active) {
        const auto total = active->items.size();
        if (active->status == OperationStatus::queued)
            return setStatus(fmt::format("{} queued · {} items", displayName(active->kind), total));
        const auto processed =
            std::count_if(active->items.begin(), active->items.end(),
                          [](const auto& item) { return item.status != OperationItemStatus::pending; });
        return setStatus(
            fmt::format("{} · {} of {} items processed", displayName(active->kind), processed, total));
    }
    if (!completed)
        return;
    if (completed->message && !trimmed(*completed->message).empty())
        return setStatus(fmt::format("{} · {}", displayName(completed->kind), *completed->message));
    if (const auto word = outcomeWord(completed->status); !word.empty())
        setStatus(fmt::format("{} {} · {} of {} items completed", displayName(completed->kind), word,
                              completed->succeededCount(), completed->items.size()));
}

void AppModel::operatingFromReceipts() {
    setOperating(activeReceipt(receipts_) != nullptr);
}

void AppModel::setStatus(std::string status) {
    if (status_ == status)
        return;
    status_ = std::move(status);
    Q_EMIT statusChanged();
}

void AppModel::setUndoing(bool undoing) {
    if (isUndoing_ == undoing)
        return;
    isUndoing_ = undoing;
    Q_EMIT isUndoingChanged();
}

void AppModel::setHistoryState(HistoryState state) {
    if (historyState_ == state)
        return;
    historyState_ = state;
    Q_EMIT historyStateChanged();
}

void AppModel::setOperating(bool operating) {
    if (!operating)
        setOperationProgress(std::nullopt);
    if (isOperating_ == operating)
        return;
    isOperating_ = operating;
    Q_EMIT isOperatingChanged();
}

void AppModel::setPlanProgress(std::optional<OperationProgress> progress) {
    if (!progress && !planProgress_)
        return;
    planProgress_ = std::move(progress);
    Q_EMIT progressChanged();
}

void AppModel::setOperationProgress(std::optional<OperationProgress> progress) {
    if (!progress && !operationProgress_)
        return;
    operationProgress_ = std::move(progress);
    Q_EMIT progressChanged();
}

} // namespace morv
