#include "Tests/MorvApp/PaneFixture.h"

#include <chrono>
#include <filesystem>
#include <latch>
#include <mutex>
#include <random>
#include <set>

namespace morv {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

/// Longer than a change takes to arrive, with some to spare.
constexpr auto silence = 450ms;

class PaneChangeTest : public test::PaneTest {
protected:
    void countReadings(PaneModel& pane) {
        QObject::connect(&pane, &PaneModel::loaded, [this] { ++readings; });
    }
    int readings = 0;
};

TEST_F(PaneChangeTest, aBurstOfChangesIsOneReadingThatKeepsTheSelection) {
    file("kept");
    PaneModel pane(work, services());
    ASSERT_TRUE(settled(pane));
    select(pane, {"kept"});
    countReadings(pane);
    std::size_t count = 1;
    // Only a burst that the machine did not interrupt for a quiet moment is one burst.
    for (bool isOneBurst = false; !isOneBurst;) {
        ASSERT_LT(count, 1000U) << "this machine never lets a burst be one";
        readings = 0;
        isOneBurst = true;
        for (int i = 0; i < 50; ++i) {
            const auto before = std::chrono::steady_clock::now();
            file(std::to_string(count++));
            pass(20ms);
            isOneBurst = isOneBurst && std::chrono::steady_clock::now() - before < 120ms;
        }
        const int during = readings;
        ASSERT_TRUE(eventually([&] { return pane.entries().size() == count; }));
        pass(silence);
        if (isOneBurst) {
            EXPECT_EQ(during, 0);
            EXPECT_EQ(readings, 1);
        }
    }
    EXPECT_THAT(pane.selectedURLs(), ElementsAre(work.child("kept")));
}

TEST_F(PaneChangeTest, aFolderThatGoesIsAnErrorUntilItComesBack) {
    for (const auto source : {ChangeSource::events, ChangeSource::comparison}) {
        SCOPED_TRACE(source == ChangeSource::events ? "events" : "comparison");
        auto given = services();
        given.changes = source;
        const auto shown = folder("work/shown");
        PaneModel pane(shown, given);
        ASSERT_TRUE(settled(pane));
        std::filesystem::rename(shown.path(), work.path() + "/away");
        ASSERT_TRUE(eventually([&] { return pane.error().has_value(); }));
        EXPECT_FALSE(pane.loadedLocation());
        folder("work/shown/new");
        ASSERT_TRUE(eventually([&] { return pane.entries().size() == 1; }));
        EXPECT_FALSE(pane.error());
        std::filesystem::remove_all(shown.path());
        std::filesystem::rename(work.path() + "/away", shown.path());
        ASSERT_TRUE(eventually([&] { return pane.loadedLocation() && pane.entries().empty(); }));
        std::filesystem::remove_all(shown.path());
    }
}

TEST_F(PaneChangeTest, onlyTheFolderOnTheScreenIsFollowed) {
    const auto first = folder("first"), second = folder("second");
    PaneModel pane(first, services());
    ASSERT_TRUE(settled(pane));
    pane.navigate(second, PaneModel::History::record);
    ASSERT_TRUE(settled(pane));
    countReadings(pane);
    folder("first/new");
    pass(silence);
    EXPECT_EQ(readings, 0);

    folder("second/match");
    ASSERT_TRUE(eventually([&] { return readings == 1; }));
    search(pane, "match");
    ASSERT_TRUE(settled(pane));
    folder("second/match 2");
    pass(silence);
    EXPECT_EQ(readings, 2) << "search results stand until somebody asks again";
    pane.setQuery("");
    pane.runSearch();
    ASSERT_TRUE(settled(pane));
    EXPECT_EQ(pane.entries().size(), 2U);
}

TEST_F(PaneChangeTest, aFolderThatHangsIsReadOnceHoweverOftenItIsAskedFor) {
    file("a");
    const auto other = folder("other");
    folder("other/b");
    struct Gate {
        std::latch release{1};
        std::atomic<int> begun = 0;
    };
    const auto gate = std::make_shared<Gate>();
    const DirectoryService dead([gate](const FileURL& child) {
        if (child.lastComponent() == "a" && ++gate->begun <= 2)
            gate->release.wait();
    });
    PaneModel pane(work, services(dead));
    ASSERT_TRUE(eventually([&] { return gate->begun == 1; }));
    const auto ask = [&] {
        for (int i = 0; i < 50; ++i)
            pane.refresh();
        pane.cancelLoading();
        pane.refresh();
    };
    ask();
    EXPECT_TRUE(pane.isLoading());
    pass(silence);
    EXPECT_EQ(gate->begun, 1);
    pane.retry();
    ASSERT_TRUE(eventually([&] { return gate->begun == 2; })) << "a person who asks is not refused";
    ask();

    pane.navigate(other, PaneModel::History::record);
    ASSERT_TRUE(settled(pane)) << "another folder is read meanwhile";
    EXPECT_THAT(displayed(pane), ElementsAre("b"));
    pane.back();
    ASSERT_TRUE(settled(pane)) << "coming back asks again";
    ask();
    EXPECT_TRUE(pane.isLoading());
    gate->release.count_down();
    ASSERT_TRUE(settled(pane)) << "what was due is read when the others are back";
    EXPECT_THAT(displayed(pane), ElementsAre("a"));
    EXPECT_TRUE(pane.loadedLocation());
    EXPECT_FALSE(pane.error());
}

TEST_F(PaneChangeTest, aRunningReadingIsNotStartedAnewForEveryChange) {
    file("a");
    struct Gate {
        std::latch release{1};
        std::atomic<int> begun = 0;
    };
    const auto gate = std::make_shared<Gate>();
    const DirectoryService slow([gate](const FileURL& child) {
        gate->begun += child.lastComponent() == "a" ? 1 : 0;
        gate->release.wait();
    });
    PaneModel pane(work, services(slow));
    countReadings(pane);
    ASSERT_TRUE(eventually([&] { return gate->begun == 1; }));
    bool isTold = false;
    const DirectoryChangeWatcher witness(pools, work, ChangeSource::events, [&] { isTold = true; });
    witness.readiness().waitUntilReady({});
    file("b");
    ASSERT_TRUE(eventually([&] { return isTold; }));
    pass(100ms);
    EXPECT_EQ(gate->begun, 1);
    gate->release.count_down();
    ASSERT_TRUE(eventually([&] { return readings == 2; })) << "once when it has ended";
    EXPECT_THAT(displayed(pane), ElementsAre("a", "b"));
}

TEST_F(PaneChangeTest, aWatcherThatIsGoneTellsNothing) {
    int calls = 0;
    auto watcher =
        std::make_unique<DirectoryChangeWatcher>(pools, work, ChangeSource::events, [&] { ++calls; });
    watcher->readiness().waitUntilReady({});
    DirectoryEventMonitor monitor;
    const auto witness = monitor.watch(work);
    file("change");
    // The watcher's signal is on its way to this thread, which has not looked at its events meanwhile.
    ASSERT_EQ(witness->next({}), DirectoryWatch::Signal::changed);
    watcher.reset();
    pass(100ms);
    EXPECT_EQ(calls, 0);
    const DirectoryChangeWatcher none(pools, work.child("missing"), ChangeSource::events, [&] { ++calls; });
    none.readiness().waitUntilReady({});
}

/// A hundred steps of a user in a hurry, on readers that dawdle and fail. Whatever is shown at any moment
/// belongs to where the pane is and to what was asked for last.
TEST_F(PaneChangeTest, whateverHappensNothingStaleIsEverShown) {
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };

    constexpr int folderCount = 6;
    std::vector<FileURL> folders;
    for (int i = 0; i < folderCount; ++i) {
        folders.push_back(folder("f" + std::to_string(i)));
        for (int k = 0; k < i * 70; ++k)
            std::filesystem::create_directory(folders.back().path() + "/" + std::to_string(k) + " of " +
                                              std::to_string(i));
    }
    const auto content = [&](const PaneModel& pane) {
        std::multiset<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(pane.location().path())) {
            auto name = entry.path().filename().string();
            if (!pane.isSearch() || name.find(pane.query()) != std::string::npos)
                names.insert(std::move(name));
        }
        return names;
    };

    // The gate stays shut for a moment each time: a slow disk.
    std::mutex mutex;
    std::condition_variable gate;
    std::atomic<unsigned> turn = seed;
    const auto hostile = [&](const FileURL&) {
        const auto mood = (turn++ * 2654435761U) >> 16;
        if (mood % 16 == 0) {
            std::unique_lock lock(mutex);
            gate.wait_for(lock, std::chrono::microseconds(mood % 4000), [] { return false; });
        }
        if (mood % 1999 == 0)
            throw std::runtime_error("The cable came off.");
    };
    TaskPools readers; // ends before what the readers refer to
    const PaneServices given{store, readers, nullptr, DirectoryService(hostile), SearchService(hostile)};
    PaneModel pane(folders[1], given);

    int faults = 0;
    QObject::connect(&pane, &PaneModel::entriesChanged, [&] {
        pane.entries().forEach(
            [&](const FileEntry& entry) { faults += *entry.folder == pane.location() ? 0 : 1; });
        std::set<EntryRef> distinct(pane.displayedEntries().begin(), pane.displayedEntries().end());
        faults += distinct.size() == pane.displayedEntries().size() ? 0 : 1;
        if (!pane.kindFilter())
            faults += distinct.size() == pane.entries().size() ? 0 : 1;
    });
    QObject::connect(&pane, &PaneModel::loaded, [&] {
        std::multiset<std::string> names;
        pane.entries().forEach([&](const FileEntry& entry) { names.insert(entry.name); });
        faults += names == content(pane) ? 0 : 1;
        faults += pane.error() || pane.searchNote().has_value() != pane.isSearch() ? 1 : 0;
    });
    for (int step = 0; step < 100; ++step) {
        switch (below(9)) {
        case 0:
        case 1:
        case 2:
            pane.navigate(folders[static_cast<std::size_t>(below(folderCount))], PaneModel::History::record);
            break;
        case 3:
            pane.back();
            break;
        case 4:
            pane.forward();
            break;
        case 5:
            pane.refresh();
            break;
        case 6:
            search(pane, std::to_string(below(4)));
            break;
        case 7:
            pane.restoreView({.sort = below(2) ? FileSort::size : FileSort::name, .ascending = below(2) == 0},
                             {});
            break;
        default:
            pane.setKindFilter(below(2) ? std::optional(FileKind::folder) : std::nullopt);
        }
        pass(std::chrono::milliseconds(below(8) == 0 ? 280 : below(30)));
        ASSERT_EQ(faults, 0) << "after step " << step;
    }
    ASSERT_TRUE(settled(pane));
    pass(100ms);
    EXPECT_EQ(faults, 0);
    gate.notify_all();
}

} // namespace
} // namespace morv
