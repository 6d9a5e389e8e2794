#include "MorvApp/Model/FolderInsightCache.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace morv {

FolderInsightCache::FolderInsightCache(TaskPools& pools, std::shared_ptr<FolderInsightScanner> scanner,
                                       std::function<Date()> now)
    : scanner_(std::move(scanner)), now_(std::move(now)), tasks_(pools) {}

std::string FolderInsightCache::keyOf(const FileEntry& entry) {
    return fmt::format("{}|{}", entry.url().path(), entry.modifiedAt ? entry.modifiedAt->unixSeconds() : 0);
}

const FolderInsight* FolderInsightCache::known(const FileEntry& entry) const {
    auto found = values_.find(keyOf(entry));
    if (found == values_.end()) {
        const auto newest = newest_.find(entry.url().path());
        if (newest == newest_.end())
            return nullptr;
        found = values_.find(newest->second);
    }
    return found == values_.end() ? nullptr : &found->second;
}

FolderInsightWish FolderInsightCache::request(const FileEntry& entry, Completion completion) {
    if (!hasInsight(entry))
        return nullptr;
    auto wish = std::make_shared<const Completion>(std::move(completion));
    const auto key = keyOf(entry);
    if (const auto found = values_.find(key); found != values_.end()) {
        const auto age = now_().sinceReference - found->second.scannedAt.sinceReference;
        if (age >= 0 && age < freshFor) {
            // The completion may ask again and change what is kept.
            const auto insight = found->second;
            (*wish)(insight);
            return wish;
        }
    }
    const auto [pending, isNew] = pending_.try_emplace(key, Pending{entry.url(), {}});
    pending->second.completions.push_back(wish);
    if (isNew) {
        queue_.push_back(key);
        startScans();
    }
    return wish;
}

void FolderInsightCache::startScans() {
    while (running_ < FolderInsightScanner::simultaneousScans && !queue_.empty()) {
        const auto key = std::move(queue_.front());
        queue_.pop_front();
        const auto& pending = pending_.at(key);
        if (std::ranges::all_of(pending.completions, [](const auto& wish) { return wish.expired(); })) {
            pending_.erase(key);
            continue;
        }
        ++running_;
        tasks_.run(
            TaskLane::reading,
            [scanner = scanner_, url = pending.url](const std::stop_token& stop) {
                return scanner->scan(url, stop);
            },
            [this, key](FolderInsight insight) { finish(key, std::move(insight)); },
            [this, key](const std::exception_ptr& failure) {
                finish(key, FolderInsight::failed(sentence(failure), now_()));
            });
    }
}

void FolderInsightCache::finish(const std::string& key, FolderInsight insight) {
    --running_;
    const auto pending = std::move(pending_.extract(key).mapped());
    store(key, pending.url.path(), insight);
    startScans();
    for (const auto& wish : pending.completions)
        if (const auto completion = wish.lock())
            (*completion)(insight);
}

void FolderInsightCache::store(const std::string& key, const std::string& path, FolderInsight insight) {
    newest_[path] = key;
    if (!values_.insert_or_assign(key, std::move(insight)).second)
        return;
    while (order_.size() >= capacity) {
        const auto [oldKey, oldPath] = std::move(order_.front());
        order_.pop_front();
        values_.erase(oldKey);
        if (const auto newest = newest_.find(oldPath); newest != newest_.end() && newest->second == oldKey)
            newest_.erase(newest);
    }
    order_.emplace_back(key, path);
}

} // namespace morv
