// The user's folders below a folder of the test, and what a copy must keep.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <map>
#include <string>

namespace morv::test {

/// Points HOME and the XDG folders below `home`, so that no test touches the user's own; restored at the end.
class PrivateHome {
public:
    explicit PrivateHome(const FileURL& home);
    ~PrivateHome();
    PrivateHome(const PrivateHome&) = delete;
    PrivateHome& operator=(const PrivateHome&) = delete;

private:
    std::map<std::string, std::string> before_;
};

/// Everything below an item that a copy must keep, by relative path: type and mode, modification time in
/// nanoseconds, attributes, and the content or the link's target.
std::map<std::string, std::string> treeSnapshot(const FileURL& top);

std::string readFile(const FileURL& url);

} // namespace morv::test
