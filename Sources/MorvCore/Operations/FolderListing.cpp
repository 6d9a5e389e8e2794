#include "MorvCore/Operations/FolderListing.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/FileStat.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace morv {

namespace {

template <class Sink>
void eachName(int folder, Sink&& sink) {
    // Opened anew: a duplicate would share its position with every other listing of this descriptor.
    const int own = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* stream = own < 0 ? nullptr : fdopendir(own);
    if (!stream) {
        const int code = errno;
        if (own >= 0)
            close(own);
        throw PosixError(code);
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> owner(stream, closedir);
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(stream);
        if (!entry) {
            if (errno != 0)
                throw PosixError(errno);
            return;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            sink(*entry);
    }
}

} // namespace

std::vector<std::string> listFolder(int folder) {
    std::vector<std::string> names;
    eachName(folder, [&](const dirent& entry) { names.emplace_back(entry.d_name); });
    return names;
}

std::vector<ListedName> listFolderWithKinds(int folder) {
    std::vector<ListedName> names;
    eachName(folder, [&](const dirent& entry) {
        names.push_back({entry.d_name, entry.d_type == DT_UNKNOWN ? statAt(folder, entry.d_name).isDirectory()
                                                                  : entry.d_type == DT_DIR});
    });
    return names;
}

} // namespace morv
