// The results of an operation, shared between the versions of its receipt.
//
// A receipt of n items has 2n versions: each is handed to every observer, window and buffer. So items stand
// behind shared pointers in chunks: copying a list costs n/128 pointers, replacing one item 128.
// Value semantics; a copy may be read on another thread while the original is changed.
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <vector>

namespace morv {

struct OperationItemResult;

class OperationItemList {
public:
    using value_type = OperationItemResult;

    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = OperationItemResult;
        using difference_type = std::ptrdiff_t;
        using pointer = const OperationItemResult*;
        using reference = const OperationItemResult&;

        const_iterator() = default;
        const_iterator(const OperationItemList* list, std::size_t index) : list_(list), index_(index) {}
        reference operator*() const { return (*list_)[index_]; }
        pointer operator->() const { return &(*list_)[index_]; }
        const_iterator& operator++() {
            ++index_;
            return *this;
        }
        const_iterator operator++(int) {
            auto old = *this;
            ++index_;
            return old;
        }
        friend bool operator==(const const_iterator& a, const const_iterator& b) {
            return a.index_ == b.index_;
        }

    private:
        const OperationItemList* list_ = nullptr;
        std::size_t index_ = 0;
    };

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const OperationItemResult& operator[](std::size_t index) const {
        return *(*chunks_[index / chunkSize])[index % chunkSize];
    }
    const_iterator begin() const { return {this, 0}; }
    const_iterator end() const { return {this, size_}; }

    void append(OperationItemResult item);
    void replace(std::size_t index, OperationItemResult item);

    friend bool operator==(const OperationItemList& a, const OperationItemList& b);

private:
    static constexpr std::size_t chunkSize = 128;
    using Chunk = std::vector<std::shared_ptr<const OperationItemResult>>;

    std::vector<std::shared_ptr<const Chunk>> chunks_;
    std::size_t size_ = 0;
};

} // namespace morv
