#include "MorvApp/Model/PaneDisplay.h"

#include <utility>

namespace morv {

PaneDisplay::PaneDisplay(const PaneModel& pane, Clock now) : pane_(pane), now_(std::move(now)) {}

void PaneDisplay::setOverride(std::optional<EntryList> entries) {
    override_ = std::move(entries);
    ++overrideRevision_;
}

EntryOrder PaneDisplay::ungrouped() const {
    if (override_) {
        auto order = std::make_shared<std::vector<EntryRef>>();
        order->reserve(override_->size());
        const auto& batches = override_->batches();
        for (std::size_t batch = 0; batch < batches.size(); ++batch)
            for (EntryRef place = 0; place < batches[batch]->size(); ++place)
                order->push_back(EntryList::firstRef(batch) + place);
        return order;
    }
    return isNarrowed_ ? std::make_shared<const std::vector<EntryRef>>(pane_.downloadsDisplayedEntries())
                       : pane_.displayedOrder();
}

/// Kept for as long as they hold: asking which calendar and zone the user has takes longer than grouping what
/// has just been read.
HeadingDays PaneDisplay::days() const {
    const auto now = now_();
    if (signature_ && signature_->grouping == FileGrouping::date && !(now < signature_->days.today) &&
        now < signature_->days.tomorrow)
        return signature_->days;
    return HeadingDays::around(DayCalendar::current(), now);
}

bool PaneDisplay::refresh(FileGrouping grouping) {
    Signature signature{pane_.displayRevision(), overrideRevision_, grouping, {}};
    if (grouping == FileGrouping::date)
        signature.days = days();
    const bool wasNarrowed =
        std::exchange(isNarrowed_, !override_ && pane_.selectedDownloadsGroup() != nullptr);
    if (signature == signature_ && !wasNarrowed && !isNarrowed_)
        return false;
    signature_ = signature;
    shown_ = FileDisplaySection::make(entries(), ungrouped(), grouping, signature.days);
    totals_.assign(shown_.sections.size(), std::nullopt);
    return true;
}

const PaneDisplay::Totals& PaneDisplay::totals(std::size_t section) const {
    totals_.resize(shown_.sections.size());
    auto& totals = totals_[section];
    if (totals)
        return *totals;
    totals.emplace();
    const auto [title, first, count] = shown_.sections[section];
    for (auto index = first; index < first + count; ++index) {
        const auto& item = (*this)[index];
        if (item.isNavigable()) {
            ++totals->folders;
        } else if (item.availability == FileAvailability::local) {
            ++totals->files;
            totals->bytes += item.size;
        }
    }
    return *totals;
}

std::optional<Date> PaneDisplay::validUntil() const {
    if (!signature_ || signature_->grouping != FileGrouping::date)
        return std::nullopt;
    return signature_->days.tomorrow;
}

} // namespace morv
