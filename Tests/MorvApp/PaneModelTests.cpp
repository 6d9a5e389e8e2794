#include "Tests/MorvApp/PaneFixture.h"

#include <QThread>
#include <filesystem>
#include <latch>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;

using PaneModelTest = test::PaneTest;

FileEntry entry(const std::string& name, std::int64_t size, std::optional<double> modified, FileKind kind,
                bool isFolder = false) {
    FileEntry result;
    result.name = name;
    result.size = size;
    if (modified)
        result.modifiedAt = Date{*modified};
    result.kind = kind;
    result.isDirectory = isFolder;
    return result;
}

TEST(EntrySorter, foldersLeadAndEveryFieldHasItsOrderHoweverTheEntriesArrive) {
    std::vector<FileEntry> entries{entry("b.txt", 10, 300.5, FileKind::document),
                                   entry("Photo 10.png", 5, -20.0, FileKind::image),
                                   entry("Photo 2.png", 5, std::nullopt, FileKind::image),
                                   entry("zoo", 99, 1.0, FileKind::folder, true),
                                   entry("Alps", 0, 2.0, FileKind::folder, true),
                                   entry("tool.app", 7, 50.0, FileKind::installer, true)};
    entries.back().isPackage = true;
    struct Row {
        SortRule rule;
        std::vector<std::string> expected;
    };
    const Row rows[] = {
        {{FileSort::name, true}, {"Alps", "zoo", "b.txt", "Photo 2.png", "Photo 10.png", "tool.app"}},
        {{FileSort::name, false}, {"zoo", "Alps", "tool.app", "Photo 10.png", "Photo 2.png", "b.txt"}},
        {{FileSort::size, true}, {"Alps", "zoo", "Photo 2.png", "Photo 10.png", "tool.app", "b.txt"}},
        {{FileSort::size, false}, {"zoo", "Alps", "b.txt", "tool.app", "Photo 10.png", "Photo 2.png"}},
        {{FileSort::modified, true}, {"zoo", "Alps", "Photo 2.png", "Photo 10.png", "tool.app", "b.txt"}},
        {{FileSort::kind, true}, {"Alps", "zoo", "b.txt", "Photo 2.png", "Photo 10.png", "tool.app"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(rawValue(row.rule.sort)) + (row.rule.ascending ? " up" : " down"));
        EntryList list;
        EntrySorter pieces(row.rule);
        for (const auto& one : entries) {
            pieces.add(EntryList::firstRef(list.batches().size()), {one});
            list.append(std::make_shared<const std::vector<FileEntry>>(1, one));
            pieces.order();
        }
        EntrySorter byAge({FileSort::modified, false});
        byAge.add(0, entries);
        EntryList whole;
        whole.append(std::make_shared<const std::vector<FileEntry>>(entries));
        byAge.order();
        const auto placed = EntrySorter::sorted(whole, *byAge.namePlaces(), row.rule);
        byAge.setRule(row.rule, whole);
        for (const auto& order : {placed, byAge.order()}) {
            std::vector<std::string> found;
            for (const auto ref : *order)
                found.push_back(whole[ref].name);
            EXPECT_EQ(found, row.expected);
        }
        for (const auto& order : {pieces.order(), EntrySorter::sorted(list, row.rule)}) {
            std::vector<std::string> found;
            for (const auto ref : *order)
                found.push_back(list[ref].name);
            EXPECT_EQ(found, row.expected);
        }
    }
}

TEST_F(PaneModelTest, neverShowsAFolderThatWasLeft) {
    const auto a = folder("a");
    const auto b = folder("b");
    const auto c = folder("c");
    for (const auto& each : {a, b, c})
        for (int i = 0; i < 300; ++i)
            std::filesystem::create_directory(each.path() + "/" + std::string(each.lastComponent()) +
                                              std::to_string(i));
    // The readings of a and b wait in the middle until c has been asked for; they may outlive the test.
    struct Gate {
        std::latch reached{1};
        std::latch release{1};
        std::atomic<int> seen = 0;
    };
    const auto gate = std::make_shared<Gate>();
    const DirectoryService slow([gate, a, c](const FileURL& child) {
        if (child.parent() == a && gate->seen++ == 270)
            gate->reached.count_down();
        if (child.parent() != c && gate->seen > 270)
            gate->release.wait();
    });
    PaneModel pane(a, services(slow));
    int foreign = 0;
    QObject::connect(&pane, &PaneModel::entriesChanged, [&] {
        pane.entries().forEach(
            [&](const FileEntry& each) { foreign += *each.folder == pane.location() ? 0 : 1; });
    });
    gate->reached.wait();
    pane.navigate(b, PaneModel::History::record);
    pane.navigate(c, PaneModel::History::record);
    EXPECT_TRUE(pane.entries().empty());
    gate->release.count_down();
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.entries().size(), 300U);
    EXPECT_EQ(pane.loadedLocation(), c);
    bool drained = false;
    TaskScope probe(pools);
    probe.run(
        TaskLane::records, [](const std::stop_token&) {}, [&] { drained = true; },
        [](const std::exception_ptr&) {});
    eventually([&] { return drained; });
    EXPECT_EQ(foreign, 0);
    EXPECT_EQ(pane.entries().size(), 300U);
}

TEST_F(PaneModelTest, historyGoesBackForwardAndUp) {
    const auto a = folder("work/a");
    const auto b = folder("work/b");
    PaneModel pane(work, services());
    pane.navigate(a, PaneModel::History::record);
    pane.navigate(a, PaneModel::History::record);
    pane.navigate(b, PaneModel::History::record);
    pane.back();
    EXPECT_EQ(pane.location(), a);
    pane.back();
    EXPECT_EQ(pane.location(), work) << "going to the present folder added nothing";
    EXPECT_FALSE(pane.canGoBack());
    pane.back();
    pane.forward();
    EXPECT_EQ(pane.location(), a);
    pane.up();
    EXPECT_EQ(pane.location(), work);
    EXPECT_FALSE(pane.canGoForward()) << "a new way cuts the old one off";
    pane.navigate(FileURL::folder("/"), PaneModel::History::record);
    pane.up();
    EXPECT_TRUE(pane.location().isRoot());
    pane.back();
    EXPECT_EQ(pane.location(), work) << "up at the root recorded nothing";
    settled(pane);
}

TEST_F(PaneModelTest, refreshKeepsWhatStillExistsSelected) {
    file("keep");
    const auto gone = file("gone");
    file("other");
    PaneModel pane(work, services());
    ASSERT_TRUE(settled(pane));
    select(pane, {"keep", "gone"});
    EXPECT_EQ(pane.selectedBytes(), 14);
    std::filesystem::remove(gone.path());
    const auto fresh = file("fresh");
    pane.refresh();
    EXPECT_EQ(pane.entries().size(), 3U) << "the rows stay up while the folder is read again";
    ASSERT_TRUE(settled(pane));
    EXPECT_THAT(pane.selectedURLs(), ElementsAre(work.child("keep")));
    EXPECT_EQ(pane.selectedBytes(), 7);
    pane.selectWhenLoaded({fresh, FileURL::fromPath("/elsewhere/other")});
    pane.refresh();
    ASSERT_TRUE(settled(pane));
    EXPECT_THAT(pane.selectedURLs(), ElementsAre(fresh));
    std::filesystem::remove_all(work.path());
    std::filesystem::create_directory(work.path());
    pane.refresh();
    ASSERT_TRUE(settled(pane));
    EXPECT_TRUE(pane.displayedEntries().empty()) << "an emptied folder shows nothing";
}

TEST_F(PaneModelTest, aFailedReadingKeepsWhatItFoundAndIsNoLoadedFolder) {
    PaneModel pane(work.child("missing"), services());
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.error(), PosixError(ENOENT, work.child("missing").path()).what());
    EXPECT_FALSE(pane.loadedLocation());
    pane.navigate(work, PaneModel::History::record);
    EXPECT_FALSE(pane.error());
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.loadedLocation(), work);

    const auto large = folder("large");
    for (int i = 0; i < 700; ++i)
        std::filesystem::create_directory(large.path() + "/" + std::to_string(i));
    std::atomic<int> seen = 0;
    PaneModel broken(large, services(DirectoryService([&seen](const FileURL&) {
                         if (++seen == 650)
                             throw std::runtime_error("The cable came off.");
                     })));
    ASSERT_TRUE(settled(broken));
    EXPECT_EQ(broken.error(), "The cable came off.");
    EXPECT_EQ(broken.displayedEntries().size(), 512U) << "two batches were whole";
    EXPECT_FALSE(broken.loadedLocation());
    EXPECT_EQ(broken.history().locations.size(), 1U);
}

TEST_F(PaneModelTest, eachFolderIsShownAsItWasLeft) {
    file("a");
    file(".hidden");
    const auto downloads = folder("Downloads");
    const auto lower = folder("downloads");
    {
        PaneModel pane(work, services());
        ASSERT_TRUE(settled(pane));
        EXPECT_THAT(displayed(pane), ElementsAre("a"));
        auto preferences = pane.preferences();
        preferences.view = BrowserViewMode::list;
        preferences.showHidden = true;
        preferences.ascending = false;
        pane.setPreferences(preferences);
        ASSERT_TRUE(settled(pane));
        EXPECT_THAT(displayed(pane), ElementsAre("a", ".hidden"));
    }
    ASSERT_TRUE(eventually([&] { return store.loadBytes("folder.view." + work.path()).has_value(); }));
    PaneModel pane(work, services());
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.preferences().view, BrowserViewMode::list);
    EXPECT_THAT(displayed(pane), ElementsAre("a", ".hidden"));

    struct Row {
        FileURL folder;
        FileGrouping expected;
    };
    for (const auto& row : {Row{downloads, FileGrouping::kind}, Row{lower, FileGrouping::none}}) {
        pane.navigate(row.folder, PaneModel::History::record);
        ASSERT_TRUE(settled(pane));
        EXPECT_EQ(pane.preferences().grouping, row.expected);
        EXPECT_EQ(pane.preferences().view, BrowserViewMode::grid);
    }
    store.saveBytes("{\"view\":\"list\"}", "folder.view." + lower.path());
    pane.refresh();
    pane.navigate(lower, PaneModel::History::record);
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.preferences().view, BrowserViewMode::grid) << "an incomplete record counts as none";
}

TEST_F(PaneModelTest, aSessionBringsBackHistoryViewAndSelection) {
    const auto a = folder("a"), b = folder("b");
    file("raw \xE9");
    file("other");
    file(".hidden");
    PaneModel pane(work, services());
    ASSERT_TRUE(settled(pane));
    select(pane, {"raw \xE9", "other"});
    auto ids = pane.selectedIDs();
    EXPECT_EQ(ids, (std::set{pane.selectedEntries()[0]->id(), pane.selectedEntries()[1]->id()}));
    FileEntry unavailable;
    unavailable.folder = std::make_shared<const FileURL>(work);
    unavailable.name = "locked";
    unavailable.availability = FileAvailability::unavailable;
    EXPECT_EQ(EntryKey::parse(unavailable.id()), EntryKey(unavailable));
    EXPECT_EQ(EntryKey(unavailable).id(), unavailable.id());
    for (const auto* damaged : {"", "1:2", "1:2:relative", "1:x:/a", "-1:2:/a", "unavailable:"}) {
        EXPECT_FALSE(EntryKey::parse(damaged)) << damaged;
        ids.insert(damaged);
    }

    PaneModel later(work, services());
    FolderViewPreferences view;
    view.view = BrowserViewMode::list;
    view.showHidden = true;
    view.grouping = FileGrouping::date;
    std::filesystem::remove(work.path() + "/other");
    later.restoreView(view, ids);
    EXPECT_EQ(later.selectedIDs().size(), 2U) << "before anything is read";
    const std::vector<PaneNavigationHistory> refused = {{{a, b}, 0}, {{a, work}, 2}, {{work}, -1}, {{}, 0}};
    for (const auto& history : refused)
        later.restoreHistory(history);
    later.restoreHistory(std::nullopt);
    EXPECT_EQ(later.history(), (PaneNavigationHistory{{work}, 0}));
    const PaneNavigationHistory kept{{a, work, b}, 1};
    later.restoreHistory(kept);
    EXPECT_EQ(later.history(), kept);
    ASSERT_TRUE(settled(later));
    EXPECT_EQ(later.preferences(), view) << "the folder's own view does not come after it";
    EXPECT_THAT(displayed(later), ElementsAre(".hidden", "raw \xE9"));
    EXPECT_THAT(later.selectedURLs(), ElementsAre(work.child("raw \xE9")));
    EXPECT_EQ(later.selectedBytes(), 7);
    EXPECT_FALSE(store.loadBytes("folder.view." + work.path())) << "restoring saves nothing";
    later.selectIDs({"9:9:/elsewhere", later.displayedEntries().empty() ? "" : later.displayedEntry(0).id()});
    EXPECT_THAT(later.selectedURLs(), ElementsAre(work.child(".hidden")));
    later.forward();
    EXPECT_EQ(later.location(), b);
    EXPECT_TRUE(later.selection().empty());
    settled(later);
}

TEST_F(PaneModelTest, aLargeFolderIsSortedAgainWithoutLosingAnEntry) {
    for (int i = 0; i < 2100; ++i)
        file("n" + std::to_string(i), "");
    PaneModel pane(work, services());
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.displayedEntry(2).name, "n2") << "digits by value";
    const auto revision = pane.displayRevision();
    auto preferences = pane.preferences();
    preferences.ascending = false;
    pane.setPreferences(preferences);
    ASSERT_TRUE(eventually([&] { return pane.displayRevision() > revision; }));
    EXPECT_EQ(pane.displayedEntries().size(), 2100U);
    EXPECT_EQ(pane.displayedEntry(0).name, "n2099");
    EXPECT_EQ(pane.displayedEntry(2099).name, "n0");

    preferences.sort = FileSort::size;
    preferences.ascending = true;
    pane.refresh();
    pane.setPreferences(preferences);
    ASSERT_TRUE(settled(pane));
    ASSERT_TRUE(eventually([&] { return pane.displayedEntry(0).name == "n0"; }))
        << "an order that was chosen while the folder was read";

    std::size_t fewest = 2100;
    QObject::connect(&pane, &PaneModel::entriesChanged,
                     [&] { fewest = std::min(fewest, pane.displayedEntries().size()); });
    pane.refresh();
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(fewest, 2100U) << "a new reading takes no row away before it knows";
}

} // namespace
} // namespace morv
