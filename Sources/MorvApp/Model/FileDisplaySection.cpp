#include "MorvApp/Model/FileDisplaySection.h"

#include <array>
#include <cstdint>

namespace morv {

namespace {

constexpr std::array<std::string_view, 7> dateTitles = {
    "Folders", "Today", "Yesterday", "Previous 7 Days", "Previous 30 Days", "Older", "Date Unavailable"};

std::size_t datePlace(const FileEntry& entry, const HeadingDays& days) {
    if (entry.isNavigable())
        return 0;
    if (!entry.modifiedAt)
        return 6;
    const auto& date = *entry.modifiedAt;
    if (date >= days.today)
        return 1;
    if (date >= days.yesterday)
        return 2;
    if (date >= days.sevenDaysAgo)
        return 3;
    return date >= days.thirtyDaysAgo ? 4 : 5;
}

} // namespace

HeadingDays HeadingDays::around(const DayCalendar& calendar, const Date& now) {
    return {beginningOfDay(calendar, now, 0), beginningOfDay(calendar, now, -1),
            beginningOfDay(calendar, now, -7), beginningOfDay(calendar, now, -30),
            beginningOfDay(calendar, now, 1)};
}

GroupedEntries FileDisplaySection::make(const EntryList& entries, const EntryOrder& order,
                                        FileGrouping grouping, const HeadingDays& days) {
    if (grouping == FileGrouping::none)
        return {order, {{{}, 0, order->size()}}};
    constexpr std::size_t most = std::max(allFileKinds.size(), dateTitles.size());
    const bool isByKind = grouping == FileGrouping::kind;
    std::array<std::size_t, most> counts{};
    std::vector<std::uint8_t> places;
    places.reserve(order->size());
    for (const auto ref : *order) {
        const auto& entry = entries[ref];
        const auto place = isByKind ? static_cast<std::size_t>(entry.kind) : datePlace(entry, days);
        places.push_back(static_cast<std::uint8_t>(place));
        ++counts[place];
    }
    GroupedEntries result;
    std::array<std::size_t, most> next{};
    std::size_t first = 0;
    for (std::size_t place = 0; place < most; ++place) {
        next[place] = first;
        if (counts[place] > 0)
            result.sections.push_back(
                {isByKind ? morv::title(static_cast<FileKind>(place)) : dateTitles[place], first,
                 counts[place]});
        first += counts[place];
    }
    auto grouped = std::make_shared<std::vector<EntryRef>>(order->size());
    for (std::size_t i = 0; i < places.size(); ++i)
        (*grouped)[next[places[i]]++] = (*order)[i];
    result.order = std::move(grouped);
    return result;
}

} // namespace morv
