// Extended attributes of one item, by descriptor or by a name in an open folder, never through a final link.
// Names are the kernel's own, with their namespace ("user.…", "system.posix_acl_access").
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace morv {

/// One item whose attributes are read or set: an open descriptor, a path, or a name in an open folder.
/// Holds no descriptor of its own; confined to one thread.
class AttributeTarget {
public:
    static AttributeTarget descriptor(int descriptor);
    static AttributeTarget at(int directory, const std::string& name);
    static AttributeTarget path(const FileURL& url);

    /// The names separated by NUL, unsorted. Nothing where the volume keeps no attributes. Throws PosixError.
    std::optional<std::string> list() const;
    /// The size in bytes of the value, or -1 with errno set.
    long size(const std::string& name) const;
    /// Reads into `buffer`; the length read, or -1 with errno set.
    long read(const std::string& name, char* buffer, std::size_t capacity) const;
    /// Throws PosixError.
    void set(const std::string& name, const std::string& value) const;
    /// An absent attribute is no error. Throws PosixError.
    void remove(const std::string& name) const;

    const std::string& shownPath() const { return path_; }

private:
    int descriptor_ = -1;
    std::string path_;
};

} // namespace morv
