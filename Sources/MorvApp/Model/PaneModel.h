// One browser pane: a folder or a search below it, what is in it, and how it is shown. A pane only reads.
//
// Protocol    navigate(), back(), forward(), up(), refresh(), runSearch() and restoreView() return at once;
//             entries arrive in pieces
// Invariants  I1  the generation rule: a reading publishes only while it is the newest request for the
//                 present location, so that nothing of a folder that was left is ever shown
//             I2  loadedLocation() is set exactly when the newest reading has finished without an error
//             I3  displayRevision() rises whenever displayedEntries() may have changed, and only then
//             I4  a filter, a search and a selection never follow the user into another folder
//             I5  a refresh() waits for the same reading before it to come back: a folder that hangs in the
//                 system costs one thread, however often something asks for it to be read again
// Changes     The folder is watched, and read again when it changes: never while a reading runs, so that a
//             folder that never rests is still read to its end, and never for more than a quarter of the
//             time. Search results stay as they were found until somebody asks again: walking a tree for
//             every change in one of its folders would never end.
// Threading   confined to the main thread; folders are read, sorted and analysed on workers
#pragma once

#include "MorvApp/Model/DirectoryChangeWatcher.h"
#include "MorvApp/Model/EntrySelection.h"
#include "MorvApp/Model/EntrySorter.h"
#include "MorvApp/Model/PaneNavigationHistory.h"
#include "MorvApp/Model/PaneReading.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Folders/SearchService.h"
#include "MorvCore/Foundation/UUID.h"
#include "MorvCore/Review/SmartDownloadsService.h"

#include <QObject>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace morv {

class SQLiteStore;
class UserDefaults;

/// What a pane works with; all of it outlives the pane.
struct PaneServices {
    SQLiteStore& store;
    TaskPools& pools;
    /// Where the last folder is remembered; null: nowhere.
    UserDefaults* lastLocation = nullptr;
    DirectoryService directories = DirectoryService();
    SearchService search = SearchService();
    ChangeSource changes = ChangeSource::events;
    /// What folders without a view of their own begin with; null: nothing hidden is shown.
    const UserDefaults* standards = nullptr;
};

class PaneModel : public QObject {
    Q_OBJECT

public:
    enum class History : std::uint8_t { record, keep };

    /// Starts reading `location` at once.
    PaneModel(const FileURL& location, PaneServices services, QObject* parent = nullptr);
    ~PaneModel() override;

    const UUID& id() const { return id_; }
    const FileURL& location() const { return location_; }
    const EntryList& entries() const { return entries_; }
    const FolderViewPreferences& preferences() const { return preferences_; }
    bool isLoading() const { return isLoading_; }
    const std::optional<FileURL>& loadedLocation() const { return loadedLocation_; }
    /// The sentence of the last failed reading. What was read of a folder before it failed stays in
    /// entries().
    const std::optional<std::string>& error() const { return error_; }

    /// The entries that the kind filter lets through, in the order of the preferences: folders first, then
    /// the chosen field, then the names. After a change of the order a large folder keeps the old one until a
    /// worker has sorted it.
    const std::vector<EntryRef>& displayedEntries() const { return *displayed_; }
    EntryOrder displayedOrder() const { return displayed_; }
    const FileEntry& displayedEntry(std::size_t index) const { return entries_[(*displayed_)[index]]; }
    std::uint64_t displayRevision() const { return displayRevision_; }

    /// What the next runSearch() or refresh() looks for; the field alone reads nothing.
    const std::string& query() const { return query_; }
    void setQuery(std::string query);
    /// As query(): takes part in the next reading. A tag alone is a search too.
    const std::optional<std::string>& tagFilter() const { return tagFilter_; }
    void setTagFilter(std::optional<std::string> tag);
    /// Takes effect at once, and on folders and search results alike.
    std::optional<FileKind> kindFilter() const { return kindFilter_; }
    void setKindFilter(std::optional<FileKind> kind);
    /// Whether what entries() shows, or will show when the present reading ends, comes from a search.
    bool isSearch() const { return isSearch_; }
    /// What the last search looked through, and whether that was everything.
    const std::optional<std::string>& searchNote() const { return searchNote_; }

    /// May hold entries that a filter hides or that are not read yet.
    const EntrySelection& selection() const { return selection_; }
    bool isSelected(const FileEntry& entry) const { return selection_.contains(entry); }
    void setSelection(EntrySelection selection);
    /// FileEntry::id() of what is selected.
    std::set<std::string> selectedIDs() const;
    /// Selects those of `ids` that stand in entries().
    void selectIDs(const std::set<std::string>& ids);
    /// Selects those of `items` that stand in this folder once the next reading has ended. Leaving the folder
    /// forgets them.
    void selectWhenLoaded(const std::vector<FileURL>& items);
    /// Selected and displayed, in displayed order.
    std::vector<const FileEntry*> selectedEntries() const;
    std::vector<FileURL> selectedURLs() const;
    /// Of selectedEntries(): the sum of the sizes in bytes of those that are no folders.
    std::int64_t selectedBytes() const { return selectedBytes_; }
    std::size_t selectedFolders() const { return selectedFolders_; }

    /// Goes to `url` and clears search, filters and selection. Going to the present folder reads it again and
    /// leaves the history alone.
    void navigate(const FileURL& url, History history);
    void back();
    void forward();
    void up();
    bool canGoBack() const { return position_ > 0; }
    bool canGoForward() const { return position_ + 1 < history_.size(); }
    PaneNavigationHistory history() const;
    /// Ignored unless its present folder is location().
    void restoreHistory(const std::optional<PaneNavigationHistory>& history);

    /// Reads again: the folder, or the search when there is a query or a tag filter. Entries and selection
    /// stay until the new reading has found as many entries, or has ended: rows that still exist never blink,
    /// and the view never has to scroll away from them.
    void refresh();
    /// As refresh(), and at once, also while an earlier reading hangs: for a person who asks. What hung may
    /// have been unmounted meanwhile.
    void retry();
    /// Whether the reading waits for the one before it to come back.
    bool isHeldUp() const { return isDue_; }
    /// Gives up the present reading; what it has found stays, and error() says so. A reader that hangs in the
    /// system is left to itself.
    void cancelLoading();
    /// As refresh(), 250 ms after the last call of several, so that typing costs one reading for each pause.
    void runSearch();
    /// Reads again with a view that a session kept; it is not saved for the folder. `selectionIDs` are
    /// selected as far as the reading finds them.
    void restoreView(const FolderViewPreferences& preferences, const std::set<std::string>& selectionIDs);

    /// Changes how the folder is shown and saves it for this folder. A change of `showHidden` reads again.
    void setPreferences(const FolderViewPreferences& preferences);

    /// A folder named Downloads is analysed while it is shown and nothing is searched. None: not (yet).
    const std::vector<SmartDownloadsGroup>& downloadsKindGroups() const;
    const std::optional<std::string>& downloadsGroupID() const { return downloadsGroupID_; }
    void setDownloadsGroupID(std::optional<std::string> id);
    /// A grid or list of a folder named Downloads that is grouped and neither searched nor filtered.
    bool showsDownloadsGroups() const;
    /// The chosen group, or null.
    const SmartDownloadsGroup* selectedDownloadsGroup() const;
    /// displayedEntries(), of the chosen group only when there is one.
    std::vector<EntryRef> downloadsDisplayedEntries() const;

Q_SIGNALS:
    void locationChanged();
    void entriesChanged();
    void selectionChanged();
    void preferencesChanged();
    void isLoadingChanged();
    void errorChanged();
    void queryChanged();
    /// The kind or the tag.
    void filterChanged();
    void searchNoteChanged();
    /// The snapshot or the chosen group.
    void downloadsChanged();
    /// Where back() and forward() lead.
    void historyChanged();
    /// A reading of the present folder has ended without an error.
    void loaded();

private:
    using Clock = std::chrono::steady_clock;
    struct SelectionMeasure {
        std::size_t present = 0; ///< selected and among the entries, shown or not
        std::size_t folders = 0; ///< of those shown
        std::int64_t bytes = 0;  ///< of those shown
    };

    /// What a reading looks through.
    struct Scope {
        FileURL folder;
        bool isSearch = false;
        bool showsHidden = false;

        friend bool operator==(const Scope&, const Scope&) = default;
    };

    void beginRequest();
    void prepareReading();
    void load();
    void loadWhenReturned();
    Scope scope() const { return {location_, isSearch_, preferences_.showHidden}; }
    bool isAway(const Scope& scope) const;
    std::shared_ptr<void> sendAway();
    void readingReturned();
    bool isCurrent(const FileURL& url, std::uint64_t generation) const;
    void publish(PanePublication publication);
    void finishLoading();
    void failLoading(const std::exception_ptr& failure);
    void endLoading();
    void startMonitoring();
    void folderChanged();
    template <class Collection>
    void discard(Collection collection);
    void replaceEntries(EntryList entries, EntryOrder sorted);
    void showOrder(EntryOrder sorted);
    void sortDisplayed();
    void selectLoaded();
    void applyPreferences(const FolderViewPreferences& preferences);
    bool asksForSearch() const;
    SelectionMeasure measureSelection() const;
    bool takeMeasure(const SelectionMeasure& measure);
    void setLoading(bool loading);
    void setError(std::optional<std::string> error);
    void setSearchNote(std::optional<std::string> note);
    void persistView();
    void scheduleDownloadsAnalysis();
    void analyseDownloads();
    void setDownloads(std::shared_ptr<const SmartDownloadsSnapshot> snapshot);
    bool analysesDownloads() const;
    SortRule sortRule() const { return {preferences_.sort, preferences_.ascending}; }

    PaneServices services_;
    const UUID id_ = UUID::random();
    FileURL location_;
    EntryList entries_;
    EntryOrder sorted_;    ///< all entries
    EntryOrder displayed_; ///< without what the kind filter hides
    NamePlaces places_;    ///< of `entries_`, once they are all read
    std::uint64_t displayRevision_ = 0;
    EntrySelection selection_;
    std::int64_t selectedBytes_ = 0;
    std::size_t selectedFolders_ = 0;
    std::unordered_set<std::string> awaitedNames_;
    FolderViewPreferences preferences_;
    /// The folder's own view is still to be loaded, by whichever reading comes to it.
    bool awaitsViewRecord_ = true;
    std::string query_;
    std::optional<FileKind> kindFilter_;
    std::optional<std::string> tagFilter_;
    bool isSearch_ = false;
    std::optional<std::string> searchNote_;
    bool isLoading_ = false;
    std::optional<FileURL> loadedLocation_;
    std::optional<std::string> error_;
    std::vector<FileURL> history_;
    std::size_t position_ = 0;
    std::uint64_t requestGeneration_ = 0;
    PaneReading::Rule readingRule_;
    /// The readings that workers have, cancelled or not: expired once they are back.
    std::vector<std::pair<Scope, std::weak_ptr<void>>> away_;
    std::function<void()> returned_; ///< for any thread
    bool isDue_ = false;             ///< a reading begins once the one before is back

    bool changedMeanwhile_ = false; ///< the folder changed while a reading ran
    Clock::time_point readingStarted_;
    Clock::time_point nextAutomaticRefresh_;

    std::shared_ptr<const SmartDownloadsSnapshot> downloads_;
    std::optional<std::string> downloadsGroupID_;
    std::uint64_t downloadsRevision_ = 0;
    bool isAnalysing_ = false;

    QTimer searchDelay_;
    QTimer refreshDelay_;
    std::unique_ptr<DirectoryChangeWatcher> watcher_;
    TaskHandle task_;
    TaskHandle sorting_;
    TaskScope tasks_; ///< last: its end drops every continuation before the fields go
};

} // namespace morv
