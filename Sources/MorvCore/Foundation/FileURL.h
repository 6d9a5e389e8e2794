// The location of a file, as the kernel knows it: an absolute path in bytes.
//
// Value       immutable apart from assignment; safe to copy between threads
// Invariants  I1  path() begins with "/", has no empty, "." or ".." component and no trailing slash (but "/")
//             I2  the bytes of a name are never changed: a name that is not UTF-8 survives, also through JSON
//             I3  equality and order are those of the path; the folder mark only shows in absoluteString()
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

class FileURL {
public:
    FileURL() : path_("/") {}

    /// Standardises `path` by its text alone: nothing is looked up, no link is resolved.
    /// A relative path is taken as relative to "/". NUL bytes are kept (OperationFiles::normalized refuses
    /// them).
    static FileURL fromPath(std::string_view path);
    static FileURL folder(std::string_view path) { return fromPath(path).asFolder(); }
    /// `argument` as typed in a shell: relative to the working directory of the process. Throws PosixError
    /// when it is relative and that folder is gone.
    static FileURL fromArgument(std::string_view argument);
    /// Parses "file:///…" or "file://localhost/…" with percent escapes. Anything else gives nothing, as
    /// does a path with a NUL.
    static std::optional<FileURL> parse(std::string_view text);

    const std::string& path() const { return path_; }
    bool isRoot() const { return path_.size() == 1; }
    bool isFolder() const { return folder_; }

    /// The last component in bytes; "/" for the root.
    std::string_view lastComponent() const;
    /// What follows the last dot of the last component; a leading dot does not count. No dot: empty.
    std::string_view extension() const;
    /// The same of a name that stands alone.
    static std::string_view extensionOf(std::string_view name);
    /// The last component without its extension and the dot before it.
    std::string_view stem() const;
    /// The containing folder; the root is its own parent.
    FileURL parent() const;
    /// `name` is one component in bytes, not escaped.
    FileURL child(std::string_view name) const;
    FileURL asFolder() const;
    /// Whether this is `other` or lies below it, by the text of the paths.
    bool isWithin(const FileURL& other) const;

    /// "file://" and the path; every byte outside A-Za-z0-9-._~/ is escaped; a folder's ends in "/".
    std::string absoluteString() const;

    friend bool operator==(const FileURL& a, const FileURL& b) { return a.path_ == b.path_; }
    friend std::strong_ordering operator<=>(const FileURL& a, const FileURL& b) {
        return a.path_ <=> b.path_;
    }

private:
    std::string path_;
    bool folder_ = false;
};

} // namespace morv

template <>
struct std::hash<morv::FileURL> {
    std::size_t operator()(const morv::FileURL& url) const noexcept {
        return std::hash<std::string>()(url.path());
    }
};
