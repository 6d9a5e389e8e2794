// The entries of a pane in the order in which a collection shows them: section by section, and of a chosen
// group of downloads only that.
//
// Protocol    refresh() after each change of the pane -> everything else, until the pane changes again
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/FileDisplaySection.h"
#include "MorvApp/Model/PaneModel.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace morv {

class PaneDisplay {
public:
    /// What a section holds. Of files only those that are here have a size.
    struct Totals {
        std::size_t files = 0;
        std::size_t folders = 0;
        std::int64_t bytes = 0; ///< of `files`
    };

    using Clock = std::function<Date()>;

    /// `pane` outlives this. `now` says which day it is.
    PaneDisplay(const PaneModel& pane, Clock now);

    /// Shows these instead of the pane's, in their own order.
    void setOverride(std::optional<EntryList> entries);
    /// Makes the order anew, unless nothing that it is made of has changed. Whether it was.
    bool refresh(FileGrouping grouping);
    /// When a heading will no longer be true; absent while none speaks of days.
    std::optional<Date> validUntil() const;

    std::size_t size() const { return shown_.order->size(); }
    const std::vector<EntryRef>& order() const { return *shown_.order; }
    std::span<const FileDisplaySection> sections() const { return shown_.sections; }
    /// Counted once for each order.
    const Totals& totals(std::size_t section) const;
    const EntryList& entries() const { return override_ ? *override_ : pane_.entries(); }
    const FileEntry& operator[](std::size_t index) const { return entries()[(*shown_.order)[index]]; }

private:
    struct Signature {
        std::uint64_t pane = 0;
        std::uint64_t override = 0;
        FileGrouping grouping = FileGrouping::none;
        HeadingDays days;

        friend bool operator==(const Signature&, const Signature&) = default;
    };

    EntryOrder ungrouped() const;
    HeadingDays days() const;

    const PaneModel& pane_;
    Clock now_;
    std::optional<EntryList> override_;
    std::uint64_t overrideRevision_ = 0;
    bool isNarrowed_ = false; ///< to a group of downloads, which may change without the pane's entries
    std::optional<Signature> signature_;
    mutable std::vector<std::optional<Totals>> totals_; ///< of the sections that were asked for
    GroupedEntries shown_{std::make_shared<const std::vector<EntryRef>>(), {{}}};
};

} // namespace morv
