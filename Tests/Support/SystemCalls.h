// System calls that a test can answer in the kernel's place. A source that includes this takes them over for
// the whole test program; without a hook they go through.
#pragma once

#include <cerrno>
#include <cstddef>
#include <dlfcn.h>
#include <functional>
#include <optional>
#include <sys/types.h>
#include <utility>

namespace morv::test {

/// An errno value to fail with, or nothing to ask the kernel.
inline std::function<std::optional<int>()> renameHook;
inline std::function<std::optional<int>(std::size_t capacity)> attributeHook;

/// A hook for the length of a scope.
template <class Hook>
class Hooked {
public:
    Hooked(Hook& place, Hook hook) : place_(place) { place_ = std::move(hook); }
    ~Hooked() { place_ = nullptr; }
    Hooked(const Hooked&) = delete;
    Hooked& operator=(const Hooked&) = delete;

private:
    Hook& place_;
};

} // namespace morv::test

extern "C" __attribute__((used)) inline int renameat2(int from, const char* fromName, int to,
                                                      const char* toName, unsigned flags) noexcept {
    if (morv::test::renameHook) {
        if (const auto code = morv::test::renameHook()) {
            errno = *code;
            return -1;
        }
    }
    static const auto real = reinterpret_cast<int (*)(int, const char*, int, const char*, unsigned)>(
        ::dlsym(RTLD_NEXT, "renameat2"));
    return real(from, fromName, to, toName, flags);
}

extern "C" __attribute__((used)) inline ssize_t lgetxattr(const char* path, const char* name, void* value,
                                                          std::size_t size) noexcept {
    if (morv::test::attributeHook) {
        if (const auto code = morv::test::attributeHook(size)) {
            errno = *code;
            return -1;
        }
    }
    static const auto real = reinterpret_cast<ssize_t (*)(const char*, const char*, void*, std::size_t)>(
        ::dlsym(RTLD_NEXT, "lgetxattr"));
    return real(path, name, value, size);
}
