#include "MorvCore/Inspection/PermissionWords.h"

#include <fmt/format.h>
#include <string_view>
#include <sys/stat.h>

namespace morv {

namespace {

/// By the three bits of one class. They need no agreement with who it is.
constexpr std::string_view fileWords[] = {"cannot read or change it",
                                          "can only run it",
                                          "can only write to it",
                                          "can write to it and run it",
                                          "can read",
                                          "can read and run",
                                          "can read and write",
                                          "can read, write and run"};
/// Names that cannot be gone through, and items that cannot be put anywhere, are of no use.
constexpr std::string_view folderWords[] = {"cannot open it",         "can only pass through it",
                                            "cannot open it",         "can only put items into it",
                                            "can only see its names", "can open it",
                                            "can only see its names", "can open and change it"};

unsigned bitsOf(const ItemAccess& access) {
    return (access.canRead ? 4U : 0U) | (access.canWrite ? 2U : 0U) | (access.canExecute ? 1U : 0U);
}

} // namespace

std::string permissionSentence(const PermissionFacts& facts) {
    const auto& words = S_ISDIR(facts.mode) ? folderWords : fileWords;
    std::string sentence = fmt::format("You {}", words[bitsOf(facts.mine)]);
    const auto add = [&](std::string_view who, unsigned bits) {
        sentence += fmt::format("; {} {}", who, words[bits]);
    };
    const unsigned group = (facts.mode >> 3) & 7U;
    const unsigned others = facts.mode & 7U;
    if (!facts.isMine)
        add(fmt::format("the owner {}", facts.owner), (facts.mode >> 6) & 7U);
    if (group != others)
        add(fmt::format("group {}", facts.group), group);
    add("others", others);
    return sentence;
}

std::string permissionSymbols(std::uint32_t mode) {
    std::string symbols;
    const auto add = [&](unsigned shift, bool isSpecial, char special) {
        const unsigned bits = mode >> shift;
        symbols += bits & 4U ? 'r' : '-';
        symbols += bits & 2U ? 'w' : '-';
        const bool runs = bits & 1U;
        symbols += isSpecial ? (runs ? special : static_cast<char>(special - 'a' + 'A')) : runs ? 'x' : '-';
    };
    add(6, mode & S_ISUID, 's');
    add(3, mode & S_ISGID, 's');
    add(0, mode & S_ISVTX, 't');
    return symbols;
}

std::string permissionNumber(std::uint32_t mode) {
    return fmt::format("{:03o}", mode & 07777U);
}

} // namespace morv
