// One line on the terminal that says how far an operation has come, and is erased at the end.
//
// Protocol    show() as often as wanted; the destructor erases the line
// Threading   safe to share: show() may be called from any thread, one drawing happens at a time
#pragma once

#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Operations/OperationProgress.h"

#include <string>

namespace morv {

/// The line's text: phase, bytes, rate, time left and name, at most `columns` wide (wide characters count
/// two).
std::string progressText(const OperationProgress& progress, int columns);

class ProgressLine {
public:
    /// Draws only when standard error is a terminal.
    ProgressLine();
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(const OperationProgress& progress);
    /// Removes the line now, so that something else can be printed; the next show() draws it again.
    void erase();

private:
    const bool terminal_;
    Mutex mutex_;
    bool drawn_ MORV_GUARDED_BY(mutex_) = false;
};

} // namespace morv
