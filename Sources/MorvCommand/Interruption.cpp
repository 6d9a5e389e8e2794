#include "MorvCommand/Interruption.h"

#include "MorvCore/Foundation/Errors.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace morv {

namespace {

// Wakes the listening thread at the end. Blocked like the others, so nobody else can be hit by it.
constexpr int wakeUp = SIGUSR1;

} // namespace

Interruption::Interruption() {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
        throw PosixError(errno);
    wakeRead_ = ends[0];
    wakeWrite_ = ends[1];
    for (const int end : ends)
        fcntl(end, F_SETFD, FD_CLOEXEC);

    sigemptyset(&signals_);
    sigaddset(&signals_, wakeUp);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&signals_, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    thread_ = std::thread([this] { listen(); });
}

Interruption::~Interruption() {
    ending_ = true;
    pthread_kill(thread_.native_handle(), wakeUp);
    thread_.join();
    close(wakeRead_);
    close(wakeWrite_);
}

void Interruption::listen() {
    while (!ending_) {
        int number = 0;
        if (sigwait(&signals_, &number) != 0 || number == wakeUp)
            continue;
        int none = 0;
        if (received_.compare_exchange_strong(none, number)) {
            source_.request_stop();
            // A full pipe is as readable as one with this byte.
            [[maybe_unused]] const auto written = write(wakeWrite_, "!", 1);
        }
    }
}

Interruption::Input Interruption::awaitInput(int descriptor) const {
    std::array<pollfd, 2> waits = {pollfd{wakeRead_, POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
    while (poll(waits.data(), waits.size(), -1) < 0) {
        if (errno != EINTR)
            throw PosixError(errno);
    }
    return waits[0].revents != 0 ? Input::interrupted : Input::ready;
}

} // namespace morv
