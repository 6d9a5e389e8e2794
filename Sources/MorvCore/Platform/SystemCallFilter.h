// The instructions that filters of system calls are made of (seccomp(2), bpf).
//
// A filter begins with onThisArchitecture, then has the call's number in hand; the last instruction is the answer
// to whatever none before it decided.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>

namespace morv::filter {

#if defined(__x86_64__)
inline constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
inline constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
#elif defined(__riscv) && __riscv_xlen == 64
inline constexpr std::uint32_t architecture = AUDIT_ARCH_RISCV64;
#else
#error "The numbers of system calls are those of one architecture: name it here."
#endif

constexpr sock_filter load(std::size_t offset) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}
/// The lower half of an argument, from 0.
constexpr sock_filter loadArgument(std::size_t index) {
    return load(offsetof(seccomp_data, args) + index * sizeof(std::uint64_t) +
                (std::endian::native == std::endian::big ? sizeof(std::uint32_t) : 0));
}
constexpr sock_filter loadNumber() {
    return load(offsetof(seccomp_data, nr));
}
constexpr sock_filter answer(std::uint32_t action) {
    return BPF_STMT(BPF_RET | BPF_K, action);
}
/// The numbers of instructions to skip when the comparison holds, and when it does not.
constexpr sock_filter compare(std::uint16_t how, std::uint32_t value, std::uint8_t held,
                              std::uint8_t failed) {
    return BPF_JUMP(static_cast<std::uint16_t>(BPF_JMP | how | BPF_K), value, held, failed);
}
/// Skips the next instruction unless what was loaded is `value`.
constexpr sock_filter onlyIf(std::uint32_t value) {
    return compare(BPF_JEQ, value, 0, 1);
}

/// Calls by the numbers of another architecture end the process.
inline constexpr std::array onThisArchitecture = {
    load(offsetof(seccomp_data, arch)),
    compare(BPF_JEQ, architecture, 1, 0),
    answer(SECCOMP_RET_KILL_PROCESS),
    loadNumber(),
};

} // namespace morv::filter
