#include "MorvApp/Model/FolderInsightCache.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

using namespace std::chrono_literals;
constexpr auto usualPatience = 10s;
constexpr auto notAnswering = "This folder is not answering";

} // namespace

FolderInsightCache::FolderInsightCache(TaskPools& pools, std::shared_ptr<FolderInsightScanner> scanner,
                                       std::function<Date()> now)
    : scanner_(std::move(scanner)), now_(std::move(now)), tasks_(pools) {
    setPatience(usualPatience);
    QObject::connect(&watch_, &QTimer::timeout, &watch_, [this] { giveUpOverdue(); });
}

void FolderInsightCache::setPatience(std::chrono::milliseconds patience) {
    patience_ = patience;
    watch_.setInterval(std::max(1ms, patience / 10));
}

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
    if (isGivenUp(entry.url().path())) {
        (*wish)(FolderInsight::failed(notAnswering, now_()));
        return wish;
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
    while (runs_.size() < FolderInsightScanner::simultaneousScans && !queue_.empty()) {
        const auto key = std::move(queue_.front());
        queue_.pop_front();
        const auto& pending = pending_.at(key);
        if (std::ranges::all_of(pending.completions, [](const auto& wish) { return wish.expired(); })) {
            pending_.erase(key);
            continue;
        }
        auto way = std::make_shared<char>();
        auto& run = runs_[key];
        run.begunAt = Clock::now();
        run.way = way;
        run.task = tasks_.run(
            TaskLane::reading,
            [scanner = scanner_, url = pending.url, way = std::move(way)](const std::stop_token& stop) {
                return scanner->scan(url, stop);
            },
            [this, key](FolderInsight insight) { finish(key, std::move(insight)); },
            [this, key](const std::exception_ptr& failure) {
                finish(key, FolderInsight::failed(sentence(failure), now_()));
            });
    }
    if (runs_.empty())
        watch_.stop();
    else if (!watch_.isActive())
        watch_.start();
}

bool FolderInsightCache::isGivenUp(const std::string& path) const {
    const auto found = givenUp_.find(path);
    return found != givenUp_.end() && !found->second.expired();
}

void FolderInsightCache::giveUpOverdue() {
    std::erase_if(givenUp_, [](const auto& run) { return run.second.expired(); });
    std::vector<std::string> overdue;
    for (const auto& [key, run] : runs_)
        if (Clock::now() - run.begunAt >= patience_)
            overdue.push_back(key);
    for (const auto& key : overdue) {
        if (givenUp_.size() >= mostGivenUp)
            return;
        auto& run = runs_.at(key);
        run.task.cancel();
        givenUp_[pending_.at(key).url.path()] = run.way;
        finish(key, FolderInsight::failed(notAnswering, now_()));
    }
}

void FolderInsightCache::finish(const std::string& key, FolderInsight insight) {
    runs_.erase(key);
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
