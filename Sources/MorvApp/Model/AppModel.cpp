#include "MorvApp/Model/AppModel.h"

#include "MorvApp/Model/DragVisit.h"
#include "MorvApp/Model/FileManagerCommands.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QPointer>
#include <algorithm>
#include <fmt/format.h>

namespace morv {

namespace {

constexpr double iconStep = 16;
/// More tabs and programs at once than anybody means to have.
constexpr std::size_t mostOpenedAtOnce = 50;
constexpr const char* windowSession = "window";

} // namespace

AppModel::AppModel(MorvServices& services, ClipboardBoard& board,
                   const std::optional<FileURL>& initialLocation, QObject* parent)
    : QObject(parent), services_(services), clipboard_(board),
      developerTools_(services.pools, services.defaults, services.toolLauncher),
      drag_(new DragVisit(*this, services.pools)), showSidebar_(!services.defaults.sidebarIsCompact()),
      layoutNamespace_(services.layout.newWindowNamespace(SplitLayoutRegistry::Persistence::kept)),
      tasks_(services.pools) {
    tabs_.push_back(makeTab(initialLocation.value_or(services.firstFolder())));
    activeTabID_ = tabs_.front().id;
    observeActivePane();
    connect(&library(), &FileLibrary::failed, this,
            [this](const std::string& message) { setErrorMessage(message); });
    connect(&services.appearances, &FolderAppearanceStore::failed, this,
            [this](const std::string& message) { setErrorMessage(message); });
    connect(&services.keys, &KeyBindings::saveFailed, this,
            [this](const QString& message) { setErrorMessage(message.toStdString()); });
    connect(&library(), &FileLibrary::workspaceListChanged, this, [this] {
        if (selectedWorkspaceID_ && !library().workspace(*selectedWorkspaceID_))
            setSelectedWorkspaceID(std::nullopt);
    });
    connect(&developerTools_, &DeveloperToolsUI::editorChoiceRequested, this,
            [this] { showSheet(AppSheet::chooseEditor); });
    if (auto* source = volumes())
        connect(source, &VolumeSource::volumesChanged, this, [this] {
            ++fileSnapshotRevision_;
            Q_EMIT fileSnapshotRevisionChanged();
        });
    operationUpdates_ = services_.engine.updates(tasks_.wakeUp([this] { drainUpdates(); }));
    progressUpdates_ = services_.engine.progress(tasks_.wakeUp([this] { drainProgress(); }));
    // After the subscription, so that nothing falls between the two.
    refreshOperationHistory();
}

AppModel::~AppModel() = default;

// Where a window goes.

void AppModel::open(const FileURL& url) {
    tasks_.run(
        TaskLane::reading, [url](const std::stop_token&) { return DirectoryService::entry(url); },
        [this, number = ++opens_](const FileEntry& entry) {
            if (!entry.isNavigable())
                openWithDefault(entry.url());
            else if (number == opens_) // a folder that took longer than the next one is not shown over it
                showFolder(entry.url());
        },
        [this](const std::exception_ptr& failure) { setErrorMessage(sentence(failure)); });
}

void AppModel::showFolder(const FileURL& folder) {
    setSelectedWorkspaceID(std::nullopt);
    setColumnPane(nullptr);
    auto& pane = activePane();
    const bool isShown = pane.location() == folder.asFolder() && !pane.isSearch() && !pane.error();
    if (!isShown)
        pane.navigate(folder, PaneModel::History::record);
}

void AppModel::reveal(const FileURL& item) {
    showFolder(item.parent());
    auto& pane = activePane();
    pane.selectWhenLoaded({item});
    if (item.lastComponent().starts_with('.')) {
        // When the folder's own view is known, so that nothing else of it changes.
        const auto showHidden = [shown = QPointer<PaneModel>(&pane), item] {
            if (!shown || shown->location() != item.parent() || shown->preferences().showHidden)
                return;
            auto preferences = shown->preferences();
            preferences.showHidden = true;
            shown->setPreferences(preferences);
            shown->selectWhenLoaded({item});
        };
        connect(&pane, &PaneModel::loaded, this, showHidden,
                static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::SingleShotConnection));
    }
    // What is shown already is read again, for the selection to find the item.
    if (!pane.isLoading())
        pane.refresh();
}

void AppModel::filterTag(const std::string& tag) {
    setSelectedWorkspaceID(std::nullopt);
    goToColumn();
    auto& pane = activePane();
    pane.setQuery({});
    pane.setTagFilter(tag);
    pane.refresh();
}

void AppModel::saveSearch() {
    const auto& pane = activePane();
    if (pane.query().empty())
        return;
    library().addSearch({UUID::random(), pane.query(), pane.location(), pane.query()});
}

void AppModel::openSearch(const SavedFileSearch& search) {
    setSelectedWorkspaceID(std::nullopt);
    auto& pane = activePane();
    pane.navigate(search.root, PaneModel::History::record);
    pane.setQuery(search.query);
    pane.runSearch();
}

void AppModel::openWorkspace(std::size_t index) {
    if (index >= library().workspaceList().size())
        return;
    setWorkspaceQuery({});
    setSelectedWorkspaceID(library().workspaceList()[index].id);
}

void AppModel::openSelection() {
    const auto selected = currentPane().selectedEntries();
    const bool isFolder = selected.size() == 1 && selected.front()->isNavigable();
    if (isFolder && activePane().preferences().view == BrowserViewMode::columns)
        return Q_EMIT requested(FileCommand::open);
    if (isFolder)
        return currentPane().navigate(selected.front()->url(), PaneModel::History::record);
    if (selected.size() > mostOpenedAtOnce)
        return setErrorMessage(
            fmt::format("Select {} items or fewer to open them together.", mostOpenedAtOnce));
    // A new tab makes another pane the current one: what is selected here is taken first.
    std::vector<FileURL> folders;
    for (const auto* entry : selected) {
        if (entry->isNavigable())
            folders.push_back(entry->url());
        else
            openWithDefault(entry->url());
    }
    for (const auto& folder : folders)
        addTab(folder);
}

FileURL AppModel::developerTarget() const {
    // What is selected behind a workspace cannot be seen.
    const auto selected =
        selectedWorkspaceID_ ? std::vector<const FileEntry*>() : currentPane().selectedEntries();
    return selected.size() == 1 ? selected.front()->url() : currentPane().location();
}

void AppModel::openWithDefault(const FileURL& url) {
    if (!services_.opener)
        return;
    tasks_.run(
        TaskLane::reading, [open = services_.opener, url](const std::stop_token&) { open(url); }, [] {},
        [this](const std::exception_ptr& failure) { setErrorMessage(sentence(failure)); });
}

void AppModel::openWith(const InstalledApplication& application, const std::vector<FileURL>& items) {
    if (!services_.applications)
        return;
    tasks_.run(
        TaskLane::reading,
        [catalogue = services_.applications, application, items](const std::stop_token&) {
            catalogue->open(application, items);
        },
        [] {}, [this](const std::exception_ptr& failure) { setErrorMessage(sentence(failure)); });
}

/// Which folder that is stands in a file.
void AppModel::goTo(UserFolder folder) {
    tasks_.run(
        TaskLane::reading, [folder](const std::stop_token&) { return userFolder(folder); },
        [this, number = ++opens_](const std::optional<FileURL>& found) {
            if (found && number == opens_)
                showFolder(*found);
        },
        [](const std::exception_ptr&) {});
}

void AppModel::eject(const FileURL& volume) {
    auto* source = volumes();
    if (!source)
        return;
    if (!ejecting_.insert(volume).second)
        return;
    Q_EMIT ejectingChanged();
    // The source reads its lists again when it went well.
    source->eject(volume, this, [this, volume](const std::optional<std::string>& failure) {
        ejecting_.erase(volume);
        Q_EMIT ejectingChanged();
        if (failure)
            setErrorMessage(*failure);
    });
}

// The window's own fields.

void AppModel::setShowSidebar(bool shown) {
    if (showSidebar_ == shown)
        return;
    showSidebar_ = shown;
    services_.defaults.setSidebarIsCompact(!shown);
    Q_EMIT showSidebarChanged();
}

void AppModel::setShowInspector(bool shown) {
    if (showInspector_ == shown)
        return;
    showInspector_ = shown;
    Q_EMIT showInspectorChanged();
}

void AppModel::setSelectedWorkspaceID(std::optional<UUID> id) {
    if (selectedWorkspaceID_ == id)
        return;
    selectedWorkspaceID_ = id;
    Q_EMIT selectedWorkspaceChanged();
}

void AppModel::setWorkspaceQuery(std::string query) {
    if (workspaceQuery_ == query)
        return;
    workspaceQuery_ = std::move(query);
    Q_EMIT selectedWorkspaceChanged();
}

void AppModel::editWorkspace(Workspace workspace) {
    editingWorkspace_ = std::move(workspace);
    showSheet(AppSheet::editWorkspace);
}

void AppModel::refresh() {
    ++fileSnapshotRevision_;
    Q_EMIT fileSnapshotRevisionChanged();
    for (const auto& tab : tabs_) {
        tab.pane->refresh();
        if (tab.second)
            tab.second->refresh();
    }
    if (columnPane_)
        columnPane_->refresh();
}

void AppModel::setErrorMessage(std::optional<std::string> message) {
    if (message)
        ++errorRevision_;
    if (errorMessage_ == message)
        return;
    errorMessage_ = std::move(message);
    Q_EMIT errorMessageChanged();
}

void AppModel::changePreferences(const std::function<void(FolderViewPreferences&)>& change) {
    auto preferences = currentPane().preferences();
    change(preferences);
    currentPane().setPreferences(preferences);
}

void AppModel::viewAs(BrowserViewMode mode) {
    if (activePane().preferences().view == mode)
        return;
    goToColumn();
    changePreferences([mode](FolderViewPreferences& preferences) { preferences.view = mode; });
}

void AppModel::resizeIcons(double by) {
    changePreferences([by](FolderViewPreferences& preferences) {
        preferences.iconSize = std::clamp(preferences.iconSize + by, smallestIcon, largestIcon);
    });
}

// Commands.

void AppModel::perform(const CommandCall& call) {
    // What is selected behind a workspace cannot be seen, and is not acted on.
    if (selectedWorkspaceID_ && FileManagerCommands::worksOnSelection(call.command))
        return;
    auto& pane = currentPane();
    switch (call.command) {
    case FileCommand::reviewOperation:
        if (call.plan)
            offer(*call.plan, nullptr);
        return;
    case FileCommand::open:
        return openSelection();
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
    case FileCommand::compress:
        return planSelection(OperationKind::compressZIP);
    case FileCommand::extract:
        return planSelection(OperationKind::extractZIP);
    case FileCommand::crossPaneCopy:
        return transferToOtherPane(OperationKind::copy);
    case FileCommand::crossPaneMove:
        return transferToOtherPane(OperationKind::move);
    case FileCommand::undo:
        return undo();
    case FileCommand::newFolder:
        return showSheet(AppSheet::newFolder);
    case FileCommand::tags:
        if (!pane.selection().empty())
            showSheet(AppSheet::tags);
        return;
    case FileCommand::newWorkspace:
        // What is selected behind a workspace cannot be seen here either.
        workspaceDraft_ = selectedWorkspaceID_ ? std::vector<FileURL>() : pane.selectedURLs();
        return showSheet(AppSheet::workspace);
    case FileCommand::activity:
        refreshOperationHistory();
        return showSheet(AppSheet::activity);
    case FileCommand::appearance:
        if (FileManagerCommands::isEnabled(FileCommand::appearance, this))
            showSheet(AppSheet::appearance);
        return;
    case FileCommand::tidy:
        return showSheet(AppSheet::tidy);
    case FileCommand::smartClean:
    case FileCommand::spaceReview:
        return showSheet(AppSheet::smartClean);
    case FileCommand::creativeTools:
        return showSheet(AppSheet::creativeTools);
    case FileCommand::quickActions:
        return showSheet(AppSheet::commands);
    case FileCommand::viewOptions:
        return showSheet(AppSheet::viewOptions);
    case FileCommand::connect:
        return showSheet(AppSheet::connect);
    case FileCommand::keyBindings:
        return showSheet(AppSheet::keyBindings);
    case FileCommand::settings:
        return services_.windows.openSettings();
    case FileCommand::introduction:
        return services_.windows.showIntroduction(this);
    case FileCommand::about:
        return showSheet(AppSheet::about);
    case FileCommand::favourite:
        return library().addFavourite(pane.location());
    case FileCommand::saveSearch:
        return saveSearch();
    case FileCommand::saveSession:
        return saveSession(windowSession);
    case FileCommand::restoreSession:
        return restoreSession(windowSession);
    case FileCommand::newTab:
        return addTab();
    case FileCommand::closeTab:
        // A workspace stands in the place of the tab: it is what the user wants closed.
        return selectedWorkspaceID_ ? setSelectedWorkspaceID(std::nullopt) : closeTab();
    case FileCommand::reopenTab:
        return reopenTab();
    case FileCommand::nextTab:
        return changeTab(1);
    case FileCommand::previousTab:
        return changeTab(-1);
    case FileCommand::toggleSplit:
        return toggleSplit();
    case FileCommand::switchPane:
        return switchPane();
    case FileCommand::swapPanes:
        return swapPanes();
    case FileCommand::toggleSidebar:
        return setShowSidebar(!showSidebar_);
    case FileCommand::toggleInspector:
        return setShowInspector(!showInspector_);
    case FileCommand::toggleHidden:
        return changePreferences(
            [](FolderViewPreferences& preferences) { preferences.showHidden = !preferences.showHidden; });
    case FileCommand::viewAsGrid:
        return viewAs(BrowserViewMode::grid);
    case FileCommand::viewAsList:
        return viewAs(BrowserViewMode::list);
    case FileCommand::viewAsColumns:
        return viewAs(BrowserViewMode::columns);
    case FileCommand::viewAsGallery:
        return viewAs(BrowserViewMode::gallery);
    case FileCommand::increaseIconSize:
        return resizeIcons(iconStep);
    case FileCommand::decreaseIconSize:
        return resizeIcons(-iconStep);
    case FileCommand::resetIconSize:
        return changePreferences([](FolderViewPreferences& preferences) {
            preferences.iconSize = FolderViewPreferences().iconSize;
        });
    case FileCommand::refresh:
        refresh();
        if (pane.isHeldUp())
            pane.retry();
        return;
    case FileCommand::back:
        return activePane().back();
    case FileCommand::forward:
        return activePane().forward();
    case FileCommand::enclosingFolder:
        return columnPane_ ? Q_EMIT requested(call.command) : activePane().up();
    case FileCommand::goHome:
        return showFolder(homeFolder());
    case FileCommand::goDesktop:
        return goTo(UserFolder::desktop);
    case FileCommand::goDownloads:
        return goTo(UserFolder::downloads);
    case FileCommand::goDocuments:
        return goTo(UserFolder::documents);
    case FileCommand::rename:
        if (pane.selection().size() > 1)
            return showSheet(AppSheet::rename);
        if (!pane.selection().empty())
            Q_EMIT requested(call.command);
        return;
    case FileCommand::terminal:
        return developerTools_.openTerminal(developerTarget());
    case FileCommand::editor:
        return developerTools_.openEditor(developerTarget());
    case FileCommand::info:
        setShowInspector(true);
        return Q_EMIT requested(call.command);
    case FileCommand::redo:
        return;
    case FileCommand::newWindow:
    case FileCommand::closeWindow:
    case FileCommand::quit:
    case FileCommand::preview:
    case FileCommand::share:
    case FileCommand::editPath:
    case FileCommand::search:
    case FileCommand::chooseFolder:
    case FileCommand::selectAll:
    case FileCommand::invertSelection:
        return Q_EMIT requested(call.command);
    }
}

} // namespace morv
