// Everything about a tree that an operation must keep or leave alone.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// One item: type, permission bits, size, time of modification in nanoseconds, "user.*" attributes, link
/// target, and the bytes of a file.
struct SnapshotItem {
    char type = '?'; ///< d, f, l, p, s or ?
    unsigned mode = 0;
    std::int64_t modified = 0;
    std::map<std::string, std::string> attributes;
    std::string content; ///< bytes of a file, or the target of a link

    friend bool operator==(const SnapshotItem&, const SnapshotItem&) = default;
};

/// By path relative to the root, whose own is empty. Empty when nothing stands there.
using TreeSnapshot = std::map<std::string, SnapshotItem>;

/// Walks with one descriptor and any depth; follows no link.
TreeSnapshot snapshot(const std::string& path);
/// The same without times of folders, for trees whose folders were changed and changed back.
TreeSnapshot withoutFolderTimes(TreeSnapshot tree);
/// What differs, a line each, for messages.
std::string difference(const TreeSnapshot& before, const TreeSnapshot& after);

std::vector<std::string> namesIn(const std::string& folder);
