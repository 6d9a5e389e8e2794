#include "MorvCore/Platform/FolderPassage.h"

#include "MorvCore/Foundation/Errors.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <fcntl.h>
#include <linux/openat2.h>
#include <string>
#include <sys/syscall.h>

namespace morv {

namespace {

constexpr int readingFlags = O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC;
constexpr int passageFlags = O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC;

/// Where a piece that the kernel takes at once ends: before a slash, or at the end.
std::size_t pieceEnd(std::string_view path, std::size_t longest) {
    return path.size() <= longest ? path.size() : path.rfind('/', longest);
}

Descriptor openPiece(int folder, const std::string& piece, int flags) {
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags);
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS | RESOLVE_BENEATH;
    for (;;) {
        Descriptor opened(static_cast<int>(::syscall(SYS_openat2, folder, piece.c_str(), &how, sizeof how)));
        // A rename on the way makes the kernel unsure whether the path stayed below; it asks to try again.
        if (opened || (errno != EAGAIN && errno != EINTR))
            return opened;
    }
}

} // namespace

Descriptor openFolderBelow(int root, std::string_view relative) {
    Descriptor current;
    int from = root;
    bool hasWholePaths = true;
    for (auto rest = relative;;) {
        const auto longest = static_cast<std::size_t>(hasWholePaths ? PATH_MAX - 1 : 0);
        auto end = hasWholePaths ? pieceEnd(rest, longest) : std::min(rest.find('/'), rest.size());
        const bool isLast = end == rest.size();
        const std::string piece(rest.substr(0, end));
        const int flags = isLast ? readingFlags : passageFlags;
        Descriptor next =
            hasWholePaths ? openPiece(from, piece, flags) : Descriptor(::openat(from, piece.c_str(), flags));
        // An older kernel, or a sandbox that does not know the call.
        if (!next && hasWholePaths && (errno == ENOSYS || errno == EPERM)) {
            hasWholePaths = false;
            continue;
        }
        if (!next)
            throw PosixError(errno, relative);
        if (isLast)
            return next;
        current = std::move(next);
        from = current.get();
        rest.remove_prefix(end + 1);
    }
}

} // namespace morv
