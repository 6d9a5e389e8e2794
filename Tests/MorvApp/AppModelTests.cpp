#include "MorvApp/Model/AppModel.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/Support.h"

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sqlite3.h>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class AppModelTest : public test::FolderTest {
protected:
    static bool idle(AppModel& app) {
        return eventually([&] { return !app.isOperating() && !app.activePane().isLoading(); });
    }
    static void select(AppModel& app, const std::vector<std::string>& wanted) {
        EntrySelection selection;
        app.activePane().entries().forEach([&](const FileEntry& entry) {
            if (std::ranges::find(wanted, entry.name) != wanted.end())
                selection.emplace(entry);
        });
        app.activePane().setSelection(selection);
    }
    bool ended(AppModel& app, std::size_t receipts) {
        return eventually(
                   [&] { return app.receipts().size() == receipts && !app.receipts().front().isActive(); }) &&
               idle(app);
    }

    test::MemoryBoard board;
};

TEST_F(AppModelTest, aPlanWithAWarningWaitsAndAnyOtherRunsAtOnce) {
    file("a.txt");
    file("b.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"a.txt", "b.txt"});
    app.perform(FileCommand::copy);
    EXPECT_EQ(app.status(), "Copied 2 items");

    app.perform(FileCommand::paste);
    ASSERT_TRUE(eventually([&] { return app.reviewPlan().has_value(); }));
    EXPECT_THAT(app.reviewPlan()->warnings, SizeIs(2));
    app.cancelReview();
    EXPECT_FALSE(app.reviewPlan());
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt")) << "a review changes nothing";

    app.perform(FileCommand::paste);
    ASSERT_TRUE(eventually([&] { return app.reviewPlan().has_value(); }));
    const auto plan = *app.reviewPlan();
    app.commitReview(plan.skipping({plan.items[1].id}));
    EXPECT_FALSE(app.reviewPlan());
    EXPECT_TRUE(app.isOperating());
    ASSERT_TRUE(ended(app, 1));
    EXPECT_THAT(names(work), ElementsAre("a 2.txt", "a.txt", "b.txt"));

    select(app, {"b.txt"});
    app.perform(FileCommand::duplicate);
    ASSERT_TRUE(ended(app, 2));
    EXPECT_FALSE(app.reviewPlan()) << "a duplicate's only warning is the name it chose";
    EXPECT_TRUE(exists(work.child("b 2.txt")));
    EXPECT_TRUE(eventually([&] {
        return app.activePane().selectedURLs() == std::vector<FileURL>{work.child("b 2.txt")};
    })) << "the result is selected";
}

TEST_F(AppModelTest, aStaleReviewIsNeverExecuted) {
    const auto source = file("a.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    OperationRequest request;
    request.kind = OperationKind::trash;
    request.sources = {source};
    app.offer(services.engine.plan(request, {}),
              [](const std::stop_token&) { throw std::runtime_error("Stale."); });
    ASSERT_TRUE(app.reviewPlan());
    const auto plan = *app.reviewPlan();
    app.commitReview(plan);
    ASSERT_TRUE(eventually([&] { return app.errorMessage().has_value(); }));
    EXPECT_EQ(app.errorMessage(), "Stale.");
    EXPECT_FALSE(app.reviewPlan() || app.isOperating());
    EXPECT_TRUE(exists(source));
    EXPECT_THAT(services.engine.history(), IsEmpty());
}

TEST_F(AppModelTest, theStatusTellsHowAnOperationEnded) {
    file("a.txt");
    file("b.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    std::vector<std::string> seen;
    QObject::connect(&app, &AppModel::statusChanged, [&] { seen.push_back(*app.status()); });
    select(app, {"a.txt", "b.txt"});
    app.perform(FileCommand::trash);
    ASSERT_TRUE(ended(app, 1));
    EXPECT_THAT(names(work), IsEmpty());
    EXPECT_THAT(seen, testing::Contains(testing::MatchesRegex("Move to Trash · [0-2] of 2 items processed")));
    const auto& receipt = app.receipts().front();
    EXPECT_EQ(seen.back(), receipt.message && !receipt.message->empty()
                               ? "Move to Trash · " + *receipt.message
                               : "Move to Trash completed · 2 of 2 items completed");
    EXPECT_FALSE(app.sheet()) << "Activity opens by itself only when something needs attention";

    // The last receipt arrives a moment before the engine gives the turn back, and undo never waits.
    ASSERT_TRUE(eventually([&] { return !services.engine.hasActiveOperation(); }));
    app.undo();
    ASSERT_TRUE(eventually([&] { return app.receipts().front().status == OperationStatus::undone; }));
    ASSERT_TRUE(idle(app));
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt"));
    const auto status = app.status();
    app.undo();
    app.plan({});
    ASSERT_TRUE(eventually([&] { return app.errorMessage().has_value(); }));
    EXPECT_EQ(app.errorMessage(), "Select at least one file.");
    EXPECT_EQ(app.status(), status) << "nothing to undo says nothing";
}

TEST_F(AppModelTest, somethingThatFailedOpensActivity) {
    const auto source = file("a.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    OperationRequest request;
    request.kind = OperationKind::trash;
    request.sources = {source};
    const auto plan = services.engine.plan(request, {});
    file("a.txt", "changed after the plan");
    app.execute(plan);
    ASSERT_TRUE(ended(app, 1));
    EXPECT_EQ(app.receipts().front().status, OperationStatus::failed);
    EXPECT_TRUE(eventually([&] { return app.sheet() == AppSheet::activity; }));
    EXPECT_TRUE(exists(source));
}

TEST_F(AppModelTest, aHistoryReadNeverRollsBackWhatTheStreamBrought) {
    // The reading of the history is held after its first receipt; that receipt is undone meanwhile.
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<OperationReceipt> read;
    bool holds = false;
    bool held = false;
    EngineObservers observers;
    observers.historyRead = [&](const OperationReceipt& receipt) {
        std::unique_lock lock(mutex);
        if (!holds || held)
            return;
        read.push_back(receipt);
        if (read.size() < 2)
            return;
        held = true;
        changed.notify_all();
        changed.wait(lock, [&] { return !holds; });
    };
    file("a.txt");
    file("b.txt");
    MorvServices services(environment(), {}, observers);
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"a.txt"});
    app.perform(FileCommand::duplicate);
    ASSERT_TRUE(ended(app, 1));
    select(app, {"b.txt"});
    app.perform(FileCommand::duplicate);
    ASSERT_TRUE(ended(app, 2));
    bool drained = false;
    TaskScope probe(services.pools);
    probe.run(
        TaskLane::reading, [&](const std::stop_token&) { services.engine.history(); },
        [&] { drained = true; }, [](const std::exception_ptr&) {});
    ASSERT_TRUE(eventually([&] { return drained && !services.engine.hasActiveOperation(); }));

    {
        const std::lock_guard lock(mutex);
        holds = true;
    }
    app.refreshOperationHistory();
    UUID undone;
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return held; }));
        undone = read.front().id;
    }
    const auto statusOf = [&](const UUID& id) {
        return std::ranges::find(app.receipts(), id, &OperationReceipt::id)->status;
    };
    std::thread undoing([&] { services.engine.undo(undone, {}); });
    const bool streamed = eventually([&] { return statusOf(undone) == OperationStatus::undone; });
    bool rolledBack = false;
    int publications = 0;
    QObject::connect(&app, &AppModel::receiptsChanged, [&] {
        ++publications;
        rolledBack = rolledBack || statusOf(undone) != OperationStatus::undone;
    });
    {
        const std::lock_guard lock(mutex);
        holds = false;
    }
    changed.notify_all();
    EXPECT_TRUE(eventually([&] { return publications > 0; }));
    undoing.join();
    EXPECT_TRUE(streamed);
    EXPECT_FALSE(rolledBack);
    EXPECT_THAT(app.receipts(), SizeIs(2));
}

TEST_F(AppModelTest, aCutMovesOnceAndIsThenACopy) {
    file("a.txt");
    const auto target = folder("target");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"a.txt"});
    app.perform(FileCommand::cut);
    EXPECT_EQ(app.status(), "1 item ready to move · Paste in Morv or in another file manager.");
    app.activePane().navigate(target, PaneModel::History::record);
    app.perform(FileCommand::paste);
    ASSERT_TRUE(ended(app, 1));
    EXPECT_THAT(names(work), IsEmpty());
    EXPECT_THAT(names(target), ElementsAre("a.txt"));
    EXPECT_TRUE(eventually([&] { return app.clipboard().read().mode == FileClipboard::Mode::copy; }));
    EXPECT_THAT(app.clipboard().read().urls, ElementsAre(target.child("a.txt")));
}

TEST_F(AppModelTest, anOperationOutlivesItsWindowAndReachesEveryOther) {
    file("large", std::string(8'000'000, 'x'));
    MorvServices services(environment());
    AppModel other(services, board, work);
    {
        AppModel app(services, board, work);
        ASSERT_TRUE(idle(app));
        select(app, {"large"});
        app.perform(FileCommand::duplicate);
        ASSERT_TRUE(eventually([&] { return app.isOperating(); }));
    }
    ASSERT_TRUE(ended(other, 1));
    EXPECT_EQ(other.receipts().front().status, OperationStatus::completed);
    EXPECT_TRUE(eventually([&] { return other.activePane().entries().size() == 2; }))
        << "its pane was read again";
}

TEST_F(AppModelTest, theFirstFolderFollowsItsOrder) {
    const auto last = folder("last");
    auto given = environment();
    MorvServices services(given);
    EXPECT_EQ(services.firstFolder(), homeFolder()) << "without a Downloads folder";
    EXPECT_EQ(MorvServices::dataDirectory({{"MORV_DATA_DIRECTORY", "relative"}}),
              FileURL::fromArgument("relative"))
        << "as morvctl takes it";
    {
        AppModel app(services, board, last);
        idle(app);
    }
    EXPECT_EQ(services.firstFolder(), last);

    given["MORV_START_DIRECTORY"] = work.path();
    given["MORV_DATA_DIRECTORY"] = root.path() + "/other";
    MorvServices fixture(given);
    AppModel app(fixture, board);
    EXPECT_EQ(app.activePane().location(), work);
    idle(app);
    EXPECT_EQ(fixture.defaults.lastLocation(), last) << "the remembered folder is left alone";
}

TEST_F(AppModelTest, startUpMakesItsFoldersOrSaysWhyNot) {
    MorvRuntime runtime(environment());
    ASSERT_TRUE(runtime.services()) << *runtime.startupError();
    EXPECT_TRUE(exists(FileURL::fromPath(root.path() + "/data/deep/Morv/Morv.sqlite")));

    MorvRuntime second(environment());
    EXPECT_FALSE(second.services());
    EXPECT_EQ(second.startupError(), "Morv is already running with this data directory.");

    auto newer = environment();
    newer["MORV_DATA_DIRECTORY"] = folder("newer").path();
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((root.path() + "/newer/Morv.sqlite").c_str(), &database), SQLITE_OK);
    sqlite3_exec(database, "PRAGMA user_version = 2", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    EXPECT_EQ(MorvRuntime(newer).startupError(), "This Morv database was created by a newer app version.");
}

} // namespace
} // namespace morv
