// SIGINT, SIGTERM and SIGHUP as a request to stop at the next checkpoint, however often they come.
//
// Threading   one per process, made before any other thread, so that every thread inherits the blocked
//             signals. token() and signal() are safe from any thread.
#pragma once

#include <atomic>
#include <csignal>
#include <stop_token>
#include <thread>

namespace morv {

class Interruption {
public:
    /// A signal that the process was started to ignore (a background job, nohup) stays ignored.
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    std::stop_token token() const { return source_.get_token(); }
    /// The first signal that came; 0 when none has.
    int signal() const { return received_; }

    enum class Input { ready, interrupted };
    /// Waits until reading `descriptor` would not block, or a signal has come.
    Input awaitInput(int descriptor) const;

private:
    void listen();

    sigset_t signals_{};
    int wakeRead_ = -1;
    int wakeWrite_ = -1;
    std::stop_source source_;
    std::atomic<int> received_ = 0;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

} // namespace morv
