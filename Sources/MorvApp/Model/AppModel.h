// One window's state: its tabs and panes, what stands over them, and the road of its commands. A command
// becomes a plan; a plan without a question runs at once, any other waits in reviewPlan() until it is
// confirmed; the engine does the work; what became of it stands in receipts() and in status().
//
// Invariants  I1  no file changes before execute(): a plan under review has done nothing
//             I2  receipts() never goes back: a history that was read before an update does not undo it
//             I3  isOperating() is made from the receipts, and never merely cleared
//             I4  there is always a tab, and activePane() is one of the active tab's
//             I5  a saved session replaces the tabs only when all of it could be read
//             I6  what comes by itself replaces nothing: a review waits for the one that is shown, a sheet for
//                 the one that is open, and both for a name that is being typed among the files
// Threading   confined to the main thread; plans and executions run on workers, and an execution goes on when
//             its window has gone
#pragma once

#include "MorvApp/Model/FileClipboard.h"
#include "MorvApp/Model/FileCommand.h"
#include "MorvApp/Model/FileSession.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Model/PaneModel.h"
#include "MorvApp/Model/TagChange.h"
#include "MorvApp/Model/VolumeSource.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QObject>
#include <QPointer>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace morv {

class DragVisit;

struct FileTab {
    UUID id;
    std::unique_ptr<PaneModel> pane;
    std::unique_ptr<PaneModel> second; ///< the other side of a split, or null
};

class AppModel : public QObject {
    Q_OBJECT

public:
    /// Whether a plan without warnings is shown all the same.
    enum class Review : std::uint8_t { whenNeeded, always };
    /// Of receipts(): whether they are all that is recorded.
    enum class HistoryState : std::uint8_t { reading, read, failed };
    /// A last check before a reviewed plan runs, on a worker; throws with a sentence when the plan is stale.
    using ReviewValidation = std::function<void(const std::stop_token&)>;

    /// Points; what a folder's own record says beyond them is left alone.
    static constexpr double smallestIcon = 72;
    static constexpr double largestIcon = 160;

    /// Begins at `initialLocation`, else at the services' first folder. `services` and `board` outlive it.
    AppModel(MorvServices& services, ClipboardBoard& board,
             const std::optional<FileURL>& initialLocation = {}, QObject* parent = nullptr);
    ~AppModel() override;

    // Tabs and panes.

    const std::vector<FileTab>& tabs() const { return tabs_; }
    std::size_t tabIndex() const;
    const FileTab& activeTab() const { return tabs_[tabIndex()]; }
    bool isSplit() const { return activeTab().second != nullptr; }
    bool secondaryActive() const { return secondaryActive_; }
    PaneModel& activePane() const;
    /// The column view's own pane while there is one, else the active pane: what commands work on.
    PaneModel& currentPane() const { return columnPane_ ? *columnPane_ : activePane(); }
    /// Null ends it. The pane belongs to the caller and must be taken back before it goes.
    void setColumnPane(PaneModel* pane);
    /// Another pane of the window's own making, for the column view: where it goes is not remembered.
    std::unique_ptr<PaneModel> makePane(const FileURL& location);
    /// The active pane goes to the folder of the column pane, with its view and selection, and the column
    /// pane ends: for what puts something else in the place of the columns. Nothing without a column pane.
    void goToColumn();

    /// At `url`, else where the active pane is; it becomes the active tab.
    void addTab(const std::optional<FileURL>& url = {});
    /// Without an id the active one. The last tab goes with its window.
    void closeTab(const std::optional<UUID>& id = {});
    /// Brings back the tab that was closed last.
    void reopenTab();
    /// Wraps at both ends.
    void changeTab(int by);
    void activateTab(const UUID& id);
    void moveTab(std::size_t from, std::size_t to);
    void toggleSplit();
    void switchPane();
    void swapPanes();
    /// A pane was clicked, or received the keyboard focus.
    void activate(const PaneModel& pane);

    /// A plain folder is shown in the active pane; anything else opens with its default application. What it
    /// is, is read first.
    void open(const FileURL& url);
    /// A failure is told by the error line.
    void openWith(const InstalledApplication& application, const std::vector<FileURL>& items);
    /// Shows a folder in the active pane, at once. One that is shown already is not read again.
    void showFolder(const FileURL& folder);
    void filterTag(const std::string& tag);
    /// Keeps the active pane's query by its own name. Nothing happens without a query.
    void saveSearch();
    void openSearch(const SavedFileSearch& search);
    /// By the place in the library's list.
    void openWorkspace(std::size_t index);
    void saveSession(const std::string& name);
    void restoreSession(const std::string& name);

    bool showSidebar() const { return showSidebar_; }
    void setShowSidebar(bool shown);
    bool showInspector() const { return showInspector_; }
    void setShowInspector(bool shown);
    const std::optional<UUID>& selectedWorkspaceID() const { return selectedWorkspaceID_; }
    void setSelectedWorkspaceID(std::optional<UUID> id);
    const std::string& workspaceQuery() const { return workspaceQuery_; }
    void setWorkspaceQuery(std::string query);
    /// What the workspace sheet edits; absent for a new one.
    const std::optional<Workspace>& editingWorkspace() const { return editingWorkspace_; }
    void editWorkspace(Workspace workspace);
    /// The first references of a new workspace.
    const std::vector<FileURL>& workspaceDraft() const { return workspaceDraft_; }
    const std::string& layoutNamespace() const { return layoutNamespace_; }
    const SplitFractions& restoredSplitRatios() const { return restoredSplitRatios_; }
    /// Rises when restoredSplitRatios() are to be applied.
    std::uint64_t layoutRestoreRevision() const { return layoutRestoreRevision_; }
    /// Rises when folders may have changed: for views of folder statistics.
    std::uint64_t fileSnapshotRevision() const { return fileSnapshotRevision_; }

    MorvServices& services() const { return services_; }
    /// Null without a source of volumes.
    VolumeSource* volumes() const { return services_.windows.volumes(); }
    /// Unmounts, in its own time; a failure is told by the error line.
    void eject(const FileURL& volume);
    /// Those that this window has asked to go and that are still here.
    const std::set<FileURL>& ejecting() const { return ejecting_; }
    FileLibrary& library() const { return services_.library; }
    FileClipboard& clipboard() { return clipboard_; }
    /// Files that are dragged over this window.
    DragVisit& drag() { return *drag_; }
    DeveloperToolsUI& developerTools() { return developerTools_; }

    // Commands and operations.

    const std::optional<FileOperationPlan>& reviewPlan() const { return reviewPlan_; }
    const std::optional<std::string>& errorMessage() const { return errorMessage_; }
    const std::optional<std::string>& status() const { return status_; }
    bool isOperating() const { return isOperating_; }
    /// Newest first.
    const std::vector<OperationReceipt>& receipts() const { return receipts_; }
    HistoryState historyState() const { return historyState_; }
    /// From the command until the engine has answered; a second undo does not begin before that.
    bool isUndoing() const { return isUndoing_; }
    /// Of the plan in the making, which is what was asked for last, else of the operation under way.
    const std::optional<OperationProgress>& progress() const {
        return planProgress_ ? planProgress_ : operationProgress_;
    }
    const std::optional<OperationProgress>& operationProgress() const { return operationProgress_; }
    std::optional<AppSheet> sheet() const { return sheet_; }
    /// Nobody has asked for sheet() just now.
    bool sheetCameByItself() const { return sheetCameByItself_; }

    /// Runs the command on the current pane and its selection; without what it needs it does nothing.
    void perform(const CommandCall& call);
    /// Proposes an operation: it runs at once, or waits in reviewPlan() when it has something to say.
    void plan(OperationRequest request, Review review = Review::whenNeeded);
    /// Shows a plan that a tool has made, after those that wait already; `validation` runs between its
    /// confirmation and its execution.
    void offer(FileOperationPlan plan, ReviewValidation validation);
    void commitReview(const FileOperationPlan& plan);
    void cancelReview();
    void execute(FileOperationPlan plan);
    /// Reverses the receipt, or without an id the newest that can be; while a plan is in the making, that is
    /// what is taken back instead. Nothing to undo: nothing happens.
    void undo(std::optional<UUID> id = std::nullopt);
    /// Stops the plans in the making and the operation under way, at their next checkpoints.
    void cancelOperation();
    /// Stops this one alone, queued or running.
    void cancelOperation(const UUID& id);
    /// Whether a plan is in the making.
    bool isPlanning() const { return !plannings_.empty(); }
    /// Stops the plans in the making alone.
    void cancelPlanning();
    /// Opens the item's folder in the active pane and selects the item, hidden ones shown.
    void reveal(const FileURL& item);
    /// `pattern` as in OperationRequest::newName; always shown for review.
    void renameItems(std::vector<FileURL> items, std::string pattern);
    void renameItem(const FileURL& item, std::string newName);
    void createFolder(const FileURL& parent, std::string name);
    void setTags(std::vector<FileURL> items, std::vector<std::string> tags);
    /// Each item keeps its other tags, so that items with different ones need an operation for each result.
    void changeTags(std::vector<FileURL> items, TagChange change);
    /// Opens a message with the files attached; a failure is told by the error line.
    void sendByMail(std::vector<FileURL> files);
    /// The paths as text on the clipboard.
    void copyLocations(const std::vector<FileURL>& items);
    /// With a router a plan that needs a review is handed over instead of being shown here.
    void setCommandRouter(std::function<void(const CommandCall&)> router) {
        commandRouter_ = std::move(router);
    }

    void showActivity() { perform(FileCommand::activity); }
    void showSheet(AppSheet sheet);
    void closeSheet();
    /// Reviews and sheets that come by themselves wait until `editor` has gone.
    void waitFor(const QObject& editor);
    void setErrorMessage(std::optional<std::string> message);
    void refreshOperationHistory() { refreshOperationHistory({}); }
    /// Rereads every open pane.
    void refresh();

Q_SIGNALS:
    void tabsChanged();
    /// Another pane is the current one.
    void activePaneChanged();
    /// A field of the current pane has changed.
    void activePaneUpdated();
    void showSidebarChanged();
    void showInspectorChanged();
    void selectedWorkspaceChanged();
    void fileSnapshotRevisionChanged();
    void layoutRestored();
    void reviewPlanChanged();
    void ejectingChanged();
    void errorMessageChanged();
    void statusChanged();
    void isOperatingChanged();
    void receiptsChanged();
    void historyStateChanged();
    void isUndoingChanged();
    void progressChanged();
    void sheetChanged();
    /// The window is asked for what only it can do: begin a rename or the path's editing, focus the search
    /// field, select rows, move between columns, show a preview, a panel or another program.
    void requested(FileCommand command);
    /// The keyboard focus belongs to the active pane now.
    void focusPaneRequested();
    /// The last tab was closed.
    void closeWindowRequested();

private:
    struct WaitingReview {
        FileOperationPlan plan;
        ReviewValidation validation;
    };
    struct Planning {
        OperationKind kind;
        TaskHandle task;
    };

    FileTab& tab() { return tabs_[tabIndex()]; }
    std::unique_ptr<PaneModel> makeTabPane(const FileURL& location);
    /// The tags of what it reads are counted among those in use.
    std::unique_ptr<PaneModel> noticed(std::unique_ptr<PaneModel> pane);
    FileTab makeTab(const FileURL& location);
    FileTab restoredTab(const SavedPaneSession& saved);
    static SavedPaneSession snapshot(const FileTab& tab);
    void observeActivePane();
    void showTab(const UUID& id);
    void restore(const SavedFileSession& session);

    void planSelection(OperationKind kind);
    void copySelection(FileClipboard::Mode mode);
    void paste(FileClipboard::Mode least);
    void transferToOtherPane(OperationKind kind);
    void openSelection();
    /// The one selected item, else the folder that is shown.
    FileURL developerTarget() const;
    void openWithDefault(const FileURL& url);
    void goTo(UserFolder folder);
    void resizeIcons(double by);
    void viewAs(BrowserViewMode mode);
    void changePreferences(const std::function<void(FolderViewPreferences&)>& change);

    void endValidation();
    /// The next one takes its place.
    void endReview();
    /// One that nobody has asked for just now.
    void bringSheet(AppSheet sheet);
    void showWaiting();
    void finishExecution(const OperationReceipt& receipt, const EntrySelection& selectedBefore);
    void recordLearning(const OperationReceipt& receipt);
    void forgetLearning(const OperationReceipt& receipt);
    void learningFailed();
    EntrySelection selectedInTab() const;
    void selectResults(const OperationReceipt& receipt, const EntrySelection& selectedBefore);
    void undoReceipt(const UUID& id);
    void setUndoing(bool undoing);
    void setHistoryState(HistoryState state);
    /// The last one that was begun.
    void takeBackPlanning();
    /// What went well after it takes the message away; not one that came meanwhile.
    void clearError(std::uint64_t revision);
    void drainUpdates();
    void drainProgress();
    /// Without a signal.
    void mergeReceipt(const OperationReceipt& receipt);
    void refreshOperationHistory(std::function<void()> then);
    void updateOperationStatus(const OperationReceipt* completed);
    void operatingFromReceipts();
    void setOperating(bool operating);
    void setStatus(std::string status);
    void setPlanProgress(std::optional<OperationProgress> progress);
    void setOperationProgress(std::optional<OperationProgress> progress);
    void planEnded(std::uint64_t number);

    MorvServices& services_;
    FileClipboard clipboard_;
    DeveloperToolsUI developerTools_;
    DragVisit* drag_;
    std::vector<FileTab> tabs_;
    UUID activeTabID_;
    bool secondaryActive_ = false;
    PaneModel* columnPane_ = nullptr;
    QPointer<PaneModel> observedPane_; ///< null when it has gone: another may come to stand in its place
    std::vector<QMetaObject::Connection> paneObservation_;
    std::vector<SavedPaneSession> closedTabs_;
    bool showSidebar_;
    bool showInspector_ = false;
    std::optional<UUID> selectedWorkspaceID_;
    std::string workspaceQuery_;
    std::optional<Workspace> editingWorkspace_;
    std::vector<FileURL> workspaceDraft_;
    std::string layoutNamespace_;
    SplitFractions restoredSplitRatios_;
    std::uint64_t layoutRestoreRevision_ = 0;
    std::uint64_t fileSnapshotRevision_ = 0;

    std::optional<FileOperationPlan> reviewPlan_;
    ReviewValidation reviewValidation_;
    std::deque<WaitingReview> waitingReviews_;
    std::deque<AppSheet> waitingSheets_;
    int editors_ = 0; ///< in which a name is being typed
    std::function<void(const CommandCall&)> commandRouter_;
    std::set<FileURL> ejecting_;
    std::optional<std::string> errorMessage_;
    std::uint64_t errorRevision_ = 0; ///< rises with every message
    std::optional<std::string> status_;
    bool isOperating_ = false;
    bool isUndoing_ = false;
    std::vector<OperationReceipt> receipts_;
    HistoryState historyState_ = HistoryState::reading;
    std::uint64_t historyError_ = 0; ///< the message that told of its failure
    std::optional<OperationProgress> planProgress_;
    std::optional<OperationProgress> operationProgress_;
    std::optional<AppSheet> sheet_;
    bool sheetCameByItself_ = false;
    std::uint64_t receiptRevision_ = 0;
    std::unordered_map<UUID, std::uint64_t> streamedReceiptVersions_;
    std::uint64_t opens_ = 0;
    std::uint64_t plansBegun_ = 0;
    std::map<std::uint64_t, Planning> plannings_; ///< those in the making
    TaskHandle validation_;
    bool isValidating_ = false;
    TaskScope tasks_;
    std::unique_ptr<EngineStream<OperationReceipt>> operationUpdates_;
    std::unique_ptr<EngineStream<OperationProgress>> progressUpdates_;
};

} // namespace morv
