// A library for LD_PRELOAD that makes chosen calls of a program fail, or kills the program at them.
//
//   MORV_FAULT=CALL=N:ACTION[@FOLDER|!FOLDER]
//   CALL      a function's name, its family ("open", "write", "sync", "rename", …) or "any"
//   N         the N-th matching call, from 1; 0 is never reached, which only counts
//   ACTION    kill (before the call), killafter, an error (ENOSPC, EIO, EACCES, EROFS, EDQUOT, EINTR, …), or
//             occupy: just before a rename another program's file appears under its new name
//   @ and !   only calls on something below the folder, or only on something that is not
//
//   MORV_FAULT_POOR=FOLDER: what is below it behaves like a FAT volume: it says so, keeps no attributes,
//             modes, links or times, and refuses the characters that FAT refuses. Nothing else of the test may
//             be on its volume, of which the program would hear two opinions.
//   MORV_FAULT_LOG=FILE, of a fixed size: every matching call writes its function's number into the next byte
//
// Only calls that change files count: an open without O_CREAT does not, nor does a write to the standard
// streams. Built without the large-file macros, so that both names of a call can be defined here.
#undef _FILE_OFFSET_BITS
#undef _FORTIFY_SOURCE
#include "FaultCalls.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace {

enum class Action { none, kill, killAfter, fail, occupy };

struct Fault {
    std::string call = "none";
    unsigned long number = 0;
    Action action = Action::none;
    int error = 0;
    std::string folder;
    bool inside = true;
    unsigned char* log = nullptr;
    std::size_t logSize = 0;
    std::atomic<unsigned long> count = 0;
    std::string poor;

    Fault() {
        if (const char* place = std::getenv("MORV_FAULT_POOR"))
            poor = place;
        const char* text = std::getenv("MORV_FAULT");
        if (text == nullptr)
            return;
        const std::string_view all = text;
        const auto equals = all.find('=');
        const auto colon = all.find(':', equals);
        auto end = all.find_first_of("@!", colon);
        if (end != std::string_view::npos) {
            inside = all[end] == '@';
            folder = all.substr(end + 1);
        } else {
            end = all.size();
        }
        call = all.substr(0, equals);
        number = std::strtoul(std::string(all.substr(equals + 1, colon - equals - 1)).c_str(), nullptr, 10);
        setAction(all.substr(colon + 1, end - colon - 1));
        openLog();
    }

    void setAction(std::string_view name) {
        constexpr std::array errors = {
            std::pair("ENOSPC", ENOSPC), std::pair("EIO", EIO),       std::pair("EACCES", EACCES),
            std::pair("EROFS", EROFS),   std::pair("EDQUOT", EDQUOT), std::pair("EINTR", EINTR),
            std::pair("EINVAL", EINVAL), std::pair("EXDEV", EXDEV),   std::pair("ENOTSUP", ENOTSUP)};
        if (name == "kill")
            action = Action::kill;
        else if (name == "killafter")
            action = Action::killAfter;
        else if (name == "occupy")
            action = Action::occupy;
        for (const auto& [text, value] : errors) {
            if (name == text) {
                action = Action::fail;
                error = value;
            }
        }
    }

    void openLog() {
        const char* file = std::getenv("MORV_FAULT_LOG");
        if (file == nullptr)
            return;
        const int descriptor = ::open(file, O_RDWR | O_CLOEXEC);
        struct stat info {};
        if (descriptor < 0 || ::fstat(descriptor, &info) != 0)
            return;
        logSize = static_cast<std::size_t>(info.st_size);
        void* mapped = ::mmap(nullptr, logSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        ::close(descriptor);
        log = mapped == MAP_FAILED ? nullptr : static_cast<unsigned char*>(mapped);
    }
};

// Calls come before the constructors of other libraries have run, and after their destructors.
Fault& fault() {
    static auto* made = new Fault;
    return *made;
}

template <class F>
F real(const char* name) {
    F function = nullptr;
    void* found = ::dlsym(RTLD_NEXT, name);
    std::memcpy(&function, &found, sizeof function);
    return function;
}

std::string ofDescriptor(int descriptor) {
    std::array<char, PATH_MAX> path{};
    const auto link = "/proc/self/fd/" + std::to_string(descriptor);
    const auto length = ::readlink(link.c_str(), path.data(), path.size());
    return length < 0 ? std::string() : std::string(path.data(), static_cast<std::size_t>(length));
}

std::string ofName(int folder, const char* name) {
    constexpr std::string_view descriptors = "/proc/self/fd/";
    const std::string_view text = name;
    if (text.starts_with(descriptors)) {
        char* rest = nullptr;
        const auto number = std::strtol(name + descriptors.size(), &rest, 10);
        return ofDescriptor(static_cast<int>(number)) + rest;
    }
    if (text.starts_with("/"))
        return name;
    if (folder != AT_FDCWD)
        return ofDescriptor(folder) + "/" + name;
    std::array<char, PATH_MAX> path{};
    return std::string(::getcwd(path.data(), path.size())) + "/" + name;
}

template <class Path>
bool applies(const FaultCalls::Call& call, const Path& path) {
    const auto& f = fault();
    if (f.call != "any" && f.call != call.name && f.call != call.family)
        return false;
    if (f.folder.empty())
        return true;
    const int before = errno;
    const auto place = path();
    errno = before;
    const bool below = place == f.folder || place.starts_with(f.folder + "/");
    return below == f.inside;
}

// What a FAT volume answers; nothing when it would do as it is told.
template <class Path>
std::optional<int> answerOfPoorVolume(const FaultCalls::Call& call, const Path& path) {
    if (fault().poor.empty())
        return std::nullopt;
    const auto place = path();
    if (!place.starts_with(fault().poor + "/") && place != fault().poor)
        return std::nullopt;
    const auto family = call.family;
    if (family == "attribute")
        return ENOTSUP;
    if (family == "mode" || family == "link" || call.name == "linkat")
        return EPERM;
    if (family == "time")
        return 0;
    const auto name = place.substr(place.rfind('/') + 1);
    return name.find_first_of(":?*<>|\"") != std::string::npos ? std::optional(EINVAL) : std::nullopt;
}

[[noreturn]] void die() {
    ::kill(::getpid(), SIGKILL);
    for (;;)
        ::pause();
}

void occupy(const std::string& place) {
    using Open = int (*)(const char*, int, ...);
    const int made = real<Open>("open")(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (made >= 0) {
        real<ssize_t (*)(int, const void*, std::size_t)>("write")(made, "newcomer", 8);
        ::close(made);
    }
}

template <class Path, class Work>
auto at(const char* name, const Path& path, const Work& work) -> decltype(work()) {
    const auto index = FaultCalls::indexOf(name);
    if (const auto answer = answerOfPoorVolume(FaultCalls::all[index], path)) {
        errno = *answer;
        return *answer == 0 ? 0 : -1;
    }
    if (!applies(FaultCalls::all[index], path))
        return work();
    auto& f = fault();
    const auto number = f.count.fetch_add(1) + 1;
    if (f.log != nullptr && number <= f.logSize)
        f.log[number - 1] = static_cast<unsigned char>(index + 1);
    const bool hit = number == f.number;
    if (hit && f.action == Action::kill)
        die();
    if (hit && f.action == Action::fail) {
        errno = f.error;
        return -1;
    }
    if (hit && f.action == Action::occupy)
        occupy(path());
    const auto result = work();
    if (hit && f.action == Action::killAfter)
        die();
    return result;
}

} // namespace

#define ON_DESCRIPTOR(name, result, parameters, descriptor, ...)                                             \
    extern "C" result name parameters {                                                                      \
        static const auto next = real<result(*) parameters>(#name);                                          \
        if ((descriptor) <= 2)                                                                               \
            return next(__VA_ARGS__);                                                                        \
        return at(                                                                                           \
            #name, [&] { return ofDescriptor(descriptor); }, [&] { return next(__VA_ARGS__); });             \
    }
#define ON_NAME(name, parameters, folder, path, ...)                                                         \
    extern "C" int name parameters {                                                                         \
        static const auto next = real<int(*) parameters>(#name);                                             \
        return at(                                                                                           \
            #name, [&] { return ofName(folder, path); }, [&] { return next(__VA_ARGS__); });                 \
    }

ON_DESCRIPTOR(fsync, int, (int d), d, d)
ON_DESCRIPTOR(fdatasync, int, (int d), d, d)
ON_DESCRIPTOR(syncfs, int, (int d) noexcept, d, d)
ON_DESCRIPTOR(write, ssize_t, (int d, const void* b, size_t n), d, d, b, n)
ON_DESCRIPTOR(pwrite, ssize_t, (int d, const void* b, size_t n, off_t o), d, d, b, n, o)
ON_DESCRIPTOR(pwrite64, ssize_t, (int d, const void* b, size_t n, off64_t o), d, d, b, n, o)
ON_DESCRIPTOR(copy_file_range, ssize_t,
              (int from, off64_t* fromOffset, int d, off64_t* offset, size_t n, unsigned flags), d, from,
              fromOffset, d, offset, n, flags)
ON_DESCRIPTOR(ftruncate, int, (int d, off_t n) noexcept, d, d, n)
ON_DESCRIPTOR(ftruncate64, int, (int d, off64_t n) noexcept, d, d, n)
ON_DESCRIPTOR(fchmod, int, (int d, mode_t mode) noexcept, d, d, mode)
ON_DESCRIPTOR(futimens, int, (int d, const timespec* times) noexcept, d, d, times)
ON_DESCRIPTOR(fsetxattr, int, (int d, const char* name, const void* value, size_t n, int flags) noexcept, d,
              d, name, value, n, flags)

ON_NAME(setxattr, (const char* path, const char* name, const void* value, size_t n, int flags) noexcept,
        AT_FDCWD, path, path, name, value, n, flags)
ON_NAME(lsetxattr, (const char* path, const char* name, const void* value, size_t n, int flags) noexcept,
        AT_FDCWD, path, path, name, value, n, flags)
ON_NAME(fremovexattr, (int d, const char* name) noexcept, AT_FDCWD, ofDescriptor(d).c_str(), d, name)
ON_NAME(removexattr, (const char* path, const char* name) noexcept, AT_FDCWD, path, path, name)
ON_NAME(renameat2, (int a, const char* from, int b, const char* to, unsigned flags) noexcept, b, to, a, from,
        b, to, flags)
ON_NAME(renameat, (int a, const char* from, int b, const char* to) noexcept, b, to, a, from, b, to)
ON_NAME(rename, (const char* from, const char* to) noexcept, AT_FDCWD, to, from, to)
ON_NAME(linkat, (int a, const char* from, int b, const char* to, int flags) noexcept, b, to, a, from, b, to,
        flags)
ON_NAME(mkdirat, (int d, const char* path, mode_t mode) noexcept, d, path, d, path, mode)
ON_NAME(mkdir, (const char* path, mode_t mode) noexcept, AT_FDCWD, path, path, mode)
ON_NAME(symlinkat, (const char* target, int d, const char* path) noexcept, d, path, target, d, path)
ON_NAME(utimensat, (int d, const char* path, const timespec* times, int flags) noexcept, d, path, d, path,
        times, flags)
ON_NAME(fchmodat, (int d, const char* path, mode_t mode, int flags) noexcept, d, path, d, path, mode, flags)
ON_NAME(unlinkat, (int d, const char* path, int flags) noexcept, d, path, d, path, flags)
ON_NAME(unlink, (const char* path) noexcept, AT_FDCWD, path, path)

#define FILE_SYSTEM(name, type)                                                                              \
    extern "C" int name(int d, type* system) noexcept {                                                      \
        static const auto next = real<int (*)(int, type*)>(#name);                                           \
        const int result = next(d, system);                                                                  \
        const auto& poor = fault().poor;                                                                     \
        if (result == 0 && !poor.empty() && (ofDescriptor(d) + "/").starts_with(poor + "/"))                 \
            system->f_type = 0x4d44;                                                                         \
        return result;                                                                                       \
    }

FILE_SYSTEM(fstatfs, struct statfs)
FILE_SYSTEM(fstatfs64, struct statfs64)

#define OPEN(name, parameters, folder, path, ...)                                                            \
    extern "C" int name parameters {                                                                         \
        static const auto next = real<int(*) parameters>(#name);                                             \
        mode_t mode = 0;                                                                                     \
        if ((flags & O_CREAT) != 0) {                                                                        \
            va_list rest;                                                                                    \
            va_start(rest, flags);                                                                           \
            mode = va_arg(rest, mode_t);                                                                     \
            va_end(rest);                                                                                    \
            return at(                                                                                       \
                #name, [&] { return ofName(folder, path); }, [&] { return next(__VA_ARGS__, mode); });       \
        }                                                                                                    \
        return next(__VA_ARGS__, mode);                                                                      \
    }

OPEN(open, (const char* path, int flags, ...), AT_FDCWD, path, path, flags)
OPEN(open64, (const char* path, int flags, ...), AT_FDCWD, path, path, flags)
OPEN(openat, (int d, const char* path, int flags, ...), d, path, d, path, flags)
OPEN(openat64, (int d, const char* path, int flags, ...), d, path, d, path, flags)
