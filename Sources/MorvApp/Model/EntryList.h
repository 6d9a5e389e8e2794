// What a folder holds, in the order of arrival, and an order to show it in.
//
// A folder of a hundred thousand items is published many times while it loads. So the batches are immutable
// and shared: a copy of the list costs one pointer for every 256 items, and an order is four bytes an item.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace morv {

using EntryBatch = std::shared_ptr<const std::vector<FileEntry>>;

/// Names one entry of a list: the batch in the upper 22 bits, the place in it in the lower 10.
using EntryRef = std::uint32_t;

/// Value semantics; copies share the batches and may be read on several threads.
class EntryList {
public:
    static constexpr unsigned placeBits = 10;

    /// A batch holds 1 to 1024 entries.
    void append(EntryBatch batch) {
        size_ += batch->size();
        batches_.push_back(std::move(batch));
    }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const FileEntry& operator[](EntryRef ref) const {
        return (*batches_[ref >> placeBits])[ref & ((1U << placeBits) - 1)];
    }
    const std::vector<EntryBatch>& batches() const { return batches_; }
    static EntryRef firstRef(std::size_t batch) { return static_cast<EntryRef>(batch << placeBits); }

    template <class Visit>
    void forEach(const Visit& visit) const {
        for (const auto& batch : batches_)
            for (const auto& entry : *batch)
                visit(entry);
    }

private:
    std::vector<EntryBatch> batches_;
    std::size_t size_ = 0;
};

/// Immutable once shared; never null in a pane.
using EntryOrder = std::shared_ptr<const std::vector<EntryRef>>;

} // namespace morv
