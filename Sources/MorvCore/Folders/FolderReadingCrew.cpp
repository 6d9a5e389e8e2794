#include "MorvCore/Folders/FolderReadingCrew.h"

#include "MorvCore/Platform/ThreadFolder.h"

#include <algorithm>
#include <utility>

namespace morv {

FolderReadingCrew::FolderReadingCrew(int directory) {
    for (auto& thread : threads_) {
        try {
            thread = std::thread([this, directory] { serve(directory); });
        } catch (const std::system_error&) {
            // One thread can do it all; without any there is no crew.
            if (!threads_.front().joinable())
                throw;
        }
    }
}

FolderReadingCrew::~FolderReadingCrew() {
    {
        const MutexLock lock(mutex_);
        isEnding_ = true;
    }
    wake_.notify_all();
    for (auto& thread : threads_) {
        if (thread.joinable())
            thread.join();
    }
}

void FolderReadingCrew::run(std::size_t count, const Work& work) {
    MutexLock lock(mutex_);
    next_ = 0;
    work_ = &work;
    count_ = count;
    busy_ = static_cast<unsigned>(std::count_if(threads_.begin(), threads_.end(),
                                                [](const auto& thread) { return thread.joinable(); }));
    ++turn_;
    wake_.notify_all();
    while (busy_ > 0)
        lock.wait(done_);
    work_ = nullptr;
    if (const auto failure = std::exchange(failure_, nullptr))
        std::rethrow_exception(failure);
}

void FolderReadingCrew::serve(int directory) {
    ThreadFolder::enter(directory);
    unsigned served = 0;
    for (;;) {
        const Work* work = nullptr;
        std::size_t count = 0;
        {
            MutexLock lock(mutex_);
            while (turn_ == served && !isEnding_)
                lock.wait(wake_);
            if (isEnding_)
                return;
            served = turn_;
            work = work_;
            count = count_;
        }
        std::exception_ptr failure;
        try {
            takeShare(*work, count);
        } catch (...) {
            failure = std::current_exception();
            next_ = count;
        }
        const MutexLock lock(mutex_);
        if (failure && !failure_)
            failure_ = failure;
        if (--busy_ == 0)
            done_.notify_one();
    }
}

void FolderReadingCrew::takeShare(const Work& work, std::size_t count) {
    // Small pieces keep both threads busy to the end; single items would make them meet at the counter.
    constexpr std::size_t piece = 16;
    for (;;) {
        const auto first = next_.fetch_add(piece);
        if (first >= count)
            return;
        for (auto i = first; i < std::min(first + piece, count); ++i)
            work(i);
    }
}

} // namespace morv
