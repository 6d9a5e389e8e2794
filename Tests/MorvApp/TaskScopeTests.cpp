#include "MorvApp/Model/TaskScope.h"
#include "Tests/MorvApp/Support.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <numeric>
#include <optional>

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
                        TaskLane::records,
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
                    if (workEndedBefore) {
                        // Records are written one after the other: once a second one runs, the first has
                        // ended with all its continuations queued.
                        std::promise<void> second;
                        TaskScope(pools).run(
                            TaskLane::records, [&](const std::stop_token&) { second.set_value(); }, [] {},
                            [](const std::exception_ptr&) {});
                        second.get_future().wait();
                    } else if (end == End::destroyed) {
                        wake();
                    }
                    if (end == End::destroyed)
                        scope.reset();
                    else
                        handle.cancel();
                    door.open();
                    if (!workEndedBefore) {
                        EXPECT_TRUE(stopSeen.get()) << "the work is told";
                    }
                    // What another scope does later arrives after everything that was queued before it.
                    TaskScope other(pools);
                    bool later = false;
                    other.run(
                        TaskLane::records, [](const std::stop_token&) {}, [&] { later = true; },
                        [](const std::exception_ptr&) {});
                    EXPECT_TRUE(eventually([&] { return later; }));
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

const int threads = std::max(16, QThread::idealThreadCount());

/// Readings that wait at a door.
class HungReadings {
public:
    explicit HungReadings(TaskPools& pools) : scope_(std::in_place, pools) {}
    ~HungReadings() { door_->open(); }

    std::vector<TaskHandle> start(int number) {
        std::vector<TaskHandle> handles;
        for (int i = 0; i < number; ++i)
            handles.push_back(scope_->run(
                TaskLane::reading,
                [door = door_, begun = begun_](const std::stop_token&) {
                    ++*begun;
                    door->pass();
                },
                [this] { ++returned; }, [](const std::exception_ptr&) {}));
        return handles;
    }
    void release() { door_->open(); }
    void abandon() { scope_.reset(); }
    int begun() const { return *begun_; }
    int returned = 0;

private:
    std::shared_ptr<Door> door_ = std::make_shared<Door>();
    std::shared_ptr<std::atomic<int>> begun_ = std::make_shared<std::atomic<int>>(0);
    std::optional<TaskScope> scope_;
};

bool reads(TaskPools& pools) {
    TaskScope scope(pools);
    bool done = false;
    scope.run(
        TaskLane::reading, [](const std::stop_token&) {}, [&] { done = true; },
        [](const std::exception_ptr&) {});
    return eventually([&] { return done; });
}

/// The most readings that are seen beside each other.
int widest(TaskPools& pools) {
    TaskScope scope(pools);
    std::atomic<int> beside = 0, most = 0;
    int done = 0;
    constexpr int number = 200;
    for (int i = 0; i < number; ++i)
        scope.run(
            TaskLane::reading,
            [&](const std::stop_token&) {
                const int present = ++beside;
                for (int seen = most; seen < present && !most.compare_exchange_weak(seen, present);) {
                }
                QThread::yieldCurrentThread();
                --beside;
            },
            [&] { ++done; }, [](const std::exception_ptr&) {});
    EXPECT_TRUE(eventually([&] { return done == number; }));
    return most;
}

TEST(TaskScope, aReadingThatHangsLendsItsThreadWhenItIsCancelledOrOverdue) {
    enum class By { cancel, endOfTheScope, time };
    for (const auto by : {By::cancel, By::endOfTheScope, By::time}) {
        SCOPED_TRACE(static_cast<int>(by));
        TaskPools pools;
        if (by == By::time)
            pools.setPatience(std::chrono::milliseconds(20));
        HungReadings hung(pools);
        auto handles = hung.start(threads);
        ASSERT_TRUE(eventually([&] { return hung.begun() == threads; }));
        if (by == By::cancel)
            for (auto& handle : handles)
                handle.cancel();
        if (by == By::endOfTheScope)
            hung.abandon();
        EXPECT_TRUE(reads(pools));
        pools.setPatience(std::chrono::hours(1));
        hung.release();
        if (by == By::time) {
            EXPECT_TRUE(eventually([&] { return hung.returned == threads; }))
                << "what only took long still arrives";
        }
        EXPECT_TRUE(eventually([&] { return widest(pools) <= threads; })) << "a lent thread is given back";
    }
}

TEST(TaskScope, notMoreThanSoManyThreadsAreLent) {
    TaskPools pools;
    HungReadings hung(pools);
    const int most = threads + TaskPools::mostLent;
    for (auto& handle : hung.start(2 * most))
        handle.cancel();
    EXPECT_TRUE(eventually([&] { return hung.begun() == most; }));
    TaskScope scope(pools);
    bool isServed = false;
    scope.run(
        TaskLane::records, [](const std::stop_token&) {}, [&] { isServed = true; },
        [](const std::exception_ptr&) {});
    EXPECT_TRUE(eventually([&] { return isServed; }));
    EXPECT_EQ(hung.begun(), most) << "the rest waits";
    hung.release();
    EXPECT_TRUE(reads(pools));
    EXPECT_TRUE(eventually([&] { return hung.begun() == 2 * most; }));
}

} // namespace
} // namespace morv
