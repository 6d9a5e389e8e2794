// Sorts a folder while it arrives: folders first, then the chosen field, then the user's order of names.
//
// Each name's collation key is made once. What was added since the last order() is sorted by itself and
// merged, so a folder that arrives in n pieces is not sorted n times. Threading   one thread at a time
#pragma once

#include "MorvApp/Model/EntryList.h"

#include <memory>
#include <string_view>
#include <vector>

namespace morv {

struct SortRule {
    FileSort sort = FileSort::name;
    bool ascending = true;

    friend bool operator==(const SortRule&, const SortRule&) = default;
};

class EntrySorter {
public:
    explicit EntrySorter(SortRule rule) : rule_(rule) {}

    /// `first` names batch[0]; the batch need not outlive the call.
    void add(EntryRef first, const std::vector<FileEntry>& batch);
    /// Everything added so far. Items that compare equal keep the order in which they were added.
    EntryOrder order();
    const SortRule& rule() const { return rule_; }

    static EntryOrder sorted(const EntryList& entries, SortRule rule);

private:
    struct Row {
        std::int64_t primary; ///< the chosen field, mapped to the order of integers
        const char* key;
        std::uint32_t keySize;
        EntryRef ref; ///< the top bit is never set in a list that fits in memory: it marks what is no folder
    };
    std::int64_t primary(const FileEntry& entry) const;
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
