// Two threads that read the items of one open folder side by side.
//
// Invariants  I1  run() returned => the work was called once for each index and no thread is in it any more
// Threading   confined to one thread; the work is called on the crew's threads, where the folder is the
//             working directory if the system allows it (ThreadFolder)
#pragma once

#include "MorvCore/Foundation/Mutex.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>
#include <thread>

namespace morv {

class FolderReadingCrew {
public:
    using Work = std::function<void(std::size_t index)>;

    /// `directory` stays open for as long as the crew lives.
    explicit FolderReadingCrew(int directory);
    ~FolderReadingCrew();
    FolderReadingCrew(const FolderReadingCrew&) = delete;
    FolderReadingCrew& operator=(const FolderReadingCrew&) = delete;

    /// Calls `work` for 0…count-1 in any order and waits. Rethrows what a call threw; the rest is left out
    /// then.
    void run(std::size_t count, const Work& work);

private:
    void serve(int directory);
    void takeShare(const Work& work, std::size_t count);

    Mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    const Work* work_ MORV_GUARDED_BY(mutex_) = nullptr;
    std::size_t count_ MORV_GUARDED_BY(mutex_) = 0;
    unsigned turn_ MORV_GUARDED_BY(mutex_) = 0;
    unsigned busy_ MORV_GUARDED_BY(mutex_) = 0;
    bool isEnding_ MORV_GUARDED_BY(mutex_) = false;
    std::exception_ptr failure_ MORV_GUARDED_BY(mutex_);
    std::atomic<std::size_t> next_ = 0;
    std::array<std::thread, 2> threads_;
};

} // namespace morv
