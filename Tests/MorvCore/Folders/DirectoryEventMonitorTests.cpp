#include "MorvCore/Folders/DirectoryEventMonitor.h"
#include "MorvCore/Foundation/Errors.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <mutex>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace morv;
using namespace morv::test;
using namespace std::chrono_literals;
using Signal = DirectoryWatch::Signal;
using Clock = std::chrono::steady_clock;

namespace {

/// Counts the signals of a watch on a thread of its own.
class Listener {
public:
    explicit Listener(std::shared_ptr<DirectoryWatch> watch)
        : watch_(std::move(watch)), thread_([this](const std::stop_token& stop) { listen(stop); }) {}

    /// Whether one more signal came before `longest` was over.
    bool hears(std::chrono::milliseconds longest = 5s) {
        std::unique_lock lock(mutex_);
        const bool came = changed_.wait_for(lock, longest, [this] { return heard_ > taken_; });
        taken_ += came ? 1 : 0;
        return came;
    }
    bool ends() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 5s, [this] { return ended_; });
    }

private:
    void listen(const std::stop_token& stop) {
        try {
            while (watch_->next(stop) == Signal::changed) {
                const std::scoped_lock lock(mutex_);
                ++heard_;
                changed_.notify_all();
            }
        } catch (const CancellationError&) {
        }
        const std::scoped_lock lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }

    std::shared_ptr<DirectoryWatch> watch_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int heard_ = 0;
    int taken_ = 0;
    bool ended_ = false;
    std::jthread thread_;
};

constexpr auto silence = 400ms;

} // namespace

TEST(DirectoryEventMonitor, tellsOfEveryKindOfChangeOnce) {
    const TemporaryFolder folder;
    folder.makeFolder("watched/sub");
    folder.write("watched/file");
    DirectoryEventMonitor monitor;
    Listener listener(monitor.watch(folder.url("watched")));
    const auto at = [&](const char* name) { return folder.path(std::string("watched/") + name); };
    const std::vector<std::pair<std::string, std::function<void()>>> rows = {
        {"creation", [&] { folder.write("watched/new", ""); }},
        {"writing", [&] { folder.write("watched/new", "more"); }},
        {"rename", [&] { std::filesystem::rename(at("new"), at("renamed")); }},
        {"attributes", [&] { ::chmod(at("file").c_str(), 0600); }},
        {"deletion", [&] { std::filesystem::remove(at("renamed")); }},
        {"the folder's attributes", [&] { ::chmod(folder.path("watched").c_str(), 0700); }},
        {"many at once",
         [&] {
             for (int i = 0; i < 50; ++i)
                 folder.write(fmt::format("watched/{}", i));
         }},
    };
    for (const auto& [name, change] : rows) {
        SCOPED_TRACE(name);
        const auto before = Clock::now();
        change();
        EXPECT_TRUE(listener.hears());
        EXPECT_GE(Clock::now() - before, 150ms) << "a quiet moment comes first";
        EXPECT_FALSE(listener.hears(silence)) << "one signal for a burst";
    }
    folder.write("watched/sub/deep");
    folder.write("beside");
    EXPECT_FALSE(listener.hears(silence)) << "only the folder and its own children count";
}

TEST(DirectoryEventMonitor, followsThePathThroughDeletionRenameAndReplacement) {
    for (const auto source : {ChangeSource::events, ChangeSource::comparison}) {
        SCOPED_TRACE(source == ChangeSource::events ? "events" : "comparison");
        const TemporaryFolder folder;
        folder.makeFolder("parent/watched");
        DirectoryEventMonitor monitor(source);
        Listener listener(monitor.watch(folder.url("parent/watched")));
        std::filesystem::rename(folder.path("parent/watched"), folder.path("parent/away"));
        EXPECT_TRUE(listener.hears()) << "renamed";
        folder.write("parent/away/file");
        EXPECT_FALSE(listener.hears(silence)) << "what was renamed is not watched any more";
        folder.makeFolder("parent/watched");
        EXPECT_TRUE(listener.hears()) << "replaced";
        folder.write("parent/watched/file");
        EXPECT_TRUE(listener.hears()) << "a change in the new folder";
        std::filesystem::remove_all(folder.path("parent"));
        EXPECT_TRUE(listener.hears()) << "deleted with its parent";
        folder.makeFolder("parent/watched");
        EXPECT_TRUE(listener.hears()) << "both came back";
        folder.write("parent/watched/file");
        EXPECT_TRUE(listener.hears()) << "watched again";
    }
}

TEST(DirectoryEventMonitor, comparesWhenTheKernelHasNoMoreToGive) {
    const TemporaryFolder folder;
    // In a user namespace of its own the limit is the child's alone.
    const auto child = ::fork();
    if (child == 0) {
        constexpr int cannotTest = 77;
        if (::unshare(CLONE_NEWUSER) != 0)
            ::_exit(cannotTest);
        std::ofstream("/proc/sys/user/max_inotify_instances") << "0";
        if (::inotify_init1(IN_CLOEXEC) >= 0)
            ::_exit(cannotTest);
        DirectoryEventMonitor monitor;
        Listener listener(monitor.watch(folder.url()));
        const bool isQuietFirst = !listener.hears(1200ms);
        folder.write("file");
        ::_exit(isQuietFirst && listener.hears(3s) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "no user namespace can be had here";
    EXPECT_EQ(status, 0);
}

TEST(DirectoryEventMonitor, aFolderThatNeverRestsIsToldOfAllTheSame) {
    const TemporaryFolder folder;
    DirectoryEventMonitor monitor;
    Listener listener(monitor.watch(folder.url()));
    const auto before = Clock::now();
    auto longestRest = 0ns;
    bool isHeard = false;
    for (int i = 0; !isHeard && Clock::now() - before < 5s; ++i) {
        const auto written = Clock::now();
        folder.write(fmt::format("{}", i));
        isHeard = listener.hears(20ms);
        longestRest = std::max<std::chrono::nanoseconds>(longestRest, Clock::now() - written);
    }
    EXPECT_TRUE(isHeard);
    // A machine that held this thread up has let the folder rest.
    EXPECT_TRUE(longestRest >= 140ms || Clock::now() - before >= 2s);
}

TEST(DirectoryEventMonitor, endsOneWatchOrAllAndSignalsNothingAfterwards) {
    const TemporaryFolder folder;
    DirectoryEventMonitor monitor;
    const auto first = monitor.watch(folder.url()), second = monitor.watch(folder.url());
    Listener one(first), other(second);
    monitor.stop(first->id());
    EXPECT_TRUE(one.ends());
    folder.write("file");
    EXPECT_EQ(first->next({}), Signal::ended);
    EXPECT_TRUE(other.hears()) << "the other goes on";
    EXPECT_FALSE(one.hears(0ms));
    monitor.stop();
    monitor.stop();
    EXPECT_TRUE(other.ends());

    const auto third = monitor.watch(folder.url());
    folder.write("file");
    third->end();
    EXPECT_EQ(third->next({}), Signal::ended) << "a change that was waiting is not told any more";
    std::stop_source stopped;
    const auto fourth = monitor.watch(folder.url());
    stopped.request_stop();
    EXPECT_THROW(fourth->next(stopped.get_token()), CancellationError);
}

TEST(DirectoryEventMonitor, refusesWhatIsNoRealFolder) {
    const TemporaryFolder folder;
    folder.write("file");
    folder.link("link", folder.path());
    DirectoryEventMonitor monitor;
    for (const auto* name : {"file", "link"}) {
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { monitor.watch(folder.url(name)); }),
                  "Only physical folders can be watched.");
    }
    EXPECT_THROW(monitor.watch(folder.url("gone")), PosixError);
}
