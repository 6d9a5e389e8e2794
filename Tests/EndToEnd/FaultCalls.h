// The calls that the fault library interposes, by number: the library and the tests both read this table.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace FaultCalls {

struct Call {
    std::string_view name;
    std::string_view family;
};

inline constexpr std::array all = {Call{"fsync", "sync"},
                                   Call{"fdatasync", "sync"},
                                   Call{"syncfs", "sync"},
                                   Call{"write", "write"},
                                   Call{"pwrite", "write"},
                                   Call{"pwrite64", "write"},
                                   Call{"copy_file_range", "write"},
                                   Call{"ftruncate", "truncate"},
                                   Call{"ftruncate64", "truncate"},
                                   Call{"fchmod", "mode"},
                                   Call{"fchmodat", "mode"},
                                   Call{"futimens", "time"},
                                   Call{"utimensat", "time"},
                                   Call{"fsetxattr", "attribute"},
                                   Call{"setxattr", "attribute"},
                                   Call{"lsetxattr", "attribute"},
                                   Call{"fremovexattr", "attribute"},
                                   Call{"removexattr", "attribute"},
                                   Call{"renameat2", "rename"},
                                   Call{"renameat", "rename"},
                                   Call{"rename", "rename"},
                                   Call{"linkat", "rename"},
                                   Call{"mkdirat", "folder"},
                                   Call{"mkdir", "folder"},
                                   Call{"symlinkat", "link"},
                                   Call{"unlinkat", "unlink"},
                                   Call{"unlink", "unlink"},
                                   Call{"open", "open"},
                                   Call{"open64", "open"},
                                   Call{"openat", "open"},
                                   Call{"openat64", "open"}};

constexpr std::size_t indexOf(std::string_view name) {
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].name == name)
            return i;
    }
    return all.size();
}

} // namespace FaultCalls
