// Permissions of an item in a sentence and as the shell writes them. Stateless.
#pragma once

#include "MorvCore/Platform/ItemFacts.h"

#include <cstdint>
#include <string>

namespace morv {

struct PermissionFacts {
    std::uint32_t mode = 0; ///< with type bits
    ItemAccess mine;
    bool isMine = true; ///< the effective user owns it
    std::string owner;
    std::string group;
};

/// "You can read and write; others can read". The owner is named only where that is somebody else, the group
/// only where it may do something that others may not, or the other way round.
std::string permissionSentence(const PermissionFacts& facts);
/// "rw-r--r--"; with s, S, t and T as ls(1) writes them.
std::string permissionSymbols(std::uint32_t mode);
/// "644"; four digits where one of the upper three bits is set.
std::string permissionNumber(std::uint32_t mode);

} // namespace morv
