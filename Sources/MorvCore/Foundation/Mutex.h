// A mutex that clang can check: -Wthread-safety proves that a guarded field is touched only under its lock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define MORV_ANNOTATION(x) __attribute__((x))
#else
#define MORV_ANNOTATION(x)
#endif

#define MORV_GUARDED_BY(mutex) MORV_ANNOTATION(guarded_by(mutex))
#define MORV_REQUIRES(...) MORV_ANNOTATION(requires_capability(__VA_ARGS__))
#define MORV_EXCLUDES(...) MORV_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace morv {

class MORV_ANNOTATION(capability("mutex")) Mutex {
public:
    void lock() MORV_ANNOTATION(acquire_capability()) { mutex_.lock(); }
    void unlock() MORV_ANNOTATION(release_capability()) { mutex_.unlock(); }

private:
    friend class MutexLock;
    std::mutex mutex_;
};

/// Holds a mutex for a scope. `wait` parks on a condition; re-read all guarded state after it.
class MORV_ANNOTATION(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) MORV_ANNOTATION(acquire_capability(mutex)) : lock_(mutex.mutex_) {}
    ~MutexLock() MORV_ANNOTATION(release_capability()) {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void unlock() MORV_ANNOTATION(release_capability()) { lock_.unlock(); }
    void lock() MORV_ANNOTATION(acquire_capability()) { lock_.lock(); }
    void wait(std::condition_variable& condition) { condition.wait(lock_); }
    template <class Clock, class Duration>
    std::cv_status waitUntil(std::condition_variable& condition,
                             const std::chrono::time_point<Clock, Duration>& deadline) {
        return condition.wait_until(lock_, deadline);
    }

private:
    std::unique_lock<std::mutex> lock_;
};

} // namespace morv
