// Tells a model on the main thread that its folder should be read again.
//
// Protocol    one watcher for one folder; a model that goes elsewhere makes another and drops this one
// Invariants  I1  a burst of changes is one call of onChange (DirectoryEventMonitor.h says when)
//             I2  once the watcher is destroyed onChange is never called, whatever was already on its way
//             I3  after waitUntilReady() no later change of the folder is missed
// Failures    a folder that cannot be watched is not: watching is an aid, and reading says what is wrong
// Threading   made and destroyed on the main thread, which is never kept waiting; each watcher parks a thread
//             of its own. A watch has to ask the disk what became of its folder, and on a network volume that
//             does not answer the question does not return: on a shared thread one dead server would silence
//             every other pane. A watched folder costs 16 KiB, its thread included, and no time while nothing
//             happens.
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Folders/DirectoryEventMonitor.h"

#include <functional>
#include <memory>
#include <stop_token>

namespace morv {

class DirectoryChangeWatcher {
public:
    /// Whether the watch stands. Safe to share; outlives the watcher.
    class Readiness {
    public:
        /// Blocks until the watch stands, has turned out impossible or was dropped, or `stop` is requested.
        void waitUntilReady(const std::stop_token& stop) const;

    private:
        friend class DirectoryChangeWatcher;
        struct State;
        std::shared_ptr<State> state_;
    };

    DirectoryChangeWatcher(TaskPools& pools, const FileURL& folder, ChangeSource source,
                           std::function<void()> onChange);

    const Readiness& readiness() const { return readiness_; }

private:
    Readiness readiness_;
    TaskScope tasks_;
};

} // namespace morv
