// What a folder holds, at a glance: how many items, roughly how large, of which kinds, and two levels of
// names. An estimate under a budget, which says so where the budget stopped it.
//
// Order       breadth first: what stands directly in the folder is counted before anything below it; of the
//             folders of one level the small ones before the large ones, where the volume tells
// Invariants  I1  at most `simultaneousScans` run at once, whoever asks, not counting those that were asked to
//                 stop and have not come back; the others begin in the order of asking
//             I2  no link is followed, no package entered, no other volume and nothing outside this disk
//                 asked for, and hidden items are neither counted nor entered
//             I3  a size or count that may be too small never reads as exact
// Threading   a FolderInsightScanner is safe to share; a scan blocks its caller. Insights are values
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Foundation/Mutex.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

/// An item that stands directly in the folder, and what stands in it. Both in nameOrder.
struct FolderPeekNode {
    FileEntry entry;
    std::vector<FileEntry> children;

    friend bool operator==(const FolderPeekNode&, const FolderPeekNode&) = default;
};

struct FolderInsight {
    std::int64_t directCount = 0;
    std::int64_t scannedCount = 0; ///< in the whole tree
    std::int64_t bytes = 0;
    bool complete = false;                   ///< the whole tree was walked
    bool byteCountComplete = false;          ///< no item that was met lacks its size
    std::int64_t skippedCount = 0;           ///< items and folders that could not be read
    std::map<FileKind, std::int64_t> counts; ///< of what is no folder, packages included
    std::map<FileKind, std::int64_t> kindBytes;
    std::map<std::string, std::int64_t> childCounts; ///< by the folder's path: items met directly in it
    std::vector<FolderPeekNode> peek;
    std::optional<std::string> error; ///< the folder could not be read; the rest means nothing then
    Date scannedAt;                   ///< when the scan began

    /// Of what is no folder the most frequent kind; of equals the first in the order of grouping.
    std::optional<FileKind> dominantKind() const;
    /// "3 items", "2500+ items", "Unavailable".
    std::string countLabel() const;
    /// "1.2 MB", "≥ 1.2 MB", "—".
    std::string sizeLabel() const;
    /// One sentence: how much of the tree the numbers speak of.
    std::string coverage() const;
    static FolderInsight failed(std::string sentence, Date at);

    friend bool operator==(const FolderInsight&, const FolderInsight&) = default;
};
std::string toJSON(const FolderInsight& insight);

class FolderInsightScanner {
public:
    static constexpr int simultaneousScans = 2;
    static constexpr std::int64_t entryBudget = 2500;
    static constexpr int deepestEntered = 31; ///< levels below the folder
    static constexpr std::size_t peekItems = 80;
    static constexpr std::size_t peekChildren = 24; ///< for each of them

    /// Called with each folder before it is read, on the scanning thread; for observing in tests.
    using FolderObserver = std::function<void(const FileURL&)>;

    explicit FolderInsightScanner(FolderObserver observer = {}) : observer_(std::move(observer)) {}

    /// Waits for its turn, then reads. Throws CancellationError alone, looked for while it waits and at every
    /// entry: a folder that cannot be read is a value with `error`.
    FolderInsight scan(const FileURL& url, const std::stop_token& stop);
    /// The walk itself, without waiting.
    static FolderInsight read(const FileURL& url, const std::stop_token& stop);
    /// Those that wait for their turn.
    std::size_t waiting() const;

private:
    struct Waiter {
        std::condition_variable turn;
        bool isAdmitted = false;
    };
    class Slot;

    void enter(const std::stop_token& stop);
    void leave();

    const FolderObserver observer_;
    mutable Mutex mutex_;
    int active_ MORV_GUARDED_BY(mutex_) = 0;
    std::deque<Waiter*> waiters_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
