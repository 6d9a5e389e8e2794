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
    return a.size_ == b.size_ && std::equal(a.begin(), a.end(), b.begin(), b.end());
}

} // namespace morv
