#include "MorvCore/Operations/OperationItemList.h"

#include "MorvCore/Operations/Operations.h"

#include <algorithm>

namespace morv {

void OperationItemList::append(OperationItemResult item) {
    auto shared = std::make_shared<const OperationItemResult>(std::move(item));
    Chunk chunk;
    if (size_ % chunkSize != 0) {
        chunk = *chunks_.back();
        chunks_.pop_back();
    }
    chunk.push_back(std::move(shared));
    chunks_.push_back(std::make_shared<const Chunk>(std::move(chunk)));
    ++size_;
}

void OperationItemList::replace(std::size_t index, OperationItemResult item) {
    auto chunk = *chunks_[index / chunkSize];
    chunk[index % chunkSize] = std::make_shared<const OperationItemResult>(std::move(item));
    chunks_[index / chunkSize] = std::make_shared<const Chunk>(std::move(chunk));
}

bool operator==(const OperationItemList& a, const OperationItemList& b) {
    const auto isSame = [](const auto& one, const auto& other, const auto& compare) {
        return one == other || compare(*one, *other);
    };
    return std::ranges::equal(a.chunks_, b.chunks_, [&](const auto& one, const auto& other) {
        return isSame(one, other, [&](const auto& here, const auto& there) {
            return std::ranges::equal(here, there, [&](const auto& item, const auto& otherItem) {
                return isSame(item, otherItem, std::equal_to<OperationItemResult>());
            });
        });
    });
}

} // namespace morv
