#include "MorvCore/Operations/ExtractedTree.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Operations/ArchiveLimits.h"
#include "MorvCore/Operations/ExtractionFolders.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <vector>

namespace morv::ExtractedTree {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr std::size_t mostLevels = 129; // a path of 128 folders, and staging
constexpr std::int64_t mostBytes = ArchiveLimits::largestExpansion;

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

OpenFolder openFolder(int parent, const char* name, const char* unreadable) {
    Descriptor opened(openat(parent, name, folderFlags));
    OpenFolder folder(opened ? ::fdopendir(opened.get()) : nullptr);
    if (!folder)
        throw FileOperationError::unavailable(unreadable);
    opened.release();
    return folder;
}

/// The next name, or nothing at the end.
const char* nextName(DIR* folder, const char* unreadable) {
    for (;;) {
        errno = 0;
        const auto* entry = ::readdir(folder);
        if (!entry && errno != 0)
            throw FileOperationError::unavailable(unreadable);
        if (!entry)
            return nullptr;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            return entry->d_name;
    }
}

} // namespace

void refuseMismatch() {
    throw FileOperationError::changed("Extracted files did not match the archive's verified directory.");
}

void forEachItem(int staging, const char* unreadable, const std::stop_token& stop, const Visit& visit) {
    std::vector<OpenFolder> levels;
    levels.push_back(openFolder(staging, ".", unreadable));
    while (!levels.empty()) {
        const int folder = ::dirfd(levels.back().get());
        const auto* next = nextName(levels.back().get(), unreadable);
        if (!next) {
            levels.pop_back();
            continue;
        }
        checkCancelled(stop);
        const std::string name = next;
        const auto info = statAt(folder, name);
        visit(folder, name, info);
        if (!info.isDirectory())
            continue;
        if (levels.size() == mostLevels)
            refuseMismatch();
        levels.push_back(openFolder(folder, name.c_str(), unreadable));
    }
}

void inspect(int staging, std::int64_t mostItems, const std::stop_token& stop) {
    std::int64_t items = 0, bytes = 0;
    forEachItem(staging, "The extracted folder could not be inspected.", stop,
                [&](int, const std::string&, const FileStat& info) {
                    if (!info.isDirectory() && (!info.isRegular() || info.links > 1))
                        throw FileOperationError::unsupported(
                            "The archive extracted a link or special file. Its staging folder was retained "
                            "for inspection.");
                    ++items;
                    bytes += info.isRegular() ? info.size : 0;
                    if (items > mostItems || bytes > mostBytes)
                        throw FileOperationError::unsupported(ExtractionBudget::exceeded);
                });
}

} // namespace morv::ExtractedTree
