#include "MorvCore/Inspection/ItemInformation.h"

#include "MorvCore/Folders/ChildReading.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/ContentHash.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/FileStat.h"
#include "MorvCore/Platform/SyncPlaceholder.h"

#include <array>
#include <cerrno>
#include <fcntl.h>

namespace morv {

namespace {

constexpr long longestMark = 8192;
constexpr std::size_t piece = 64 * 1024;
constexpr std::int64_t toldAfter = 4 * 1024 * 1024;

/// Nothing for a mark that is not there, or that is longer than an address has any reason to be.
std::optional<std::string> mark(const AttributeTarget& item, const char* name) {
    std::string value(static_cast<std::size_t>(longestMark), '\0');
    const long length = item.read(name, value.data(), value.size());
    if (length <= 0)
        return std::nullopt;
    value.resize(static_cast<std::size_t>(length));
    return value;
}

bool isHiddenItem(const FileURL& url) {
    const auto name = url.lastComponent();
    if (name.starts_with('.'))
        return true;
    const Descriptor folder(::open(url.parent().path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder && readHiddenNames(folder.get()).contains(std::string(name));
}

void readTags(const AttributeTarget& item, ItemInformation& information) {
    try {
        information.tags = FileTagMetadata::tags(item);
    } catch (const std::runtime_error& failure) {
        information.tagProblem = failure.what();
    }
}

void readLink(const FileURL& url, ItemInformation& information) {
    information.linkTarget = linkTarget(url);
    information.leadsNowhere = ::faccessat(AT_FDCWD, url.path().c_str(), F_OK, AT_EACCESS) != 0;
}

Descriptor openForReading(const FileURL& url) {
    // What is no file is not waited for.
    Descriptor file(::open(url.path().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
    if (!file)
        throw PosixError(errno, url.path());
    return file;
}

bool isUnchanged(const FileStat& before, const FileStat& after) {
    return before.size == after.size && before.modified == after.modified && before.changed == after.changed;
}

} // namespace

ItemInformation readItemInformation(const FileURL& url, const std::stop_token& stop) {
    const auto stat = statItem(url);
    ItemInformation information;
    information.entry = DirectoryService::entry(url);
    information.allocated = stat.blocks * 512;
    information.links = stat.links;
    information.isRegular = stat.isRegular();
    information.accessed = Date::fromUnix(stat.accessed.seconds, stat.accessed.nanoseconds);
    checkCancelled(stop);
    information.isHidden = isHiddenItem(url);
    information.mount = mountFacts(stat.mountID);
    checkCancelled(stop);
    information.permissions = {stat.mode, itemAccess(url), isThisUser(stat.owner), userName(stat.owner),
                               groupName(stat.group)};
    checkCancelled(stop);
    if (stat.isSymbolicLink()) {
        readLink(url, information);
        return information;
    }
    const auto item = AttributeTarget::path(url);
    readTags(item, information);
    information.origin = mark(item, "user.xdg.origin.url");
    information.referrer = mark(item, "user.xdg.referrer.url");
    return information;
}

std::string contentChecksum(const FileURL& url, const std::function<void(std::int64_t)>& progress,
                            const std::stop_token& stop) {
    const auto file = openForReading(url);
    const auto before = statDescriptor(file.get());
    if (!before.isRegular())
        throw FileOperationError::unsupported("Only a file has a checksum.");
    if (isSyncPlaceholder(before, url.lastComponent(), AttributeTarget::descriptor(file.get())))
        throw FileOperationError::unavailable("The file is stored in the cloud. Download it first.");
    ContentHash hash;
    std::array<std::byte, piece> buffer;
    std::int64_t total = 0;
    std::int64_t told = 0;
    for (;;) {
        checkCancelled(stop);
        const auto count = ::read(file.get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw PosixError(errno, url.path());
        if (count == 0)
            break;
        hash.update(std::span(buffer.data(), static_cast<std::size_t>(count)));
        total += count;
        if (total - told >= toldAfter) {
            told = total;
            progress(total);
        }
    }
    if (!isUnchanged(before, statDescriptor(file.get())))
        throw FileOperationError::changed("The file changed while its checksum was computed. Try again.");
    return hexText(hash.finish());
}

} // namespace morv
