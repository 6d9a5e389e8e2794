// Sorts a folder while it arrives: folders first, then the chosen field, then the user's order of names.
//
// Each name's collation key is made once. What was added since the last order() is sorted by itself and
// merged, so a folder that arrives in n pieces is not sorted n times. The keys of a hundred thousand names
// are several megabytes, so they go with the sorter; what stays is each name's place among the names
// (NamePlaces), from which any later order is made without looking at a name again.
//
// Threading   one thread at a time; the values it gives are immutable
#pragma once

#include "MorvApp/Model/EntryList.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace morv {

/// Aligned as one word, so that an atomic one needs no lock.
struct alignas(2) SortRule {
    FileSort sort = FileSort::name;
    bool ascending = true;

    friend bool operator==(const SortRule&, const SortRule&) = default;
};

/// An entry and the number of its name in ascending order; equal names share a number.
struct NamePlace {
    EntryRef ref;
    std::uint32_t rank;
};
/// One for each entry of a list, in the list's own order; null: not known yet.
using NamePlaces = std::shared_ptr<const std::vector<NamePlace>>;

class EntrySorter {
public:
    explicit EntrySorter(SortRule rule) : rule_(rule) {}

    /// `first` names batch[0]; the batch need not outlive the call.
    void add(EntryRef first, const std::vector<FileEntry>& batch);
    /// From now on sorts by `rule`; `entries` is everything added so far.
    void setRule(SortRule rule, const EntryList& entries);
    /// Everything added so far. Items that compare equal keep the order in which they were added.
    EntryOrder order();
    /// Of everything added so far.
    NamePlaces namePlaces() const;
    const SortRule& rule() const { return rule_; }

    static EntryOrder sorted(const EntryList& entries, SortRule rule);
    /// The same from what a sorter knew of all `entries`.
    static EntryOrder sorted(const EntryList& entries, const std::vector<NamePlace>& places, SortRule rule);

private:
    struct Row {
        std::int64_t primary; ///< the chosen field, mapped to the order of integers
        const char* key;
        std::uint32_t keySize;
        EntryRef ref; ///< the top bit is never set in a list that fits in memory: it marks what is no folder

        std::string_view name() const { return {key, keySize}; }
    };
    std::string_view store(std::string_view key);
    bool comesFirst(const Row& a, const Row& b) const;

    SortRule rule_;
    std::vector<Row> rows_;
    std::size_t sortedCount_ = 0;
    std::vector<std::unique_ptr<char[]>> blocks_; ///< the keys' bytes
    std::size_t blockUsed_ = 0;
    std::size_t blockSize_ = 0;
};

} // namespace morv
