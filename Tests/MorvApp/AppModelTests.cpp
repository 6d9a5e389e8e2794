#include "MorvApp/Model/AppModel.h"
#include "MorvCore/Platform/UserFolders.h"
#include "MorvCore/Review/SuggestionMemoryStore.h"
#include "Tests/MorvApp/Support.h"

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <future>
#include <latch>
#include <mutex>
#include <sqlite3.h>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using AppModelTest = test::ModelTest;

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
    ASSERT_TRUE(eventually(
        [&] { return app.activePane().selectedURLs() == std::vector<FileURL>{work.child("a 2.txt")}; }));

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

TEST_F(AppModelTest, aReviewIsExecutedOnceAndOnlyAfterItsValidation) {
    const auto source = file("a.txt");
    std::latch begun(1), go(1), begunAgain(1), goAgain(1);
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    const auto offered = [&](std::latch& validating, std::latch& mayEnd) {
        OperationRequest request;
        request.kind = OperationKind::duplicate;
        request.sources = {source};
        app.offer(services.engine.plan(request, {}), [&](const std::stop_token&) {
            validating.count_down();
            mayEnd.wait();
        });
        return *app.reviewPlan();
    };
    const auto plan = offered(begun, go);
    app.commitReview(plan);
    app.commitReview(plan);
    begun.wait();
    EXPECT_TRUE(app.reviewPlan()) << "a second press does not go past the validation";
    go.count_down();
    ASSERT_TRUE(ended(app, 1));
    EXPECT_FALSE(app.errorMessage());

    app.commitReview(offered(begunAgain, goAgain));
    begunAgain.wait();
    app.cancelReview();
    goAgain.count_down();
    EXPECT_TRUE(idle(app));
    bool passed = false;
    TaskScope probe(services.pools);
    probe.run(
        TaskLane::operations, [](const std::stop_token&) {}, [&] { passed = true; },
        [](const std::exception_ptr&) {});
    ASSERT_TRUE(eventually([&] { return passed; }));
    EXPECT_THAT(services.engine.history(), SizeIs(1)) << "a cancelled review is never executed";
}

TEST_F(AppModelTest, aReviewStaysWhenAnotherPlanRuns) {
    const auto source = file("a.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    OperationRequest request;
    request.kind = OperationKind::trash;
    request.sources = {source};
    app.offer(services.engine.plan(request, {}), {});
    request.sources = {file("b.txt")};
    request.kind = OperationKind::duplicate;
    app.execute(services.engine.plan(request, {}));
    ASSERT_TRUE(ended(app, 1));
    ASSERT_TRUE(app.reviewPlan());
    EXPECT_EQ(app.reviewPlan()->kind, OperationKind::trash);
    const auto plan = *app.reviewPlan();
    app.commitReview(plan);
    EXPECT_FALSE(app.reviewPlan());
    ASSERT_TRUE(ended(app, 2));
}

TEST_F(AppModelTest, resultsAreNotSelectedOverWhatTheUserHasSelectedSince) {
    file("a.txt");
    file("b.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"a.txt"});
    OperationRequest request;
    request.kind = OperationKind::duplicate;
    request.sources = {work.child("a.txt")};
    app.execute(services.engine.plan(request, {}));
    select(app, {"b.txt"});
    ASSERT_TRUE(ended(app, 1));
    ASSERT_TRUE(eventually([&] { return app.activePane().entries().size() == 3; }) && idle(app));
    EXPECT_THAT(app.activePane().selectedURLs(), ElementsAre(work.child("b.txt")));
}

TEST_F(AppModelTest, cancellingStopsEveryPlanInTheMaking) {
    const auto large = file("large");
    std::filesystem::resize_file(large.path(), 400'000'000);
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"large"});
    app.perform(FileCommand::duplicate);
    app.perform(FileCommand::duplicate);
    ASSERT_TRUE(eventually([&] { return app.progress().has_value(); }));
    app.cancelOperation();
    EXPECT_FALSE(app.progress());
    // Another reading of the same bytes lasts as long as a plan that went on.
    bool passed = false;
    TaskScope probe(services.pools);
    probe.run(
        TaskLane::reading,
        [&](const std::stop_token& stop) { return services.engine.fingerprint(large, stop); },
        [&](const FileFingerprint&) { passed = true; }, [](const std::exception_ptr&) {});
    ASSERT_TRUE(eventually([&] { return passed || app.progress(); }));
    EXPECT_FALSE(app.progress()) << "none goes on behind the user’s back";
    EXPECT_TRUE(eventually([&] { return passed; }));
    EXPECT_THAT(services.engine.history(), IsEmpty());
}

TEST_F(AppModelTest, aCutThatAnotherWindowPastedIsNoMoveAnyMore) {
    file("a.txt");
    const auto target = folder("target");
    MorvServices services(environment());
    AppModel first(services, board, work);
    AppModel second(services, board, target);
    ASSERT_TRUE(idle(first) && idle(second));
    select(first, {"a.txt"});
    first.perform(FileCommand::cut);
    second.perform(FileCommand::paste);
    ASSERT_TRUE(ended(second, 1));
    EXPECT_TRUE(eventually([&] { return first.clipboard().read().mode == FileClipboard::Mode::copy; }));
    EXPECT_THAT(first.clipboard().read().urls, ElementsAre(target.child("a.txt")));
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
    OperationRequest later;
    later.kind = OperationKind::duplicate;
    later.sources = {work.child("a.txt")};
    std::thread undoing([&] {
        services.engine.undo(undone, {});
        services.engine.execute(services.engine.plan(later, {}), {});
    });
    const bool streamed =
        eventually([&] { return statusOf(undone) == OperationStatus::undone && app.receipts().size() == 3; });
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
    EXPECT_THAT(app.receipts(), SizeIs(3)) << "what began after the reading did is not forgotten";
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

TEST_F(AppModelTest, aTransferGoesToTheOtherPaneAndAMoveIsAlwaysConfirmed) {
    file("a.txt");
    const auto other = folder("other");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"a.txt"});
    app.perform(FileCommand::crossPaneCopy);
    EXPECT_EQ(app.errorMessage(), "Open split view to transfer between panes.");

    app.perform(FileCommand::toggleSplit);
    app.activeTab().second->navigate(other, PaneModel::History::record);
    ASSERT_TRUE(eventually([&] { return app.activeTab().second->loadedLocation() == other; }));
    app.perform(FileCommand::crossPaneCopy);
    ASSERT_TRUE(ended(app, 1));
    EXPECT_THAT(names(other), ElementsAre("a.txt"));
    EXPECT_TRUE(eventually([&] {
        return app.activeTab().second->selectedURLs() == std::vector<FileURL>{other.child("a.txt")};
    })) << "the result is selected where it is";

    file("b.txt");
    app.refresh();
    ASSERT_TRUE(eventually([&] { return app.activePane().entries().size() == 2; }) && idle(app));
    select(app, {"b.txt"});
    app.perform(FileCommand::crossPaneMove);
    ASSERT_TRUE(eventually([&] { return app.reviewPlan().has_value(); }));
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt"));
    const auto plan = *app.reviewPlan();
    app.commitReview(plan);
    ASSERT_TRUE(ended(app, 2));
    EXPECT_THAT(names(work), ElementsAre("a.txt"));

    // From the second pane the first one is the other.
    app.switchPane();
    ASSERT_TRUE(idle(app));
    select(app, {"b.txt"});
    app.perform(FileCommand::crossPaneCopy);
    ASSERT_TRUE(ended(app, 3));
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt"));
}

TEST_F(AppModelTest, aMoveIsLearntAndItsUndoForgotten) {
    file("a.txt");
    const auto target = folder("target");
    MorvServices services(environment());
    SuggestionMemoryStore memory(services.store);
    memory.configure({.enabled = true, .suggestionsEnabled = true, .allowedRoots = {}, .excludedRoots = {}});
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    select(app, {"a.txt"});
    app.perform(FileCommand::copy);
    app.showFolder(target);
    ASSERT_TRUE(idle(app));
    app.perform(FileCommand::paste);
    ASSERT_TRUE(ended(app, 1));
    app.showFolder(work);
    ASSERT_TRUE(idle(app));
    EXPECT_THAT(memory.records(), IsEmpty()) << "a copy teaches nothing";

    const auto second = folder("second");
    select(app, {"a.txt"});
    app.perform(FileCommand::cut);
    app.showFolder(second);
    ASSERT_TRUE(idle(app));
    // What is looked up for it may wait for a server that has gone, and stands in no other record's way.
    std::promise<void> written;
    TaskScope writing(services.pools);
    writing.run(
        TaskLane::records, [wait = written.get_future().share()](const std::stop_token&) { wait.wait(); },
        [] {}, [](const std::exception_ptr&) {});
    app.perform(FileCommand::paste);
    ASSERT_TRUE(ended(app, 2));
    ASSERT_TRUE(eventually([&] { return memory.records().size() == 1; }));
    written.set_value();
    EXPECT_EQ(memory.records().front().destination, second.child("a.txt"));
    memory.record({UUID::random(), work.child("x.txt"), second.child("x.txt"), Date::now()});

    app.undo(app.receipts().front().id);
    EXPECT_TRUE(eventually([&] {
        const auto left = memory.records();
        return left.size() == 1 && left.front().source == work.child("x.txt");
    })) << "only what this move taught is forgotten";
    idle(app);
}

TEST_F(AppModelTest, aPlanForReviewGoesToTheRouterWhereThereIsOne) {
    file("a.txt");
    MorvServices services(environment());
    AppModel app(services, board, work);
    ASSERT_TRUE(idle(app));
    std::optional<CommandCall> routed;
    app.setCommandRouter([&](const CommandCall& call) { routed = call; });
    select(app, {"a.txt"});
    app.perform(FileCommand::copy);
    app.perform(FileCommand::paste);
    ASSERT_TRUE(eventually([&] { return routed.has_value(); }));
    EXPECT_FALSE(app.reviewPlan());
    AppModel window(services, board, work);
    window.perform(*routed);
    EXPECT_EQ(window.reviewPlan(), routed->plan);
    idle(window);
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
    ASSERT_TRUE(services.defaults.save());

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
