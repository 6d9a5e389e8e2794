#include "MorvApp/Model/TaskScope.h"

#include <QThread>
#include <algorithm>
#include <limits>

namespace morv {

namespace {

using namespace std::chrono_literals;
constexpr auto usualPatience = 10s;

} // namespace

/// The thread of one reading: held while it works, lent at most once, and taken back when it was lent.
/// Safe to share. The pools outlive it on every thread that calls it.
class TaskPools::Lease {
public:
    explicit Lease(TaskPools& pools) : pools_(pools) {}

    void begin() {
        begunAt_ = Clock::now();
        state_ = State::held;
    }
    void lend() {
        if (pools_.lent_.fetch_add(1) < mostLent) {
            auto held = State::held;
            if (state_.compare_exchange_strong(held, State::lent))
                return pools_.reading_.releaseThread();
        }
        --pools_.lent_;
    }
    void end() {
        if (state_.exchange(State::ended) != State::lent)
            return;
        // Before the work comes back to the pool, so that its thread goes if there are too many.
        pools_.reading_.reserveThread();
        --pools_.lent_;
    }

    bool isOverdue(std::chrono::milliseconds patience) const {
        return state_ == State::held && Clock::now() - begunAt_ >= patience;
    }
    /// Whether it may still come to lend.
    bool isOpen() const { return state_ == State::queued || state_ == State::held; }

private:
    using Clock = std::chrono::steady_clock;
    enum class State : std::uint8_t { queued, held, lent, ended };

    TaskPools& pools_;
    Clock::time_point begunAt_; ///< written before, and read only while, `state_` is held
    std::atomic<State> state_ = State::queued;
};

TaskPools::TaskPools() {
    setPatience(usualPatience);
    QObject::connect(&watch_, &QTimer::timeout, &receiver_, [this] { lendOverdue(); });
    // More than cores: what reads waits for disks.
    reading_.setMaxThreadCount(std::max(16, QThread::idealThreadCount()));
    // Each queued operation parks a thread until its turn, so the lane is sized for queues, not for cores.
    operations_.setMaxThreadCount(64);
    records_.setMaxThreadCount(1);
    suggestions_.setMaxThreadCount(1);
    watching_.setMaxThreadCount(std::numeric_limits<int>::max());
}

TaskPools::~TaskPools() {
    reading_.waitForDone();
    operations_.waitForDone();
    records_.waitForDone();
    suggestions_.waitForDone();
    watching_.waitForDone();
}

QThreadPool& TaskPools::pool(TaskLane lane) {
    switch (lane) {
    case TaskLane::reading:
        return reading_;
    case TaskLane::operations:
        return operations_;
    case TaskLane::suggestions:
        return suggestions_;
    case TaskLane::watching:
        return watching_;
    case TaskLane::records:
        break;
    }
    return records_;
}

void TaskPools::setPatience(std::chrono::milliseconds patience) {
    patience_ = patience;
    watch_.setInterval(std::max(1ms, patience / 10));
}

std::shared_ptr<TaskPools::Lease> TaskPools::lease(TaskLane lane) {
    if (lane != TaskLane::reading)
        return nullptr;
    leases_.push_back(std::make_shared<Lease>(*this));
    if (!watch_.isActive())
        watch_.start();
    return leases_.back();
}

void TaskPools::lendOverdue() {
    for (const auto& lease : leases_)
        if (lease->isOverdue(patience_))
            lease->lend();
    std::erase_if(leases_, [](const auto& lease) { return !lease->isOpen(); });
    if (leases_.empty())
        watch_.stop();
}

std::string sentence(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "An unknown error occurred.";
    }
}

TaskScope::~TaskScope() {
    life_->alive = false;
    life_->stop.request_stop();
}

void TaskScope::Delivery::post(std::function<void()> continuation) const {
    QMetaObject::invokeMethod(
        receiver,
        [alive = life, token = stop, run = std::move(continuation)] {
            if (alive->alive && !token.stop_requested())
                run();
        },
        Qt::QueuedConnection);
}

TaskHandle TaskScope::launch(TaskLane lane, std::function<void(const Delivery&)> body) {
    std::stop_source source;
    pools_.pool(lane).start([delivery = Delivery{&pools_.receiver_, life_, source.get_token()}, source,
                             lease = pools_.lease(lane), run = std::move(body)]() mutable {
        if (lease)
            lease->begin();
        {
            const std::stop_callback forward(delivery.life->stop.get_token(),
                                             [&source] { source.request_stop(); });
            const std::stop_callback lend(delivery.stop, [&lease] {
                if (lease)
                    lease->lend();
            });
            run(delivery);
        }
        if (lease)
            lease->end();
    });
    return TaskHandle(std::move(source));
}

std::function<void()> TaskScope::wakeUp(std::function<void()> onMain) {
    struct Wake {
        std::function<void()> run;
        std::shared_ptr<Life> life;
        QObject* receiver;
        std::atomic<bool> pending = false;
    };
    auto wake = std::make_shared<Wake>();
    wake->run = std::move(onMain);
    wake->life = life_;
    wake->receiver = &pools_.receiver_;
    return [wake] {
        if (wake->pending.exchange(true))
            return;
        QMetaObject::invokeMethod(
            wake->receiver,
            [wake] {
                // Cleared before the run, so that a call during it is not lost.
                wake->pending = false;
                if (wake->life->alive)
                    wake->run();
            },
            Qt::QueuedConnection);
    };
}

} // namespace morv
