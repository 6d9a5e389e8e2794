// One reading of a pane, as its worker does it: a folder in batches, or a search in one piece.
//
// Protocol    made on the main thread -> run() on a worker, which hands over publications until it returns or
//             throws
// Invariants  I1  entries are everything read so far, and their order is of exactly those
//             I2  what was read before a failure of the folder has been published when the failure is thrown
//             I3  nothing is read before the folder is watched, so that no change falls between the two
// Threading   run() is one thread's; PaneReading::Rule may be set from another meanwhile
#pragma once

#include "MorvApp/Model/DirectoryChangeWatcher.h"
#include "MorvApp/Model/EntrySorter.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Folders/SearchService.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace morv {

class SQLiteStore;

/// One of three: the folder's own view, which comes first; entries; or the places of the names, at the end.
struct PanePublication {
    std::optional<FolderViewPreferences> preferences;

    EntryOrder order; ///< null: no entries in this one
    EntryList entries;
    SortRule rule; ///< what `order` is sorted by
    std::optional<std::string> searchNote;

    NamePlaces places;
};

/// Where the view of a folder is kept in the store.
std::string folderViewKey(const FileURL& folder);

class PaneReading {
public:
    using Emit = std::function<void(PanePublication)>;
    /// What to sort by; a change during the reading counts from the next publication.
    using Rule = std::shared_ptr<std::atomic<SortRule>>;
    enum class ViewRecord : std::uint8_t { load, keep };

    struct Request {
        FileURL folder;
        FolderViewPreferences preferences;
        ViewRecord viewRecord = ViewRecord::keep;
        FolderViewPreferences standard; ///< of a folder without a view record
        Rule rule;
        /// A folder with fewer entries is published only at its end: rows on the screen are not taken away
        /// before it is known that they are gone.
        std::size_t entriesToReplace = 0;
        std::string query; ///< without blanks at its ends
        std::optional<std::string> tag;

        bool isSearch() const { return !query.empty() || tag; }
    };

    PaneReading(Request request, SQLiteStore& store, DirectoryService directories, SearchService search,
                DirectoryChangeWatcher::Readiness readiness);

    /// Throws what DirectoryService and SearchService throw.
    void run(const std::stop_token& stop, const Emit& emit);

private:
    void loadViewRecord(const Emit& emit);
    void readFolder(const std::stop_token& stop, const Emit& emit);
    void search(const std::stop_token& stop, const Emit& emit);
    void publish(const Emit& emit);
    void publishPlaces(const Emit& emit);
    HiddenItems hidden() const {
        return request_.preferences.showHidden ? HiddenItems::show : HiddenItems::skip;
    }

    Request request_;
    SQLiteStore& store_;
    DirectoryService directories_;
    SearchService search_;
    DirectoryChangeWatcher::Readiness readiness_;
    EntrySorter sorter_;
    EntryList list_;
    std::optional<std::string> searchNote_;
    std::optional<std::chrono::steady_clock::time_point> publishedAt_;
};

} // namespace morv
