// Insights of folders, shared by all the cards of all windows.
//
// Protocol    request() calls back once: before it returns when a fresh insight is there, else from the event
//             loop; whoever drops the wish that it gave is not called any more
// Invariants  I1  one scan for a folder, however many ask
//             I2  no more scans under way than the scanner lets run, in the order of asking: what waits costs
//                 no thread
//             I3  a folder that nobody wishes for any more when its turn comes is not scanned
//             I4  at most `capacity` insights are kept; the oldest go first
//             I5  a folder that was modified is another one to this cache
//             I6  a scan that has not come back after the patience is given up: its folder is not answering, its
//                 place is free, and what it may still find is dropped. Until it is back its folder is not
//                 scanned again; at most `mostGivenUp` scans are left to themselves like this
// Threading   confined to the main thread; the scans run on workers
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Inspection/FolderInsights.h"

#include <QTimer>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace morv {

/// Keeps a request alive; dropping it withdraws the request.
using FolderInsightWish = std::shared_ptr<const std::function<void(const FolderInsight&)>>;

class FolderInsightCache {
public:
    using Completion = std::function<void(const FolderInsight&)>;
    static constexpr std::size_t capacity = 300;
    static constexpr double freshFor = 30; ///< seconds
    static constexpr std::size_t mostGivenUp = 16;

    explicit FolderInsightCache(
        TaskPools& pools,
        std::shared_ptr<FolderInsightScanner> scanner = std::make_shared<FolderInsightScanner>(),
        std::function<Date()> now = Date::now);

    /// Only a real folder has an insight.
    static bool hasInsight(const FileEntry& entry) { return entry.isNavigable() && !entry.isSymbolicLink; }
    /// What is known of the folder, however old: while a modified folder is scanned anew, the insight that it
    /// had. Null without any.
    const FolderInsight* known(const FileEntry& entry) const;
    /// Null for what has no insight.
    [[nodiscard]] FolderInsightWish request(const FileEntry& entry, Completion completion);
    void setPatience(std::chrono::milliseconds patience);

private:
    using Clock = std::chrono::steady_clock;
    struct Run {
        Clock::time_point begunAt;
        TaskHandle task;
        std::weak_ptr<void> way; ///< expired once the worker is back
    };
    struct Pending {
        FileURL url;
        std::vector<std::weak_ptr<const Completion>> completions;
    };

    static std::string keyOf(const FileEntry& entry);
    void startScans();
    void giveUpOverdue();
    bool isGivenUp(const std::string& path) const;
    void finish(const std::string& key, FolderInsight insight);
    void store(const std::string& key, const std::string& path, FolderInsight insight);

    std::shared_ptr<FolderInsightScanner> scanner_;
    std::function<Date()> now_;
    std::unordered_map<std::string, FolderInsight> values_;
    std::unordered_map<std::string, std::string> newest_;   ///< from the path to the key
    std::deque<std::pair<std::string, std::string>> order_; ///< key and path, the oldest first
    std::unordered_map<std::string, Pending> pending_;
    std::deque<std::string> queue_;             ///< the keys of `pending_` that no scan was started for
    std::unordered_map<std::string, Run> runs_; ///< by the key
    std::unordered_map<std::string, std::weak_ptr<void>> givenUp_; ///< by the path
    std::chrono::milliseconds patience_;
    QTimer watch_; ///< while there are runs
    TaskScope tasks_;
};

} // namespace morv
