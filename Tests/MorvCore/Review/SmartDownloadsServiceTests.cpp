#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Review/SmartDownloadsService.h"
#include "Tests/Support/TemporaryFolder.h"

#include <limits>
#include <map>
#include <nlohmann/json.hpp>

using namespace morv;
using namespace morv::test;

namespace {

const FileURL root = FileURL::folder("/nowhere/Downloads");

FileEntry file(const std::string& name, std::int64_t size = 1) {
    FileEntry entry;
    entry.folder = std::make_shared<const FileURL>(root);
    entry.name = name;
    entry.kind = classifyName(name, false, false);
    entry.size = size;
    entry.isWritable = true;
    return entry;
}

FileEntry folder(const std::string& name) {
    auto entry = file(name);
    entry.isDirectory = true;
    entry.isPackage = isPackageName(name);
    entry.kind = classifyName(name, true, entry.isPackage);
    return entry;
}

std::vector<std::string> outline(const SmartDownloadsSnapshot& snapshot) {
    std::vector<std::string> lines;
    for (const auto& group : snapshot.groups) {
        auto line = group.id + "|" + group.title + "|" + group.symbol + "|" +
                    std::string(rawValue(group.nature)) + ":";
        for (const auto& entry : group.entries)
            line += " " + entry.name;
        lines.push_back(line);
    }
    return lines;
}

SmartDownloadsOptions limited(std::int64_t entries, double seconds = 60) {
    SmartDownloadsRequest request;
    request.maxEntries = entries;
    request.maxDuration = seconds;
    return SmartDownloadsOptions(request);
}

} // namespace

TEST(SmartDownloads, groupsByKindWithRealFoldersFirst) {
    const auto snapshot =
        SmartDownloadsService::analyze({file("setup.iso"), file("b 10.png", 5), file("b 2.png", 7),
                                        folder("Zoo"), folder("Photos.app"), file("x.tar"), file("odd")},
                                       root, SmartDownloadsOptions({}));
    EXPECT_EQ(outline(snapshot), (std::vector<std::string>{
                                     "physical-folders|Folders in this location|folder|physicalFolders: Zoo",
                                     "kind-image|Images|photo|virtual: b 2.png b 10.png",
                                     "kind-archive|Archives|archivebox|virtual: x.tar",
                                     "kind-installer|Installers|shippingbox|virtual: Photos.app setup.iso",
                                     "kind-other|Other|doc|virtual: odd"}));
    EXPECT_EQ(snapshot.groups[1].logicalBytes(), 12);
    EXPECT_EQ(snapshot.completion, SmartDownloadsCompletion::complete);
    EXPECT_EQ(snapshot.metadataReadCount, 7U);
    EXPECT_EQ(snapshot.folderCount(), 1U);
    EXPECT_EQ(snapshot.packageCount(), 1U);
    EXPECT_EQ(snapshot.unknownAddedDateCount, 7U);
}

TEST(SmartDownloads, bucketsFollowTheCalendarOfTheUser) {
    constexpr double hour = 3600, day = 24 * hour;
    // Wednesday, 14 May 2025, 00:00 in London, an hour ahead of UTC.
    constexpr double midnight = 1747177200;
    struct Row {
        std::string name, locale;
        double added; // seconds from that midnight
        std::string bucket;
    };
    for (const auto& row :
         std::vector<Row>{{"midnight itself", "en_GB", 0, "added-today"},
                          {"next month", "en_GB", 30 * day, "added-today"},
                          {"a moment before midnight", "en_GB", -0.5, "added-yesterday"},
                          {"the start of yesterday", "en_GB", -day, "added-yesterday"},
                          {"before yesterday", "en_GB", -day - 0.5, "added-thisWeek"},
                          {"the start of Monday", "en_GB", -2 * day, "added-thisWeek"},
                          {"Sunday before a Monday", "en_GB", -2 * day - 0.5, "added-older"},
                          {"without a locale weeks begin on Monday", "C", -2 * day - 0.5, "added-older"},
                          {"Sunday begins the week", "en_US", -3 * day, "added-thisWeek"},
                          {"Saturday before a Sunday", "en_US", -3 * day - 0.5, "added-older"}}) {
        SCOPED_TRACE(row.name);
        SmartDownloadsRequest request;
        request.grouping = SmartDownloadsGrouping::dateAdded;
        request.now = Date::fromUnix(midnight + 15 * hour);
        request.calendar = {row.locale, "Europe/London"};
        auto entry = file("a.txt");
        entry.addedAt = Date::fromUnix(midnight + row.added);
        entry.modifiedAt = request.now;
        auto undated = file("b.txt");
        undated.modifiedAt = request.now;
        const auto snapshot =
            SmartDownloadsService::analyze({undated, entry}, root, SmartDownloadsOptions(request));
        ASSERT_EQ(snapshot.groups.size(), 2U);
        EXPECT_EQ(snapshot.groups[0].id, row.bucket);
        EXPECT_EQ(outline(snapshot)[1],
                  "added-unknown|Date added unavailable|calendar.badge.questionmark|virtual: b.txt");
        EXPECT_EQ(snapshot.unknownAddedDateCount, 1U);
    }
}

TEST(SmartDownloads, daysOfUnusualLengthBeginWithTheirFirstMoment) {
    constexpr double hour = 3600;
    // London, 30 March 2025: 23 hours. São Paulo, 4 November 2018: no midnight, 01:00 is 03:00 UTC.
    const auto spring = dayBoundaries({"en_GB", "Europe/London"}, Date::fromUnix(1743379200.0));
    EXPECT_EQ(spring.today.unixSeconds(), 1743379200.0 - 1 * hour);
    EXPECT_EQ(spring.yesterday.unixSeconds(), 1743379200.0 - 24 * hour);
    const auto missing = dayBoundaries({"pt_BR", "America/Sao_Paulo"}, Date::fromUnix(1541332800.0));
    EXPECT_EQ(missing.today.unixSeconds(), 1541300400.0);
    EXPECT_EQ(missing.yesterday.unixSeconds(), 1541300400.0 - 24 * hour);
    EXPECT_EQ(dayBoundaries({"en_GB", "Not/AZone"}, Date::fromUnix(1541332800.0)).today.unixSeconds(),
              1541289600.0);
}

TEST(SmartDownloads, whatTidyingMustNotTouchIsExcludedForTheFirstReasonThatHolds) {
    auto link = file("1 link.part");
    link.isSymbolicLink = true;
    auto fetched = file("2 fetched.txt");
    fetched.isDownloading = true;
    auto partial = folder("3 torrent.Part");
    auto unread = file("4 unread.txt");
    unread.availability = FileAvailability::unavailable;
    unread.isWritable = false;
    auto cloud = file("5 cloud.txt", 40);
    cloud.availability = FileAvailability::notDownloaded;
    auto locked = file("8 locked.txt");
    locked.isWritable = false;
    const auto snapshot =
        SmartDownloadsService::analyze({link, fetched, partial, unread, cloud, folder("6 x.app"),
                                        folder("7 folder"), locked, file("9 free.txt")},
                                       root, SmartDownloadsOptions({}));
    std::map<std::string, std::string> reasons;
    for (const auto& exclusion : snapshot.exclusions)
        reasons[std::string(exclusion.source.lastComponent())] = exclusion.reason;
    const std::map<std::string, std::string> expected = {
        {"1 link.part", "Symbolic links stay in place; their targets were not inspected."},
        {"2 fetched.txt", "An active or incomplete download stays in place."},
        {"3 torrent.Part", "An active or incomplete download stays in place."},
        {"4 unread.txt", "Metadata is unavailable; this item cannot be safely included in tidy actions."},
        {"5 cloud.txt", "Cloud-only content stays in place; no download was requested."},
        {"6 x.app", "Packages stay in place; their contents were not inspected."},
        {"7 folder", "Physical folders stay in place; this view does not reorganise their contents."},
        {"8 locked.txt", "This file is read-only."}};
    EXPECT_EQ(reasons, expected);
    ASSERT_EQ(snapshot.tidyEligibleEntries.size(), 1U);
    EXPECT_EQ(snapshot.tidyEligibleEntries[0].name, "9 free.txt");
    EXPECT_EQ(snapshot.cloudOnlyLogicalBytes(), 40);

    const auto json = nlohmann::json::parse(toJSON(snapshot));
    EXPECT_EQ(json.at("tidyEligibleEntries"),
              nlohmann::json::array({"file:///nowhere/Downloads/9%20free.txt"}));
    EXPECT_EQ(json.at("groups")[0].at("nature"), "physicalFolders");
    const std::map<std::string, int> counts = {
        {"totalCount", 9},       {"excludedCount", 8},     {"folderCount", 2},
        {"packageCount", 1},     {"symbolicLinkCount", 1}, {"cloudOnlyCount", 1},
        {"downloadingCount", 1}, {"unavailableCount", 1},  {"partialDownloadCount", 2}};
    for (const auto& [key, count] : counts)
        EXPECT_EQ(json.at(key), count) << key;
}

TEST(SmartDownloads, aScanFillsUpBatchByBatchAndStopsAtItsLimits) {
    const TemporaryFolder real;
    for (int i = 0; i < 150; ++i)
        real.write("file " + std::to_string(i) + ".txt");
    real.write(".hidden");
    const SmartDownloadsService service;

    auto scan = service.snapshots(real.url(), limited(1000));
    std::vector<std::size_t> sizes;
    SmartDownloadsSnapshot last;
    while (auto snapshot = scan.next({})) {
        EXPECT_TRUE(std::ranges::is_sorted(snapshot->entries, DirectoryService::nameOrder));
        sizes.push_back(snapshot->totalCount());
        last = *snapshot;
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{64, 128, 150, 150}));
    EXPECT_EQ(last.completion, SmartDownloadsCompletion::complete);
    EXPECT_EQ(last.entries, DirectoryService().entries(real.url(), HiddenItems::skip, {}));
    EXPECT_EQ(service.scan(real.url(), limited(1000), {}).groups, last.groups);

    const auto some = service.scan(real.url(), limited(100), {});
    EXPECT_EQ(some.totalCount(), 100U);
    EXPECT_EQ(some.metadataReadCount, 128U);
    EXPECT_EQ(some.completion, SmartDownloadsCompletion::entryLimit);
    const auto none = service.scan(real.url(), limited(0), {});
    EXPECT_EQ(none.totalCount() + none.metadataReadCount, 0U);
    EXPECT_EQ(none.completion, SmartDownloadsCompletion::entryLimit);
    EXPECT_EQ(service.scan(real.url(), limited(100, 0), {}).completion, SmartDownloadsCompletion::timeLimit);
    EXPECT_EQ(limited(60'000).maxEntries(), 50'000U);
    EXPECT_EQ(limited(-1).maxEntries(), 0U);
    EXPECT_EQ(limited(1, 1000).maxDuration(), 60);
    EXPECT_EQ(limited(1, std::numeric_limits<double>::quiet_NaN()).maxDuration(), 5);

    const auto empty = service.scan(real.makeFolder("empty"), limited(10), {});
    EXPECT_EQ(empty.completion, SmartDownloadsCompletion::complete);
    EXPECT_TRUE(empty.groups.empty());
}

TEST(SmartDownloads, aFailedOrCancelledScanNeverLooksComplete) {
    const TemporaryFolder real;
    const SmartDownloadsService service;
    auto missing = service.snapshots(real.url("gone"), limited(10));
    EXPECT_THROW(missing.next({}), PosixError);
    EXPECT_EQ(missing.next({}), std::nullopt);

    std::stop_source stop;
    stop.request_stop();
    auto scan = service.snapshots(real.url(), limited(10));
    EXPECT_THROW(scan.next(stop.get_token()), CancellationError);
    EXPECT_THROW(service.scan(real.url(), limited(10), stop.get_token()), CancellationError);
}
