// When the process ends: not with its last window, but when nothing keeps it; and how it ends when the system
// asks for it.
//
// Protocol    made with the services, before the event loop; ends the application by QCoreApplication::quit()
// Invariants  I1  a process without a window, an operation or an anchor does not stay
//             I2  a signal never ends the process inside an operation: no window and no request is taken any
//                 more; what is under way may end within the grace, then it is stopped at its next
//                 checkpoint, as by the user; a second signal stops it at once. What was handed to the system
//                 keeps nothing: its receipt is durable, and the next start asks for it
// Threading   confined to the main thread. The handlers of SIGTERM, SIGINT and SIGHUP only write to a pipe
#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>

namespace morv {

class FileWindows;
class FileOperationEngine;

class ProcessLife : public QObject {
    Q_OBJECT

public:
    struct Limits {
        /// How long an operation may take to end by itself after a signal.
        std::chrono::milliseconds grace{5'000};
        /// How long a process that was started for requests waits for the first.
        std::chrono::milliseconds idle{10'000};
    };

    ProcessLife(FileWindows& windows, FileOperationEngine& engine, Limits limits, QObject* parent = nullptr);

    /// A window has closed, or a start without one has begun: looks from now on whether anything still keeps
    /// the process.
    void review();
    /// Leaves the process some time for its first window.
    void awaitRequest();
    /// No more windows and requests: the process is ending.
    bool isEnding() const { return ending_; }

Q_SIGNALS:
    /// The windows are to be hidden now.
    void endingBegan();

private:
    void installHandlers();
    void signalCame();
    void look();
    bool mayEnd() const;

    FileWindows& windows_;
    FileOperationEngine& engine_;
    Limits limits_;
    QTimer looking_;
    bool ending_ = false;
    std::chrono::steady_clock::time_point deadline_;
};

} // namespace morv
