#include "MorvApp/Model/TaskScope.h"
#include "Tests/MorvApp/Support.h"

#include <QCoreApplication>
#include <QThread>
#include <condition_variable>
#include <future>
#include <mutex>
#include <numeric>

namespace morv {
namespace {

using test::eventually;

/// A door that workers wait at.
class Door {
public:
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        opened_.notify_all();
    }
    void pass() {
        std::unique_lock lock(mutex_);
        opened_.wait(lock, [this] { return isOpen_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool isOpen_ = false;
};

TEST(TaskScope, continuationsRunInOrderOnTheMainThread) {
    TaskPools pools;
    TaskScope scope(pools);
    std::vector<int> seen;
    bool done = false;
    bool allOnMain = true;
    const auto* mainThread = QThread::currentThread();
    bool workedElsewhere = false;
    scope.stream<int>(
        TaskLane::reading,
        [&](const std::stop_token&, const auto& emit) {
            workedElsewhere = QThread::currentThread() != mainThread;
            for (int i = 0; i < 500; ++i)
                emit(i);
            return std::make_unique<int>(7); // results may be move-only
        },
        [&](int value) {
            allOnMain = allOnMain && QThread::currentThread() == mainThread && !done;
            seen.push_back(value);
        },
        [&](std::unique_ptr<int> result) { done = *result == 7; }, [](const std::exception_ptr&) { FAIL(); });
    EXPECT_TRUE(seen.empty()) << "never inside the call";
    ASSERT_TRUE(eventually([&] { return done; }));
    std::vector<int> expected(500);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(seen, expected);
    EXPECT_TRUE(allOnMain && workedElsewhere);

    std::string failure;
    scope.run(
        TaskLane::reading, [](const std::stop_token&) { throw std::runtime_error("It broke."); },
        [] { FAIL(); }, [&](const std::exception_ptr& error) { failure = sentence(error); });
    ASSERT_TRUE(eventually([&] { return !failure.empty(); }));
    EXPECT_EQ(failure, "It broke.");
}

TEST(TaskScope, nothingRunsAfterTheScopeHasGoneOrTheTaskWasCancelled) {
    enum class End { destroyed, cancelled };
    enum class Outcome { value, failure };
    for (const auto end : {End::destroyed, End::cancelled})
        for (const auto outcome : {Outcome::value, Outcome::failure})
            for (const bool workEndedBefore : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << static_cast<int>(end) << static_cast<int>(outcome) << workEndedBefore);
                int ran = 0;
                Door door;
                std::promise<bool> sawStop;
                std::function<void()> wake;
                {
                    TaskPools pools;
                    auto scope = std::make_unique<TaskScope>(pools);
                    wake = scope->wakeUp([&] { ++ran; });
                    auto handle = scope->stream<int>(
                        TaskLane::reading,
                        [&](const std::stop_token& stop, const auto& emit) {
                            emit(1);
                            if (!workEndedBefore)
                                door.pass();
                            sawStop.set_value(stop.stop_requested());
                            if (outcome == Outcome::failure)
                                throw std::runtime_error("late");
                        },
                        [&](int) { ++ran; }, [&] { ++ran; }, [&](const std::exception_ptr&) { ++ran; });
                    auto stopSeen = sawStop.get_future();
                    if (workEndedBefore)
                        stopSeen.wait(); // its continuations are queued by now or at any moment
                    else if (end == End::destroyed)
                        wake();
                    if (end == End::destroyed)
                        scope.reset();
                    else
                        handle.cancel();
                    door.open();
                    if (!workEndedBefore) {
                        EXPECT_TRUE(stopSeen.get()) << "the work is told";
                    }
                    if (end == End::cancelled) {
                        // What the scope does later arrives after everything that was queued before it.
                        bool later = false;
                        scope->run(
                            TaskLane::records, [](const std::stop_token&) {}, [&] { later = true; },
                            [](const std::exception_ptr&) {});
                        EXPECT_TRUE(eventually([&] { return later; }));
                    }
                }
                wake();
                QCoreApplication::processEvents();
                EXPECT_EQ(ran, 0);
            }
}

TEST(TaskScope, lanesDoNotStarveEachOtherAndRecordsKeepTheirOrder) {
    TaskPools pools;
    TaskScope scope(pools);
    Door door;
    for (int i = 0; i < 100; ++i)
        scope.run(
            TaskLane::operations, [&](const std::stop_token&) { door.pass(); }, [] {},
            [](const std::exception_ptr&) {});
    bool read = false;
    scope.run(
        TaskLane::reading, [](const std::stop_token&) {}, [&] { read = true; },
        [](const std::exception_ptr&) {});
    EXPECT_TRUE(eventually([&] { return read; }));

    std::vector<int> written;
    bool all = false;
    for (int i = 0; i < 200; ++i)
        scope.run(
            TaskLane::records, [&written, i](const std::stop_token&) { written.push_back(i); },
            [&all, i] { all = i == 199; }, [](const std::exception_ptr&) {});
    ASSERT_TRUE(eventually([&] { return all; }));
    EXPECT_TRUE(std::ranges::is_sorted(written));
    EXPECT_EQ(written.size(), 200U);
    door.open();
}

} // namespace
} // namespace morv
