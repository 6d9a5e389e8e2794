// A folder of downloads grouped by kind or by day, while the folder on disk stays as it is. Nothing is moved
// or downloaded here; what a tidy plan may propose is named.
//
// Protocol    SmartDownloadsService::snapshots() -> next() until it gives nothing; each snapshot supersedes
//             the one before
// Invariants  I1  every snapshot but the last says scanning; the last says how the scan ended
//             I2  a scan that a limit stopped still gives everything it has read
//             I3  every entry is in exactly one group, and either eligible for tidying or excluded
// Threading   the service is safe to share; a SmartDownloadsScan is used by one thread at a time; snapshots
//             are values
//
// Errors      those of DirectoryService, and CancellationError; a limit is no error
#pragma once

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/DayCalendar.h"
#include "MorvCore/Review/TidyPlanner.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

enum class SmartDownloadsGrouping : std::uint8_t { kind, dateAdded };
enum class SmartDownloadsDateBucket : std::uint8_t { today, yesterday, thisWeek, older, unknown };
/// In the order of grouping.
inline constexpr std::array allSmartDownloadsDateBuckets = {
    SmartDownloadsDateBucket::today, SmartDownloadsDateBucket::yesterday, SmartDownloadsDateBucket::thisWeek,
    SmartDownloadsDateBucket::older, SmartDownloadsDateBucket::unknown};
enum class SmartDownloadsCompletion : std::uint8_t { scanning, complete, entryLimit, timeLimit };
/// Whether a group stands for real folders or only for a way of looking at files.
enum class SmartDownloadsGroupNature : std::uint8_t { physicalFolders, virtualGroup };

std::string_view rawValue(SmartDownloadsGrouping value);
std::string_view rawValue(SmartDownloadsDateBucket value);
std::string_view title(SmartDownloadsDateBucket value);
std::string_view rawValue(SmartDownloadsCompletion value);
/// "physicalFolders" or "virtual".
std::string_view rawValue(SmartDownloadsGroupNature value);

/// What is asked for, as it was asked.
struct SmartDownloadsRequest {
    SmartDownloadsGrouping grouping = SmartDownloadsGrouping::kind;
    std::int64_t maxEntries = 50'000;
    double maxDuration = 5; ///< seconds
    HiddenItems hidden = HiddenItems::skip;
    Date now = Date::now(); ///< the moment that "Today" is about
    DayCalendar calendar = DayCalendar::current();
};

/// What is granted: the hard ceilings hold whatever was asked. Immutable.
class SmartDownloadsOptions {
public:
    /// 0 to 50,000 entries; 0 to 60 seconds, 5 when the number is not finite.
    explicit SmartDownloadsOptions(SmartDownloadsRequest request);

    SmartDownloadsGrouping grouping() const { return granted_.grouping; }
    std::size_t maxEntries() const { return static_cast<std::size_t>(granted_.maxEntries); }
    double maxDuration() const { return granted_.maxDuration; }
    HiddenItems hidden() const { return granted_.hidden; }
    Date now() const { return granted_.now; }
    const DayCalendar& calendar() const { return granted_.calendar; }

private:
    SmartDownloadsRequest granted_;
};

struct SmartDownloadsGroup {
    std::string id;
    std::string title;
    std::string symbol;
    std::optional<FileKind> kind;
    std::optional<SmartDownloadsDateBucket> dateBucket;
    SmartDownloadsGroupNature nature = SmartDownloadsGroupNature::virtualGroup;
    std::vector<FileEntry> entries; ///< in the canonical listing order

    /// The sum of the sizes that the entries state, in bytes.
    std::int64_t logicalBytes() const;

    friend bool operator==(const SmartDownloadsGroup&, const SmartDownloadsGroup&) = default;
};

/// All lists are in the canonical listing order.
struct SmartDownloadsSnapshot {
    FileURL root;
    SmartDownloadsGrouping grouping = SmartDownloadsGrouping::kind;
    std::vector<SmartDownloadsGroup> groups; ///< none is empty; physical folders first
    std::vector<FileEntry> entries;
    SmartDownloadsCompletion completion = SmartDownloadsCompletion::scanning;
    std::size_t metadataReadCount = 0; ///< items read, those beyond the limit included
    std::vector<TidyExclusion> exclusions;
    std::vector<FileEntry> tidyEligibleEntries;
    std::size_t unknownAddedDateCount = 0;

    std::size_t totalCount() const { return entries.size(); }
    std::size_t excludedCount() const { return exclusions.size(); }
    std::int64_t logicalBytes() const;
    /// Folders that are no packages.
    std::size_t folderCount() const;
    std::size_t packageCount() const;
    std::size_t symbolicLinkCount() const;
    std::size_t cloudOnlyCount() const;
    std::int64_t cloudOnlyLogicalBytes() const;
    std::size_t downloadingCount() const;
    std::size_t unavailableCount() const;
    /// By the names alone.
    std::size_t partialDownloadCount() const;
};

/// "entries" holds the records; "entries" of a group and "tidyEligibleEntries" hold their URLs. The computed
/// counts are keys too.
std::string toJSON(const SmartDownloadsSnapshot& snapshot);

/// One reading of one folder. Its time runs from the moment it is made, on a clock that no one can set.
class SmartDownloadsScan {
public:
    SmartDownloadsScan(const DirectoryService& directory, const FileURL& root, SmartDownloadsOptions options);

    /// Reads on and gives everything so far; nothing after the last snapshot, and nothing after a throw.
    std::optional<SmartDownloadsSnapshot> next(const std::stop_token& stop);
    /// Reads to the end and makes the last snapshot only. Call it once, on a scan that has not ended.
    SmartDownloadsSnapshot last(const std::stop_token& stop);

private:
    SmartDownloadsSnapshot snapshot(SmartDownloadsCompletion completion) const;
    SmartDownloadsCompletion finish(SmartDownloadsCompletion completion);
    SmartDownloadsCompletion readOn(const std::stop_token& stop);
    void add(std::vector<FileEntry> batch);

    FileURL root_;
    SmartDownloadsOptions options_;
    std::chrono::steady_clock::time_point deadline_;
    DirectoryBatches batches_;
    std::vector<FileEntry> entries_; ///< sorted
    std::size_t metadataReadCount_ = 0;
    bool finished_ = false;
};

class SmartDownloadsService {
public:
    explicit SmartDownloadsService(DirectoryService directory = DirectoryService())
        : directory_(std::move(directory)) {}

    SmartDownloadsScan snapshots(const FileURL& folder, const SmartDownloadsOptions& options) const;
    /// The last snapshot of such a scan.
    SmartDownloadsSnapshot scan(const FileURL& folder, const SmartDownloadsOptions& options,
                                const std::stop_token& stop) const;
    /// The same of entries that are at hand; always complete. The limits of `options` are not applied.
    static SmartDownloadsSnapshot analyze(std::vector<FileEntry> entries, const FileURL& folder,
                                          const SmartDownloadsOptions& options);

private:
    DirectoryService directory_;
};

} // namespace morv
