#include "MorvCore/Platform/ExclusiveRename.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/FileStat.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace morv {

namespace {

[[noreturn]] void refuse() {
    throw FileOperationError::unsupported(
        "This volume cannot rename without replacing. Nothing was changed at the destination.");
}

void publishByLink(int fromDirectory, const std::string& fromName, int toDirectory, const std::string& toName,
                   const FileURL& to) {
    if (!statAt(fromDirectory, fromName).isRegular())
        refuse();
    if (::linkat(fromDirectory, fromName.c_str(), toDirectory, toName.c_str(), 0) != 0) {
        if (errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL)
            refuse();
        throw PosixError(errno, to.path());
    }
    if (::unlinkat(fromDirectory, fromName.c_str(), 0) != 0) {
        const int code = errno;
        // The item keeps its old name, so the new one, made a moment ago, must not stay.
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
