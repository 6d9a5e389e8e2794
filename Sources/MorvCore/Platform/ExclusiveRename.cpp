#include "MorvCore/Platform/ExclusiveRename.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/FileStat.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace morv {

namespace {

// FAT, exFAT, NTFS and SMB answer a name that they cannot keep as they answer a flag that they do not know.
bool refusesName(const FileURL& url) {
    const auto name = url.lastComponent();
    const bool isSuspect = name.find_first_of("\"*:<>?\\|") != std::string_view::npos ||
                           std::ranges::any_of(name, [](char c) { return c >= 0 && c < ' '; }) ||
                           name.ends_with('.') || name.ends_with(' ');
    const auto parent = url.parent();
    const auto folder = statIfPresent(parent);
    if (!isSuspect || !folder)
        return false;
    return !volumeTraits(folder->device, AT_FDCWD, parent.path().c_str()).keepsEveryName;
}

[[noreturn]] void refuse(const FileURL& to) {
    if (refusesName(to))
        throw FileOperationError::unsupported("The destination volume does not accept the name “" +
                                              displayText(to.lastComponent()) + "”.");
    throw FileOperationError::unsupported(
        "This volume cannot rename without replacing. Nothing was changed at the destination.");
}

void publishByLink(int fromDirectory, const std::string& fromName, int toDirectory, const std::string& toName,
                   const FileURL& to) {
    const auto item = statAt(fromDirectory, fromName);
    if (!item.isRegular())
        refuse(to);
    if (::linkat(fromDirectory, fromName.c_str(), toDirectory, toName.c_str(), 0) != 0) {
        if (errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL)
            refuse(to);
        throw PosixError(errno, to.path());
    }
    // An old name that somebody else has taken away meanwhile needs no removing, and the new one may be the
    // item's last.
    if (::unlinkat(fromDirectory, fromName.c_str(), 0) != 0 && errno != ENOENT) {
        const int code = errno;
        // The item keeps its old name, so the new one, made a moment ago, must not stay, if it still is the
        // item's.
        if (statAt(toDirectory, toName).isSameItem(item))
            ::unlinkat(toDirectory, toName.c_str(), 0);
        throw PosixError(code, to.path());
    }
}

} // namespace

void renameWithoutReplacing(int fromDirectory, const std::string& fromName, int toDirectory,
                            const std::string& toName, const FileURL& to) {
    if (::renameat2(fromDirectory, fromName.c_str(), toDirectory, toName.c_str(), RENAME_NOREPLACE) == 0)
        return;
    if (errno != EINVAL && errno != ENOSYS)
        throw PosixError(errno, to.path());
    publishByLink(fromDirectory, fromName, toDirectory, toName, to);
}

void renameWithoutReplacing(const FileURL& from, const FileURL& to) {
    renameWithoutReplacing(AT_FDCWD, from.path(), AT_FDCWD, to.path(), to);
}

} // namespace morv
