#include "MorvApp/Model/FileLibrary.h"

#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Platform/UserFolders.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>

namespace morv {

namespace {

constexpr const char* favouritesKey = "sidebar.favourites.v2";
constexpr const char* olderFavouritesKey = "sidebar.favourites";
constexpr const char* searchesKey = "search.saved";

using Places = std::vector<FileURL>;

/// Absent when there is no record, or none that can be read.
std::optional<Places> places(SQLiteStore& store, const char* key) {
    try {
        const auto bytes = store.loadBytes(key);
        if (!bytes)
            return std::nullopt;
        Places urls;
        json::decode(json::parse(*bytes), urls);
        return urls;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void savePlaces(SQLiteStore& store, const Places& urls) {
    store.saveBytes(json::dump(json::encode(urls)), favouritesKey);
}

Places firstFavourites(SQLiteStore& store) {
    Places urls{homeFolder()};
    for (const auto folder : {UserFolder::desktop, UserFolder::documents, UserFolder::downloads})
        if (auto url = userFolder(folder))
            urls.push_back(url->asFolder());
    for (auto& older : places(store, olderFavouritesKey).value_or(Places()))
        if (std::ranges::find(urls, older) == urls.end())
            urls.push_back(std::move(older));
    return urls;
}

Places readFavourites(SQLiteStore& store) {
    if (auto kept = places(store, favouritesKey))
        return *kept;
    auto made = firstFavourites(store);
    try {
        savePlaces(store, made);
    } catch (const std::exception&) {
        // They are made again the next time.
    }
    return made;
}

std::vector<SavedFileSearch> readSearches(SQLiteStore& store) {
    try {
        return store.load<std::vector<SavedFileSearch>>(searchesKey).value_or(std::vector<SavedFileSearch>());
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

FileLibrary::FileLibrary(SQLiteStore& store, TaskPools& pools, QObject* parent)
    : QObject(parent), store_(store), tasks_(pools) {
    refreshWorkspaces();
    load();
}

void FileLibrary::load() {
    struct Lists {
        Places favourites;
        std::vector<SavedFileSearch> searches;
    };
    tasks_.run(
        TaskLane::records,
        [&store = store_](const std::stop_token&) {
            return Lists{readFavourites(store), readSearches(store)};
        },
        [this](Lists lists) {
            favourites_ = std::move(lists.favourites);
            savedSearches_ = std::move(lists.searches);
            isLoaded_ = true;
            Q_EMIT favouritesChanged();
            Q_EMIT savedSearchesChanged();
            for (const auto& change : std::exchange(waiting_, {}))
                change();
        },
        // Neither reading throws.
        [](const std::exception_ptr&) {});
}

bool FileLibrary::isReadyFor(std::function<void()> change) {
    if (!isLoaded_)
        waiting_.push_back(std::move(change));
    return isLoaded_;
}

// Favourites.

void FileLibrary::addFavourite(const FileURL& url) {
    if (!isReadyFor([this, url] { addFavourite(url); }) ||
        std::ranges::find(favourites_, url) != favourites_.end())
        return;
    favourites_.push_back(url);
    Q_EMIT favouritesChanged();
    saveFavourites({});
}

void FileLibrary::removeFavourite(const FileURL& url) {
    if (!isReadyFor([this, url] { removeFavourite(url); }) || std::erase(favourites_, url) == 0)
        return;
    Q_EMIT favouritesChanged();
    saveFavourites({});
}

void FileLibrary::moveFavourite(const FileURL& url, int offset) {
    const auto found = std::ranges::find(favourites_, url);
    const auto target = found - favourites_.begin() + offset;
    if (found == favourites_.end() || target < 0 || target >= std::ssize(favourites_) || offset == 0)
        return;
    if (offset > 0)
        std::rotate(found, found + 1, found + offset + 1);
    else
        std::rotate(found + offset, found, found + 1);
    Q_EMIT favouritesChanged();
    saveFavourites("The favourite order couldn’t be saved: ");
}

void FileLibrary::insertFavourites(const std::vector<FileURL>& urls, std::size_t index) {
    if (!isReadyFor([this, urls, index] { insertFavourites(urls, index); }))
        return;
    const auto isInserted = [&urls](const FileURL& favourite) {
        return std::ranges::find(urls, favourite) != urls.end();
    };
    Places changed;
    const auto keep = [&](std::size_t from, std::size_t to) {
        for (auto i = from; i < to; ++i)
            if (!isInserted(favourites_[i]))
                changed.push_back(favourites_[i]);
    };
    const auto place = std::min(index, favourites_.size());
    keep(0, place);
    for (const auto& url : urls)
        if (std::ranges::find(changed, url) == changed.end())
            changed.push_back(url.asFolder());
    keep(place, favourites_.size());
    if (changed == favourites_)
        return;
    favourites_ = std::move(changed);
    Q_EMIT favouritesChanged();
    saveFavourites("The favourite order couldn’t be saved: ");
}

void FileLibrary::saveFavourites(std::string failure) {
    tasks_.run(
        TaskLane::records,
        [&store = store_, urls = favourites_](const std::stop_token&) { savePlaces(store, urls); }, [] {},
        [this, failure = std::move(failure)](const std::exception_ptr& error) {
            if (!failure.empty())
                Q_EMIT failed(failure + sentence(error));
        });
}

// Searches.

void FileLibrary::addSearch(SavedFileSearch search) {
    if (!isReadyFor([this, search] { addSearch(search); }))
        return;
    savedSearches_.push_back(std::move(search));
    Q_EMIT savedSearchesChanged();
    saveSearches({});
}

void FileLibrary::removeSearch(const UUID& id) {
    if (std::erase_if(savedSearches_, [&id](const SavedFileSearch& search) { return search.id == id; }) == 0)
        return;
    Q_EMIT savedSearchesChanged();
    saveSearches("The saved search couldn’t be removed: ");
}

void FileLibrary::saveSearches(std::string failure) {
    tasks_.run(
        TaskLane::records,
        [&store = store_, searches = savedSearches_](const std::stop_token&) {
            store.save(searches, searchesKey);
        },
        [] {},
        [this, failure = std::move(failure)](const std::exception_ptr& error) {
            if (!failure.empty())
                Q_EMIT failed(failure + sentence(error));
        });
}

// Workspaces.

const Workspace* FileLibrary::workspace(const UUID& id) const {
    const auto found = std::ranges::find(workspaceList_, id, &Workspace::id);
    return found == workspaceList_.end() ? nullptr : &*found;
}

/// Runs `change` on the repository, then reads the list again. A failure leaves the list as it is.
template <class Change>
void FileLibrary::changeWorkspaces(Change change, Answered answered) {
    tasks_.run(
        TaskLane::records,
        [&store = store_, change = std::move(change)](const std::stop_token&) {
            WorkspaceRepository repository(store);
            change(repository);
            return repository.list();
        },
        [this, answered](std::vector<Workspace> list) {
            workspaceList_ = std::move(list);
            Q_EMIT workspaceListChanged();
            if (answered)
                answered(std::nullopt);
        },
        [this, answered](const std::exception_ptr& failure) {
            if (answered)
                answered(sentence(failure));
            else
                Q_EMIT failed(sentence(failure));
        });
}

void FileLibrary::refreshWorkspaces() {
    tasks_.run(
        TaskLane::records,
        [&store = store_](const std::stop_token&) { return WorkspaceRepository(store).list(); },
        [this](std::vector<Workspace> list) {
            workspaceList_ = std::move(list);
            Q_EMIT workspaceListChanged();
        },
        [](const std::exception_ptr&) {});
}

void FileLibrary::saveWorkspace(Workspace workspace, Answered answered) {
    changeWorkspaces(
        [workspace = std::move(workspace)](WorkspaceRepository& repository) { repository.save(workspace); },
        std::move(answered));
}

void FileLibrary::createWorkspace(std::string name, std::vector<FileURL> references, std::string color,
                                  Answered answered) {
    changeWorkspaces([name = std::move(name), references = std::move(references), color = std::move(color)](
                         WorkspaceRepository& repository) { repository.create(name, references, color); },
                     std::move(answered));
}

void FileLibrary::removeWorkspace(const UUID& id) {
    changeWorkspaces([id](WorkspaceRepository& repository) { repository.remove(id); });
}

/// The record is changed as it is when its turn comes: the list may not show an earlier change yet.
template <class Change>
void FileLibrary::changeReferences(const UUID& id, Change change) {
    if (!workspace(id))
        return;
    changeWorkspaces([id, change = std::move(change)](WorkspaceRepository& repository) {
        const auto list = repository.list();
        if (const auto found = std::ranges::find(list, id, &Workspace::id); found != list.end())
            repository.save(change(*found));
    });
}

void FileLibrary::appendReferences(const UUID& id, const std::vector<FileURL>& urls) {
    changeReferences(id, [urls](const Workspace& workspace) { return workspace.adding(urls); });
}

void FileLibrary::removeReferences(const UUID& id, const std::vector<FileURL>& urls) {
    changeReferences(id, [urls](const Workspace& workspace) { return workspace.removing(urls); });
}

} // namespace morv
