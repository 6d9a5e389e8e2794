#include "MorvCore/Platform/PropertyList.h"

#include "MorvCore/Foundation/Errors.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <plist/plist.h>

namespace morv {

namespace {

struct FreeNode {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;

enum class Shape : std::uint8_t { strings, other, damaged };

/// What a binary list will unfold to, read without unfolding it. A reference of one byte stands for a whole
/// object, so a few hundred bytes of lists in lists, or one long string named often, can ask for all memory.
class BinaryList {
public:
    static constexpr std::string_view magic = "bplist";

    explicit BinaryList(std::string_view bytes) : bytes_(bytes) {}

    Shape shape() {
        if (bytes_.size() < headerSize + trailerSize)
            return Shape::damaged;
        end_ = bytes_.size() - trailerSize;
        offsetWidth_ = number(end_ + 6, 1);
        const auto referenceWidth = number(end_ + 7, 1);
        count_ = number(end_ + 8, 8);
        const auto list = object(number(end_ + 16, 8));
        if (isDamaged_ || referenceWidth < 1 || referenceWidth > 8)
            return Shape::damaged;
        if (list.type != arrayType)
            return Shape::other;
        std::uint64_t unfolded = 0;
        for (std::uint64_t i = 0; i < list.length && !isDamaged_; ++i) {
            const auto item = object(reference(list.body + i * referenceWidth, referenceWidth));
            if (item.type != asciiType && item.type != utf16Type && item.type != utf8Type)
                return isDamaged_ ? Shape::damaged : Shape::other;
            unfolded += item.length * (item.type == utf16Type ? 3 : 1);
            if (unfolded > largestUnfolded)
                return Shape::damaged;
        }
        return isDamaged_ ? Shape::damaged : Shape::strings;
    }

private:
    // The layout of a binary list: header, objects, their offsets, trailer; numbers are big-endian.
    static constexpr std::size_t headerSize = 8, trailerSize = 32;
    static constexpr unsigned arrayType = 0xA, asciiType = 0x5, utf16Type = 0x6, utf8Type = 0x7;
    /// Far more than any list of at most 64 KiB whose strings stand in it once.
    static constexpr std::uint64_t largestUnfolded = std::uint64_t{1} << 20;

    struct Object {
        unsigned type = 0;
        std::uint64_t length = 0; ///< characters or references; never more than there are bytes
        std::uint64_t body = 0;
    };

    std::uint64_t number(std::uint64_t at, std::uint64_t width) {
        if (width < 1 || width > 8 || at > bytes_.size() || width > bytes_.size() - at) {
            isDamaged_ = true;
            return 0;
        }
        std::uint64_t value = 0;
        for (const char byte : bytes_.substr(at, width))
            value = value << 8 | static_cast<std::uint8_t>(byte);
        return value;
    }
    std::uint64_t reference(std::uint64_t at, std::uint64_t width) {
        if (at >= end_)
            isDamaged_ = true;
        return number(at, width);
    }
    Object object(std::uint64_t index) {
        const auto table = number(end_ + 24, 8);
        if (index >= count_ || index > bytes_.size() || table > end_) {
            isDamaged_ = true;
            return {};
        }
        const auto at = number(table + index * offsetWidth_, offsetWidth_);
        const auto mark = number(at, 1);
        Object found{static_cast<unsigned>(mark >> 4), mark & 0xF, at + 1};
        if (found.length == 0xF) {
            const auto width = std::uint64_t{1} << (number(found.body, 1) & 0xF);
            found.length = number(found.body + 1, width);
            found.body += 1 + width;
        }
        if (isDamaged_ || found.length > bytes_.size()) {
            isDamaged_ = true;
            return {};
        }
        return found;
    }

    std::string_view bytes_;
    std::uint64_t end_ = 0; ///< where the trailer begins
    std::uint64_t offsetWidth_ = 0;
    std::uint64_t count_ = 0;
    bool isDamaged_ = false;
};

} // namespace

std::optional<std::vector<std::string>> stringsFromPropertyList(std::string_view bytes) {
    const auto shape = bytes.starts_with(BinaryList::magic) ? BinaryList(bytes).shape() : Shape::strings;
    if (shape == Shape::other)
        return std::nullopt;
    plist_t parsed = nullptr;
    if (shape != Shape::damaged && !bytes.empty() && bytes.size() <= UINT32_MAX)
        plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &parsed);
    const Node root(parsed);
    if (!root)
        throw DecodingError("The property list cannot be read: its bytes are damaged.");
    if (plist_get_node_type(root.get()) != PLIST_ARRAY)
        return std::nullopt;
    std::vector<std::string> strings;
    const auto count = plist_array_get_size(root.get());
    strings.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        auto* const item = plist_array_get_item(root.get(), i);
        if (!item || plist_get_node_type(item) != PLIST_STRING)
            return std::nullopt;
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(item, &length);
        strings.emplace_back(text ? std::string(text, length) : std::string());
    }
    return strings;
}

std::string binaryPropertyList(const std::vector<std::string>& strings) {
    const Node root(plist_new_array());
    for (const auto& string : strings)
        plist_array_append_item(root.get(), plist_new_string(string.c_str()));
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(root.get(), &bytes, &length);
    const std::unique_ptr<char, decltype(&std::free)> owned(bytes, &std::free);
    if (!bytes)
        throw std::bad_alloc();
    return {bytes, length};
}

} // namespace morv
