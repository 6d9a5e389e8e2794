#include "MorvApp/Model/TagsInUse.h"

#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <set>

namespace morv {

namespace {

constexpr const char* recordKey = "sidebar.tags";
/// A longer one is not a name that somebody uses.
constexpr std::size_t longestName = 128;

} // namespace

TagsInUse::TagsInUse(SQLiteStore& store, TaskPools& pools, QObject* parent)
    : QObject(parent), store_(store), tasks_(pools) {
    const auto loaded = [this](std::vector<std::string> names) {
        names.resize(std::min(names.size(), mostKept));
        recent_ = std::move(names);
        isLoaded_ = true;
        Q_EMIT changed();
        add(std::exchange(early_, {}));
    };
    tasks_.run(
        TaskLane::records,
        [&kept = store_](const std::stop_token&) {
            std::vector<std::string> names;
            if (const auto bytes = kept.loadBytes(recordKey))
                json::decode(json::parse(*bytes), names);
            return names;
        },
        loaded, [loaded](const std::exception_ptr&) { loaded({}); });
}

std::vector<std::string> TagsInUse::names() const {
    auto sorted = recent_;
    std::ranges::sort(sorted, [](const std::string& a, const std::string& b) {
        return std::is_lt(NameCollation::compare(a, b));
    });
    return sorted;
}

void TagsInUse::notice(const EntryList& entries) {
    std::vector<std::string> seen;
    entries.forEach([&](const FileEntry& entry) {
        if (!entry.tagList || seen.size() >= mostKept)
            return;
        for (const auto& tag : *entry.tagList)
            if (!tag.empty() && tag.size() <= longestName && std::ranges::find(seen, tag) == seen.end())
                seen.push_back(tag);
    });
    if (!seen.empty())
        add(seen);
}

void TagsInUse::add(const std::vector<std::string>& seen) {
    if (!isLoaded_) {
        early_.insert(early_.end(), seen.begin(), seen.end());
        return;
    }
    const std::set<std::string> before(recent_.begin(), recent_.end());
    for (const auto& name : seen) {
        std::erase(recent_, name);
        recent_.insert(recent_.begin(), name);
    }
    recent_.resize(std::min(recent_.size(), mostKept));
    // Another order is not worth a write.
    if (before != std::set<std::string>(recent_.begin(), recent_.end()))
        save();
}

void TagsInUse::forget(const std::string& name) {
    if (std::erase(recent_, name) > 0)
        save();
}

void TagsInUse::save() {
    Q_EMIT changed();
    tasks_.run(
        TaskLane::records,
        [&kept = store_, names = recent_](const std::stop_token&) {
            kept.saveBytes(json::dump(json::encode(names)), recordKey);
        },
        [] {},
        // They are seen again.
        [](const std::exception_ptr&) {});
}

} // namespace morv
