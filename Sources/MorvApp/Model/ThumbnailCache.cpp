#include "MorvApp/Model/ThumbnailCache.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

std::size_t bytesOf(const MediaPicture& picture) {
    return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 4;
}

} // namespace

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
    if (requests_.size() >= simultaneousRequests) {
        pending_.push_back({entry, size, std::move(waiting)});
        return;
    }
    waiting_[key].push_back(std::move(waiting));
    requests_.insert(key);
    tasks_.run(
        TaskLane::reading,
        [maker = maker_, url, side = size * scale](const std::stop_token& stop) {
            return maker->make(url, side, stop);
        },
        [this, key](const MediaPicture& picture) { finish(key, picture); },
        [this, key](const std::exception_ptr&) { finish(key, {}); });
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
