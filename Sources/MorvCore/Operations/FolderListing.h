// The names in an open folder.
#pragma once

#include <string>
#include <vector>

namespace morv {

/// In the order of the file system, without "." and "..". Does not move the descriptor's own position.
/// Throws PosixError.
std::vector<std::string> listFolder(int folder);

/// As listFolder, and whether each is a folder itself, as the file system says while listing.
struct ListedName {
    std::string name;
    bool isFolder = false;
};
std::vector<ListedName> listFolderWithKinds(int folder);

} // namespace morv
