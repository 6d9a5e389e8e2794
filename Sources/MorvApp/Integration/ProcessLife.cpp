#include "MorvApp/Integration/ProcessLife.h"

#include "MorvApp/Model/FileWindows.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Operations/FileOperationEngine.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace morv {

namespace {

constexpr std::chrono::milliseconds lookInterval{100};

/// For the handler alone, which may touch nothing else.
int signalPipe = -1;

void tell(int) {
    const int kept = errno;
    [[maybe_unused]] const auto written = write(signalPipe, "", 1);
    errno = kept;
}

} // namespace

ProcessLife::ProcessLife(FileWindows& windows, FileOperationEngine& engine, Limits limits, QObject* parent)
    : QObject(parent), windows_(windows), engine_(engine), limits_(limits) {
    looking_.setInterval(lookInterval);
    connect(&looking_, &QTimer::timeout, this, &ProcessLife::look);
    installHandlers();
}

void ProcessLife::installHandlers() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw PosixError(errno);
    signalPipe = ends[1];
    auto* notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, input = ends[0]] {
        char byte;
        while (read(input, &byte, 1) == 1)
            signalCame();
    });
    struct sigaction action {};
    action.sa_handler = tell;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaction(number, &action, nullptr);
}

void ProcessLife::signalCame() {
    if (ending_) {
        deadline_ = std::chrono::steady_clock::now();
    } else {
        ending_ = true;
        deadline_ = std::chrono::steady_clock::now() + limits_.grace;
        Q_EMIT endingBegan();
    }
    looking_.start();
    look();
}

void ProcessLife::review() {
    looking_.start();
    look();
}

void ProcessLife::awaitRequest() {
    QTimer::singleShot(limits_.idle, this, &ProcessLife::review);
}

/// After a signal.
bool ProcessLife::mayEnd() const {
    if (!engine_.hasActiveOperation())
        return true;
    try {
        // While a lease holds the turn nothing changes files, and it could hold it for ever.
        return engine_.activeExternalMaintenance().has_value();
    } catch (const std::exception&) {
        // Until it is known what was left nothing can begin.
        return true;
    }
}

void ProcessLife::look() {
    if (!ending_ && windows_.keepsProcess()) {
        if (windows_.anyVisible())
            looking_.stop();
        return;
    }
    if (!ending_ || mayEnd())
        return QCoreApplication::quit();
    // What waited behind the operation that was stopped comes to its turn, and is stopped in turn.
    if (std::chrono::steady_clock::now() >= deadline_)
        engine_.cancel();
}

} // namespace morv
