// What one item of the file system is to Morv, truthful at the moment of its reading: the item itself, never
// the target of a link, and nothing from a cache.
#pragma once

#include "MorvCore/Foundation/Date.h"
#include "MorvCore/Foundation/FileURL.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

struct FileStat;

enum class FileKind : std::uint8_t { folder, image, document, video, audio, archive, installer, other };
/// In the order of grouping.
inline constexpr std::array allFileKinds = {FileKind::folder,    FileKind::image, FileKind::document,
                                            FileKind::video,     FileKind::audio, FileKind::archive,
                                            FileKind::installer, FileKind::other};
std::string_view rawValue(FileKind kind);
std::string_view title(FileKind kind);
std::string_view symbol(FileKind kind);
/// By the name alone: a navigable folder, else the lower-cased extension decides.
FileKind classifyFile(const FileURL& url, bool isDirectory, bool isPackage);
FileKind classifyName(std::string_view name, bool isDirectory, bool isPackage);

enum class FileAvailability : std::uint8_t { local, notDownloaded, unavailable };
enum class BrowserViewMode : std::uint8_t { grid, list, columns, gallery };
enum class FileSort : std::uint8_t { name, modified, added, size, kind };
enum class FileGrouping : std::uint8_t { none, kind, date };
std::string_view rawValue(FileAvailability value);
std::string_view rawValue(BrowserViewMode value);
std::string_view rawValue(FileSort value);
std::string_view rawValue(FileGrouping value);

/// Value; equality over all fields. Small on purpose: folders hold a hundred thousand of them, so the
/// folder's path is shared, the identity is numbers, and texts are made on demand.
class FileEntry {
public:
    std::shared_ptr<const FileURL> folder; ///< the containing folder, shared by all entries of one reading
    std::string name;                      ///< last path component in bytes
    std::uint64_t volume = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0; ///< bytes of the item itself
    std::optional<Date> modifiedAt;
    std::optional<Date> addedAt; ///< the time of birth, where the volume keeps one
    FileKind kind = FileKind::other;
    FileAvailability availability = FileAvailability::local;
    bool isDirectory = false; ///< false for a link to a folder
    bool isPackage = false;
    bool isSymbolicLink = false;
    bool isWritable = false;
    bool isDownloading = false;
    std::shared_ptr<const std::vector<std::string>> tagList; ///< null: none

    /// Marked as a folder when the item is a directory.
    FileURL url() const;
    /// Volume ":" inode ":" path; "unavailable:" and the path for an item that could not be read.
    std::string id() const;
    /// Volume ":" inode, the object regardless of its path.
    std::string resourceIdentity() const;
    const std::vector<std::string>& tags() const;
    bool isNavigable() const { return isDirectory && !isPackage; }
    /// "Folder" for a navigable entry, else the size in words.
    std::string formattedSize() const;

    friend bool operator==(const FileEntry& a, const FileEntry& b);
};

/// A name that is not UTF-8 is repaired in "name" and "id"; "url" carries its bytes, and fromJSON takes it
/// from there.
std::string toJSON(const FileEntry& entry);
void fromJSON(std::string_view text, FileEntry& entry);

/// How one folder is shown. All six keys are required in JSON.
struct FolderViewPreferences {
    BrowserViewMode view = BrowserViewMode::grid;
    FileSort sort = FileSort::name;
    bool ascending = true;
    FileGrouping grouping = FileGrouping::none;
    bool showHidden = false;
    double iconSize = 120; ///< points

    friend bool operator==(const FolderViewPreferences&, const FolderViewPreferences&) = default;
};
std::string toJSON(const FolderViewPreferences& preferences);
void fromJSON(std::string_view text, FolderViewPreferences& preferences);

/// A real directory that is shown as one item ("app", "bundle", "photoslibrary", …), by its name.
bool isPackageName(std::string_view name);

} // namespace morv

template <>
struct std::hash<morv::FileEntry> {
    std::size_t operator()(const morv::FileEntry& entry) const noexcept {
        return std::hash<std::string>()(entry.name) ^ (entry.inode * 0x9E3779B97F4A7C15ULL) ^ entry.volume;
    }
};
