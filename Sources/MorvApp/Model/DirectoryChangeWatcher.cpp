#include "MorvApp/Model/DirectoryChangeWatcher.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Mutex.h"

#include <utility>

namespace morv {

struct DirectoryChangeWatcher::Readiness::State {
    void set() {
        {
            const MutexLock lock(mutex);
            isReady = true;
        }
        changed.notify_all();
    }

    Mutex mutex;
    std::condition_variable changed;
    bool isReady MORV_GUARDED_BY(mutex) = false;
};

void DirectoryChangeWatcher::Readiness::waitUntilReady(const std::stop_token& stop) const {
    const std::stop_callback wake(stop, [this] {
        // Under the lock, so that the wake-up cannot fall between the question and the wait.
        const MutexLock lock(state_->mutex);
        state_->changed.notify_all();
    });
    MutexLock lock(state_->mutex);
    while (!state_->isReady && !stop.stop_requested())
        lock.wait(state_->changed);
}

DirectoryChangeWatcher::DirectoryChangeWatcher(TaskPools& pools, const FileURL& folder, ChangeSource source,
                                               std::function<void()> onChange)
    : tasks_(pools) {
    struct Changed {};
    readiness_.state_ = std::make_shared<Readiness::State>();
    tasks_.stream<Changed>(
        TaskLane::watching,
        [folder, source, state = readiness_.state_](const std::stop_token& stop, const auto& emit) {
            // Set however this ends: a folder that cannot be watched can still be read.
            const std::unique_ptr<Readiness::State, void (*)(Readiness::State*)> ready(
                state.get(), [](Readiness::State* waiting) { waiting->set(); });
            checkCancelled(stop);
            DirectoryEventMonitor monitor(source);
            const auto watch = monitor.watch(folder);
            state->set();
            while (watch->next(stop) == DirectoryWatch::Signal::changed)
                emit(Changed());
        },
        [changed = std::move(onChange)](Changed) { changed(); }, [] {}, [](const std::exception_ptr&) {});
}

} // namespace morv
