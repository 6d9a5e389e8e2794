// Entries under headings: by kind, by the day of their change, or all under none.
//
// A grouping never sorts: the entries of a section keep the order they came in. What comes out is four bytes
// an entry, whatever the number of sections.
//
// Threading   values; make() may run on any thread
#pragma once

#include "MorvApp/Model/EntryList.h"
#include "MorvCore/Foundation/DayCalendar.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace morv {

/// The first moments of the days that headings speak of.
struct HeadingDays {
    Date today;
    Date yesterday;
    Date sevenDaysAgo;
    Date thirtyDaysAgo;
    Date tomorrow; ///< when all this is out of date

    static HeadingDays around(const DayCalendar& calendar, const Date& now);

    friend bool operator==(const HeadingDays&, const HeadingDays&) = default;
};

struct GroupedEntries;

/// A run of the shown order.
struct FileDisplaySection {
    std::string_view title = {}; ///< a constant of the program's; empty: no heading
    std::size_t first = 0;
    std::size_t count = 0;

    /// `order` names entries of `entries`. Sections without entries are left out; without a grouping there is
    /// always exactly one, and the order is shared.
    static GroupedEntries make(const EntryList& entries, const EntryOrder& order, FileGrouping grouping,
                               const HeadingDays& days);

    friend bool operator==(const FileDisplaySection&, const FileDisplaySection&) = default;
};

struct GroupedEntries {
    EntryOrder order; ///< section by section; never null
    std::vector<FileDisplaySection> sections;
};

} // namespace morv
