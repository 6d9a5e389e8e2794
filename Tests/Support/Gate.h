// Where a test holds another thread until it has looked.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace morv::test {

/// Whoever comes waits until the test opens it; after that nobody waits. Safe to share.
class Gate {
public:
    void wait() {
        std::unique_lock lock(mutex_);
        reached_ = true;
        changed_.notify_all();
        changed_.wait_for(lock, std::chrono::seconds(30), [&] { return open_; });
    }
    bool isReached() {
        const std::lock_guard lock(mutex_);
        return reached_;
    }
    bool waitUntilReached() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return reached_; });
    }
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool reached_ = false, open_ = false;
};

} // namespace morv::test
