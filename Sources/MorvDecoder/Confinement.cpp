#include "MorvDecoder/Confinement.h"

#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/SystemCallFilter.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace morv::decoder {

namespace {

using filter::answer;
using filter::compare;
using filter::loadArgument;
using filter::loadNumber;
using filter::onlyIf;

constexpr rlim_t addressSpace = 2ULL << 30U;
constexpr rlim_t mostDescriptors = 64;
constexpr rlim_t secondsOfProcessor = 10;
constexpr std::uint32_t allow = SECCOMP_RET_ALLOW;
constexpr std::uint32_t refuse = SECCOMP_RET_ERRNO | EPERM;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

/// Programs, libraries, fonts and definitions of languages as packages installed them: nothing of the user's.
constexpr std::array readable = {
    "/usr", "/lib", "/lib64", "/etc/ld.so.cache", "/etc/fonts", "/var/cache/fontconfig"};

/// Calls that act only on this process and on what it has open.
constexpr std::uint32_t harmless[] = {
    __NR_read,
    __NR_readv,
    __NR_pread64,
    __NR_write,
    __NR_lseek,
    __NR_close,
    __NR_fstat,
    __NR_dup,
    __NR_dup3,
    __NR_fadvise64,
    __NR_getdents64,
    __NR_fstatfs,
    __NR_mmap,
    __NR_munmap,
    __NR_mremap,
    __NR_mprotect,
    __NR_madvise,
    __NR_brk,
    __NR_futex,
    __NR_set_robust_list,
    __NR_get_robust_list,
    __NR_set_tid_address,
    __NR_sched_yield,
    __NR_sched_getaffinity,
    __NR_sched_getparam,
    __NR_sched_getscheduler,
    __NR_sched_getattr,
    __NR_getpid,
    __NR_gettid,
    __NR_getuid,
    __NR_geteuid,
    __NR_getgid,
    __NR_getegid,
    __NR_rt_sigaction,
    __NR_rt_sigprocmask,
    __NR_rt_sigreturn,
    __NR_sigaltstack,
    __NR_clock_gettime,
    __NR_clock_getres,
    __NR_clock_nanosleep,
    __NR_nanosleep,
    __NR_gettimeofday,
    __NR_exit,
    __NR_exit_group,
    __NR_recvmsg,
    __NR_sendto,
    __NR_ppoll,
    __NR_getrandom,
    __NR_getrusage,
    __NR_sysinfo,
    __NR_uname,
    __NR_restart_syscall,
    __NR_membarrier,
    __NR_eventfd2,
    __NR_getcpu,
    __NR_times,
#ifdef __NR_poll
    __NR_poll,
#endif
#ifdef __NR_time
    __NR_time,
#endif
#ifdef __NR_getrlimit
    __NR_getrlimit,
    __NR_setrlimit,
#endif
#ifdef __NR_dup2
    __NR_dup2,
#endif
#ifdef __NR_rseq
    __NR_rseq,
#endif
};

/// What they tell is whether and since when something is there. The libraries ask before they open a font.
constexpr std::uint32_t questions[] = {
    __NR_newfstatat, __NR_statx, __NR_faccessat,
#ifdef __NR_access
    __NR_access,     __NR_stat,  __NR_readlink,
#endif
#ifdef __NR_faccessat2
    __NR_faccessat2,
#endif
};

/// Lets a call through when every bit of `bits` is clear in its argument; else it is refused.
void allowWithout(std::vector<sock_filter>& program, std::uint32_t call, std::size_t argument,
                  std::uint32_t bits) {
    program.insert(program.end(), {compare(BPF_JEQ, call, 0, 4), loadArgument(argument),
                                   compare(BPF_JSET, bits, 1, 0), answer(allow), answer(refuse)});
}

/// Lets a call through when one bit of `bits` is set in its argument.
void allowWith(std::vector<sock_filter>& program, std::uint32_t call, std::size_t argument,
               std::uint32_t bits) {
    program.insert(program.end(), {compare(BPF_JEQ, call, 0, 4), loadArgument(argument),
                                   compare(BPF_JSET, bits, 0, 1), answer(allow), answer(refuse)});
}

/// Lets a call through when its argument is `value`.
void allowWhere(std::vector<sock_filter>& program, std::uint32_t call, std::size_t argument,
                std::uint32_t value) {
    program.insert(program.end(), {compare(BPF_JEQ, call, 0, 4), loadArgument(argument),
                                   compare(BPF_JEQ, value, 0, 1), answer(allow), answer(refuse)});
}

/// Whoever owns an open file is sent signals about it: that is nobody else.
void allowDescriptorsWithoutOwners(std::vector<sock_filter>& program) {
    program.insert(program.end(),
                   {compare(BPF_JEQ, __NR_fcntl, 0, 5), loadArgument(1), compare(BPF_JEQ, F_SETOWN, 2, 0),
                    compare(BPF_JEQ, F_SETOWN_EX, 1, 0), answer(allow), answer(refuse)});
}

std::vector<sock_filter> allowedCalls(bool placesAreConfined) {
    std::vector<sock_filter> program(filter::onThisArchitecture.begin(), filter::onThisArchitecture.end());
    for (const auto call : harmless)
        program.insert(program.end(), {onlyIf(call), answer(allow)});
    allowWith(program, __NR_clone, 0, CLONE_THREAD);
    // Its flags are out of a filter's sight; without it the C library makes its threads with clone.
    program.insert(program.end(), {onlyIf(__NR_clone3), answer(SECCOMP_RET_ERRNO | ENOSYS)});
    allowWhere(program, __NR_prctl, 0, PR_SET_NAME);
    // Of this process: another one of the same user would be ended by a limit as by a signal.
    allowWhere(program, __NR_prlimit64, 0, 0);
    allowDescriptorsWithoutOwners(program);
    if (placesAreConfined) {
        constexpr std::uint32_t changing = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
        allowWithout(program, __NR_openat, 2, changing);
#ifdef __NR_open
        allowWithout(program, __NR_open, 1, changing);
#endif
        for (const auto call : questions)
            program.insert(program.end(), {onlyIf(call), answer(allow)});
    } else {
        // With the flag that makes them ask about a descriptor.
        constexpr std::uint32_t emptyPath = AT_EMPTY_PATH;
        allowWith(program, __NR_newfstatat, 3, emptyPath);
        allowWith(program, __NR_statx, 2, emptyPath);
    }
    program.push_back(answer(refuse));
    return program;
}

/// Whether the kernel now lets nothing be opened but what is readable. Threads that exist already would stay free.
bool confinePlaces() {
    const auto version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return false;
    // The rights of the first version: what later ones add, the filter of calls refuses.
    landlock_ruleset_attr everything{};
    everything.handled_access_fs = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1U) - 1;
    const Descriptor rules(
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &everything, sizeof everything, 0)));
    if (!rules)
        return false;
    for (const auto* place : readable) {
        const Descriptor folder(::open(place, O_PATH | O_CLOEXEC));
        if (!folder)
            continue;
        landlock_path_beneath_attr rule{};
        struct stat item {};
        const bool isFolder = ::fstat(folder.get(), &item) == 0 && S_ISDIR(item.st_mode);
        rule.allowed_access = isFolder ? LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR
                                       : LANDLOCK_ACCESS_FS_READ_FILE;
        rule.parent_fd = folder.get();
        if (::syscall(SYS_landlock_add_rule, rules.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0)
            return false;
    }
    return ::syscall(SYS_landlock_restrict_self, rules.get(), 0) == 0;
}

void limit(__rlimit_resource which, rlim_t value) {
    const rlimit both{value, value};
    ::setrlimit(which, &both);
}

} // namespace

bool beginConfinement() {
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (!isSanitized)
        limit(RLIMIT_AS, addressSpace);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_FSIZE, 0);
    // A library that writes a message fails; it does not end us.
    (void)std::signal(SIGXFSZ, SIG_IGN);
    limit(RLIMIT_NOFILE, mostDescriptors);
    return confinePlaces();
}

bool confineCalls(bool placesAreConfined) {
    auto program = allowedCalls(placesAreConfined);
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    // For every thread that the libraries have started.
    return ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &filter) == 0;
}

void beginProcessorTime() {
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const auto spent = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + 1;
    const rlimit share{spent + secondsOfProcessor, RLIM_INFINITY};
    ::setrlimit(RLIMIT_CPU, &share);
}

} // namespace morv::decoder
