#include "MorvCore/Platform/UserFolders.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <pwd.h>
#include <string_view>
#include <unistd.h>

namespace morv {

namespace {

FileURL baseFolder(const char* variable, std::string_view fallback) {
    if (const char* value = std::getenv(variable); value && *value == '/')
        return FileURL::folder(value);
    return FileURL::folder(homeFolder().path() + std::string(fallback));
}

std::string_view key(UserFolder folder) {
    switch (folder) {
    case UserFolder::desktop:
        return "XDG_DESKTOP_DIR";
    case UserFolder::documents:
        return "XDG_DOCUMENTS_DIR";
    case UserFolder::downloads:
        return "XDG_DOWNLOAD_DIR";
    case UserFolder::music:
        return "XDG_MUSIC_DIR";
    case UserFolder::pictures:
        return "XDG_PICTURES_DIR";
    case UserFolder::videos:
        return "XDG_VIDEOS_DIR";
    }
    return {};
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// The value of `KEY="$HOME/…"` or `KEY="/…"` (xdg-user-dirs, user-dirs.dirs(5)); a backslash escapes.
std::optional<FileURL> parsedValue(std::string_view value) {
    if (value.size() < 2 || value.front() != '"' || value.back() != '"')
        return std::nullopt;
    value = value.substr(1, value.size() - 2);
    std::string path;
    constexpr std::string_view home = "$HOME";
    if (value.starts_with(home) && (value.size() == home.size() || value[home.size()] == '/')) {
        path = homeFolder().path();
        value.remove_prefix(home.size());
    } else if (!value.starts_with('/')) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size())
            ++i;
        path.push_back(value[i]);
    }
    return FileURL::folder(path);
}

} // namespace

FileURL homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home == '/')
        return FileURL::folder(home);
    passwd record{};
    passwd* found = nullptr;
    std::array<char, 4096> buffer;
    if (::getpwuid_r(::getuid(), &record, buffer.data(), buffer.size(), &found) == 0 && found &&
        found->pw_dir)
        return FileURL::folder(found->pw_dir);
    return FileURL::folder("/");
}

std::optional<FileURL> userFolder(UserFolder folder) {
    std::ifstream file(configurationHome().child("user-dirs.dirs").path());
    std::optional<FileURL> result;
    std::string line;
    // The file is a shell script to its other readers: the last assignment holds.
    while (std::getline(file, line)) {
        const auto text = trimmed(line);
        const auto equals = text.find('=');
        if (equals != std::string_view::npos && text.substr(0, equals) == key(folder))
            result = parsedValue(text.substr(equals + 1));
    }
    if (result && *result == homeFolder())
        return std::nullopt;
    return result;
}

FileURL dataHome() {
    return baseFolder("XDG_DATA_HOME", "/.local/share");
}

FileURL configurationHome() {
    return baseFolder("XDG_CONFIG_HOME", "/.config");
}

FileURL cacheHome() {
    return baseFolder("XDG_CACHE_HOME", "/.cache");
}

} // namespace morv
