#include "MorvApp/Model/TagChange.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Cancellation.h"

#include <algorithm>
#include <map>

namespace morv {

namespace {

bool holds(const std::vector<std::string>& tags, const std::string& tag) {
    return std::ranges::find(tags, tag) != tags.end();
}

} // namespace

std::vector<std::string> TagChange::appliedTo(std::vector<std::string> tags) const {
    std::erase_if(tags, [this](const std::string& tag) { return holds(remove, tag); });
    for (const auto& tag : add)
        if (!holds(tags, tag))
            tags.push_back(tag);
    return tags;
}

std::vector<TagGroup> tagGroups(const std::vector<FileURL>& items, const TagChange& change,
                                const std::stop_token& stop) {
    std::vector<TagGroup> groups;
    std::map<std::vector<std::string>, std::size_t> places;
    for (const auto& item : items) {
        checkCancelled(stop);
        const auto present = FileTagMetadata::names(item);
        auto wanted = change.appliedTo(present);
        if (wanted == present)
            continue;
        std::ranges::sort(wanted);
        const auto [place, isNew] = places.try_emplace(wanted, groups.size());
        if (isNew)
            groups.push_back({{}, std::move(wanted)});
        groups[place->second].items.push_back(item);
    }
    return groups;
}

std::vector<std::string> knownTags(const AppModel& app) {
    std::map<std::string, std::size_t> carriers;
    const auto collect = [&carriers](const PaneModel* pane) {
        if (pane)
            pane->entries().forEach([&](const FileEntry& entry) {
                for (const auto& tag : entry.tags())
                    ++carriers[tag];
            });
    };
    for (const auto& tab : app.tabs()) {
        collect(tab.pane.get());
        collect(tab.second.get());
    }
    for (const auto& tag : app.services().tags.names())
        carriers.try_emplace(tag, 0);
    for (const auto colour : colourTags)
        carriers.try_emplace(std::string(colour), 0);
    std::vector<std::string> known;
    for (const auto& [tag, count] : carriers)
        known.push_back(tag);
    std::ranges::stable_sort(known, std::ranges::greater(),
                             [&](const std::string& tag) { return carriers[tag]; });
    return known;
}

} // namespace morv
