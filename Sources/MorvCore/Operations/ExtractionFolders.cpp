#include "MorvCore/Operations/ExtractionFolders.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

namespace morv {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr std::size_t mostKeptOpen = 32;

} // namespace

void ExtractionBudget::take() {
    if (--left_ < 0)
        throw FileOperationError::unsupported(exceeded);
}

ExtractionFolders::ExtractionFolders(int staging, const FileURL& shown, ExtractionBudget& budget)
    : staging_(staging), shown_(shown), budget_(budget) {}

int ExtractionFolders::open(std::string_view path) {
    return reach(path, Missing::refuse);
}

int ExtractionFolders::make(std::string_view path) {
    return reach(path, Missing::make);
}

void ExtractionFolders::refuse(int code, std::string_view name) const {
    if (code == EEXIST || code == ENOTDIR || code == ELOOP)
        throw FileOperationError::collision(fmt::format(
            "Another item stands where “{}” of this ZIP belongs. Extracted files remain in staging.",
            displayText(name)));
    if (code == EINVAL || code == ENAMETOOLONG)
        throw FileOperationError::unsupported(
            fmt::format("The destination volume does not accept the name “{}”.", displayText(name)));
    throw PosixError(code, shown_.parent().path());
}

int ExtractionFolders::reach(std::string_view path, Missing missing) {
    pieces_.clear();
    for (std::size_t start = 0; start < path.size();) {
        const auto end = std::min(path.find('/', start), path.size());
        pieces_.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    std::size_t kept = 0;
    while (kept < std::min(pieces_.size(), levels_.size()) && levels_[kept].name == pieces_[kept])
        ++kept;
    while (kept > 0 && !levels_[kept - 1].folder)
        --kept;
    levels_.resize(kept);
    for (; kept < pieces_.size(); ++kept) {
        std::string name(pieces_[kept]);
        auto folder = enter(name, path, missing);
        if (kept > mostKeptOpen)
            levels_.back().folder.reset();
        levels_.push_back({std::move(name), std::move(folder)});
    }
    return current();
}

Descriptor ExtractionFolders::enter(const std::string& name, std::string_view path, Missing missing) {
    Descriptor folder(openat(current(), name.c_str(), folderFlags));
    if (!folder && errno == ENOENT && missing == Missing::make) {
        budget_.take();
        if (mkdirat(current(), name.c_str(), 0777) != 0) {
            // Another worker was faster; or something else stands there, which opening it will tell.
            if (errno != EEXIST)
                refuse(errno, path);
            budget_.giveBack();
        }
        folder = Descriptor(openat(current(), name.c_str(), folderFlags));
    }
    if (folder)
        return folder;
    if (missing == Missing::make)
        refuse(errno, path);
    throw PosixError(errno, shown_.path() + '/' + std::string(path));
}

} // namespace morv
