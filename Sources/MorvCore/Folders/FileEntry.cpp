#include "MorvCore/Folders/FileEntry.h"

#include "MorvCore/Foundation/ByteCount.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/MimeTypes.h"

#include <algorithm>
#include <charconv>
#include <span>

namespace morv {

namespace {

constexpr std::string_view unavailablePrefix = "unavailable:";

constexpr std::array<std::string_view, 8> kindNames = {"folder", "image",   "document",  "video",
                                                       "audio",  "archive", "installer", "other"};
constexpr std::array<std::string_view, 8> kindTitles = {"Folders", "Images",   "Documents",  "Video",
                                                        "Audio",   "Archives", "Installers", "Other"};
constexpr std::array<std::string_view, 8> kindSymbols = {"folder",   "photo",      "doc.text",    "film",
                                                         "waveform", "archivebox", "shippingbox", "doc"};
constexpr std::array<std::string_view, 3> availabilityNames = {"local", "notDownloaded", "unavailable"};
constexpr std::array<std::string_view, 4> viewNames = {"grid", "list", "columns", "gallery"};
constexpr std::array<std::string_view, 5> sortNames = {"name", "modified", "added", "size", "kind"};
constexpr std::array<std::string_view, 3> groupingNames = {"none", "kind", "date"};

template <std::size_t N, class E>
std::string_view nameOf(const std::array<std::string_view, N>& names, E value) {
    return names[static_cast<std::size_t>(value)];
}

template <std::size_t N, class E>
void takeCase(const json::Value& object, const char* key, const std::array<std::string_view, N>& names,
              E& out) {
    std::string text;
    json::take(object, key, text);
    const auto found = std::find(names.begin(), names.end(), text);
    if (found == names.end())
        throw DecodingError("A saved record is damaged: “" + repairedUTF8(text) + "” is not a value of “" +
                            key + "”.");
    out = static_cast<E>(found - names.begin());
}

std::string lowerCased(std::string_view extension) {
    return pathKey(extension);
}

template <std::size_t N>
bool isOneOf(std::string_view text, const std::array<std::string_view, N>& list) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

FileKind kindOfExtension(const std::string& extension) {
    static constexpr std::array<std::string_view, 7> archives = {"zip", "rar", "7z", "tar",
                                                                 "gz",  "bz2", "xz"};
    static constexpr std::array<std::string_view, 4> installers = {"dmg", "pkg", "app", "iso"};
    if (isOneOf(extension, archives))
        return FileKind::archive;
    if (isOneOf(extension, installers))
        return FileKind::installer;
    switch (typeFamily(extension)) {
    case TypeFamily::image:
        return FileKind::image;
    case TypeFamily::video:
        return FileKind::video;
    case TypeFamily::audio:
        return FileKind::audio;
    case TypeFamily::document:
        return FileKind::document;
    case TypeFamily::other:
        break;
    }
    return FileKind::other;
}

/// "volume:inode"; nothing for another shape, as that of an item that could not be read.
bool parseIdentity(std::string_view text, std::uint64_t& volume, std::uint64_t& inode) {
    const auto* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, volume);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != ':')
        return false;
    const auto second = std::from_chars(first.ptr + 1, end, inode);
    return second.ec == std::errc() && second.ptr == end;
}

} // namespace

std::string_view rawValue(FileKind kind) {
    return nameOf(kindNames, kind);
}
std::string_view title(FileKind kind) {
    return nameOf(kindTitles, kind);
}
std::string_view symbol(FileKind kind) {
    return nameOf(kindSymbols, kind);
}
std::string_view rawValue(FileAvailability value) {
    return nameOf(availabilityNames, value);
}
std::string_view rawValue(BrowserViewMode value) {
    return nameOf(viewNames, value);
}
std::string_view rawValue(FileSort value) {
    return nameOf(sortNames, value);
}
std::string_view rawValue(FileGrouping value) {
    return nameOf(groupingNames, value);
}

FileKind classifyFile(const FileURL& url, bool isDirectory, bool isPackage) {
    return classifyName(url.lastComponent(), isDirectory, isPackage);
}

FileKind classifyName(std::string_view name, bool isDirectory, bool isPackage) {
    if (isDirectory && !isPackage)
        return FileKind::folder;
    const auto extension = FileURL::extensionOf(name);
    if (extension.empty() || !isValidUTF8(extension))
        return FileKind::other;
    return kindOfExtension(lowerCased(extension));
}

bool isPackageName(std::string_view name) {
    static constexpr std::array<std::string_view, 11> packages = {
        "app",   "bundle",  "framework", "xcodeproj", "playground", "photoslibrary",
        "pages", "numbers", "key",       "rtfd",      "pkg"};
    const auto extension = FileURL::extensionOf(name);
    return !extension.empty() && isOneOf(lowerCased(extension), packages);
}

FileURL FileEntry::url() const {
    const auto item = !folder || name == "/" ? FileURL() : folder->child(name);
    return isDirectory ? item.asFolder() : item;
}

std::string FileEntry::id() const {
    if (availability == FileAvailability::unavailable)
        return resourceIdentity();
    return resourceIdentity() + ':' + url().path();
}

std::string FileEntry::resourceIdentity() const {
    if (availability == FileAvailability::unavailable)
        return std::string(unavailablePrefix) + url().path();
    return std::to_string(volume) + ':' + std::to_string(inode);
}

const std::vector<std::string>& FileEntry::tags() const {
    static const std::vector<std::string> none;
    return tagList ? *tagList : none;
}

std::string FileEntry::formattedSize() const {
    return isNavigable() ? "Folder" : formatByteCount(size);
}

bool operator==(const FileEntry& a, const FileEntry& b) {
    return a.name == b.name && a.volume == b.volume && a.inode == b.inode && a.size == b.size &&
           a.modifiedAt == b.modifiedAt && a.addedAt == b.addedAt && a.kind == b.kind &&
           a.availability == b.availability && a.isDirectory == b.isDirectory && a.isPackage == b.isPackage &&
           a.isSymbolicLink == b.isSymbolicLink && a.isWritable == b.isWritable &&
           a.isDownloading == b.isDownloading && a.tags() == b.tags() &&
           (a.folder == b.folder || a.url() == b.url());
}

std::string toJSON(const FileEntry& entry) {
    auto object = json::Value::object();
    json::put(object, "id", entry.id());
    json::put(object, "resourceIdentity", entry.resourceIdentity());
    json::put(object, "url", entry.url());
    json::put(object, "name", repairedUTF8(entry.name));
    json::put(object, "isDirectory", entry.isDirectory);
    json::put(object, "isPackage", entry.isPackage);
    json::put(object, "isSymbolicLink", entry.isSymbolicLink);
    json::put(object, "size", entry.size);
    json::put(object, "modifiedAt", entry.modifiedAt);
    json::put(object, "addedAt", entry.addedAt);
    json::put(object, "kind", std::string(rawValue(entry.kind)));
    json::put(object, "availability", std::string(rawValue(entry.availability)));
    json::put(object, "tags", entry.tags());
    json::put(object, "isWritable", entry.isWritable);
    json::put(object, "isDownloading", entry.isDownloading);
    return json::dump(object);
}

void fromJSON(std::string_view text, FileEntry& entry) {
    const auto object = json::parse(text);
    FileEntry read;
    FileURL url;
    json::take(object, "url", url);
    read.folder = std::make_shared<const FileURL>(url.parent());
    read.name = url.lastComponent();
    takeCase(object, "kind", kindNames, read.kind);
    takeCase(object, "availability", availabilityNames, read.availability);
    std::string identity;
    json::take(object, "resourceIdentity", identity);
    if (!parseIdentity(identity, read.volume, read.inode)) {
        if (read.availability != FileAvailability::unavailable || !identity.starts_with(unavailablePrefix))
            throw DecodingError("A saved record is damaged: it holds a value that is not an identity.");
        read.volume = read.inode = 0;
    }
    json::take(object, "isDirectory", read.isDirectory);
    json::take(object, "isPackage", read.isPackage);
    json::take(object, "isSymbolicLink", read.isSymbolicLink);
    json::take(object, "size", read.size);
    json::take(object, "modifiedAt", read.modifiedAt);
    json::take(object, "addedAt", read.addedAt);
    std::vector<std::string> tags;
    json::take(object, "tags", tags);
    if (!tags.empty())
        read.tagList = std::make_shared<const std::vector<std::string>>(std::move(tags));
    json::take(object, "isWritable", read.isWritable);
    json::take(object, "isDownloading", read.isDownloading);
    entry = std::move(read);
}

std::string toJSON(const FolderViewPreferences& preferences) {
    auto object = json::Value::object();
    json::put(object, "view", std::string(rawValue(preferences.view)));
    json::put(object, "sort", std::string(rawValue(preferences.sort)));
    json::put(object, "ascending", preferences.ascending);
    json::put(object, "grouping", std::string(rawValue(preferences.grouping)));
    json::put(object, "showHidden", preferences.showHidden);
    json::put(object, "iconSize", preferences.iconSize);
    return json::dump(object);
}

void fromJSON(std::string_view text, FolderViewPreferences& preferences) {
    const auto object = json::parse(text);
    FolderViewPreferences read;
    takeCase(object, "view", viewNames, read.view);
    takeCase(object, "sort", sortNames, read.sort);
    json::take(object, "ascending", read.ascending);
    takeCase(object, "grouping", groupingNames, read.grouping);
    json::take(object, "showHidden", read.showHidden);
    json::take(object, "iconSize", read.iconSize);
    preferences = read;
}

} // namespace morv
