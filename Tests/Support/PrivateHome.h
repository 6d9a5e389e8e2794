// The user's folders below a folder of the test.
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

/// The bytes of a file; none when it cannot be read.
std::string readFile(const FileURL& url);

} // namespace morv::test
