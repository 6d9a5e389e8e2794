#include "MorvCore/Review/SmartDownloadsService.h"

#include "MorvCore/Folders/CreativeLocalFile.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/JSONCoding.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

namespace morv {

namespace {

constexpr std::int64_t entryCeiling = 50'000;
constexpr double durationCeiling = 60;
constexpr double usualDuration = 5;
constexpr std::size_t largestBatch = 64;

constexpr std::array<std::string_view, 5> bucketNames = {"today", "yesterday", "thisWeek", "older",
                                                         "unknown"};
constexpr std::array<std::string_view, 5> bucketTitles = {"Today", "Yesterday", "This week", "Older",
                                                          "Date added unavailable"};
constexpr std::array<std::string_view, 4> completionNames = {"scanning", "complete", "entryLimit",
                                                             "timeLimit"};

template <std::size_t N, class E>
std::string_view nameOf(const std::array<std::string_view, N>& names, E value) {
    return names[static_cast<std::size_t>(value)];
}

std::int64_t bytesOf(const std::vector<FileEntry>& entries) {
    return std::accumulate(entries.begin(), entries.end(), std::int64_t{0},
                           [](std::int64_t sum, const FileEntry& entry) { return sum + entry.size; });
}

template <class Test>
std::size_t count(const std::vector<FileEntry>& entries, Test test) {
    return static_cast<std::size_t>(std::ranges::count_if(entries, test));
}

bool isCloudOnly(const FileEntry& entry) {
    return entry.availability == FileAvailability::notDownloaded;
}

std::optional<std::string_view> exclusionReason(const FileEntry& entry) {
    if (entry.isSymbolicLink)
        return "Symbolic links stay in place; their targets were not inspected.";
    if (entry.isDownloading || isIncompleteDownload(entry.url()))
        return "An active or incomplete download stays in place.";
    if (entry.availability == FileAvailability::unavailable)
        return "Metadata is unavailable; this item cannot be safely included in tidy actions.";
    if (isCloudOnly(entry))
        return "Cloud-only content stays in place; no download was requested.";
    if (entry.isPackage)
        return "Packages stay in place; their contents were not inspected.";
    if (entry.isDirectory)
        return "Physical folders stay in place; this view does not reorganise their contents.";
    if (!entry.isWritable)
        return "This file is read-only.";
    return std::nullopt;
}

SmartDownloadsDateBucket bucketOf(const std::optional<Date>& date, const DayBoundaries& days) {
    if (!date)
        return SmartDownloadsDateBucket::unknown;
    if (*date >= days.today)
        return SmartDownloadsDateBucket::today;
    if (*date >= days.yesterday)
        return SmartDownloadsDateBucket::yesterday;
    if (*date >= days.thisWeek && *date < days.nextWeek)
        return SmartDownloadsDateBucket::thisWeek;
    return SmartDownloadsDateBucket::older;
}

SmartDownloadsGroup emptyGroup(FileKind kind) {
    return {.id = "kind-" + std::string(rawValue(kind)),
            .title = std::string(title(kind)),
            .symbol = std::string(symbol(kind)),
            .kind = kind,
            .dateBucket = std::nullopt,
            .nature = SmartDownloadsGroupNature::virtualGroup,
            .entries = {}};
}

SmartDownloadsGroup emptyGroup(SmartDownloadsDateBucket bucket) {
    const bool isUnknown = bucket == SmartDownloadsDateBucket::unknown;
    return {.id = "added-" + std::string(rawValue(bucket)),
            .title = std::string(title(bucket)),
            .symbol = isUnknown ? "calendar.badge.questionmark" : "calendar",
            .kind = std::nullopt,
            .dateBucket = bucket,
            .nature = SmartDownloadsGroupNature::virtualGroup,
            .entries = {}};
}

/// The groups of `entries`, which are sorted; a folder's place in them is the first, the others follow in the
/// order of `cases`.
template <std::size_t N, class Case, class CaseOf>
std::vector<SmartDownloadsGroup> grouped(const std::vector<FileEntry>& entries,
                                         const std::array<Case, N>& cases, CaseOf caseOf) {
    std::vector<SmartDownloadsGroup> groups = {{.id = "physical-folders",
                                                .title = "Folders in this location",
                                                .symbol = "folder",
                                                .kind = FileKind::folder,
                                                .dateBucket = std::nullopt,
                                                .nature = SmartDownloadsGroupNature::physicalFolders,
                                                .entries = {}}};
    for (const auto each : cases)
        groups.push_back(emptyGroup(each));
    for (const auto& entry : entries) {
        const auto place = entry.isNavigable() ? 0 : 1 + static_cast<std::size_t>(caseOf(entry));
        groups[place].entries.push_back(entry);
    }
    std::erase_if(groups, [](const auto& group) { return group.entries.empty(); });
    return groups;
}

struct Reading {
    SmartDownloadsCompletion completion = SmartDownloadsCompletion::scanning;
    std::size_t metadataReadCount = 0;
};

SmartDownloadsSnapshot makeSnapshot(std::vector<FileEntry> sorted, const FileURL& root,
                                    const SmartDownloadsOptions& options, const Reading& reading) {
    SmartDownloadsSnapshot result;
    result.root = root;
    result.grouping = options.grouping();
    result.completion = reading.completion;
    result.metadataReadCount = reading.metadataReadCount;
    result.entries = std::move(sorted);
    if (options.grouping() == SmartDownloadsGrouping::kind) {
        result.groups =
            grouped(result.entries, allFileKinds, [](const FileEntry& entry) { return entry.kind; });
    } else {
        const auto days = dayBoundaries(options.calendar(), options.now());
        result.groups = grouped(result.entries, allSmartDownloadsDateBuckets,
                                [&](const FileEntry& entry) { return bucketOf(entry.addedAt, days); });
    }
    for (const auto& entry : result.entries) {
        if (!entry.addedAt)
            ++result.unknownAddedDateCount;
        if (const auto reason = exclusionReason(entry))
            result.exclusions.push_back({entry.url(), std::string(*reason)});
        else
            result.tidyEligibleEntries.push_back(entry);
    }
    return result;
}

std::chrono::steady_clock::time_point deadlineAfter(double seconds) {
    return std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                  std::chrono::duration<double>(seconds));
}

json::Value locations(const std::vector<FileEntry>& entries) {
    auto list = json::Value::array();
    for (const auto& entry : entries)
        list.push_back(json::encode(entry.url()));
    return list;
}

json::Value value(const SmartDownloadsGroup& group) {
    auto object = json::Value::object();
    json::put(object, "id", group.id);
    json::put(object, "title", group.title);
    json::put(object, "symbol", group.symbol);
    if (group.kind)
        json::put(object, "kind", std::string(rawValue(*group.kind)));
    if (group.dateBucket)
        json::put(object, "dateBucket", std::string(rawValue(*group.dateBucket)));
    json::put(object, "nature", std::string(rawValue(group.nature)));
    json::put(object, "logicalBytes", group.logicalBytes());
    object["entries"] = locations(group.entries);
    return object;
}

} // namespace

std::string_view rawValue(SmartDownloadsGrouping value) {
    return value == SmartDownloadsGrouping::kind ? "kind" : "dateAdded";
}

std::string_view rawValue(SmartDownloadsDateBucket value) {
    return nameOf(bucketNames, value);
}

std::string_view title(SmartDownloadsDateBucket value) {
    return nameOf(bucketTitles, value);
}

std::string_view rawValue(SmartDownloadsCompletion value) {
    return nameOf(completionNames, value);
}

std::string_view rawValue(SmartDownloadsGroupNature value) {
    return value == SmartDownloadsGroupNature::physicalFolders ? "physicalFolders" : "virtual";
}

SmartDownloadsOptions::SmartDownloadsOptions(SmartDownloadsRequest request) : granted_(std::move(request)) {
    granted_.maxEntries = std::clamp(granted_.maxEntries, std::int64_t{0}, entryCeiling);
    granted_.maxDuration = std::isfinite(granted_.maxDuration)
                               ? std::clamp(granted_.maxDuration, 0.0, durationCeiling)
                               : usualDuration;
}

std::int64_t SmartDownloadsGroup::logicalBytes() const {
    return bytesOf(entries);
}

std::int64_t SmartDownloadsSnapshot::logicalBytes() const {
    return bytesOf(entries);
}

std::size_t SmartDownloadsSnapshot::folderCount() const {
    return count(entries, &FileEntry::isNavigable);
}

std::size_t SmartDownloadsSnapshot::packageCount() const {
    return count(entries, &FileEntry::isPackage);
}

std::size_t SmartDownloadsSnapshot::symbolicLinkCount() const {
    return count(entries, &FileEntry::isSymbolicLink);
}

std::size_t SmartDownloadsSnapshot::cloudOnlyCount() const {
    return count(entries, isCloudOnly);
}

std::int64_t SmartDownloadsSnapshot::cloudOnlyLogicalBytes() const {
    return std::accumulate(
        entries.begin(), entries.end(), std::int64_t{0},
        [](std::int64_t sum, const FileEntry& entry) { return sum + (isCloudOnly(entry) ? entry.size : 0); });
}

std::size_t SmartDownloadsSnapshot::downloadingCount() const {
    return count(entries, &FileEntry::isDownloading);
}

std::size_t SmartDownloadsSnapshot::unavailableCount() const {
    return count(entries,
                 [](const FileEntry& entry) { return entry.availability == FileAvailability::unavailable; });
}

std::size_t SmartDownloadsSnapshot::partialDownloadCount() const {
    return count(entries, [](const FileEntry& entry) { return isIncompleteDownload(entry.url()); });
}

std::string toJSON(const SmartDownloadsSnapshot& snapshot) {
    auto object = json::Value::object();
    const auto number = [&object](const char* key, std::size_t amount) {
        json::put(object, key, static_cast<std::int64_t>(amount));
    };
    json::put(object, "root", snapshot.root);
    json::put(object, "grouping", std::string(rawValue(snapshot.grouping)));
    json::put(object, "completion", std::string(rawValue(snapshot.completion)));
    auto& groups = object["groups"] = json::Value::array();
    for (const auto& group : snapshot.groups)
        groups.push_back(value(group));
    auto& entries = object["entries"] = json::Value::array();
    for (const auto& entry : snapshot.entries)
        entries.push_back(json::parse(toJSON(entry)));
    auto& exclusions = object["exclusions"] = json::Value::array();
    for (const auto& exclusion : snapshot.exclusions)
        exclusions.push_back(json::parse(toJSON(exclusion)));
    object["tidyEligibleEntries"] = locations(snapshot.tidyEligibleEntries);
    json::put(object, "logicalBytes", snapshot.logicalBytes());
    json::put(object, "cloudOnlyLogicalBytes", snapshot.cloudOnlyLogicalBytes());
    number("metadataReadCount", snapshot.metadataReadCount);
    number("unknownAddedDateCount", snapshot.unknownAddedDateCount);
    number("totalCount", snapshot.totalCount());
    number("excludedCount", snapshot.excludedCount());
    number("folderCount", snapshot.folderCount());
    number("packageCount", snapshot.packageCount());
    number("symbolicLinkCount", snapshot.symbolicLinkCount());
    number("cloudOnlyCount", snapshot.cloudOnlyCount());
    number("downloadingCount", snapshot.downloadingCount());
    number("unavailableCount", snapshot.unavailableCount());
    number("partialDownloadCount", snapshot.partialDownloadCount());
    return json::dump(object);
}

SmartDownloadsScan::SmartDownloadsScan(const DirectoryService& directory, const FileURL& root,
                                       SmartDownloadsOptions options)
    : root_(root), options_(std::move(options)), deadline_(deadlineAfter(options_.maxDuration())),
      batches_(directory.batches(root, options_.hidden(),
                                 static_cast<int>(std::min(options_.maxEntries(), largestBatch)))) {}

SmartDownloadsSnapshot SmartDownloadsScan::snapshot(SmartDownloadsCompletion completion) const {
    return makeSnapshot(entries_, root_, options_,
                        {.completion = completion, .metadataReadCount = metadataReadCount_});
}

SmartDownloadsCompletion SmartDownloadsScan::finish(SmartDownloadsCompletion completion) {
    finished_ = true;
    return completion;
}

void SmartDownloadsScan::add(std::vector<FileEntry> batch) {
    metadataReadCount_ += batch.size();
    if (const auto room = options_.maxEntries() - entries_.size(); batch.size() > room)
        batch.erase(batch.begin() + static_cast<std::ptrdiff_t>(room), batch.end());
    DirectoryService::sortByName(batch);
    // Searched, not merged: a comparison of names costs far more than moving the entries along.
    std::vector<FileEntry> merged;
    merged.reserve(entries_.size() + batch.size());
    auto rest = entries_.begin();
    for (auto& entry : batch) {
        const auto place = std::upper_bound(rest, entries_.end(), entry, DirectoryService::nameOrder);
        merged.insert(merged.end(), std::make_move_iterator(rest), std::make_move_iterator(place));
        merged.push_back(std::move(entry));
        rest = place;
    }
    merged.insert(merged.end(), std::make_move_iterator(rest), std::make_move_iterator(entries_.end()));
    entries_ = std::move(merged);
}

SmartDownloadsCompletion SmartDownloadsScan::readOn(const std::stop_token& stop) {
    if (entries_.size() >= options_.maxEntries())
        return finish(SmartDownloadsCompletion::entryLimit);
    if (std::chrono::steady_clock::now() >= deadline_)
        return finish(SmartDownloadsCompletion::timeLimit);
    std::optional<std::vector<FileEntry>> batch;
    try {
        batch = batches_.next(stop);
    } catch (...) {
        // What could not be read must not look like the folder's end at the next call.
        finished_ = true;
        throw;
    }
    if (!batch)
        return finish(SmartDownloadsCompletion::complete);
    add(std::move(*batch));
    return SmartDownloadsCompletion::scanning;
}

std::optional<SmartDownloadsSnapshot> SmartDownloadsScan::next(const std::stop_token& stop) {
    checkCancelled(stop);
    if (finished_)
        return std::nullopt;
    return snapshot(readOn(stop));
}

SmartDownloadsSnapshot SmartDownloadsScan::last(const std::stop_token& stop) {
    auto completion = SmartDownloadsCompletion::scanning;
    while (completion == SmartDownloadsCompletion::scanning) {
        checkCancelled(stop);
        completion = readOn(stop);
    }
    return snapshot(completion);
}

SmartDownloadsScan SmartDownloadsService::snapshots(const FileURL& folder,
                                                    const SmartDownloadsOptions& options) const {
    return {directory_, folder, options};
}

SmartDownloadsSnapshot SmartDownloadsService::scan(const FileURL& folder,
                                                   const SmartDownloadsOptions& options,
                                                   const std::stop_token& stop) const {
    return snapshots(folder, options).last(stop);
}

SmartDownloadsSnapshot SmartDownloadsService::analyze(std::vector<FileEntry> entries, const FileURL& folder,
                                                      const SmartDownloadsOptions& options) {
    DirectoryService::sortByName(entries);
    const auto read = entries.size();
    return makeSnapshot(std::move(entries), folder, options,
                        {.completion = SmartDownloadsCompletion::complete, .metadataReadCount = read});
}

} // namespace morv
