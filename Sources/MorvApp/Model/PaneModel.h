// One browser pane: a folder, what is in it, and how it is shown. A pane only reads.
//
// Protocol    navigate(), back(), forward(), up() and refresh() return at once; entries arrive in pieces
// Invariants  I1  the generation rule: a reading publishes only while it is the newest request for the
// present
//                 location, so that nothing of a folder that was left is ever shown
//             I2  loadedLocation() is set exactly when the newest reading has finished without an error
//             I3  displayRevision() rises whenever displayedEntries() may have changed, and only then
// Threading   confined to the main thread; folders are read and sorted on a worker
#pragma once

#include "MorvApp/Model/EntrySelection.h"
#include "MorvApp/Model/EntrySorter.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Folders/DirectoryService.h"

#include <QObject>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
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
    DirectoryService directories;
};

class PaneModel : public QObject {
    Q_OBJECT

public:
    enum class History : std::uint8_t { record, keep };

    /// Starts reading `location` at once.
    PaneModel(const FileURL& location, PaneServices services, QObject* parent = nullptr);

    const FileURL& location() const { return location_; }
    const EntryList& entries() const { return entries_; }
    const FolderViewPreferences& preferences() const { return preferences_; }
    bool isLoading() const { return isLoading_; }
    const std::optional<FileURL>& loadedLocation() const { return loadedLocation_; }
    std::uint64_t loadedGeneration() const { return loadedGeneration_; }
    /// The sentence of the last failed reading. What was read before it failed stays in entries().
    const std::optional<std::string>& error() const { return error_; }
    bool canGoBack() const { return position_ > 0; }
    bool canGoForward() const { return position_ + 1 < history_.size(); }

    /// The entries in the order of the preferences: folders first, then the chosen field, then the names.
    /// After a change of the order a large folder keeps the old one until a worker has sorted it.
    const std::vector<EntryRef>& displayedEntries() const { return *displayed_; }
    const FileEntry& displayedEntry(std::size_t index) const { return entries_[(*displayed_)[index]]; }
    std::uint64_t displayRevision() const { return displayRevision_; }

    const EntrySelection& selection() const { return selection_; }
    bool isSelected(const FileEntry& entry) const { return selection_.contains(EntryKey(entry)); }
    void setSelection(EntrySelection selection);
    /// Selects those of `items` that stand in this folder once the next reading has ended. Leaving the folder
    /// forgets them.
    void selectWhenLoaded(const std::vector<FileURL>& items);
    /// In displayed order.
    std::vector<const FileEntry*> selectedEntries() const;
    std::vector<FileURL> selectedURLs() const;
    /// Sum of the sizes of the selected entries that are no folders, in bytes.
    std::int64_t selectedBytes() const { return selectedBytes_; }
    std::size_t selectedFolders() const { return selectedFolders_; }

    /// Goes to `url`. Going to the present folder reads it again and leaves the history alone.
    void navigate(const FileURL& url, History history);
    void back();
    void forward();
    void up();
    /// Reads the folder again; entries and selection stay until the new reading publishes.
    void refresh();

    /// Changes how the folder is shown and saves it for this folder. A change of `showHidden` reads again.
    void setPreferences(const FolderViewPreferences& preferences);

Q_SIGNALS:
    void locationChanged();
    void entriesChanged();
    void selectionChanged();
    void preferencesChanged();
    void isLoadingChanged();
    void errorChanged();
    /// A reading of the present folder has ended without an error.
    void loaded();

private:
    /// One message of a reading to the main thread.
    struct Publication {
        std::optional<FolderViewPreferences> preferences;
        EntryList entries;
        EntryOrder order;
        SortRule rule;
    };
    enum class ViewRecord : std::uint8_t { load, keep };

    void load(ViewRecord record);
    bool isCurrent(const FileURL& url, std::uint64_t generation) const;
    void publish(Publication publication);
    void finishLoading();
    void failLoading(const std::exception_ptr& failure);
    void showOrder(EntryOrder order);
    void sortDisplayed();
    void selectLoaded();
    void measureSelection();
    void setLoading(bool loading);
    void setError(std::optional<std::string> error);
    void persistView();
    SortRule sortRule() const { return {preferences_.sort, preferences_.ascending}; }

    PaneServices services_;
    FileURL location_;
    EntryList entries_;
    EntryOrder displayed_;
    std::uint64_t displayRevision_ = 0;
    EntrySelection selection_;
    std::int64_t selectedBytes_ = 0;
    std::size_t selectedFolders_ = 0;
    std::unordered_set<std::string> awaitedNames_;
    FolderViewPreferences preferences_;
    bool isLoading_ = false;
    std::optional<FileURL> loadedLocation_;
    std::uint64_t loadedGeneration_ = 0;
    std::optional<std::string> error_;
    std::vector<FileURL> history_;
    std::size_t position_ = 0;
    std::uint64_t requestGeneration_ = 0;
    TaskHandle task_;
    TaskHandle sorting_;
    TaskScope tasks_; ///< last: its end drops every continuation before the fields go
};

} // namespace morv
