#include "MorvCore/Folders/FileTagMetadata.h"
#include "Tests/MorvApp/PaneFixture.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <utility>

namespace morv {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

class PaneSearchTest : public test::PaneTest {
protected:
    PaneSearchTest() {
        folder("work/deep");
        file("report.txt");
        file("photo report.png", "12345");
        file("deep/Réport.pdf");
        file("deep/else");
    }
};

TEST_F(PaneSearchTest, findsByTextOrTagAndSaysWhatItLookedThrough) {
    FileTagMetadata::setNames(work.child("deep").child("else"), {"red"});
    PaneModel pane(work, services());
    ASSERT_TRUE(settled(pane));
    EXPECT_FALSE(pane.isSearch());
    EXPECT_FALSE(pane.searchNote());

    search(pane, " REPORT\t");
    EXPECT_TRUE(pane.isSearch());
    EXPECT_FALSE(pane.loadedLocation());
    EXPECT_EQ(pane.entries().size(), 3U) << "the rows stay up until the search has ended";
    ASSERT_TRUE(settled(pane));
    EXPECT_THAT(displayed(pane), ElementsAre("photo report.png", "Réport.pdf", "report.txt"));
    EXPECT_EQ(pane.searchNote(), "Searched 5 items");
    EXPECT_EQ(pane.loadedLocation(), work);

    select(pane, {"report.txt", "photo report.png"});
    pane.setKindFilter(FileKind::image);
    EXPECT_THAT(displayed(pane), ElementsAre("photo report.png"));
    EXPECT_THAT(pane.selectedURLs(), ElementsAre(work.child("photo report.png")));
    EXPECT_EQ(pane.selectedBytes(), 5) << "what the filter hides is not acted on";
    pane.setKindFilter(std::nullopt);
    EXPECT_EQ(pane.selectedBytes(), 12);

    pane.setQuery("");
    EXPECT_TRUE(pane.isSearch()) << "the field alone reads nothing";
    EXPECT_EQ(pane.entries().size(), 3U);
    pane.setTagFilter("Red");
    pane.runSearch();
    ASSERT_TRUE(settled(pane));
    EXPECT_THAT(displayed(pane), ElementsAre("else"));
    pane.setTagFilter(std::nullopt);
    pane.setQuery(" \t");
    pane.refresh();
    ASSERT_TRUE(settled(pane));
    EXPECT_FALSE(pane.isSearch());
    EXPECT_FALSE(pane.searchNote());
    EXPECT_THAT(displayed(pane), ElementsAre("deep", "photo report.png", "report.txt"));
}

TEST_F(PaneSearchTest, neverFollowsTheUserIntoAnotherFolder) {
    PaneModel pane(work, services());
    pane.setKindFilter(FileKind::image);
    pane.setTagFilter("Red");
    search(pane, "x");
    select(pane, {"report.txt"});
    pane.navigate(work.child("deep"), PaneModel::History::record);
    EXPECT_EQ(pane.query(), "");
    EXPECT_FALSE(pane.kindFilter() || pane.tagFilter());
    EXPECT_TRUE(pane.selection().empty());
    EXPECT_TRUE(pane.entries().empty());
    EXPECT_FALSE(pane.isSearch());
    ASSERT_TRUE(settled(pane));
    EXPECT_THAT(displayed(pane), ElementsAre("else", "Réport.pdf"));
    int readings = 0;
    QObject::connect(&pane, &PaneModel::loaded, [&] { ++readings; });
    pass(300ms);
    EXPECT_EQ(readings, 0) << "the search that was about to begin has been forgotten";
}

TEST_F(PaneSearchTest, typingCostsOneSearchAfterThePause) {
    std::atomic<int> searches = 0;
    auto given = services();
    given.search = SearchService([&](const FileURL& place) { searches += place == work ? 1 : 0; });
    PaneModel pane(work, given);
    ASSERT_TRUE(settled(pane));
    std::chrono::steady_clock::time_point last;
    for (const auto* typed : {"r", "re", "rep", "repo"}) {
        const auto before = std::exchange(last, std::chrono::steady_clock::now());
        if (before != std::chrono::steady_clock::time_point() && last - before > 200ms)
            GTEST_SKIP() << "this machine is too busy to type on";
        search(pane, typed);
        pass(40ms);
    }
    ASSERT_TRUE(settled(pane));
    EXPECT_GE(std::chrono::steady_clock::now() - last, 250ms);
    EXPECT_EQ(searches, 1);
    EXPECT_EQ(pane.entries().size(), 3U);
}

TEST_F(PaneSearchTest, showsTheFoldersOwnViewAlsoWhenASearchComesFirst) {
    FolderViewPreferences view;
    view.view = BrowserViewMode::gallery;
    view.ascending = false;
    store.save(view, "folder.view." + work.path());
    PaneModel pane(root, services());
    ASSERT_TRUE(settled(pane));
    pane.navigate(work, PaneModel::History::record);
    search(pane, "report");
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.preferences(), view);
    EXPECT_THAT(displayed(pane), ElementsAre("report.txt", "Réport.pdf", "photo report.png"));
}

TEST_F(PaneSearchTest, whatItCannotReadIsSaid) {
    auto given = services();
    bool isBroken = false;
    given.search = SearchService([&](const FileURL& place) {
        if (place != work || isBroken)
            throw std::runtime_error("The cable came off.");
    });
    PaneModel pane(work, given);
    search(pane, "report");
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.searchNote(), "Searched 3 items · 1 skipped");
    EXPECT_EQ(pane.entries().size(), 2U);
    isBroken = true;
    pane.refresh();
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.error(), "The cable came off.");
    EXPECT_TRUE(pane.entries().empty()) << "no results are not the results of before";
    EXPECT_FALSE(pane.loadedLocation());
    EXPECT_FALSE(pane.searchNote());
}

TEST_F(PaneSearchTest, downloadsAreGroupedWhileNothingIsSearched) {
    for (const auto* name : {"Downloads", "downloads"}) {
        SCOPED_TRACE(name);
        const auto downloads = folder(name);
        for (const auto* item : {"a.png", "b.png", "c.zip"})
            std::ofstream(downloads.path() + "/" + item) << item;
        PaneModel pane(downloads, services());
        ASSERT_TRUE(eventually([&] {
            const auto& groups = pane.downloadsKindGroups();
            return !pane.isLoading() && groups.size() == 2 &&
                   groups[0].entries.size() + groups[1].entries.size() == 3;
        }));
        EXPECT_EQ(pane.showsDownloadsGroups(), std::string_view(name) == "Downloads");
        auto view = pane.preferences();
        view.grouping = FileGrouping::kind;
        pane.setPreferences(view);
        pane.setDownloadsGroupID("kind-archive");
        ASSERT_TRUE(pane.selectedDownloadsGroup());
        EXPECT_EQ(pane.selectedDownloadsGroup()->title, "Archives");
        ASSERT_EQ(pane.downloadsDisplayedEntries().size(), 1U);
        EXPECT_EQ(pane.entries()[pane.downloadsDisplayedEntries()[0]].name, "c.zip");
        pane.setKindFilter(FileKind::image);
        EXPECT_FALSE(pane.selectedDownloadsGroup());
        EXPECT_EQ(pane.downloadsDisplayedEntries(), pane.displayedEntries());
        pane.setKindFilter(std::nullopt);

        std::filesystem::remove(downloads.path() + "/c.zip");
        pane.refresh();
        EXPECT_TRUE(eventually([&] { return !pane.downloadsGroupID(); })) << "the group has gone";
        pane.setDownloadsGroupID("kind-image");
        view.grouping = FileGrouping::date;
        pane.setPreferences(view);
        EXPECT_FALSE(pane.downloadsGroupID()) << "another grouping has other groups";
        EXPECT_TRUE(eventually(
            [&] { return !pane.downloadsKindGroups().empty() && pane.downloadsKindGroups()[0].dateBucket; }));
        search(pane, "png");
        EXPECT_FALSE(pane.showsDownloadsGroups());
        ASSERT_TRUE(settled(pane));
        EXPECT_THAT(pane.downloadsKindGroups(), IsEmpty());
    }
}

} // namespace
} // namespace morv
