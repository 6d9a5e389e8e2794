#include "MorvApp/Model/ThumbnailCache.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

using namespace std::chrono_literals;
/// The decoder's own limits are shorter: this is for what hangs before it.
constexpr auto usualPatience = 15s;

std::size_t bytesOf(const MediaPicture& picture) {
    return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 4;
}

} // namespace

ThumbnailCache::ThumbnailCache(TaskPools& pools) : tasks_(pools) {
    setPatience(usualPatience);
    QObject::connect(&watch_, &QTimer::timeout, &watch_, [this] { giveUpOverdue(); });
}

void ThumbnailCache::setPatience(std::chrono::milliseconds patience) {
    patience_ = patience;
    watch_.setInterval(std::max(1ms, patience / 10));
}

std::string ThumbnailCache::keyOf(const FileEntry& entry, int size) {
    return fmt::format("{}|{}|{}", entry.url().path(), entry.modifiedAt ? entry.modifiedAt->unixSeconds() : 0,
                       size);
}

MediaPicture ThumbnailCache::known(const FileEntry& entry, int size) const {
    const auto found = places_.find(keyOf(entry, size));
    return found == places_.end() ? MediaPicture() : found->second->picture;
}

ThumbnailCache::Wish ThumbnailCache::image(const FileEntry& entry, int size, Completion completion) {
    const auto wish = ++lastWish_;
    serve(entry, size, {wish, std::move(completion)});
    return wish;
}

void ThumbnailCache::serve(const FileEntry& entry, int size, Waiting waiting) {
    const auto url = entry.url();
    if (entry.availability != FileAvailability::local || entry.isDirectory || !maker_ ||
        !maker_->understands(url))
        return waiting.completion({});
    auto key = keyOf(entry, size);
    if (const auto found = places_.find(key); found != places_.end()) {
        cache_.splice(cache_.begin(), cache_, found->second);
        // The completion may ask again and change what is kept.
        const auto picture = found->second->picture;
        return waiting.completion(picture);
    }
    if (const auto running = waiting_.find(key); running != waiting_.end()) {
        running->second.push_back(std::move(waiting));
        return;
    }
    if (const auto hung = givenUp_.find(key); hung != givenUp_.end() && !hung->second.expired())
        return waiting.completion({});
    if (requests_.size() >= simultaneousRequests) {
        pending_.push_back({entry, size, std::move(waiting)});
        return;
    }
    waiting_[key].push_back(std::move(waiting));
    auto way = std::make_shared<char>();
    auto& request = requests_[key];
    request.begunAt = Clock::now();
    request.way = way;
    request.task = tasks_.run(
        TaskLane::reading,
        [maker = maker_, url, side = size * scale, way = std::move(way)](const std::stop_token& stop) {
            return maker->make(url, side, stop);
        },
        [this, key](const MediaPicture& picture) { finish(key, picture); },
        [this, key](const std::exception_ptr&) { finish(key, {}); });
    if (!watch_.isActive())
        watch_.start();
}

void ThumbnailCache::giveUpOverdue() {
    std::erase_if(givenUp_, [](const auto& request) { return request.second.expired(); });
    std::vector<std::string> overdue;
    for (const auto& [key, request] : requests_)
        if (Clock::now() - request.begunAt >= patience_)
            overdue.push_back(key);
    for (const auto& key : overdue) {
        if (givenUp_.size() >= mostGivenUp)
            return;
        auto& request = requests_.at(key);
        request.task.cancel();
        givenUp_[key] = request.way;
        finish(key, {});
    }
    if (requests_.empty())
        watch_.stop();
}

void ThumbnailCache::finish(const std::string& key, const MediaPicture& picture) {
    if (picture)
        keep(key, picture);
    requests_.erase(key);
    const auto waiting = std::move(waiting_.extract(key).mapped());
    for (const auto& each : waiting)
        each.completion(picture);
    pump();
}

void ThumbnailCache::keep(const std::string& key, const MediaPicture& picture) {
    cache_.push_front({key, picture});
    places_[key] = cache_.begin();
    bytes_ += bytesOf(picture);
    // The newest stays, however large it is: somebody is about to show it.
    while (cache_.size() > capacity || (bytes_ > byteCapacity && cache_.size() > 1)) {
        bytes_ -= bytesOf(cache_.back().picture);
        places_.erase(cache_.back().key);
        cache_.pop_back();
    }
}

void ThumbnailCache::pump() {
    while (requests_.size() < simultaneousRequests && !pending_.empty()) {
        auto next = std::move(pending_.front());
        pending_.pop_front();
        serve(next.entry, next.size, std::move(next.waiting));
    }
}

void ThumbnailCache::withdraw(Wish wish) {
    const auto found =
        std::ranges::find(pending_, wish, [](const Pending& each) { return each.waiting.wish; });
    if (found == pending_.end())
        return;
    const auto completion = std::move(found->waiting.completion);
    pending_.erase(found);
    completion({});
}

} // namespace morv
