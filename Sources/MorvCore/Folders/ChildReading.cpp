#include "MorvCore/Folders/ChildReading.h"

#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/SyncPlaceholder.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace morv {

std::unordered_set<std::string> readHiddenNames(int directory) {
    constexpr std::size_t limit = std::size_t{64} << 10;
    std::unordered_set<std::string> names;
    const Descriptor file(::openat(directory, ".hidden", O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!file || !statDescriptor(file.get()).isRegular())
        return names;
    std::string text(limit, '\0');
    std::size_t length = 0;
    while (length < limit) {
        const auto count = ::read(file.get(), text.data() + length, limit - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        length += static_cast<std::size_t>(count);
    }
    text.resize(length);
    for (std::size_t start = 0; start < text.size();) {
        const auto end = std::min(text.find('\n', start), text.size());
        if (end > start)
            names.insert(text.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

AttributeFacts readAttributes(const FileStat& stat, std::string_view name, const AttributeTarget& item) {
    AttributeFacts facts;
    if (stat.isSymbolicLink())
        return facts;
    try {
        if (mayBeSyncPlaceholder(stat)) {
            const auto attributes = item.list().value_or(std::string());
            if (isSyncPlaceholder(stat, name, attributes))
                facts.availability = FileAvailability::notDownloaded;
            // Large folders hold many empty files, and most carry nothing: one question instead of two.
            if (attributes.empty())
                return facts;
        }
        auto names = FileTagMetadata::names(item);
        if (!names.empty())
            facts.tags = std::make_shared<const std::vector<std::string>>(std::move(names));
    } catch (const PosixError&) {
    } catch (const FileOperationError&) {
    } catch (const DecodingError&) {
    }
    return facts;
}

FileEntry entryFromStat(const FileStat& stat, std::shared_ptr<const FileURL> folder, std::string name) {
    FileEntry entry;
    entry.folder = std::move(folder);
    entry.name = std::move(name);
    entry.volume = stat.volume;
    entry.inode = stat.inode;
    entry.size = stat.size;
    entry.modifiedAt = Date::fromUnix(stat.modified.seconds, stat.modified.nanoseconds);
    if (stat.born)
        entry.addedAt = Date::fromUnix(stat.born->seconds, stat.born->nanoseconds);
    entry.isDirectory = stat.isDirectory();
    entry.isSymbolicLink = stat.isSymbolicLink();
    entry.isPackage = entry.isDirectory && isPackageName(entry.name);
    entry.kind = classifyName(entry.name, entry.isDirectory, entry.isPackage);
    return entry;
}

void addAttributes(FileEntry& entry, AttributeFacts facts) {
    entry.availability = facts.availability;
    entry.tagList = std::move(facts.tags);
}

FileEntry readEntry(const OpenFolder& folder, const FileStat& stat, std::string name) {
    auto entry = entryFromStat(stat, folder.url, std::move(name));
    addAttributes(entry, readAttributes(stat, entry.name, AttributeTarget::at(folder.directory, entry.name)));
    entry.isWritable = folder.writability.isWritable(stat, entry.name);
    // Attributes were asked by name. Where they made a difference, they must be those of the same item.
    const bool tookAttributes = entry.tagList || entry.availability != FileAvailability::local;
    if (tookAttributes && !statAt(folder.directory, entry.name).isSameItem(stat))
        throw FileOperationError::changed("The item changed during metadata loading.");
    return entry;
}

FileEntry unavailableEntry(std::shared_ptr<const FileURL> folder, std::string name) {
    FileEntry entry;
    entry.folder = std::move(folder);
    entry.name = std::move(name);
    entry.availability = FileAvailability::unavailable;
    return entry;
}

} // namespace morv
