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

} // namespace

std::int64_t EntrySorter::primary(const FileEntry& entry) const {
    switch (rule_.sort) {
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
        const EntryRef mark = entry.isNavigable() ? 0 : notAFolder;
        rows_.push_back({primary(entry), key.data(), static_cast<std::uint32_t>(key.size()), first++ | mark});
    }
}

bool EntrySorter::comesFirst(const Row& a, const Row& b) const {
    if ((a.ref & notAFolder) != (b.ref & notAFolder))
        return (a.ref & notAFolder) == 0;
    if (a.primary != b.primary)
        return (a.primary < b.primary) == rule_.ascending;
    const int names = std::string_view(a.key, a.keySize).compare({b.key, b.keySize});
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

EntryOrder EntrySorter::sorted(const EntryList& entries, SortRule rule) {
    EntrySorter sorter(rule);
    sorter.rows_.reserve(entries.size());
    for (std::size_t i = 0; i < entries.batches().size(); ++i)
        sorter.add(EntryList::firstRef(i), *entries.batches()[i]);
    return sorter.order();
}

} // namespace morv
