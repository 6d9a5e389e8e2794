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

} // namespace

std::optional<std::vector<std::string>> stringsFromPropertyList(std::string_view bytes) {
    plist_t parsed = nullptr;
    if (!bytes.empty() && bytes.size() <= UINT32_MAX)
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
