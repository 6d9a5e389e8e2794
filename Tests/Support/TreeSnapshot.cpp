#include "Tests/Support/TreeSnapshot.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

std::vector<std::string> namesOf(int folder) {
    std::vector<std::string> names;
    DIR* stream = fdopendir(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (stream == nullptr)
        throw std::runtime_error("A folder cannot be read: " + std::string(std::strerror(errno)));
    while (const auto* entry = readdir(stream)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    closedir(stream);
    std::ranges::sort(names);
    return names;
}

std::map<std::string, std::string> attributesOf(int descriptor) {
    std::map<std::string, std::string> result;
    std::array<char, 65536> names{};
    const auto length = flistxattr(descriptor, names.data(), names.size());
    for (const char* name = names.data(); length > 0 && name < names.data() + length;
         name += std::strlen(name) + 1) {
        std::array<char, 65536> value{};
        const auto size = fgetxattr(descriptor, name, value.data(), value.size());
        if (std::strncmp(name, "user.", 5) == 0 && size >= 0)
            result[name] = std::string(value.data(), static_cast<std::size_t>(size));
    }
    return result;
}

std::string bytesOf(int descriptor) {
    std::string content;
    std::array<char, 65536> piece{};
    ssize_t count = 0;
    while ((count = read(descriptor, piece.data(), piece.size())) > 0)
        content.append(piece.data(), static_cast<std::size_t>(count));
    return content;
}

std::string targetOf(int folder, const std::string& name) {
    std::array<char, 8192> target{};
    const auto length = readlinkat(folder, name.c_str(), target.data(), target.size());
    return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

char typeOf(mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFDIR:
        return 'd';
    case S_IFREG:
        return 'f';
    case S_IFLNK:
        return 'l';
    case S_IFIFO:
        return 'p';
    case S_IFSOCK:
        return 's';
    default:
        return '?';
    }
}

class Walk {
public:
    TreeSnapshot tree;

    void item(const std::string& name, const std::string& relative) {
        struct stat info {};
        if (fstatat(folder_, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
            return;
        auto& item = tree[relative];
        item.type = typeOf(info.st_mode);
        item.mode = info.st_mode & 07777;
        item.modified = info.st_mtim.tv_sec * 1'000'000'000 + info.st_mtim.tv_nsec;
        if (item.type == 'l') {
            item.content = targetOf(folder_, name);
        } else if (item.type == 'f' || item.type == 'd') {
            const int opened = openat(folder_, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
            if (opened < 0)
                throw std::runtime_error("Cannot open " + relative);
            item.attributes = attributesOf(opened);
            if (item.type == 'f')
                item.content = bytesOf(opened);
            if (item.type == 'd')
                children(opened, relative);
            else
                close(opened);
        }
    }

    explicit Walk(int folder) : folder_(folder) {}
    ~Walk() { close(folder_); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

private:
    // Goes down and comes back by "..", so that depth costs no descriptors.
    void children(int opened, const std::string& relative) {
        close(folder_);
        folder_ = opened;
        for (const auto& name : namesOf(folder_))
            item(name, relative.empty() ? name : relative + "/" + name);
        const int parent = openat(folder_, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        close(folder_);
        folder_ = parent;
    }

    int folder_;
};

} // namespace

TreeSnapshot snapshot(const std::string& path) {
    const auto slash = path.rfind('/');
    const auto parent = path.substr(0, slash);
    Walk walk(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    walk.item(path.substr(slash + 1), "");
    return walk.tree;
}

TreeSnapshot withoutFolderTimes(TreeSnapshot tree) {
    for (auto& [path, item] : tree) {
        if (item.type == 'd')
            item.modified = 0;
    }
    return tree;
}

std::string difference(const TreeSnapshot& before, const TreeSnapshot& after) {
    std::string text;
    for (const auto& [path, item] : before) {
        const auto found = after.find(path);
        if (found == after.end())
            text += "gone: " + path + "\n";
        else if (found->second != item)
            text += "changed: " + path + "\n";
    }
    for (const auto& [path, item] : after) {
        if (!before.contains(path))
            text += "new: " + path + "\n";
    }
    return text;
}

std::vector<std::string> namesIn(const std::string& folder) {
    const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0)
        return {};
    auto names = namesOf(opened);
    close(opened);
    return names;
}
