#include "MorvCore/Platform/ExtendedAttributes.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/ThreadFolder.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/xattr.h>

namespace morv {

AttributeTarget AttributeTarget::descriptor(int descriptor) {
    AttributeTarget target;
    target.descriptor_ = descriptor;
    return target;
}

AttributeTarget AttributeTarget::at(int directory, const std::string& name) {
    AttributeTarget target;
    if (directory == AT_FDCWD || ThreadFolder::isCurrent(directory)) {
        target.path_ = name;
    } else {
        // Opening the item would need read permission and wake what listens for opens; the l-calls on the
        // descriptor's own path need neither and stop at a final link.
        target.path_ = "/proc/self/fd/" + std::to_string(directory) + '/' + name;
    }
    return target;
}

AttributeTarget AttributeTarget::path(const FileURL& url) {
    AttributeTarget target;
    target.path_ = url.path();
    return target;
}

std::optional<std::string> AttributeTarget::list() const {
    std::string names;
    // The list can grow between the two calls.
    for (;;) {
        const auto needed = descriptor_ >= 0 ? ::flistxattr(descriptor_, nullptr, 0)
                                             : ::llistxattr(path_.c_str(), nullptr, 0);
        if (needed < 0) {
            if (errno == EOPNOTSUPP || errno == ENODATA)
                return std::nullopt;
            throw PosixError(errno, path_);
        }
        names.resize(static_cast<std::size_t>(needed));
        if (needed == 0)
            return names;
        const auto length = descriptor_ >= 0 ? ::flistxattr(descriptor_, names.data(), names.size())
                                             : ::llistxattr(path_.c_str(), names.data(), names.size());
        if (length >= 0) {
            names.resize(static_cast<std::size_t>(length));
            return names;
        }
        if (errno != ERANGE)
            throw PosixError(errno, path_);
    }
}

long AttributeTarget::size(const std::string& name) const {
    return read(name, nullptr, 0);
}

long AttributeTarget::read(const std::string& name, char* buffer, std::size_t capacity) const {
    return descriptor_ >= 0 ? ::fgetxattr(descriptor_, name.c_str(), buffer, capacity)
                            : ::lgetxattr(path_.c_str(), name.c_str(), buffer, capacity);
}

void AttributeTarget::set(const std::string& name, const std::string& value) const {
    const int result = descriptor_ >= 0
                           ? ::fsetxattr(descriptor_, name.c_str(), value.data(), value.size(), 0)
                           : ::lsetxattr(path_.c_str(), name.c_str(), value.data(), value.size(), 0);
    if (result != 0)
        throw PosixError(errno, path_);
}

void AttributeTarget::remove(const std::string& name) const {
    const int result = descriptor_ >= 0 ? ::fremovexattr(descriptor_, name.c_str())
                                        : ::lremovexattr(path_.c_str(), name.c_str());
    if (result != 0 && errno != ENODATA)
        throw PosixError(errno, path_);
}

} // namespace morv
