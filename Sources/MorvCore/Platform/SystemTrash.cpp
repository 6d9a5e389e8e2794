#include "MorvCore/Platform/SystemTrash.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/Durability.h"
#include "MorvCore/Platform/ExclusiveRename.h"
#include "MorvCore/Platform/FileStat.h"
#include "MorvCore/Platform/UserFolders.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace morv::SystemTrash {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr std::string_view informationEnding = ".trashinfo";
constexpr std::size_t longestName = 255;

/// One trash folder, open.
struct TrashFolder {
    FileURL url;
    FileURL pathsRelativeTo; ///< the root for the home trash: its paths are absolute
    Descriptor files;
    Descriptor information;
};

FileOperationError noTrash(const FileURL& item) {
    return FileOperationError::unavailable(
        fmt::format("The volume of {} has no Trash that can be used. Nothing was moved.",
                    displayText(item.lastComponent())));
}

bool isOwnFolder(const FileStat& info) {
    return info.isDirectory() && info.owner == geteuid();
}

/// The top folder of the item's mount: the last one on the way up that is still on it.
FileURL mountTop(const FileURL& item, const FileStat& info) {
    auto top = item.parent();
    const auto onSameMount = [&](const FileURL& url) {
        const auto other = statIfPresent(url);
        return other && other->device == info.device && other->mountID == info.mountID;
    };
    while (!top.isRoot() && onSameMount(top.parent()))
        top = top.parent();
    return top;
}

/// Opens `name` in the open folder `parent`, made if it is missing. Nothing unless it is then a real folder
/// of the user's own: asked of what was opened, so that nobody can exchange it in between.
Descriptor openOwnFolder(int parent, const std::string& name) {
    const bool made = mkdirat(parent, name.c_str(), 0700) == 0;
    Descriptor folder(openat(parent, name.c_str(), folderFlags));
    if (!folder || !isOwnFolder(statDescriptor(folder.get()))) {
        // A file system that gives new folders another owner cannot keep a private trash.
        if (made)
            unlinkat(parent, name.c_str(), AT_REMOVEDIR);
        return {};
    }
    if (made) {
        // A parent that may not be listed cannot be flushed; its entry then follows with the volume's own.
        const Descriptor readable(openat(parent, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (readable)
            flushFolder(readable.get(), FileURL::fromPath(name));
    }
    return folder;
}

std::optional<TrashFolder> openTrash(const Descriptor& own, const FileURL& url,
                                     const FileURL& pathsRelativeTo, const FileStat& item) {
    if (!own)
        return std::nullopt;
    TrashFolder trash{url, pathsRelativeTo, openOwnFolder(own.get(), "files"),
                      openOwnFolder(own.get(), "info")};
    if (!trash.files || !trash.information)
        return std::nullopt;
    const auto files = statDescriptor(trash.files.get());
    // Only a rename within one mount moves an item; bind mounts share a device number and still refuse.
    if (files.device != item.device || files.mountID != item.mountID)
        return std::nullopt;
    return trash;
}

std::optional<TrashFolder> openHomeTrash(const FileStat& item) {
    const auto home = dataHome();
    const auto url = home.child("Trash");
    const auto existing = statIfPresent(url);
    if (!existing) {
        // Making the folders of another mount's home for an item that cannot go there would be noise.
        auto ancestor = home;
        auto info = statIfPresent(ancestor);
        while (!info && !ancestor.isRoot()) {
            ancestor = ancestor.parent();
            info = statIfPresent(ancestor);
        }
        if (!info || info->device != item.device)
            return std::nullopt;
        for (std::size_t slash = 1; slash != std::string::npos;) {
            slash = url.path().find('/', slash + 1);
            const auto made = FileURL::fromPath(url.path().substr(0, slash));
            if (mkdir(made.path().c_str(), 0700) == 0)
                flushFolder(made.parent());
        }
    }
    const Descriptor data(open(home.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!data)
        return std::nullopt;
    return openTrash(openOwnFolder(data.get(), "Trash"), url, FileURL(), item);
}

std::optional<TrashFolder> openVolumeTrash(const FileURL& item, const FileStat& info) {
    const auto top = mountTop(item, info);
    const auto user = fmt::format("{}", geteuid());
    const Descriptor folder(open(top.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        return std::nullopt;
    const Descriptor shared(openat(folder.get(), ".Trash", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (shared && (statDescriptor(shared.get()).mode & S_ISVTX) != 0)
        if (auto trash =
                openTrash(openOwnFolder(shared.get(), user), top.child(".Trash").child(user), top, info))
            return trash;
    const auto own = ".Trash-" + user;
    return openTrash(openOwnFolder(folder.get(), own), top.child(own), top, info);
}

void refuseWhatMayNotBeTrashed(const FileURL& item, const FileStat& info) {
    const auto refuse = [&](std::string_view why) {
        throw FileOperationError::invalid(fmt::format("{} {}", displayText(item.lastComponent()), why));
    };
    if (const auto parent = statIfPresent(item.parent());
        parent && (parent->mountID != info.mountID || parent->device != info.device) && info.isDirectory())
        refuse("is a mounted volume and cannot be moved to Trash.");
    if (item.lastComponent() == "lost+found" && info.isDirectory())
        refuse("belongs to the file system and cannot be moved to Trash.");
    const auto user = fmt::format("{}", geteuid());
    for (auto at = item; !at.isRoot(); at = at.parent()) {
        const auto name = at.lastComponent();
        if (at == dataHome().child("Trash") || name == ".Trash-" + user ||
            (name == user && at.parent().lastComponent() == ".Trash"))
            refuse("is already in Trash.");
    }
}

std::string escapedPath(const FileURL& item, const FileURL& relativeTo) {
    auto path = item.absoluteString().substr(std::string_view("file://").size());
    if (!relativeTo.isRoot())
        path.erase(0, relativeTo.absoluteString().size() - std::string_view("file://").size() + 1);
    else if (relativeTo.isRoot() && path.empty())
        path = "/";
    return path;
}

std::string informationText(const FileURL& item, const TrashFolder& trash) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    const bool isHome = trash.url == dataHome().child("Trash");
    auto path = isHome ? escapedPath(item, FileURL()) : escapedPath(item, trash.pathsRelativeTo);
    if (!isHome && trash.pathsRelativeTo.isRoot())
        path.erase(0, 1);
    return fmt::format("[Trash Info]\nPath={}\nDeletionDate={}\n", path, date.data());
}

/// "name", "name.2.txt", "name.3.txt", …, short enough that the information file's name fits too.
std::string candidateName(const FileURL& item, unsigned number) {
    const auto suffix = number == 1 ? std::string() : fmt::format(".{}", number);
    std::string extension = item.extension().empty() ? "" : "." + std::string(item.extension());
    std::string stem(item.stem());
    const auto room = longestName - informationEnding.size() - suffix.size();
    if (extension.size() > room / 2) {
        stem = item.lastComponent();
        extension.clear();
    }
    if (stem.size() + extension.size() > room) {
        stem.resize(room - extension.size());
        // Not in the middle of a character.
        while (!stem.empty() && !isValidUTF8(stem) && isValidUTF8(item.lastComponent()))
            stem.pop_back();
    }
    return stem + suffix + extension;
}

/// The reservation of a name in "info": removed again unless it is kept.
class Reservation {
public:
    Reservation(const TrashFolder& trash, std::string name)
        : trash_(trash), name_(std::move(name) + std::string(informationEnding)) {}
    ~Reservation() {
        if (made_ && !kept_)
            unlinkat(trash_.information.get(), name_.c_str(), 0);
    }
    Reservation(const Reservation&) = delete;
    Reservation& operator=(const Reservation&) = delete;

    /// False when the name is taken.
    bool make(const std::string& text) {
        Descriptor file(openat(trash_.information.get(), name_.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        const auto shown = trash_.url.child("info").child(name_);
        if (!file) {
            if (errno == EEXIST)
                return false;
            throw PosixError(errno, shown.path());
        }
        made_ = true;
        std::size_t written = 0;
        while (written < text.size()) {
            const auto count = write(file.get(), text.data() + written, text.size() - written);
            if (count < 0 && errno != EINTR)
                throw PosixError(errno, shown.path());
            written += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
        flushDescriptor(file.get(), shown);
        if (close(file.release()) != 0)
            throw PosixError(errno, shown.path());
        return true;
    }
    void keep() { kept_ = true; }

private:
    const TrashFolder& trash_;
    std::string name_;
    bool made_ = false;
    bool kept_ = false;
};

} // namespace

FileURL trash(const FileURL& item) {
    const auto info = statItem(item);
    refuseWhatMayNotBeTrashed(item, info);
    auto folder = openHomeTrash(info);
    if (!folder)
        folder = openVolumeTrash(item, info);
    if (!folder)
        throw noTrash(item);
    if (folder->url.isWithin(item))
        throw FileOperationError::invalid(fmt::format("{} contains the Trash and cannot be moved there.",
                                                      displayText(item.lastComponent())));

    const Descriptor parent(open(item.parent().path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!parent)
        throw PosixError(errno, item.parent().path());
    const std::string name(item.lastComponent());
    const auto text = informationText(item, *folder);
    for (unsigned number = 1;; ++number) {
        const auto candidate = candidateName(item, number);
        const auto place = folder->url.child("files").child(candidate);
        Reservation reservation(*folder, candidate);
        if (!reservation.make(text))
            continue;
        try {
            renameWithoutReplacing(parent.get(), name, folder->files.get(), candidate, place);
        } catch (const PosixError& error) {
            if (error.code() == EEXIST)
                continue;
            if (error.code() == EXDEV)
                throw noTrash(item);
            throw PosixError(error.code(), item.path());
        }
        try {
            flushFolder(folder->information.get(), folder->url.child("info"));
            flushFolder(folder->files.get(), folder->url.child("files"));
            flushFolder(parent.get(), item.parent());
        } catch (const PosixError&) {
            const auto failure = std::current_exception();
            try {
                renameWithoutReplacing(folder->files.get(), candidate, parent.get(), name, item);
            } catch (const std::exception&) {
                reservation.keep();
                throw FileOperationError::unavailable(fmt::format(
                    "{} was moved to Trash, but the device did not confirm it and it could not be "
                    "put back. Inspect Trash before retrying.",
                    displayText(item.lastComponent())));
            }
            std::rethrow_exception(failure);
        }
        reservation.keep();
        return place;
    }
}

void forget(const FileURL& place) noexcept {
    try {
        const auto files = place.parent();
        if (files.lastComponent() != "files")
            return;
        const auto information = files.parent().child("info");
        const Descriptor folder(open(information.path().c_str(), folderFlags));
        if (!folder)
            return;
        const auto name = std::string(place.lastComponent()) + std::string(informationEnding);
        if (unlinkat(folder.get(), name.c_str(), 0) == 0)
            fsync(folder.get());
    } catch (const std::exception&) {
        return;
    }
}

} // namespace morv::SystemTrash
