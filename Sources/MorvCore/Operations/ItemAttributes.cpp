#include "MorvCore/Operations/ItemAttributes.h"

#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace morv {

namespace {

constexpr std::size_t longestList = 1'048'576;
constexpr long longestValue = 16'777'216;
constexpr long longestResourceFork = 4'294'967'295;
constexpr std::string_view userPrefix = "user.";
constexpr std::string_view resourceFork = "user.com.apple.ResourceFork";

bool travels(std::string_view name) {
    static constexpr std::array<std::string_view, 4> rewritten = {
        "user.com.apple.decmpfs", "user.com.apple.macl", "user.com.apple.provenance",
        "user.com.apple.lastuseddate#PS"};
    return (name.starts_with(userPrefix) || name.starts_with("system.posix_acl_")) &&
           std::ranges::find(rewritten, name) == rewritten.end();
}

std::vector<std::string> sortedNames(const std::string& list) {
    std::vector<std::string> names;
    for (std::size_t start = 0; start < list.size();) {
        const auto end = std::min(list.find('\0', start), list.size());
        if (end > start) {
            const auto name = std::string_view(list).substr(start, end - start);
            if (!isValidUTF8(name))
                throw FileOperationError::unsupported("An extended metadata name is not supported.");
            if (travels(name))
                names.emplace_back(name);
        }
        start = end + 1;
    }
    std::ranges::sort(names, canonicallyLess);
    return names;
}

std::string readValue(const AttributeTarget& item, const std::string& name) {
    const long size = item.size(name);
    if (size < 0)
        throw FileOperationError::changed("An extended metadata record changed during inspection.");
    if (size > (name == resourceFork ? longestResourceFork : longestValue))
        throw FileOperationError::unsupported(
            "An extended metadata record exceeds Morv's verification limit.");
    std::string value(static_cast<std::size_t>(size), '\0');
    if (size > 0 && item.read(name, value.data(), value.size()) != size)
        throw FileOperationError::changed("Extended metadata changed while being read.");
    return value;
}

} // namespace

const ItemAttributes& noAttributes() {
    static const ItemAttributes none{"", ContentHash().finish(), {}};
    return none;
}

bool carriesUserAttributes(const AttributeTarget& item) {
    const auto list = item.list();
    return list && std::ranges::any_of(sortedNames(*list),
                                       [](const std::string& name) { return name.starts_with(userPrefix); });
}

ItemAttributes readAttributes(const AttributeTarget& item, AttributeValues values,
                              const std::stop_token& stop) {
    const auto list = item.list();
    if (!list || list->empty())
        return noAttributes();
    if (list->size() > longestList)
        throw FileOperationError::unsupported(
            "This item's extended metadata is too large to inspect safely.");
    const auto names = sortedNames(*list);
    if (names.empty())
        return noAttributes();

    ItemAttributes result;
    if (std::ranges::find(names, FileTagMetadata::attribute) != names.end()) {
        auto tags = FileTagMetadata::names(item);
        std::ranges::stable_sort(tags, canonicallyLess);
        for (std::size_t i = 0; i < tags.size(); ++i)
            result.tags.append(i ? std::string_view("\0", 1) : std::string_view()).append(tags[i]);
    }
    ContentHash outer, inner;
    for (const auto& name : names) {
        checkCancelled(stop);
        auto value = readValue(item, name);
        outer.append(name);
        inner.update(value);
        const auto digest = inner.finish();
        outer.append({reinterpret_cast<const char*>(digest.data()), digest.size()});
        if (values == AttributeValues::keep)
            result.values.emplace_back(name, std::move(value));
    }
    result.digest = outer.finish();
    return result;
}

} // namespace morv
