#include "MorvCore/Platform/ThreadFolder.h"

#include <sched.h>
#include <unistd.h>

namespace morv {

namespace {

thread_local int entered = -1;

} // namespace

void ThreadFolder::enter(int directory) {
    entered = -1;
    // Containers may forbid unshare, and a folder that may be listed but not passed cannot be entered.
    if (::unshare(CLONE_FS) == 0 && ::fchdir(directory) == 0)
        entered = directory;
}

bool ThreadFolder::isCurrent(int directory) {
    return directory >= 0 && entered == directory;
}

} // namespace morv
