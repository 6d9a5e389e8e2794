#include "MorvCore/Foundation/FileURL.h"

#include "MorvCore/Foundation/Errors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <unistd.h>
#include <vector>

namespace morv {

namespace {

constexpr bool isUnreserved(unsigned char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~' || byte == '/';
}

constexpr int hexValue(char digit) {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

bool isStandard(std::string_view path) {
    if (path.empty() || path.front() != '/' || (path.size() > 1 && path.back() == '/'))
        return false;
    return path.find("//") == std::string_view::npos && path.find("/.") == std::string_view::npos;
}

std::size_t extensionDot(std::string_view name) {
    const auto dot = name.rfind('.');
    return dot == 0 || dot + 1 == name.size() ? std::string_view::npos : dot;
}

} // namespace

FileURL FileURL::fromPath(std::string_view path) {
    FileURL url;
    if (isStandard(path)) {
        url.path_ = path;
        return url;
    }
    std::vector<std::string_view> components;
    std::size_t start = 0;
    while (start <= path.size()) {
        const auto end = std::min(path.find('/', start), path.size());
        const auto component = path.substr(start, end - start);
        if (component == "..") {
            if (!components.empty())
                components.pop_back();
        } else if (!component.empty() && component != ".") {
            components.push_back(component);
        }
        start = end + 1;
    }
    std::string joined;
    joined.reserve(path.size() + 1);
    for (const auto component : components)
        joined.append("/").append(component);
    if (!joined.empty())
        url.path_ = std::move(joined);
    return url;
}

FileURL FileURL::fromArgument(std::string_view argument) {
    if (!argument.empty() && argument.front() == '/')
        return fromPath(argument);
    std::array<char, PATH_MAX> buffer{};
    // Taken as relative to any other folder, the name could be that of another file.
    if (!getcwd(buffer.data(), buffer.size()))
        throw PosixError(errno);
    return fromPath(std::string(buffer.data()).append("/").append(argument));
}

std::optional<FileURL> FileURL::parse(std::string_view text) {
    constexpr std::string_view scheme = "file://";
    if (!text.starts_with(scheme))
        return std::nullopt;
    text.remove_prefix(scheme.size());
    if (text.starts_with("localhost/"))
        text.remove_prefix(std::string_view("localhost").size());
    if (text.empty() || text.front() != '/')
        return std::nullopt;
    std::string path;
    path.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '?' || text[i] == '#')
            return std::nullopt;
        if (text[i] != '%') {
            path.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size())
            return std::nullopt;
        const int high = hexValue(text[i + 1]), low = hexValue(text[i + 2]);
        if (high < 0 || low < 0)
            return std::nullopt;
        path.push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    // To every system call such a path would end early, at another file.
    if (path.find('\0') != std::string::npos)
        return std::nullopt;
    auto url = fromPath(path);
    return path.size() > 1 && path.back() == '/' ? url.asFolder() : url;
}

std::string_view FileURL::lastComponent() const {
    if (isRoot())
        return path_;
    return std::string_view(path_).substr(path_.rfind('/') + 1);
}

std::string_view FileURL::extension() const {
    return extensionOf(lastComponent());
}

std::string_view FileURL::extensionOf(std::string_view name) {
    const auto dot = extensionDot(name);
    return dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
}

std::string_view FileURL::stem() const {
    const auto name = lastComponent();
    return name.substr(0, extensionDot(name));
}

FileURL FileURL::parent() const {
    FileURL url;
    if (const auto slash = path_.rfind('/'); slash > 0)
        url.path_ = path_.substr(0, slash);
    return url;
}

FileURL FileURL::child(std::string_view name) const {
    FileURL url;
    url.path_.clear();
    url.path_.reserve(path_.size() + 1 + name.size());
    if (!isRoot())
        url.path_ += path_;
    url.path_.append("/").append(name);
    return url;
}

FileURL FileURL::asFolder() const {
    FileURL url = *this;
    url.folder_ = true;
    return url;
}

bool FileURL::isWithin(const FileURL& other) const {
    return other.isRoot() || path_ == other.path_ ||
           (path_.size() > other.path_.size() && path_.starts_with(other.path_) &&
            path_[other.path_.size()] == '/');
}

std::string FileURL::absoluteString() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text = "file://";
    text.reserve(text.size() + path_.size() + 8);
    for (const char c : path_) {
        const auto byte = static_cast<unsigned char>(c);
        if (isUnreserved(byte)) {
            text.push_back(c);
        } else {
            text.push_back('%');
            text.push_back(digits[byte >> 4]);
            text.push_back(digits[byte & 15]);
        }
    }
    if (folder_ && !isRoot())
        text.push_back('/');
    return text;
}

} // namespace morv
