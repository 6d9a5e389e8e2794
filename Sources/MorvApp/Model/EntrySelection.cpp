#include "MorvApp/Model/EntrySelection.h"

#include <charconv>

namespace morv {

namespace {

constexpr std::string_view unavailablePrefix = "unavailable:";

/// Takes a decimal number and the colon after it from the front of `text`.
bool takeNumber(std::string_view& text, std::uint64_t& number) {
    const auto* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr == end || *parsed.ptr != ':')
        return false;
    text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()) + 1);
    return true;
}

} // namespace

std::optional<EntryKey> EntryKey::parse(std::string_view id) {
    std::uint64_t volume = 0, inode = 0;
    if (id.starts_with(unavailablePrefix))
        id.remove_prefix(unavailablePrefix.size());
    else if (!takeNumber(id, volume) || !takeNumber(id, inode))
        return std::nullopt;
    if (!id.starts_with('/'))
        return std::nullopt;
    return EntryKey(FileURL::fromPath(id), volume, inode);
}

std::string EntryKey::id() const {
    const auto path = folder_ ? folder_->child(name_).path() : std::string("/");
    // Only what could not be read has no identity.
    if (volume_ == 0 && inode_ == 0)
        return std::string(unavailablePrefix) + path;
    return std::to_string(volume_) + ':' + std::to_string(inode_) + ':' + path;
}

} // namespace morv
