#include "MorvApp/Model/TaskScope.h"

#include <QThread>
#include <algorithm>
#include <limits>

namespace morv {

TaskPools::TaskPools() {
    // More than cores: a reading on a server that does not answer keeps its thread, and must not keep the
    // next folder from being read.
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
                             run = std::move(body)]() mutable {
        const std::stop_callback forward(delivery.life->stop.get_token(),
                                         [&source] { source.request_stop(); });
        run(delivery);
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
