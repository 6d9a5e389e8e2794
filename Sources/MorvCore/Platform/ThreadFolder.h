// A working directory for one thread alone.
//
// The attribute calls of Linux know no folder descriptor. Below a folder that is the thread's own working
// directory a bare name is as safe as a descriptor, and a third of the price of the path through /proc.
#pragma once

namespace morv {

/// For a thread of our own making, for the rest of its life: its working directory is no longer the
/// process's.
class ThreadFolder {
public:
    /// Makes the open folder `directory` the working directory of the calling thread only. Where the system
    /// does not allow that, nothing changes and isCurrent() says so.
    static void enter(int directory);
    /// Whether a bare name on this thread is a name in the folder that was entered by this descriptor.
    static bool isCurrent(int directory);
};

} // namespace morv
