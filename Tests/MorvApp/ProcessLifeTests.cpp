#include "MorvApp/Integration/ProcessLife.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "Tests/MorvApp/Support.h"

#include <QCoreApplication>
#include <QTimer>
#include <csignal>
#include <latch>

namespace morv {
namespace {

using test::eventually;
using namespace std::chrono_literals;

class ProcessLifeTest : public test::FolderTest {
protected:
    /// Runs the event loop until the life ends it; false after ten seconds.
    static bool ends() {
        QTimer::singleShot(10s, [] { QCoreApplication::exit(1); });
        return QCoreApplication::exec() == 0;
    }
};

TEST_F(ProcessLifeTest, aProcessStaysForAnOperationOrAnAnchorAndForNothingElse) {
    MorvServices services(environment());
    ProcessLife life(services.windows, services.engine, {5s, 0ms});
    bool tray = true;
    services.windows.addAnchor([&] { return tray; });
    OperationRequest request;
    request.kind = OperationKind::duplicate;
    request.sources = {file("a")};
    auto turn = std::make_optional(services.engine.admit(services.engine.plan(request, {})));
    bool operationEnded = false;
    QTimer::singleShot(300ms, [&] { tray = false; });
    QTimer::singleShot(600ms, [&] {
        operationEnded = true;
        turn.reset();
    });
    life.awaitRequest();
    EXPECT_TRUE(ends());
    EXPECT_TRUE(operationEnded && !tray);
    EXPECT_FALSE(life.isEnding());
}

TEST_F(ProcessLifeTest, aSignalLetsAnOperationEndAndASecondOneStopsIt) {
    std::latch staged(1), release(1);
    EngineObservers observers;
    observers.staging = [&](const FileURL&) {
        staged.count_down();
        release.wait();
    };
    MorvServices services(environment(), {}, observers);
    ProcessLife life(services.windows, services.engine, {1h, 0ms});
    OperationRequest request;
    request.kind = OperationKind::duplicate;
    request.sources = {file("a")};
    TaskScope scope(services.pools);
    std::optional<OperationReceipt> receipt;
    scope.run(
        TaskLane::operations,
        [&, admission = services.engine.admit(services.engine.plan(request, {}))](
            const std::stop_token&) mutable { return services.engine.execute(std::move(admission), {}); },
        [&](OperationReceipt ended) { receipt = std::move(ended); }, [](const std::exception_ptr&) {});
    staged.wait();
    bool hidden = false;
    QObject::connect(&life, &ProcessLife::endingBegan, [&] { hidden = true; });
    ASSERT_EQ(std::raise(SIGTERM), 0);
    EXPECT_TRUE(eventually([&] { return hidden; }));
    EXPECT_TRUE(life.isEnding() && services.engine.hasActiveOperation());
    ASSERT_EQ(std::raise(SIGHUP), 0);
    QTimer::singleShot(300ms, [&] { release.count_down(); });
    EXPECT_TRUE(ends()) << "it ends only after the operation";
    EXPECT_TRUE(eventually([&] { return receipt.has_value(); }));
    EXPECT_EQ(receipt->status, OperationStatus::cancelled);
    EXPECT_THAT(names(work), testing::Contains("a"));
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGHUP, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
}

TEST_F(ProcessLifeTest, whatWasHandedToTheSystemKeepsTheProcessButNotFromASignal) {
    MorvServices services(environment());
    const auto token = services.engine.beginExternalMaintenance("Handed over", {});
    ProcessLife life(services.windows, services.engine, {1h, 0ms});
    life.review();
    EXPECT_TRUE(services.windows.keepsProcess());
    EXPECT_EQ(services.windows.applicationShouldTerminate().verdict, QuitAnswer::Verdict::refuse);
    QTimer::singleShot(0, [] { std::raise(SIGTERM); });
    EXPECT_TRUE(ends()) << "at once, whatever the grace";
    const auto left = services.store.load<SystemOperationReceipt>("systemOperations/" + token.text());
    EXPECT_EQ(left->status, SystemOperationStatus::pending) << "for the next start to present";
    for (const int number : {SIGTERM, SIGHUP, SIGINT})
        std::signal(number, SIG_DFL);
}

TEST_F(ProcessLifeTest, aHandoffThatCannotBeReadKeepsNoGhost) {
    const std::string key = "systemOperations/" + UUID::random().text();
    SQLiteStore(MorvServices::dataDirectory(environment()).child("Morv.sqlite")).saveBytes("{}", key);
    MorvServices services(environment());
    ProcessLife life(services.windows, services.engine, {1h, 0ms});
    EXPECT_EQ(services.windows.applicationShouldTerminate().verdict, QuitAnswer::Verdict::refuse);
    EXPECT_TRUE(services.windows.mayCloseWindow()) << "nothing has begun, and nothing can";
    life.review();
    EXPECT_TRUE(ends());
    EXPECT_EQ(services.store.loadBytes(key), "{}");
    for (const int number : {SIGTERM, SIGHUP, SIGINT})
        std::signal(number, SIG_DFL);
}

} // namespace
} // namespace morv
