// What the kernel tells about one folder and about its own entry in its parent (inotify(7)).
//
// Threading   confined to one thread, except interrupt(), which is safe from any
#pragma once

#include "MorvCore/Platform/Descriptor.h"

#include <chrono>
#include <optional>
#include <string>

namespace morv {

class ChangeNotices {
public:
    /// Without inotify the object still waits and is interrupted. Throws PosixError without descriptors.
    ChangeNotices();

    /// Watches the open folder instead of any earlier one: its children and its own attributes. False when no
    /// watch can be had (the user's limit is used up, the volume has none).
    bool watchFolder(int folder);
    /// Watches for `name` coming, going and being replaced in the open folder `parent`.
    bool watchEntry(int parent, std::string name);
    void forgetFolder();
    bool hasFolder() const { return folder_ >= 0; }
    bool hasEntry() const { return entry_ >= 0; }

    struct Notice {
        bool inFolder = false; ///< something in the folder changed
        bool ofEntry = false;  ///< the folder may have gone, come or been replaced; ask the disk
    };
    /// Waits until something is told, `longest` is over or interrupt() was called.
    Notice wait(std::optional<std::chrono::milliseconds> longest);
    /// Ends the wait under way and every later one at once.
    void interrupt();

private:
    Notice read();
    void forget(int& watch);
    int add(int folder, unsigned mask);

    Descriptor queue_;
    Descriptor wake_;
    int folder_ = -1;
    int entry_ = -1;
    std::string name_;
};

} // namespace morv
