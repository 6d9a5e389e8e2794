// What the sidebar offers beside the folders themselves: favourites, saved searches, workspaces, volumes.
//
// On disk     "sidebar.favourites.v2" (an array of URLs), "search.saved", "workspace/" and an id each. An
//             older "sidebar.favourites" is read once, when there is no newer record, and left where it is
// Invariants  I1  each list is read by itself: a damaged record costs that list alone
//             I2  a change is in the list at once and is saved afterwards; one that comes before the lists
//             were
//                 read is made when they are, so that it never replaces them
//             I3  there is one library for all windows, so that none of them saves an older list
// Threading   confined to the main thread; records and volumes are read on workers
#pragma once

#include "MorvApp/Model/FileSession.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Workspaces/WorkspaceRepository.h"

#include <QObject>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace morv {

class SQLiteStore;

class FileLibrary : public QObject {
    Q_OBJECT

public:
    /// With a sentence when it failed; on the main thread.
    using Answered = std::function<void(const std::optional<std::string>& failure)>;

    /// Starts reading everything.
    FileLibrary(SQLiteStore& store, TaskPools& pools, QObject* parent = nullptr);

    const std::vector<FileURL>& favourites() const { return favourites_; }
    const std::vector<SavedFileSearch>& savedSearches() const { return savedSearches_; }
    const std::vector<Workspace>& workspaceList() const { return workspaceList_; }
    const Workspace* workspace(const UUID& id) const;

    void addFavourite(const FileURL& url);
    void removeFavourite(const FileURL& url);
    /// Nothing happens when the new place would be outside the list.
    void moveFavourite(const FileURL& url, int offset);
    /// Before the favourite that stands at `index` now, or behind the last. Those that are there already come
    /// to that place, too.
    void insertFavourites(const std::vector<FileURL>& urls, std::size_t index);

    void addSearch(SavedFileSearch search);
    void removeSearch(const UUID& id);

    void refreshWorkspaces();
    /// A new one, or a change of the one with its id. A blank name fails with a sentence and writes nothing.
    /// `answered` hears of a failure instead of the windows, and of a success when it stands in the record.
    void saveWorkspace(Workspace workspace, Answered answered);
    void createWorkspace(std::string name, std::vector<FileURL> references, std::string color,
                         Answered answered);
    void removeWorkspace(const UUID& id);
    /// Adds those that are not in it yet. Nothing happens when the workspace has gone.
    void appendReferences(const UUID& id, const std::vector<FileURL>& urls);
    void removeReferences(const UUID& id, const std::vector<FileURL>& urls);

Q_SIGNALS:
    void favouritesChanged();
    void savedSearchesChanged();
    void workspaceListChanged();
    /// A sentence for the window's error line.
    void failed(const std::string& message);

private:
    void load();
    void saveFavourites(std::string failure);
    void saveSearches(std::string failure);
    template <class Change>
    void changeWorkspaces(Change change, Answered answered = {});
    template <class Change>
    void changeReferences(const UUID& id, Change change);
    /// False, and `change` is kept for later, while the lists are being read.
    bool isReadyFor(std::function<void()> change);

    SQLiteStore& store_;
    std::vector<FileURL> favourites_;
    std::vector<SavedFileSearch> savedSearches_;
    std::vector<Workspace> workspaceList_;
    bool isLoaded_ = false;
    std::vector<std::function<void()>> waiting_;
    TaskScope tasks_;
};

} // namespace morv
