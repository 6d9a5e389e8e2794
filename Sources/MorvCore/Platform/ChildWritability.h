// Whether the children of one open folder can be written, asking the kernel only where what is known of a
// child leaves the question open.
#pragma once

#include "MorvCore/Platform/FileStat.h"

#include <string>

namespace morv {

/// Immutable; holds no descriptor of its own. True for as long as the folder's mount keeps its flags.
class ChildWritability {
public:
    explicit ChildWritability(int directory);

    /// As isWritableAt: for the effective user, a link stands for its target.
    bool isWritable(const FileStat& child, const std::string& name) const;

private:
    int directory_;
    std::uint64_t device_ = 0;
    std::uint64_t mountID_ = 0;
    std::uint32_t user_ = 0;
    bool isPlain_ = false;
};

} // namespace morv
