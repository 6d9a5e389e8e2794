#include "MorvApp/Model/PaneReading.h"

#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <utility>

namespace morv {

namespace {

constexpr int batchSize = 256;
constexpr std::chrono::milliseconds publicationInterval{80};
constexpr std::int64_t searchLimit = 10000;

std::string noteOf(const SearchResult& result) {
    auto note = fmt::format("Searched {} items", result.scannedCount);
    if (result.skippedCount > 0)
        note += fmt::format(" · {} skipped", result.skippedCount);
    if (result.truncated)
        note += " · Result limit reached";
    return note;
}

} // namespace

std::string folderViewKey(const FileURL& folder) {
    return "folder.view." + folder.path();
}

PaneReading::PaneReading(Request request, SQLiteStore& store, DirectoryService directories,
                         SearchService search, DirectoryChangeWatcher::Readiness readiness)
    : request_(std::move(request)), store_(store), directories_(std::move(directories)),
      search_(std::move(search)), readiness_(std::move(readiness)), sorter_(request_.rule->load()) {}

void PaneReading::run(const std::stop_token& stop, const Emit& emit) {
    readiness_.waitUntilReady(stop);
    if (request_.viewRecord == ViewRecord::load)
        loadViewRecord(emit);
    if (request_.isSearch())
        search(stop, emit);
    else
        readFolder(stop, emit);
}

/// A folder without a record of its own, or with one that cannot be read, is shown with the defaults.
void PaneReading::loadViewRecord(const Emit& emit) {
    auto preferences = request_.standard;
    if (request_.folder.lastComponent() == "Downloads")
        preferences.grouping = FileGrouping::kind;
    try {
        if (const auto record = store_.load<FolderViewPreferences>(folderViewKey(request_.folder)))
            preferences = *record;
    } catch (const std::exception&) {
        // A damaged or older record costs only the folder's view settings.
    }
    request_.preferences = preferences;
    request_.rule->store({preferences.sort, preferences.ascending});
    PanePublication publication;
    publication.preferences = preferences;
    emit(std::move(publication));
}

void PaneReading::readFolder(const std::stop_token& stop, const Emit& emit) {
    bool isPublished = true;
    try {
        auto batches = directories_.batches(request_.folder, hidden(), batchSize);
        while (auto batch = batches.next(stop)) {
            sorter_.add(EntryList::firstRef(list_.batches().size()), *batch);
            list_.append(std::make_shared<const std::vector<FileEntry>>(std::move(*batch)));
            isPublished = false;
            const bool isDue =
                !publishedAt_ || std::chrono::steady_clock::now() - *publishedAt_ >= publicationInterval;
            if (isDue && list_.size() >= request_.entriesToReplace) {
                publish(emit);
                isPublished = true;
            }
        }
    } catch (const std::exception&) {
        // What was read before the failure stays visible.
        if (!isPublished)
            publish(emit);
        throw;
    }
    // Also for an empty folder: what stood there before a refresh must go.
    if (!isPublished || !publishedAt_)
        publish(emit);
    publishPlaces(emit);
}

void PaneReading::search(const std::stop_token& stop, const Emit& emit) {
    SearchRequest asked;
    asked.root = request_.folder;
    asked.query = request_.query;
    if (request_.tag)
        asked.tags.push_back(*request_.tag);
    asked.hidden = hidden();
    asked.limit = searchLimit;
    auto result = search_.search(asked, stop);
    searchNote_ = noteOf(result);
    for (std::size_t first = 0; first < result.entries.size(); first += batchSize) {
        const auto last = std::min(first + batchSize, result.entries.size());
        std::vector<FileEntry> batch(
            std::make_move_iterator(result.entries.begin() + static_cast<std::ptrdiff_t>(first)),
            std::make_move_iterator(result.entries.begin() + static_cast<std::ptrdiff_t>(last)));
        sorter_.add(EntryList::firstRef(list_.batches().size()), batch);
        list_.append(std::make_shared<const std::vector<FileEntry>>(std::move(batch)));
    }
    publish(emit);
    publishPlaces(emit);
}

void PaneReading::publish(const Emit& emit) {
    if (const auto rule = request_.rule->load(); rule != sorter_.rule())
        sorter_.setRule(rule, list_);
    PanePublication publication;
    publication.entries = list_;
    publication.order = sorter_.order();
    publication.rule = sorter_.rule();
    publication.searchNote = searchNote_;
    emit(std::move(publication));
    publishedAt_ = std::chrono::steady_clock::now();
}

void PaneReading::publishPlaces(const Emit& emit) {
    PanePublication publication;
    publication.places = sorter_.namePlaces();
    emit(std::move(publication));
}

} // namespace morv
