// What a window holds: its tabs and panes, and how they are kept under a name and come back.
#include "MorvApp/Model/AppModel.h"

#include <algorithm>

namespace morv {

namespace {

constexpr std::size_t closedTabsKept = 20;

PaneServices paneServices(MorvServices& services, UserDefaults* lastLocation) {
    PaneServices result{services.store, services.pools, lastLocation};
    result.standards = &services.defaults;
    return result;
}

} // namespace

// Tabs and panes.

std::unique_ptr<PaneModel> AppModel::makePane(const FileURL& location) {
    return noticed(std::make_unique<PaneModel>(location, paneServices(services_, nullptr)));
}

std::unique_ptr<PaneModel> AppModel::makeTabPane(const FileURL& location) {
    auto* remembered = services_.remembersLocation() ? &services_.defaults : nullptr;
    return noticed(std::make_unique<PaneModel>(location, paneServices(services_, remembered)));
}

std::unique_ptr<PaneModel> AppModel::noticed(std::unique_ptr<PaneModel> pane) {
    connect(pane.get(), &PaneModel::loaded, this,
            [this, made = pane.get()] { services_.tags.notice(made->entries()); });
    return pane;
}

FileTab AppModel::makeTab(const FileURL& location) {
    return {UUID::random(), makeTabPane(location), nullptr};
}

std::size_t AppModel::tabIndex() const {
    const auto found = std::ranges::find(tabs_, activeTabID_, &FileTab::id);
    return found == tabs_.end() ? 0 : static_cast<std::size_t>(found - tabs_.begin());
}

PaneModel& AppModel::activePane() const {
    const auto& active = activeTab();
    return secondaryActive_ && active.second ? *active.second : *active.pane;
}

void AppModel::setColumnPane(PaneModel* pane) {
    if (columnPane_ == pane)
        return;
    columnPane_ = pane;
    observeActivePane();
}

void AppModel::goToColumn() {
    if (!columnPane_)
        return;
    const auto folder = columnPane_->location();
    const auto selected = columnPane_->selectedIDs();
    auto preferences = columnPane_->preferences();
    preferences.view = activePane().preferences().view;
    setColumnPane(nullptr);
    activePane().navigate(folder, PaneModel::History::record);
    activePane().restoreView(preferences, selected);
}

void AppModel::observeActivePane() {
    auto& pane = currentPane();
    if (observedPane_ == &pane)
        return;
    for (const auto& connection : paneObservation_)
        disconnect(connection);
    paneObservation_.clear();
    observedPane_ = &pane;
    const auto observe = [this, &pane](auto signal) {
        paneObservation_.push_back(connect(&pane, signal, this, &AppModel::activePaneUpdated));
    };
    observe(&PaneModel::locationChanged);
    observe(&PaneModel::entriesChanged);
    observe(&PaneModel::selectionChanged);
    observe(&PaneModel::preferencesChanged);
    observe(&PaneModel::isLoadingChanged);
    observe(&PaneModel::errorChanged);
    observe(&PaneModel::queryChanged);
    observe(&PaneModel::filterChanged);
    observe(&PaneModel::searchNoteChanged);
    // Whoever goes somewhere or searches wants to see files.
    const auto showFiles = [this] { setSelectedWorkspaceID(std::nullopt); };
    paneObservation_.push_back(connect(&pane, &PaneModel::locationChanged, this, showFiles));
    paneObservation_.push_back(connect(&pane, &PaneModel::queryChanged, this, showFiles));
    Q_EMIT activePaneChanged();
}

void AppModel::showTab(const UUID& id) {
    setSelectedWorkspaceID(std::nullopt);
    activeTabID_ = id;
    secondaryActive_ = false;
    columnPane_ = nullptr;
    Q_EMIT tabsChanged();
    observeActivePane();
}

void AppModel::addTab(const std::optional<FileURL>& url) {
    tabs_.push_back(makeTab(url.value_or(activePane().location())));
    showTab(tabs_.back().id);
}

void AppModel::closeTab(const std::optional<UUID>& id) {
    if (tabs_.size() < 2)
        return Q_EMIT closeWindowRequested();
    const auto found = std::ranges::find(tabs_, id.value_or(activeTabID_), &FileTab::id);
    if (found == tabs_.end())
        return;
    closedTabs_.push_back(snapshot(*found));
    if (closedTabs_.size() > closedTabsKept)
        closedTabs_.erase(closedTabs_.begin());
    // Views let go of the tab's panes before these go.
    const auto closed = std::move(*found);
    tabs_.erase(found);
    if (closed.id == activeTabID_)
        showTab(tabs_.back().id);
    else
        Q_EMIT tabsChanged();
}

void AppModel::reopenTab() {
    if (closedTabs_.empty())
        return;
    tabs_.push_back(restoredTab(closedTabs_.back()));
    closedTabs_.pop_back();
    // A session that was restored since may have brought the same tab back.
    if (std::ranges::count(tabs_, tabs_.back().id, &FileTab::id) > 1)
        tabs_.back().id = UUID::random();
    showTab(tabs_.back().id);
}

void AppModel::changeTab(int by) {
    if (tabs_.size() < 2)
        return;
    const auto count = static_cast<int>(tabs_.size());
    const int wanted = ((static_cast<int>(tabIndex()) + by) % count + count) % count;
    showTab(tabs_[static_cast<std::size_t>(wanted)].id);
}

void AppModel::activateTab(const UUID& id) {
    if (id == activeTabID_)
        setSelectedWorkspaceID(std::nullopt);
    else if (std::ranges::find(tabs_, id, &FileTab::id) != tabs_.end())
        showTab(id);
}

void AppModel::moveTab(std::size_t from, std::size_t to) {
    if (from >= tabs_.size() || to >= tabs_.size() || from == to)
        return;
    const auto at = [this](std::size_t index) { return tabs_.begin() + static_cast<std::ptrdiff_t>(index); };
    if (from < to)
        std::rotate(at(from), at(from + 1), at(to + 1));
    else
        std::rotate(at(to), at(from), at(from + 1));
    Q_EMIT tabsChanged();
}

void AppModel::toggleSplit() {
    if (!isSplit()) {
        tab().second = makeTabPane(activePane().location());
        Q_EMIT tabsChanged();
        return observeActivePane();
    }
    const auto closed = std::move(tab().second);
    if (std::exchange(secondaryActive_, false))
        columnPane_ = nullptr;
    Q_EMIT tabsChanged();
    observeActivePane();
}

void AppModel::switchPane() {
    if (!isSplit())
        return;
    secondaryActive_ = !secondaryActive_;
    columnPane_ = nullptr;
    observeActivePane();
    Q_EMIT focusPaneRequested();
}

void AppModel::swapPanes() {
    if (!isSplit())
        return;
    std::swap(tab().pane, tab().second);
    columnPane_ = nullptr;
    Q_EMIT tabsChanged();
    observeActivePane();
}

void AppModel::activate(const PaneModel& pane) {
    const auto& active = activeTab();
    if (active.second.get() == &pane)
        secondaryActive_ = true;
    else if (active.pane.get() == &pane)
        secondaryActive_ = false;
    else
        return;
    columnPane_ = nullptr;
    observeActivePane();
}

// Sessions.

SavedPaneSession AppModel::snapshot(const FileTab& tab) {
    SavedPaneSession saved;
    saved.tabID = tab.id;
    saved.location = tab.pane->location();
    saved.view = tab.pane->preferences();
    saved.selection = tab.pane->selectedIDs();
    saved.history = tab.pane->history();
    if (tab.second) {
        saved.secondary = tab.second->location();
        saved.secondaryView = tab.second->preferences();
        saved.secondarySelection = tab.second->selectedIDs();
        saved.secondaryHistory = tab.second->history();
    }
    return saved;
}

FileTab AppModel::restoredTab(const SavedPaneSession& saved) {
    FileTab tab = makeTab(saved.location);
    tab.id = saved.tabID.value_or(tab.id);
    tab.pane->restoreView(saved.view, saved.selection.value_or(std::set<std::string>()));
    tab.pane->restoreHistory(saved.history);
    if (saved.secondary) {
        tab.second = makeTabPane(*saved.secondary);
        tab.second->restoreView(saved.secondaryView.value_or(saved.view),
                                saved.secondarySelection.value_or(std::set<std::string>()));
        tab.second->restoreHistory(saved.secondaryHistory);
    }
    return tab;
}

void AppModel::saveSession(const std::string& name) {
    SavedFileSession session;
    for (const auto& tab : tabs_)
        session.tabs.push_back(snapshot(tab));
    session.activeIndex = static_cast<std::int64_t>(tabIndex());
    session.secondaryActive = secondaryActive_;
    session.splitRatios = services_.layout.snapshots(layoutNamespace_);
    session.showInspector = showInspector_;
    const auto saved = [this] { setStatus("Session saved"); };
    tasks_.run(
        TaskLane::records,
        [&store = services_.store, session = std::move(session), name](const std::stop_token&) {
            store.save(session, "session." + name);
        },
        // A save that failed leaves the earlier session, and is not told apart.
        saved, [saved](const std::exception_ptr&) { saved(); });
}

void AppModel::restoreSession(const std::string& name) {
    const auto none = [this] { setStatus("No saved session"); };
    tasks_.run(
        TaskLane::records,
        [&store = services_.store, name](const std::stop_token&) {
            return store.load<SavedFileSession>("session." + name);
        },
        [this, none](const std::optional<SavedFileSession>& session) {
            if (!session || session->tabs.empty())
                return none();
            restore(*session);
        },
        [none](const std::exception_ptr&) { none(); });
}

void AppModel::restore(const SavedFileSession& session) {
    std::vector<FileTab> restored;
    for (const auto& saved : session.tabs) {
        restored.push_back(restoredTab(saved));
        // Two tabs of one id could not be told apart.
        const auto same = std::ranges::count(restored, restored.back().id, &FileTab::id);
        if (same > 1)
            restored.back().id = UUID::random();
    }
    columnPane_ = nullptr;
    std::swap(tabs_, restored);
    const auto wanted = std::max<std::int64_t>(session.activeIndex.value_or(0), 0);
    const auto index = std::min(static_cast<std::size_t>(wanted), tabs_.size() - 1);
    showTab(tabs_[index].id);
    if (session.secondaryActive.value_or(false) && isSplit()) {
        secondaryActive_ = true;
        observeActivePane();
    }
    setShowInspector(session.showInspector.value_or(false));
    restoredSplitRatios_ = session.splitRatios.value_or(SplitFractions());
    ++layoutRestoreRevision_;
    Q_EMIT layoutRestored();
    if (services_.remembersLocation())
        services_.defaults.setLastLocation(activePane().location());
}

} // namespace morv
