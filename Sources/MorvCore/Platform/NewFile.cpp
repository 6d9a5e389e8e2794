#include "MorvCore/Platform/NewFile.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/UUID.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/Durability.h"
#include "MorvCore/Platform/ExclusiveRename.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace morv {

namespace {

void writeAll(int descriptor, std::string_view content, const FileURL& shown) {
    while (!content.empty()) {
        const auto written = ::write(descriptor, content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw PosixError(errno, shown.path());
        content.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

void writeNewFile(const FileURL& file, std::string_view content) {
    const auto parent = file.parent();
    const Descriptor folder(::open(parent.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        throw PosixError(errno, parent.path());
    const auto staging = ".morv-" + UUID::random().text();
    Descriptor made(
        ::openat(folder.get(), staging.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!made)
        throw PosixError(errno, file.path());
    try {
        writeAll(made.get(), content, file);
        flushDescriptor(made.get(), file);
        if (::close(made.release()) != 0)
            throw PosixError(errno, file.path());
        renameWithoutReplacing(folder.get(), staging, folder.get(), std::string(file.lastComponent()), file);
    } catch (...) {
        ::unlinkat(folder.get(), staging.c_str(), 0);
        throw;
    }
    flushFolder(folder.get(), parent);
}

} // namespace morv
