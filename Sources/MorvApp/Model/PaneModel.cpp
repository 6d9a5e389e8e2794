#include "MorvApp/Model/PaneModel.h"

#include "MorvApp/Model/UserDefaults.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace morv {

namespace {

constexpr std::chrono::milliseconds typingPause{250};
/// Sorting or giving back this many takes a few milliseconds at most: quicker at once than by way of a
/// worker.
constexpr std::size_t handledAtOnce = 2000;
/// An automatic reading waits for this many times as long as the last reading took.
constexpr int restAfterReading = 3;

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

EntryOrder emptyOrder() {
    return std::make_shared<const std::vector<EntryRef>>();
}

} // namespace

PaneModel::PaneModel(const FileURL& location, PaneServices services, QObject* parent)
    : QObject(parent), services_(std::move(services)), location_(location.asFolder()), sorted_(emptyOrder()),
      displayed_(sorted_), history_{location_}, tasks_(services_.pools) {
    searchDelay_.setSingleShot(true);
    searchDelay_.setTimerType(Qt::PreciseTimer);
    searchDelay_.setInterval(typingPause);
    // Whatever begins another request stops the delay, so it never ends for one that is out of date.
    connect(&searchDelay_, &QTimer::timeout, this, &PaneModel::loadWhenReturned);
    refreshDelay_.setSingleShot(true);
    connect(&refreshDelay_, &QTimer::timeout, this, &PaneModel::refresh);
    returned_ = tasks_.wakeUp([this] { readingReturned(); });
    navigate(location_, History::keep);
}

PaneModel::~PaneModel() = default;

void PaneModel::navigate(const FileURL& url, History history) {
    const FileURL target = url.asFolder();
    if (history == History::record && target != location_) {
        history_.resize(position_ + 1);
        history_.push_back(target);
        position_ = history_.size() - 1;
    }
    task_.cancel();
    sorting_.cancel();
    setQuery({});
    const bool wasFiltered = kindFilter_ || tagFilter_;
    kindFilter_.reset();
    tagFilter_.reset();
    setDownloadsGroupID(std::nullopt);
    setSelection({});
    awaitedNames_.clear();
    location_ = target;
    setError(std::nullopt);
    setDownloads(nullptr);
    replaceEntries({}, emptyOrder());
    if (wasFiltered)
        Q_EMIT filterChanged();
    awaitsViewRecord_ = true;
    beginRequest();
    if (services_.lastLocation)
        services_.lastLocation->setLastLocation(target);
    startMonitoring();
    load();
    Q_EMIT historyChanged();
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

PaneNavigationHistory PaneModel::history() const {
    return {history_, static_cast<std::int64_t>(position_)};
}

void PaneModel::restoreHistory(const std::optional<PaneNavigationHistory>& history) {
    if (!history || history->position < 0 ||
        static_cast<std::uint64_t>(history->position) >= history->locations.size())
        return;
    const auto position = static_cast<std::size_t>(history->position);
    if (history->locations[position] != location_)
        return;
    history_ = history->locations;
    position_ = position;
    Q_EMIT historyChanged();
}

void PaneModel::refresh() {
    beginRequest();
    loadWhenReturned();
}

void PaneModel::retry() {
    beginRequest();
    load();
}

void PaneModel::cancelLoading() {
    if (!isLoading_)
        return;
    task_.cancel();
    searchDelay_.stop();
    isDue_ = false;
    ++requestGeneration_;
    changedMeanwhile_ = false;
    setError(isSearch_ ? "The search was cancelled." : "Reading this folder was cancelled.");
    setLoading(false);
}

void PaneModel::runSearch() {
    beginRequest();
    isSearch_ = asksForSearch();
    searchDelay_.start();
}

void PaneModel::restoreView(const FolderViewPreferences& preferences,
                            const std::set<std::string>& selectionIDs) {
    EntrySelection selection;
    for (const auto& id : selectionIDs)
        if (auto key = EntryKey::parse(id))
            selection.insert(std::move(*key));
    awaitsViewRecord_ = false;
    applyPreferences(preferences);
    setSelection(std::move(selection));
    refresh();
}

void PaneModel::beginRequest() {
    task_.cancel();
    isDue_ = false;
    searchDelay_.stop();
    refreshDelay_.stop();
    loadedLocation_.reset();
    setLoading(true);
    ++requestGeneration_;
}

bool PaneModel::isCurrent(const FileURL& url, std::uint64_t generation) const {
    return url == location_ && generation == requestGeneration_;
}

bool PaneModel::asksForSearch() const {
    return !withoutBlanks(query_).empty() || tagFilter_;
}

void PaneModel::prepareReading() {
    setError(std::nullopt);
    setSearchNote(std::nullopt);
    isSearch_ = asksForSearch();
    changedMeanwhile_ = false;
}

void PaneModel::loadWhenReturned() {
    prepareReading();
    if (isAway(scope()))
        isDue_ = true;
    else
        load();
}

bool PaneModel::isAway(const Scope& scope) const {
    return std::ranges::any_of(
        away_, [&scope](const auto& reading) { return reading.first == scope && !reading.second.expired(); });
}

/// What the reading holds on to until it is back: also when nobody waits for what it brings.
std::shared_ptr<void> PaneModel::sendAway() {
    std::erase_if(away_, [](const auto& reading) { return reading.second.expired(); });
    std::shared_ptr<void> way(nullptr, [wake = returned_](void*) { wake(); });
    away_.emplace_back(scope(), way);
    return way;
}

void PaneModel::readingReturned() {
    if (isDue_ && !isAway(scope()))
        load();
}

void PaneModel::load() {
    isDue_ = false;
    prepareReading();
    readingStarted_ = Clock::now();
    readingRule_ = std::make_shared<std::atomic<SortRule>>(sortRule());

    PaneReading::Request request;
    request.folder = location_;
    request.preferences = preferences_;
    request.viewRecord = awaitsViewRecord_ ? PaneReading::ViewRecord::load : PaneReading::ViewRecord::keep;
    request.standard.showHidden = services_.standards && services_.standards->showsHiddenFiles();
    request.rule = readingRule_;
    request.entriesToReplace = entries_.size();
    request.query = withoutBlanks(query_);
    request.tag = tagFilter_;
    PaneReading reading(std::move(request), services_.store, services_.directories, services_.search,
                        watcher_->readiness());
    task_ = tasks_.stream<PanePublication>(
        TaskLane::reading,
        [reading = std::move(reading), way = sendAway()](const std::stop_token& stop,
                                                         const auto& emit) mutable {
            reading.run(stop, [&emit](PanePublication publication) { emit(std::move(publication)); });
        },
        [this, url = location_, generation = requestGeneration_](PanePublication publication) {
            if (isCurrent(url, generation))
                publish(std::move(publication));
        },
        [this, url = location_, generation = requestGeneration_] {
            if (isCurrent(url, generation))
                finishLoading();
        },
        [this, url = location_, generation = requestGeneration_](const std::exception_ptr& failure) {
            if (isCurrent(url, generation))
                failLoading(failure);
        });
}

void PaneModel::publish(PanePublication publication) {
    if (publication.preferences) {
        awaitsViewRecord_ = false;
        applyPreferences(*publication.preferences);
    } else if (publication.order) {
        setSearchNote(std::move(publication.searchNote));
        replaceEntries(std::move(publication.entries), std::move(publication.order));
        if (publication.rule != sortRule())
            sortDisplayed();
    } else {
        places_ = std::move(publication.places);
    }
}

void PaneModel::finishLoading() {
    selectLoaded();
    loadedLocation_ = location_;
    endLoading();
    Q_EMIT loaded();
}

void PaneModel::failLoading(const std::exception_ptr& failure) {
    if (isSearch_)
        replaceEntries({}, emptyOrder());
    setError(sentence(failure));
    endLoading();
}

void PaneModel::endLoading() {
    const auto now = Clock::now();
    nextAutomaticRefresh_ = now + restAfterReading * (now - readingStarted_);
    setLoading(false);
    if (std::exchange(changedMeanwhile_, false))
        folderChanged();
}

void PaneModel::startMonitoring() {
    watcher_ = std::make_unique<DirectoryChangeWatcher>(services_.pools, location_, services_.changes,
                                                        [this] { folderChanged(); });
}

void PaneModel::folderChanged() {
    if (isLoading_)
        changedMeanwhile_ = true;
    else if (!isSearch_ && !refreshDelay_.isActive())
        refreshDelay_.start(
            std::max(std::chrono::milliseconds(0),
                     std::chrono::ceil<std::chrono::milliseconds>(nextAutomaticRefresh_ - Clock::now())));
}

/// Giving back a hundred thousand of anything would be seen in a frame.
template <class Collection>
void PaneModel::discard(Collection collection) {
    if (collection.size() > handledAtOnce)
        tasks_.run(
            TaskLane::reading,
            [held = std::move(collection)](const std::stop_token&) mutable { held = Collection(); }, [] {},
            [](const std::exception_ptr&) {});
}

void PaneModel::replaceEntries(EntryList entries, EntryOrder sorted) {
    sorting_.cancel();
    discard(std::exchange(entries_, std::move(entries)));
    places_.reset();
    showOrder(std::move(sorted));
    scheduleDownloadsAnalysis();
}

void PaneModel::showOrder(EntryOrder sorted) {
    sorted_ = std::move(sorted);
    displayed_ = sorted_;
    if (kindFilter_) {
        auto shown = std::make_shared<std::vector<EntryRef>>();
        std::ranges::copy_if(*sorted_, std::back_inserter(*shown),
                             [this](EntryRef ref) { return entries_[ref].kind == *kindFilter_; });
        displayed_ = std::move(shown);
    }
    ++displayRevision_;
    Q_EMIT entriesChanged();
}

void PaneModel::sortDisplayed() {
    sorting_.cancel();
    if (entries_.empty())
        return;
    auto sort = [list = entries_, places = places_, rule = sortRule()](const std::stop_token&) {
        return places ? EntrySorter::sorted(list, *places, rule) : EntrySorter::sorted(list, rule);
    };
    if (entries_.size() <= handledAtOnce) {
        showOrder(sort({}));
        return;
    }
    // Any newer list or order cancels this one, so its result always belongs to the present entries.
    sorting_ = tasks_.run(
        TaskLane::reading, std::move(sort), [this](EntryOrder order) { showOrder(std::move(order)); },
        [](const std::exception_ptr&) {});
}

void PaneModel::applyPreferences(const FolderViewPreferences& preferences) {
    const auto old = std::exchange(preferences_, preferences);
    if (old == preferences_)
        return;
    if (old.sort != preferences_.sort || old.ascending != preferences_.ascending) {
        readingRule_->store(sortRule());
        sortDisplayed();
    }
    if (old.grouping != preferences_.grouping) {
        setDownloadsGroupID(std::nullopt);
        scheduleDownloadsAnalysis();
    }
    Q_EMIT preferencesChanged();
}

void PaneModel::setPreferences(const FolderViewPreferences& preferences) {
    if (preferences == preferences_)
        return;
    // What the user chose before the folder's own view came stands instead of it.
    const bool wasAwaited = std::exchange(awaitsViewRecord_, false);
    const bool readsAgain = wasAwaited || preferences.showHidden != preferences_.showHidden;
    applyPreferences(preferences);
    persistView();
    if (readsAgain)
        refresh();
}

void PaneModel::persistView() {
    tasks_.run(
        TaskLane::records,
        [&store = services_.store, key = folderViewKey(location_),
         value = preferences_](const std::stop_token&) { store.save(value, key); },
        [] {}, [](const std::exception_ptr&) {});
}

void PaneModel::setQuery(std::string query) {
    if (query == query_)
        return;
    query_ = std::move(query);
    Q_EMIT queryChanged();
}

void PaneModel::setTagFilter(std::optional<std::string> tag) {
    if (tag == tagFilter_)
        return;
    tagFilter_ = std::move(tag);
    Q_EMIT filterChanged();
}

void PaneModel::setKindFilter(std::optional<FileKind> kind) {
    if (kind == kindFilter_)
        return;
    kindFilter_ = kind;
    Q_EMIT filterChanged();
    showOrder(sorted_);
    if (takeMeasure(measureSelection()))
        Q_EMIT selectionChanged();
}

void PaneModel::setSearchNote(std::optional<std::string> note) {
    if (note == searchNote_)
        return;
    searchNote_ = std::move(note);
    Q_EMIT searchNoteChanged();
}

void PaneModel::setSelection(EntrySelection selection) {
    const bool isOther = selection != selection_;
    discard(std::exchange(selection_, std::move(selection)));
    // What is selected may have grown meanwhile, also when it is the same.
    if (takeMeasure(measureSelection()) || isOther)
        Q_EMIT selectionChanged();
}

std::set<std::string> PaneModel::selectedIDs() const {
    std::set<std::string> ids;
    for (const auto& key : selection_)
        ids.insert(key.id());
    return ids;
}

void PaneModel::selectIDs(const std::set<std::string>& ids) {
    EntrySelection wanted;
    for (const auto& id : ids)
        if (auto key = EntryKey::parse(id))
            wanted.insert(std::move(*key));
    EntrySelection found;
    entries_.forEach([&](const FileEntry& entry) {
        if (wanted.contains(entry))
            found.emplace(entry);
    });
    setSelection(std::move(found));
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
    EntrySelection awaited;
    if (!awaitedNames_.empty())
        entries_.forEach([&](const FileEntry& entry) {
            if (awaitedNames_.contains(entry.name))
                awaited.emplace(entry);
        });
    awaitedNames_.clear();
    if (!awaited.empty())
        return setSelection(std::move(awaited));
    // Making the set anew costs more than all the rest; mostly nothing selected has gone.
    const auto measure = measureSelection();
    if (measure.present == selection_.size()) {
        if (takeMeasure(measure))
            Q_EMIT selectionChanged();
        return;
    }
    EntrySelection kept;
    entries_.forEach([&](const FileEntry& entry) {
        if (isSelected(entry))
            kept.emplace(entry);
    });
    setSelection(std::move(kept));
}

PaneModel::SelectionMeasure PaneModel::measureSelection() const {
    SelectionMeasure measure;
    if (selection_.empty())
        return measure;
    entries_.forEach([&](const FileEntry& entry) {
        if (!isSelected(entry))
            return;
        ++measure.present;
        if (kindFilter_ && entry.kind != *kindFilter_)
            return;
        if (entry.isNavigable())
            ++measure.folders;
        else
            measure.bytes += entry.size;
    });
    return measure;
}

/// Whether that changed anything that is shown.
bool PaneModel::takeMeasure(const SelectionMeasure& measure) {
    const bool isOther = measure.bytes != selectedBytes_ || measure.folders != selectedFolders_;
    selectedBytes_ = measure.bytes;
    selectedFolders_ = measure.folders;
    return isOther;
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

bool PaneModel::analysesDownloads() const {
    return pathKey(location_.lastComponent()) == "downloads" && query_.empty() && !tagFilter_;
}

void PaneModel::scheduleDownloadsAnalysis() {
    ++downloadsRevision_;
    if (!analysesDownloads()) {
        setDownloadsGroupID(std::nullopt);
        setDownloads(nullptr);
    } else if (!isAnalysing_) {
        analyseDownloads();
    }
}

/// One at a time: a folder that is still loading would otherwise start twelve a second, and each looks at
/// everything.
void PaneModel::analyseDownloads() {
    isAnalysing_ = true;
    SmartDownloadsRequest request;
    if (preferences_.grouping == FileGrouping::date)
        request.grouping = SmartDownloadsGrouping::dateAdded;
    request.hidden = preferences_.showHidden ? HiddenItems::show : HiddenItems::skip;
    tasks_.run(
        TaskLane::reading,
        [list = entries_, folder = location_,
         options = SmartDownloadsOptions(std::move(request))](const std::stop_token&) {
            std::vector<FileEntry> entries;
            entries.reserve(list.size());
            list.forEach([&entries](const FileEntry& entry) { entries.push_back(entry); });
            return std::make_shared<const SmartDownloadsSnapshot>(
                SmartDownloadsService::analyze(std::move(entries), folder, options));
        },
        [this, url = location_,
         revision = downloadsRevision_](std::shared_ptr<const SmartDownloadsSnapshot> snapshot) {
            isAnalysing_ = false;
            if (url == location_ && revision == downloadsRevision_)
                setDownloads(std::move(snapshot));
            else if (analysesDownloads())
                analyseDownloads();
        },
        [this](const std::exception_ptr&) { isAnalysing_ = false; });
}

void PaneModel::setDownloads(std::shared_ptr<const SmartDownloadsSnapshot> snapshot) {
    if (!snapshot && !downloads_)
        return;
    downloads_ = std::move(snapshot);
    const auto& groups = downloadsKindGroups();
    if (downloadsGroupID_ &&
        std::ranges::find(groups, *downloadsGroupID_, &SmartDownloadsGroup::id) == groups.end())
        downloadsGroupID_.reset();
    Q_EMIT downloadsChanged();
}

const std::vector<SmartDownloadsGroup>& PaneModel::downloadsKindGroups() const {
    static const std::vector<SmartDownloadsGroup> none;
    return downloads_ ? downloads_->groups : none;
}

void PaneModel::setDownloadsGroupID(std::optional<std::string> id) {
    if (id == downloadsGroupID_)
        return;
    downloadsGroupID_ = std::move(id);
    Q_EMIT downloadsChanged();
}

bool PaneModel::showsDownloadsGroups() const {
    return pathKey(location_.lastComponent()) == "downloads" && query_.empty() && !tagFilter_ &&
           !kindFilter_ && preferences_.grouping != FileGrouping::none &&
           (preferences_.view == BrowserViewMode::grid || preferences_.view == BrowserViewMode::list);
}

const SmartDownloadsGroup* PaneModel::selectedDownloadsGroup() const {
    if (!showsDownloadsGroups() || !downloadsGroupID_)
        return nullptr;
    const auto& groups = downloadsKindGroups();
    const auto found = std::ranges::find(groups, *downloadsGroupID_, &SmartDownloadsGroup::id);
    return found == groups.end() ? nullptr : &*found;
}

std::vector<EntryRef> PaneModel::downloadsDisplayedEntries() const {
    const auto* group = selectedDownloadsGroup();
    if (!group)
        return *displayed_;
    // Both are of one folder, where a name is one item.
    std::unordered_set<std::string_view> names;
    for (const auto& entry : group->entries)
        names.insert(entry.name);
    std::vector<EntryRef> shown;
    std::ranges::copy_if(*displayed_, std::back_inserter(shown),
                         [&](EntryRef ref) { return names.contains(entries_[ref].name); });
    return shown;
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
