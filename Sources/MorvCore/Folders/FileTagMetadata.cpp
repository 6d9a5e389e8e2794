#include "MorvCore/Folders/FileTagMetadata.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/PropertyList.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>

namespace morv::FileTagMetadata {

namespace {

constexpr long sizeLimit = 0x10000;

std::string_view nameOf(std::string_view stored) {
    const auto feed = stored.rfind('\n');
    const bool hasColour = feed != std::string_view::npos && feed + 2 == stored.size() &&
                           stored.back() >= '0' && stored.back() <= '7';
    return hasColour ? stored.substr(0, feed) : stored;
}

/// The attribute's bytes; nothing where there is none.
std::optional<std::string> storedBytes(const AttributeTarget& item) {
    static const std::string name(attribute);
    for (int attempts = 3; attempts > 0; --attempts) {
        const long size = item.size(name);
        if (size < 0) {
            if (errno == ENODATA || errno == EOPNOTSUPP)
                return std::nullopt;
            throw PosixError(errno, item.shownPath());
        }
        if (size > sizeLimit)
            throw FileOperationError::invalid("The file’s tag metadata is too large to read safely.");
        // A capacity of nothing would ask for the size again and not for the bytes.
        std::string bytes(static_cast<std::size_t>(std::max(size, 1L)), '\0');
        const long length = item.read(name, bytes.data(), bytes.size());
        if (length >= 0) {
            bytes.resize(static_cast<std::size_t>(length));
            return bytes;
        }
        if (errno != ENODATA && errno != ERANGE)
            throw PosixError(errno, item.shownPath());
    }
    throw FileOperationError::changed("The file’s tags kept changing while they were read. Try again.");
}

std::vector<std::string> storedStrings(const AttributeTarget& item) {
    const auto bytes = storedBytes(item);
    if (!bytes)
        return {};
    auto strings = stringsFromPropertyList(*bytes);
    if (!strings)
        throw FileOperationError::invalid("The file’s named tag metadata is invalid.");
    return std::move(*strings);
}

/// How the names are stored now, by name. Tags that cannot be understood have no colours to keep.
std::map<std::string, std::string, std::less<>> storedByName(const AttributeTarget& item) {
    std::map<std::string, std::string, std::less<>> stored;
    try {
        for (auto& string : storedStrings(item))
            stored.try_emplace(std::string(nameOf(string)), string);
    } catch (const FileOperationError&) {
        stored.clear();
    } catch (const DecodingError&) {
        stored.clear();
    }
    return stored;
}

/// A name that would itself be read as a name with a colour is stored with the colour "none".
std::string newString(const std::string& name) {
    auto text = repairedUTF8(name);
    return nameOf(text) == text ? text : text + "\n0";
}

} // namespace

std::vector<std::string> names(const FileURL& url) {
    return names(AttributeTarget::path(url));
}

std::vector<std::string> names(const AttributeTarget& item) {
    auto strings = storedStrings(item);
    for (auto& string : strings)
        string.resize(nameOf(string).size());
    return strings;
}

std::vector<Tag> tags(const AttributeTarget& item) {
    std::vector<Tag> result;
    for (const auto& string : storedStrings(item)) {
        const auto name = nameOf(string);
        result.push_back({std::string(name), name.size() < string.size() ? string.back() - '0' : 0});
    }
    return result;
}

void setNames(const FileURL& url, const std::vector<std::string>& names) {
    const auto item = AttributeTarget::path(url);
    static const std::string attributeName(attribute);
    if (names.empty()) {
        item.remove(attributeName);
        return;
    }
    const auto stored = storedByName(item);
    std::vector<std::string> strings;
    strings.reserve(names.size());
    for (const auto& name : names) {
        const auto kept = stored.find(name);
        strings.push_back(kept == stored.end() ? newString(name) : kept->second);
    }
    item.set(attributeName, binaryPropertyList(strings));
}

} // namespace morv::FileTagMetadata
