#include "Tests/Support/TreeSnapshot.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <vector>

namespace fs = std::filesystem;

namespace morv::test {

std::string readFile(const FileURL& url) {
    std::ifstream file(url.path(), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

PrivateHome::PrivateHome(const FileURL& home) {
    fs::create_directories(home.path());
    const std::map<std::string, std::string> values = {{"HOME", home.path()},
                                                       {"XDG_DATA_HOME", home.path() + "/.local/share"},
                                                       {"XDG_CONFIG_HOME", home.path() + "/.config"},
                                                       {"XDG_CACHE_HOME", home.path() + "/.cache"}};
    for (const auto& [name, value] : values) {
        if (const char* old = std::getenv(name.c_str()))
            before_[name] = old;
        else
            before_[name] = "";
        setenv(name.c_str(), value.c_str(), 1);
    }
}

PrivateHome::~PrivateHome() {
    for (const auto& [name, value] : before_) {
        if (value.empty())
            unsetenv(name.c_str());
        else
            setenv(name.c_str(), value.c_str(), 1);
    }
}

std::map<std::string, std::string> treeSnapshot(const FileURL& top) {
    std::map<std::string, std::string> snapshot;
    const auto add = [&](const fs::path& path) {
        struct stat info {};
        if (lstat(path.c_str(), &info) != 0)
            throw std::runtime_error("cannot stat " + path.string());
        std::ostringstream line;
        line << std::oct << info.st_mode << std::dec << ' ' << info.st_mtim.tv_sec << '.'
             << info.st_mtim.tv_nsec << ' ';
        std::vector<char> names(65536);
        const auto length = llistxattr(path.c_str(), names.data(), names.size());
        std::vector<std::string> attributes;
        for (ssize_t i = 0; i < length;) {
            const std::string name(names.data() + i);
            i += static_cast<ssize_t>(name.size()) + 1;
            if (!name.starts_with("user.") && !name.starts_with("system.posix_acl"))
                continue;
            std::vector<char> value(65536);
            const auto size = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
            attributes.push_back(
                name + "=" + std::string(value.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))));
        }
        std::ranges::sort(attributes);
        for (const auto& attribute : attributes)
            line << attribute << ' ';
        if (S_ISLNK(info.st_mode))
            line << fs::read_symlink(path).string();
        else if (S_ISREG(info.st_mode))
            line << readFile(FileURL::fromPath(path.string()));
        snapshot[path.string().substr(top.path().size())] = line.str();
    };
    add(top.path());
    if (fs::is_directory(fs::symlink_status(top.path())))
        for (const auto& entry : fs::recursive_directory_iterator(top.path()))
            add(entry.path());
    return snapshot;
}

} // namespace morv::test
