#include "MorvApp/Model/AppModel.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>

namespace morv {

namespace {

constexpr double smallestIcon = 72;
constexpr double largestIcon = 160;
constexpr double iconStep = 16;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\f\v";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

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

AppModel::AppModel(MorvServices& services, ClipboardBoard& board,
                   const std::optional<FileURL>& initialLocation, QObject* parent)
    : QObject(parent), services_(services), clipboard_(board),
      pane_(std::make_unique<PaneModel>(
          initialLocation.value_or(services.firstFolder()),
          PaneServices{services.store, services.pools,
                       services.remembersLocation() ? &services.defaults : nullptr, DirectoryService()})),
      tasks_(services.pools) {
    operationUpdates_ = services_.engine.updates(tasks_.wakeUp([this] { drainUpdates(); }));
    progressUpdates_ = services_.engine.progress(tasks_.wakeUp([this] { drainProgress(); }));
    // After the subscription, so that nothing falls between the two.
    refreshOperationHistory();
}

AppModel::~AppModel() = default;

void AppModel::perform(FileCommand command) {
    auto& pane = activePane();
    const auto withPreferences = [&pane](auto change) {
        auto preferences = pane.preferences();
        change(preferences);
        pane.setPreferences(preferences);
    };
    switch (command) {
    case FileCommand::open:
        return openSelection();
    case FileCommand::rename:
        return Q_EMIT renameRequested();
    case FileCommand::copy:
        return copySelection(FileClipboard::Mode::copy);
    case FileCommand::cut:
        return copySelection(FileClipboard::Mode::move);
    case FileCommand::paste:
        return paste(FileClipboard::Mode::copy);
    case FileCommand::movePaste:
        return paste(FileClipboard::Mode::move);
    case FileCommand::duplicate:
        return planSelection(OperationKind::duplicate);
    case FileCommand::trash:
        return planSelection(OperationKind::trash);
    case FileCommand::alias:
        return planSelection(OperationKind::alias);
    case FileCommand::newFolder:
        return showSheet(AppSheet::newFolder);
    case FileCommand::tags:
        if (!pane.selection().empty())
            showSheet(AppSheet::tags);
        return;
    case FileCommand::undo:
        return undo();
    case FileCommand::activity:
        refreshOperationHistory();
        return showSheet(AppSheet::activity);
    case FileCommand::editPath:
        return Q_EMIT pathEditRequested();
    case FileCommand::increaseIconSize:
        return resizeIcons(iconStep);
    case FileCommand::decreaseIconSize:
        return resizeIcons(-iconStep);
    case FileCommand::back:
        return pane.back();
    case FileCommand::forward:
        return pane.forward();
    case FileCommand::enclosingFolder:
        return pane.up();
    case FileCommand::refresh:
        return refresh();
    case FileCommand::toggleHidden:
        return withPreferences([](auto& preferences) { preferences.showHidden = !preferences.showHidden; });
    case FileCommand::viewAsGrid:
        return withPreferences([](auto& preferences) { preferences.view = BrowserViewMode::grid; });
    case FileCommand::viewAsList:
        return withPreferences([](auto& preferences) { preferences.view = BrowserViewMode::list; });
    }
}

void AppModel::planSelection(OperationKind kind) {
    if (auto urls = activePane().selectedURLs(); !urls.empty())
        plan(requestOf(kind, std::move(urls)));
}

void AppModel::renameItem(const FileURL& item, std::string newName) {
    auto request = requestOf(OperationKind::rename, {item});
    request.newName = std::move(newName);
    plan(std::move(request));
}

void AppModel::createFolder(std::string name) {
    auto request = requestOf(OperationKind::newFolder, {});
    request.destination = activePane().location();
    request.newName = std::move(name);
    plan(std::move(request));
}

void AppModel::setTags(std::vector<std::string> tags) {
    auto request = requestOf(OperationKind::tags, activePane().selectedURLs());
    request.tags = std::move(tags);
    if (!request.sources.empty())
        plan(std::move(request));
}

void AppModel::openSelection() {
    const auto selected = activePane().selectedEntries();
    if (selected.size() == 1 && selected.front()->isNavigable())
        return activePane().navigate(selected.front()->url(), PaneModel::History::record);
    for (const auto* entry : selected) {
        if (entry->isNavigable() || !services_.opener)
            continue;
        tasks_.run(
            TaskLane::reading,
            [open = services_.opener, url = entry->url()](const std::stop_token&) { open(url); }, [] {},
            [this](const std::exception_ptr& failure) { setErrorMessage(sentence(failure)); });
    }
}

void AppModel::resizeIcons(double by) {
    auto preferences = activePane().preferences();
    preferences.iconSize = std::clamp(preferences.iconSize + by, smallestIcon, largestIcon);
    activePane().setPreferences(preferences);
}

void AppModel::copySelection(FileClipboard::Mode mode) {
    const auto urls = activePane().selectedURLs();
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
    auto request = requestOf(moves ? OperationKind::move : OperationKind::copy, std::move(offer.urls));
    request.destination = activePane().location();
    plan(std::move(request));
}

void AppModel::plan(OperationRequest request, Review review) {
    reviewValidation_ = nullptr;
    setErrorMessage(std::nullopt);
    planning_ = tasks_.stream<OperationProgress>(
        TaskLane::operations,
        [&engine = services_.engine, asked = std::move(request)](const std::stop_token& stop,
                                                                 const auto& emit) {
            return engine.plan(asked, stop, [&emit](const OperationProgress& progress) { emit(progress); });
        },
        [this](OperationProgress progress) { setProgress(std::move(progress)); },
        [this, review](FileOperationPlan made) {
            setProgress(std::nullopt);
            const bool runsAtOnce = made.warnings.empty() || made.kind == OperationKind::duplicate;
            if (review == Review::whenNeeded && runsAtOnce)
                execute(std::move(made));
            else
                setReviewPlan(std::move(made));
        },
        [this](const std::exception_ptr& failure) {
            setProgress(std::nullopt);
            setErrorMessage(sentence(failure));
        });
}

void AppModel::offer(FileOperationPlan made, ReviewValidation validation) {
    reviewValidation_ = std::move(validation);
    setReviewPlan(std::move(made));
}

void AppModel::commitReview(const FileOperationPlan& confirmed) {
    setOperating(true);
    auto validation = std::exchange(reviewValidation_, nullptr);
    if (!validation)
        return execute(confirmed);
    tasks_.run(
        TaskLane::operations, std::move(validation), [this, confirmed] { execute(confirmed); },
        [this](const std::exception_ptr& failure) {
            setReviewPlan(std::nullopt);
            setErrorMessage(sentence(failure));
            operatingFromReceipts();
        });
}

void AppModel::cancelReview() {
    reviewValidation_ = nullptr;
    setReviewPlan(std::nullopt);
}

void AppModel::execute(FileOperationPlan confirmed) {
    setOperating(true);
    setReviewPlan(std::nullopt);
    try {
        // The admission takes the place in the queue now, so that turns follow the order of the commands. The
        // execution gets no stop of ours: it outlives the window, and is stopped by its id.
        tasks_.run(
            TaskLane::operations,
            [&engine = services_.engine,
             admission = services_.engine.admit(std::move(confirmed))](const std::stop_token&) mutable {
                return engine.execute(std::move(admission), std::stop_token());
            },
            [this](const OperationReceipt& receipt) { finishExecution(receipt); },
            [this](const std::exception_ptr& failure) {
                setErrorMessage(sentence(failure));
                refreshOperationHistory([this] { operatingFromReceipts(); });
            });
    } catch (const std::exception& error) {
        setErrorMessage(error.what());
        operatingFromReceipts();
    }
}

void AppModel::finishExecution(const OperationReceipt& receipt) {
    if (receipt.kind == OperationKind::move) {
        std::unordered_map<FileURL, FileURL> moved;
        for (const auto& item : receipt.items)
            if (item.status == OperationItemStatus::succeeded && item.source && item.destination)
                moved.emplace(*item.source, *item.destination);
        clipboard_.completedMove(moved);
    }
    mergeReceipt(receipt);
    updateOperationStatus(&receipt);
    selectResults(receipt);
    refresh();
    if (receipt.status == OperationStatus::partial || receipt.status == OperationStatus::failed ||
        receipt.status == OperationStatus::cancelled)
        perform(FileCommand::activity);
    operatingFromReceipts();
}

void AppModel::selectResults(const OperationReceipt& receipt) {
    if (receipt.kind == OperationKind::trash || receipt.kind == OperationKind::tags)
        return;
    std::vector<FileURL> results;
    for (const auto& item : receipt.items)
        if (item.destination && item.status == OperationItemStatus::succeeded)
            results.push_back(*item.destination);
    activePane().selectWhenLoaded(results);
}

void AppModel::undo(std::optional<UUID> id) {
    tasks_.run(
        TaskLane::reading,
        [&engine = services_.engine](const std::stop_token& stop) { return engine.history(stop); },
        [this, id](const std::vector<OperationReceipt>& history) {
            const auto found = std::ranges::find_if(history, [&id](const OperationReceipt& receipt) {
                return id ? receipt.id == *id : receipt.canUndo();
            });
            if (found != history.end())
                undoReceipt(found->id);
        },
        [this](const std::exception_ptr& failure) { setErrorMessage(sentence(failure)); });
}

void AppModel::undoReceipt(const UUID& id) {
    setOperating(true);
    tasks_.run(
        TaskLane::operations,
        [&engine = services_.engine, id](const std::stop_token&) {
            return engine.undo(id, std::stop_token());
        },
        [this](const OperationReceipt& receipt) {
            refreshOperationHistory([this, receipt] {
                updateOperationStatus(&receipt);
                refresh();
                operatingFromReceipts();
            });
        },
        [this](const std::exception_ptr& failure) {
            setErrorMessage(sentence(failure));
            operatingFromReceipts();
        });
}

void AppModel::cancelOperation() {
    planning_.cancel();
    if (const auto* active = activeReceipt(receipts_))
        services_.engine.cancel(active->id);
    else if (isOperating_)
        services_.engine.cancel();
    else
        setProgress(std::nullopt);
}

void AppModel::drainUpdates() {
    while (const auto receipt = operationUpdates_->take()) {
        streamedReceiptVersions_[receipt->id] = ++receiptRevision_;
        mergeReceipt(*receipt);
        updateOperationStatus(receipt->isActive() ? nullptr : &*receipt);
        if (!receipt->isActive())
            refresh();
    }
}

void AppModel::drainProgress() {
    while (auto progress = progressUpdates_->take())
        if (progress->phase == OperationPhase::finished)
            setProgress(std::nullopt);
        else if (isOperating_)
            setProgress(std::move(*progress));
}

void AppModel::mergeReceipt(const OperationReceipt& receipt) {
    const auto found = std::ranges::find(receipts_, receipt.id, &OperationReceipt::id);
    if (found != receipts_.end())
        *found = receipt;
    else
        receipts_.insert(receipts_.begin(), receipt);
    Q_EMIT receiptsChanged();
}

void AppModel::refreshOperationHistory(std::function<void()> then) {
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
            std::ranges::stable_sort(history, [](const OperationReceipt& a, const OperationReceipt& b) {
                return a.startedAt > b.startedAt;
            });
            receipts_ = std::move(history);
            Q_EMIT receiptsChanged();
            updateOperationStatus(nullptr);
            if (then)
                then();
        },
        [this, then](const std::exception_ptr& failure) {
            setErrorMessage("Activity couldn’t be loaded: " + sentence(failure));
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

void AppModel::refresh() {
    activePane().refresh();
}

void AppModel::showSheet(AppSheet sheet) {
    if (sheet_ == sheet)
        return;
    sheet_ = sheet;
    Q_EMIT sheetChanged();
}

void AppModel::closeSheet() {
    if (!sheet_)
        return;
    sheet_.reset();
    Q_EMIT sheetChanged();
}

void AppModel::setErrorMessage(std::optional<std::string> message) {
    if (errorMessage_ == message)
        return;
    errorMessage_ = std::move(message);
    Q_EMIT errorMessageChanged();
}

void AppModel::setStatus(std::string status) {
    if (status_ == status)
        return;
    status_ = std::move(status);
    Q_EMIT statusChanged();
}

void AppModel::setOperating(bool operating) {
    if (!operating)
        setProgress(std::nullopt);
    if (isOperating_ == operating)
        return;
    isOperating_ = operating;
    Q_EMIT isOperatingChanged();
}

void AppModel::setReviewPlan(std::optional<FileOperationPlan> plan) {
    if (!plan && !reviewPlan_)
        return;
    reviewPlan_ = std::move(plan);
    Q_EMIT reviewPlanChanged();
}

void AppModel::setProgress(std::optional<OperationProgress> progress) {
    if (!progress && !progress_)
        return;
    progress_ = std::move(progress);
    Q_EMIT progressChanged();
}

} // namespace morv
