#include "MorvApp/Model/PaneModel.h"

#include "MorvApp/Model/UserDefaults.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <chrono>

namespace morv {

namespace {

constexpr int batchSize = 256;
constexpr std::chrono::milliseconds publicationInterval{80};
/// Sorting this many takes a few milliseconds: quicker at once than by way of a worker.
constexpr std::size_t sortedAtOnce = 2000;

std::string viewKey(const FileURL& folder) {
    return "folder.view." + folder.path();
}

/// A folder without a record of its own, or with one that cannot be read, is shown with the defaults.
FolderViewPreferences recordedView(SQLiteStore& store, const FileURL& folder) {
    try {
        if (const auto record = store.load<FolderViewPreferences>(viewKey(folder)))
            return *record;
    } catch (const std::exception&) {
        // A damaged or older record costs only the folder's view settings.
    }
    FolderViewPreferences defaults;
    if (folder.lastComponent() == "Downloads")
        defaults.grouping = FileGrouping::kind;
    return defaults;
}

} // namespace

PaneModel::PaneModel(const FileURL& location, PaneServices services, QObject* parent)
    : QObject(parent), services_(std::move(services)), location_(location.asFolder()),
      displayed_(std::make_shared<const std::vector<EntryRef>>()), history_{location_},
      tasks_(services_.pools) {
    navigate(location_, History::keep);
}

void PaneModel::navigate(const FileURL& url, History history) {
    const FileURL target = url.asFolder();
    if (history == History::record && target != location_) {
        history_.resize(position_ + 1);
        history_.push_back(target);
        position_ = history_.size() - 1;
    }
    task_.cancel();
    sorting_.cancel();
    location_ = target;
    setSelection({});
    awaitedNames_.clear();
    setError(std::nullopt);
    entries_ = {};
    showOrder(std::make_shared<const std::vector<EntryRef>>());
    if (services_.lastLocation)
        services_.lastLocation->setLastLocation(target);
    load(ViewRecord::load);
    Q_EMIT locationChanged();
}

void PaneModel::back() {
    if (canGoBack())
        navigate(history_[--position_], History::keep);
}

void PaneModel::forward() {
    if (canGoForward())
        navigate(history_[++position_], History::keep);
}

void PaneModel::up() {
    if (const auto parent = location_.parent(); parent != location_)
        navigate(parent, History::record);
}

void PaneModel::refresh() {
    task_.cancel();
    load(ViewRecord::keep);
}

bool PaneModel::isCurrent(const FileURL& url, std::uint64_t generation) const {
    return url == location_ && generation == requestGeneration_;
}

void PaneModel::load(ViewRecord record) {
    setError(std::nullopt);
    loadedLocation_.reset();
    setLoading(true);
    const auto generation = ++requestGeneration_;

    auto read = [directories = services_.directories, &store = services_.store, folder = location_,
                 known = preferences_, record](const std::stop_token& stop, const auto& emit) {
        auto preferences = known;
        if (record == ViewRecord::load) {
            preferences = recordedView(store, folder);
            emit(Publication{preferences, {}, nullptr, {}});
        }
        const SortRule rule{preferences.sort, preferences.ascending};
        EntrySorter sorter(rule);
        EntryList list;
        bool isFirst = true;
        bool isPublished = true;
        auto lastPublication = std::chrono::steady_clock::now();
        const auto publishList = [&] {
            emit(Publication{std::nullopt, list, sorter.order(), rule});
            isFirst = false;
            isPublished = true;
            lastPublication = std::chrono::steady_clock::now();
        };
        try {
            auto batches = directories.batches(
                folder, preferences.showHidden ? HiddenItems::show : HiddenItems::skip, batchSize);
            while (auto batch = batches.next(stop)) {
                sorter.add(EntryList::firstRef(list.batches().size()), *batch);
                list.append(std::make_shared<const std::vector<FileEntry>>(std::move(*batch)));
                isPublished = false;
                if (isFirst || std::chrono::steady_clock::now() - lastPublication >= publicationInterval)
                    publishList();
            }
        } catch (const std::exception&) {
            // What was read before the failure stays visible.
            if (!isPublished)
                publishList();
            throw;
        }
        // Also for an empty folder: what stood there before a refresh must go.
        if (!isPublished || isFirst)
            publishList();
    };

    task_ = tasks_.stream<Publication>(
        TaskLane::reading, std::move(read),
        [this, url = location_, generation](Publication publication) {
            if (isCurrent(url, generation))
                publish(std::move(publication));
        },
        [this, url = location_, generation] {
            if (isCurrent(url, generation))
                finishLoading();
        },
        [this, url = location_, generation](const std::exception_ptr& failure) {
            if (isCurrent(url, generation))
                failLoading(failure);
        });
}

void PaneModel::publish(Publication publication) {
    if (publication.preferences) {
        preferences_ = *publication.preferences;
        Q_EMIT preferencesChanged();
        return;
    }
    sorting_.cancel();
    entries_ = std::move(publication.entries);
    showOrder(std::move(publication.order));
    if (publication.rule != sortRule())
        sortDisplayed();
}

void PaneModel::finishLoading() {
    selectLoaded();
    loadedLocation_ = location_;
    loadedGeneration_ = requestGeneration_;
    setLoading(false);
    Q_EMIT loaded();
}

void PaneModel::failLoading(const std::exception_ptr& failure) {
    setError(sentence(failure));
    setLoading(false);
}

void PaneModel::showOrder(EntryOrder order) {
    displayed_ = std::move(order);
    ++displayRevision_;
    Q_EMIT entriesChanged();
}

void PaneModel::sortDisplayed() {
    sorting_.cancel();
    if (entries_.size() <= sortedAtOnce) {
        showOrder(EntrySorter::sorted(entries_, sortRule()));
        return;
    }
    // Any newer list or order cancels this one, so its result always belongs to the present entries.
    sorting_ = tasks_.run(
        TaskLane::reading,
        [list = entries_, rule = sortRule()](const std::stop_token&) {
            return EntrySorter::sorted(list, rule);
        },
        [this](EntryOrder order) { showOrder(std::move(order)); }, [](const std::exception_ptr&) {});
}

void PaneModel::setPreferences(const FolderViewPreferences& preferences) {
    if (preferences == preferences_)
        return;
    const auto oldRule = sortRule();
    const bool hiddenChanged = preferences.showHidden != preferences_.showHidden;
    preferences_ = preferences;
    persistView();
    Q_EMIT preferencesChanged();
    if (sortRule() != oldRule)
        sortDisplayed();
    if (hiddenChanged)
        refresh();
}

void PaneModel::persistView() {
    tasks_.run(
        TaskLane::records,
        [&store = services_.store, key = viewKey(location_), value = preferences_](const std::stop_token&) {
            store.save(value, key);
        },
        [] {}, [](const std::exception_ptr&) {});
}

void PaneModel::setSelection(EntrySelection selection) {
    if (selection == selection_)
        return;
    selection_ = std::move(selection);
    measureSelection();
    Q_EMIT selectionChanged();
}

void PaneModel::selectWhenLoaded(const std::vector<FileURL>& items) {
    awaitedNames_.clear();
    for (const auto& item : items)
        if (item.parent() == location_)
            awaitedNames_.emplace(item.lastComponent());
}

void PaneModel::selectLoaded() {
    if (selection_.empty() && awaitedNames_.empty())
        return;
    EntrySelection kept;
    EntrySelection awaited;
    entries_.forEach([&](const FileEntry& entry) {
        if (awaitedNames_.contains(entry.name))
            awaited.emplace(entry);
        else if (EntryKey key(entry); selection_.contains(key))
            kept.insert(std::move(key));
    });
    awaitedNames_.clear();
    setSelection(awaited.empty() ? std::move(kept) : std::move(awaited));
}

void PaneModel::measureSelection() {
    selectedBytes_ = 0;
    selectedFolders_ = 0;
    if (selection_.empty())
        return;
    entries_.forEach([this](const FileEntry& entry) {
        if (!isSelected(entry))
            return;
        if (entry.isNavigable())
            ++selectedFolders_;
        else
            selectedBytes_ += entry.size;
    });
}

std::vector<const FileEntry*> PaneModel::selectedEntries() const {
    std::vector<const FileEntry*> selected;
    if (selection_.empty())
        return selected;
    selected.reserve(selection_.size());
    for (const auto ref : *displayed_)
        if (isSelected(entries_[ref]))
            selected.push_back(&entries_[ref]);
    return selected;
}

std::vector<FileURL> PaneModel::selectedURLs() const {
    std::vector<FileURL> urls;
    for (const auto* entry : selectedEntries())
        urls.push_back(entry->url());
    return urls;
}

void PaneModel::setLoading(bool loading) {
    if (isLoading_ == loading)
        return;
    isLoading_ = loading;
    Q_EMIT isLoadingChanged();
}

void PaneModel::setError(std::optional<std::string> error) {
    if (error_ == error)
        return;
    error_ = std::move(error);
    Q_EMIT errorChanged();
}

} // namespace morv
