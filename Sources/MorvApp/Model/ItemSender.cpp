#include "MorvApp/Model/ItemSender.h"

#include <algorithm>
#include <fmt/format.h>

namespace morv {

namespace {

/// More attachments than anybody means to send, and a command line that the system takes.
constexpr std::size_t mostAttachments = 100;

} // namespace

std::optional<std::string> whyNotSendable(const std::vector<const FileEntry*>& entries) {
    if (entries.empty())
        return "Nothing is selected.";
    if (std::ranges::any_of(entries, &FileEntry::isDirectory))
        return "A folder cannot be attached to a message. Compress it first.";
    if (std::ranges::any_of(
            entries, [](const FileEntry* entry) { return entry->availability != FileAvailability::local; }))
        return "What is stored in the cloud has to be downloaded before it can be sent.";
    if (entries.size() > mostAttachments)
        return fmt::format("Select {} files or fewer to send them.", mostAttachments);
    return std::nullopt;
}

} // namespace morv
