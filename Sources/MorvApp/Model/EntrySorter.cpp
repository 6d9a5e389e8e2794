#include "MorvApp/Model/EntrySorter.h"

#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace morv {

namespace {

constexpr EntryRef notAFolder = 1U << 31;
constexpr std::size_t blockBytes = 64 * 1024;

std::int64_t inIntegerOrder(const std::optional<Date>& date) {
    if (!date)
        return std::numeric_limits<std::int64_t>::min();
    const auto bits = std::bit_cast<std::int64_t>(date->sinceReference);
    return bits < 0 ? bits ^ std::numeric_limits<std::int64_t>::max() : bits;
}

std::int64_t kindRank(FileKind kind) {
    static const auto ranks = [] {
        auto kinds = allFileKinds;
        std::ranges::sort(kinds, [](FileKind a, FileKind b) {
            return NameCollation::compare(rawValue(a), rawValue(b)) < 0;
        });
        std::array<std::int64_t, allFileKinds.size()> rank{};
        for (std::size_t i = 0; i < kinds.size(); ++i)
            rank[static_cast<std::size_t>(kinds[i])] = static_cast<std::int64_t>(i);
        return rank;
    }();
    return ranks[static_cast<std::size_t>(kind)];
}

std::int64_t primary(const FileEntry& entry, FileSort sort) {
    switch (sort) {
    case FileSort::name:
        return 0;
    case FileSort::modified:
        return inIntegerOrder(entry.modifiedAt);
    case FileSort::added:
        return inIntegerOrder(entry.addedAt);
    case FileSort::size:
        return entry.size;
    case FileSort::kind:
        return kindRank(entry.kind);
    }
    return 0;
}

EntryRef marked(EntryRef ref, const FileEntry& entry) {
    return entry.isNavigable() ? ref : ref | notAFolder;
}

} // namespace

std::string_view EntrySorter::store(std::string_view key) {
    if (blocks_.empty() || blockSize_ - blockUsed_ < key.size()) {
        blockSize_ = std::max(blockBytes, key.size());
        blocks_.push_back(std::make_unique_for_overwrite<char[]>(blockSize_));
        blockUsed_ = 0;
    }
    char* place = blocks_.back().get() + blockUsed_;
    std::memcpy(place, key.data(), key.size());
    blockUsed_ += key.size();
    return {place, key.size()};
}

void EntrySorter::add(EntryRef first, const std::vector<FileEntry>& batch) {
    for (const auto& entry : batch) {
        const auto key = store(NameCollation::sortKey(entry.name));
        rows_.push_back({primary(entry, rule_.sort), key.data(), static_cast<std::uint32_t>(key.size()),
                         marked(first++, entry)});
    }
}

void EntrySorter::setRule(SortRule rule, const EntryList& entries) {
    rule_ = rule;
    sortedCount_ = 0;
    for (auto& row : rows_)
        row.primary = primary(entries[row.ref & ~notAFolder], rule.sort);
}

bool EntrySorter::comesFirst(const Row& a, const Row& b) const {
    if ((a.ref & notAFolder) != (b.ref & notAFolder))
        return (a.ref & notAFolder) == 0;
    if (a.primary != b.primary)
        return (a.primary < b.primary) == rule_.ascending;
    const int names = a.name().compare(b.name());
    if (names != 0)
        return (names < 0) == rule_.ascending;
    return a.ref < b.ref;
}

EntryOrder EntrySorter::order() {
    const auto before = [this](const Row& a, const Row& b) { return comesFirst(a, b); };
    const auto middle = rows_.begin() + static_cast<std::ptrdiff_t>(sortedCount_);
    std::sort(middle, rows_.end(), before);
    std::inplace_merge(rows_.begin(), middle, rows_.end(), before);
    sortedCount_ = rows_.size();
    auto refs = std::make_shared<std::vector<EntryRef>>();
    refs->reserve(rows_.size());
    for (const auto& row : rows_)
        refs->push_back(row.ref & ~notAFolder);
    return refs;
}

NamePlaces EntrySorter::namePlaces() const {
    std::vector<const Row*> byName;
    byName.reserve(rows_.size());
    for (const auto& row : rows_)
        byName.push_back(&row);
    // After an order by name only the folders stand apart, which a merge puts in their places.
    const auto less = [](const Row* a, const Row* b) { return a->name() < b->name(); };
    const auto middle = std::is_sorted_until(byName.begin(), byName.end(), less);
    std::sort(middle, byName.end(), less);
    std::inplace_merge(byName.begin(), middle, byName.end(), less);

    auto places = std::make_shared<std::vector<NamePlace>>();
    places->reserve(rows_.size());
    std::uint32_t rank = 0;
    for (std::size_t i = 0; i < byName.size(); ++i) {
        if (i > 0 && byName[i - 1]->name() != byName[i]->name())
            ++rank;
        places->push_back({byName[i]->ref & ~notAFolder, rank});
    }
    std::ranges::sort(*places, {}, &NamePlace::ref);
    return places;
}

EntryOrder EntrySorter::sorted(const EntryList& entries, SortRule rule) {
    EntrySorter sorter(rule);
    sorter.rows_.reserve(entries.size());
    for (std::size_t i = 0; i < entries.batches().size(); ++i)
        sorter.add(EntryList::firstRef(i), *entries.batches()[i]);
    return sorter.order();
}

EntryOrder EntrySorter::sorted(const EntryList& entries, const std::vector<NamePlace>& places,
                               SortRule rule) {
    struct PlacedRow {
        std::int64_t primary;
        std::uint32_t rank;
        EntryRef ref;
    };
    std::vector<PlacedRow> rows;
    rows.reserve(places.size());
    for (const auto& place : places) {
        const auto& entry = entries[place.ref];
        rows.push_back({primary(entry, rule.sort), place.rank, marked(place.ref, entry)});
    }
    std::ranges::sort(rows, [rule](const PlacedRow& a, const PlacedRow& b) {
        if ((a.ref & notAFolder) != (b.ref & notAFolder))
            return (a.ref & notAFolder) == 0;
        if (a.primary != b.primary)
            return (a.primary < b.primary) == rule.ascending;
        if (a.rank != b.rank)
            return (a.rank < b.rank) == rule.ascending;
        return a.ref < b.ref;
    });
    auto refs = std::make_shared<std::vector<EntryRef>>();
    refs->reserve(rows.size());
    for (const auto& row : rows)
        refs->push_back(row.ref & ~notAFolder);
    return refs;
}

} // namespace morv
