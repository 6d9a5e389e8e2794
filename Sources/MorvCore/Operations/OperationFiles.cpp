#include "MorvCore/Operations/OperationFiles.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/ExclusiveRename.h"

#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <memory>

namespace morv::OperationFiles {

namespace {

constexpr std::size_t longestName = 255;

/// Resolves every link; a path that cannot be resolved stays as it is, and the next look at it says why.
FileURL resolved(const FileURL& url) {
    const std::unique_ptr<char, void (*)(void*)> path(realpath(url.path().c_str(), nullptr), std::free);
    return path ? FileURL::fromPath(path.get()) : url;
}

/// Cuts `stem` until it fits, not in the middle of a character.
void shorten(std::string& stem, std::size_t room) {
    if (stem.size() <= room)
        return;
    const bool wasText = isValidUTF8(stem);
    stem.resize(room);
    while (wasText && !stem.empty() && !isValidUTF8(stem))
        stem.pop_back();
}

} // namespace

FileURL normalized(const FileURL& url) {
    if (url.isRoot() || url.path().find('\0') != std::string::npos)
        throw FileOperationError::invalid("Choose a local file or folder below the volume root.");
    const auto result = resolved(url.parent()).child(url.lastComponent());
    return url.isFolder() ? result.asFolder() : result;
}

FileURL directory(const FileURL& url) {
    if (url.path().find('\0') != std::string::npos)
        throw FileOperationError::invalid("The destination must be a local or mounted folder.");
    const auto folder = resolved(url);
    if (!info(folder).isDirectory())
        throw FileOperationError::invalid("The destination is not a folder.");
    if (!isWritableItem(folder))
        throw FileOperationError::unavailable(
            "The destination folder is read-only or access has not been granted.");
    return folder.asFolder();
}

FileURL NumberedNames::next(const FileURL& url, const std::set<std::string>& reserved) {
    const auto folder = url.parent();
    const auto extension = url.extension().empty() ? std::string() : "." + std::string(url.extension());
    for (auto& number = firstToTry_.try_emplace(url.path(), 2U).first->second;; ++number) {
        const auto ending = fmt::format(" {}{}", number, extension);
        std::string stem(url.stem());
        shorten(stem, longestName - std::min(longestName, ending.size()));
        auto candidate = folder.child(stem + ending);
        if (!statIfPresent(candidate) && !reserved.contains(pathKey(candidate.path())))
            return url.isFolder() ? candidate.asFolder() : candidate;
    }
}

void validateName(std::string_view name) {
    if (name.empty() || name == "." || name == ".." || name.size() > longestName ||
        name.find_first_of(std::string_view("/:\0", 3)) != std::string_view::npos)
        throw FileOperationError::invalid(
            "Names must contain 1–255 bytes and cannot contain a slash, colon or null character.");
}

FileStat info(const FileURL& url) {
    return statItem(url);
}

std::string identity(const FileURL& url) {
    return statItem(url).identity();
}

std::string kindOf(const FileStat& info) {
    if (info.isDirectory())
        return "directory";
    if (info.isRegular())
        return "file";
    if (info.isSymbolicLink())
        return "symbolicLink";
    throw FileOperationError::unsupported(
        "Morv cannot copy sockets, devices or other special filesystem entries.");
}

bool crossesVolumes(const FileStat& item, const FileStat& folder) {
    // Bind mounts share a device number, and a rename between them is refused all the same.
    return item.device != folder.device || item.mountID != folder.mountID;
}

void exclusiveMove(const FileURL& source, const FileURL& destination) {
    renameWithoutReplacing(source, destination);
}

} // namespace morv::OperationFiles
