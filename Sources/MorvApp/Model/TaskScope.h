// Work away from the main thread, tied to the lifetime of the model that asked for it.
//
// Protocol    TaskPools is made once, on the main thread; every model owns a TaskScope on it and calls run()
// Invariants  I1  a continuation runs on the main thread, from its event loop, never inside run()
//             I2  once a scope is destroyed or a task cancelled, none of its continuations runs
//             I3  continuations of one task run in the order in which the task produced them
//             I4  a waiting operation never keeps a listing from running: the lanes have separate threads
//             I5  a reading that hangs in the system keeps no other from running: from when it is cancelled,
//                 or has been out for longer than the patience, until it comes back, its thread is not counted.
//                 This ends at TaskPools::mostLent such readings, so that what hangs is bounded, too
// Threading   scopes and handles are confined to the main thread; the work runs on a pool's thread
#pragma once

#include "MorvCore/Foundation/Mutex.h"

#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace morv {

/// Which threads a task may use.
enum class TaskLane : std::uint8_t {
    reading,    ///< listings, history, lookups: short or stoppable
    operations, ///< planning and executing: may wait for hours
    records,    ///< small record writes, one at a time in the order in which they were asked for
    /// What is remembered of where files went, one at a time in order: each looks up the folders that it names,
    /// and one on a server that has gone keeps all of it waiting, but nothing else.
    suggestions,
    watching, ///< parked until something happens: each task has a thread of its own
};

/// The threads. Destroying it waits for all work that was started: destroy it before what the work uses.
class TaskPools {
public:
    TaskPools();
    ~TaskPools();
    TaskPools(const TaskPools&) = delete;
    TaskPools& operator=(const TaskPools&) = delete;

    static constexpr int mostLent = 128;
    /// How long a reading may be out before its thread is no longer counted.
    void setPatience(std::chrono::milliseconds patience);

private:
    friend class TaskScope;
    class Lease;
    QThreadPool& pool(TaskLane lane);
    /// Null in the lanes that lend nothing.
    std::shared_ptr<Lease> lease(TaskLane lane);
    void lendOverdue();

    QObject receiver_; ///< lives on the main thread; outlives every worker
    std::chrono::milliseconds patience_;
    QTimer watch_; ///< runs while a reading is out that has lent nothing yet
    std::vector<std::shared_ptr<Lease>> leases_;
    std::atomic<int> lent_ = 0;
    QThreadPool reading_;
    QThreadPool operations_;
    QThreadPool records_;
    QThreadPool suggestions_;
    QThreadPool watching_;
};

/// One running task. A default-made handle names none.
class TaskHandle {
public:
    TaskHandle() : source_(std::nostopstate) {}

    /// Asks the work to stop and drops its continuations. Harmless when it has ended.
    void cancel() { source_.request_stop(); }

private:
    friend class TaskScope;
    explicit TaskHandle(std::stop_source source) : source_(std::move(source)) {}

    std::stop_source source_;
};

/// The user-ready sentence of a failure.
std::string sentence(const std::exception_ptr& failure);

class TaskScope {
public:
    explicit TaskScope(TaskPools& pools) : pools_(pools), life_(std::make_shared<Life>()) {}
    /// Requests a stop of everything that runs and drops every continuation; never waits.
    ~TaskScope();
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;

    /// work(stop_token) -> T on a pool's thread, then done(T) or failed(exception_ptr) on the main thread.
    /// `work` owns what it captures and must not refer to the model. Closures may be move-only.
    template <class Work, class Done, class Failed>
    TaskHandle run(TaskLane lane, Work work, Done done, Failed failed) {
        auto hooks = std::make_shared<Hooks<Done, Failed>>(std::move(done), std::move(failed));
        return start(lane, [work = std::move(work), hooks](const Delivery& delivery) mutable {
            finish(delivery, hooks, [&] { return work(delivery.stop); });
        });
    }

    /// As run(), but work(stop_token, emit) may call emit(Value) any number of times; each value reaches
    /// each(Value) on the main thread before done() runs.
    template <class Value, class Work, class Each, class Done, class Failed>
    TaskHandle stream(TaskLane lane, Work work, Each each, Done done, Failed failed) {
        auto hooks = std::make_shared<Hooks<Done, Failed>>(std::move(done), std::move(failed));
        auto receive = std::make_shared<Each>(std::move(each));
        return start(lane, [work = std::move(work), hooks, receive](const Delivery& delivery) mutable {
            const auto emit = [&](Value value) {
                auto held = std::make_shared<Value>(std::move(value));
                delivery.post([receive, held] { (*receive)(std::move(*held)); });
            };
            finish(delivery, hooks, [&] { return work(delivery.stop, emit); });
        });
    }

    /// A function that any thread may call, at any time, also after the scope is gone: each call is followed
    /// by a run of `onMain` on the main thread while the scope lives. Calls in between share one run.
    std::function<void()> wakeUp(std::function<void()> onMain);

private:
    /// `alive` is read and written on the main thread only.
    struct Life {
        bool alive = true;
        std::stop_source stop;
    };
    struct Delivery {
        QObject* receiver;
        std::shared_ptr<Life> life;
        std::stop_token stop;

        void post(std::function<void()> continuation) const;
    };
    template <class Done, class Failed>
    struct Hooks {
        Hooks(Done d, Failed f) : done(std::move(d)), failed(std::move(f)) {}
        Done done;
        Failed failed;
    };

    template <class HookPointer, class Body>
    static void finish(const Delivery& delivery, const HookPointer& hooks, const Body& body) {
        try {
            if constexpr (std::is_void_v<decltype(body())>) {
                body();
                delivery.post([hooks] { hooks->done(); });
            } else {
                auto result = std::make_shared<std::decay_t<decltype(body())>>(body());
                delivery.post([hooks, result] { hooks->done(std::move(*result)); });
            }
        } catch (...) {
            delivery.post([hooks, failure = std::current_exception()] { hooks->failed(failure); });
        }
    }

    template <class Body>
    TaskHandle start(TaskLane lane, Body body) {
        // std::function copies; the closures need not.
        auto shared = std::make_shared<Body>(std::move(body));
        return launch(lane, [shared](const Delivery& delivery) { (*shared)(delivery); });
    }
    TaskHandle launch(TaskLane lane, std::function<void(const Delivery&)> body);

    TaskPools& pools_;
    std::shared_ptr<Life> life_;
};

} // namespace morv
