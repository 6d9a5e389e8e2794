#include "MorvApp/Model/SplitLayout.h"

#include "MorvApp/Model/UserDefaults.h"
#include "MorvCore/Foundation/UUID.h"

#include <algorithm>
#include <cmath>

namespace morv {

namespace {

/// Smaller changes of the sidebar's width are not worth a write.
constexpr double noticeableWidth = 0.5;

std::string recordName(const std::string& nameSpace, const std::string& key) {
    return "com.morvapp.layout." + nameSpace + "." + key;
}

std::vector<double> ratios(const SplitView& split) {
    std::vector<double> fractions;
    for (std::size_t divider = 0; divider < split.dividers(); ++divider)
        fractions.push_back(split.position(divider) / split.length());
    return fractions;
}

} // namespace

SplitLayoutRegistry::~SplitLayoutRegistry() {
    for (const auto& [name, record] : records_)
        QObject::disconnect(record.observer);
}

std::string SplitLayoutRegistry::newWindowNamespace(Persistence persistence) {
    const auto unique = [](const char* prefix) { return prefix + UUID::random().text(); };
    if (persistence == Persistence::thrownAway)
        return unique("desktop.");
    if (value(environment_, "MORV_START_DIRECTORY"))
        return unique("qa.");
    if (!std::exchange(primaryClaimed_, true))
        return "primary";
    return unique("window.");
}

void SplitLayoutRegistry::registerSplit(SplitView& split, const std::string& nameSpace,
                                        const std::string& key,
                                        const std::optional<std::vector<double>>& restored,
                                        std::uint64_t revision) {
    const auto name = recordName(nameSpace, key);
    if (const auto known = records_.find(name);
        known != records_.end() && known->second.split == &split && known->second.revision == revision)
        return;
    std::erase_if(records_, [&](const auto& entry) {
        if (entry.first != name && entry.second.split != &split)
            return false;
        QObject::disconnect(entry.second.observer);
        return true;
    });
    if (split.length() > 0) {
        const auto fractions = restored && !restored->empty() ? *restored : defaults_.fractions(name);
        restore(name, split, fractions);
    }
    Record record{&split, nameSpace, key, revision, {}};
    record.observer = QObject::connect(&split, &SplitView::resized, [this, name] {
        if (applying_.contains(name))
            return;
        if (const auto found = records_.find(name); found != records_.end())
            save(name, found->second);
    });
    // Without a length nothing was restored: the next registration tries again.
    if (split.length() <= 0)
        --record.revision;
    records_.insert_or_assign(name, std::move(record));
}

void SplitLayoutRegistry::restore(const std::string& name, SplitView& split,
                                  const std::vector<double>& fractions) {
    if (fractions.size() != split.dividers())
        return;
    applying_.insert(name);
    for (std::size_t divider = 0; divider < fractions.size(); ++divider) {
        const double fraction = std::isfinite(fractions[divider]) ? fractions[divider] : 0;
        const double wanted = split.length() * std::clamp(fraction, 0.0, 1.0);
        split.setPosition(divider, std::min(std::max(wanted, split.smallestPosition(divider)),
                                            split.largestPosition(divider)));
    }
    applying_.erase(name);
}

void SplitLayoutRegistry::save(const std::string& name, const Record& record) {
    if (!record.split || record.split->dividers() == 0 || record.split->length() <= 0)
        return;
    const auto fractions = ratios(*record.split);
    defaults_.setFractions(name, fractions);
    snapshotCache_[record.nameSpace][record.key] = fractions;
}

SplitFractions SplitLayoutRegistry::snapshots(const std::string& nameSpace) {
    std::erase_if(records_, [](const auto& entry) { return !entry.second.split; });
    SplitFractions result;
    for (const auto& [name, record] : records_) {
        if (record.nameSpace != nameSpace)
            continue;
        if (record.split->length() > 0)
            result[record.key] = ratios(*record.split);
        else if (const auto& cached = snapshotCache_[nameSpace]; cached.contains(record.key))
            result[record.key] = cached.at(record.key);
    }
    return result;
}

std::optional<double> SidebarColumn::settle(Mode mode, double width) {
    const auto stored = defaults_.sidebarWidth(nameSpace_);
    const auto known = [](double points) { return std::min(points, largest); };
    if (!previous_) {
        if (stored && *stored >= smallest)
            expandedWidth_ = known(*stored);
        else if (mode == Mode::expanded && width >= smallest)
            expandedWidth_ = known(width);
    } else if (previous_ == Mode::expanded && width >= smallest) {
        expandedWidth_ = known(width);
    }
    const bool wasExpanded = std::exchange(previous_, mode) == Mode::expanded;
    // A compact sidebar does not use this column, and leaves what was stored alone.
    if (mode == Mode::compact)
        return std::nullopt;
    const bool mustMove = !wasExpanded || width < smallest || width > largest;
    if (!stored || std::abs(*stored - expandedWidth_) > noticeableWidth)
        defaults_.setSidebarWidth(nameSpace_, expandedWidth_);
    return mustMove && width != expandedWidth_ ? std::optional(expandedWidth_) : std::nullopt;
}

} // namespace morv
