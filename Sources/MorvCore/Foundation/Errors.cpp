#include "MorvCore/Foundation/Errors.h"

#include "MorvCore/Foundation/Unicode.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace morv {

namespace {

/// The sentence for the codes that people meet; the system's own words for the rest.
std::string sentence(int code) {
    switch (code) {
    case ENOENT:
        return "The item doesn’t exist";
    case EACCES:
    case EPERM:
        return "You don’t have permission";
    case ENOSPC:
        return "There is no space left on the volume";
    case EDQUOT:
        return "Your disk quota on the volume is used up";
    case EROFS:
        return "The volume is read-only";
    case EIO:
        return "The device reported a read or write error";
    case EEXIST:
        return "An item with this name already exists";
    case ENAMETOOLONG:
        return "The name or path is too long";
    case ENODEV:
    case ESTALE:
    case ENOTCONN:
        return "The volume is no longer available";
    case ENOTDIR:
        return "Part of the path is not a folder";
    case ELOOP:
        return "The path leads through a symbolic link that may not be followed";
    case EMFILE:
    case ENFILE:
        return "Too many files are open";
    default:
        break;
    }
    char buffer[128];
    return strerror_r(code, buffer, sizeof buffer);
}

} // namespace

PosixError::PosixError(int code, std::string_view path)
    : std::runtime_error(path.empty() ? sentence(code) + "."
                                      : fmt::format("{}: {}", sentence(code), displayText(path))),
      code_(code), path_(path) {}

CancellationError::CancellationError() : std::runtime_error("The work was cancelled.") {}

} // namespace morv
