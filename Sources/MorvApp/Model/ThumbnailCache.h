// The pictures behind the icons of files: each made once, a few at a time, the newest kept.
//
// Key         path "|" modification time "|" size in points: a changed file has a new key by itself, and what was
//             made of the old one ages out
// Queue       simultaneousRequests are made at once; more wait in the order in which they came. Whoever asks for a
//             picture that is being made waits for that one
// At once     folders, files whose content is not here, and files of which nothing can be made: without a request,
//             as making one could fetch a file from a server
// Invariants  I1  the completion of every call runs exactly once, on the main thread, possibly before the call
//                 returns; an empty picture says: show the icon of its kind
//             I2  at most one request runs for a key, at most simultaneousRequests altogether
//             I3  a failure is not kept: the next call tries again
//             I4  a request that has not come back after the patience is given up: there is no picture, its place
//                 is free, and what it may still make is dropped. Until it is back its key has no picture; at most
//                 mostGivenUp requests are left to themselves like this
// Memory      at most `capacity` pictures and `byteCapacity` bytes; what was not asked for the longest goes first
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Folders/FileEntry.h"

#include <QTimer>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace morv {

/// Makes the picture of one file. Safe to share; blocks.
class ThumbnailMaker {
public:
    virtual ~ThumbnailMaker() = default;
    /// By the name only.
    virtual bool understands(const FileURL& file) const = 0;
    /// At most `side` pixels wide and high. An empty picture or any exception: there is none.
    virtual MediaPicture make(const FileURL& file, int side, const std::stop_token& stop) const = 0;
};

class ThumbnailCache {
public:
    using Completion = std::function<void(const MediaPicture&)>;
    using Wish = std::uint64_t;

    static constexpr std::size_t simultaneousRequests = 6;
    static constexpr std::size_t mostGivenUp = 32;
    static constexpr std::size_t capacity = 500;
    static constexpr std::size_t byteCapacity = 64U << 20U;
    /// Pixels for each point: enough for every screen.
    static constexpr int scale = 2;

    explicit ThumbnailCache(TaskPools& pools);
    /// Without one every file shows its icon.
    void setMaker(std::shared_ptr<const ThumbnailMaker> maker) { maker_ = std::move(maker); }

    /// `size` in points. The wish names this call for withdraw().
    Wish image(const FileEntry& entry, int size, Completion completion);
    /// What is made already.
    MediaPicture known(const FileEntry& entry, int size) const;
    /// Takes a call out of the queue; it completes at once with an empty picture. What is being made goes on, for the
    /// cache. Harmless for a wish that is fulfilled.
    void withdraw(Wish wish);
    void setPatience(std::chrono::milliseconds patience);

private:
    using Clock = std::chrono::steady_clock;
    struct Request {
        Clock::time_point begunAt;
        TaskHandle task;
        std::weak_ptr<void> way; ///< expired once the worker is back
    };
    struct Waiting {
        Wish wish;
        Completion completion;
    };
    struct Pending {
        FileEntry entry;
        int size;
        Waiting waiting;
    };
    struct Kept {
        std::string key;
        MediaPicture picture;
    };

    static std::string keyOf(const FileEntry& entry, int size);
    void serve(const FileEntry& entry, int size, Waiting waiting);
    void finish(const std::string& key, const MediaPicture& picture);
    void keep(const std::string& key, const MediaPicture& picture);
    void pump();
    void giveUpOverdue();

    std::shared_ptr<const ThumbnailMaker> maker_;
    std::list<Kept> cache_; ///< asked for last: first
    std::unordered_map<std::string, std::list<Kept>::iterator> places_;
    std::size_t bytes_ = 0;
    std::unordered_map<std::string, Request> requests_;
    std::unordered_map<std::string, std::weak_ptr<void>> givenUp_;
    std::chrono::milliseconds patience_;
    QTimer watch_; ///< while there are requests
    std::unordered_map<std::string, std::vector<Waiting>> waiting_;
    std::deque<Pending> pending_; ///< oldest first
    Wish lastWish_ = 0;
    TaskScope tasks_;
};

} // namespace morv
