// One run of one program for its answer, or a program that serves us for a while.
//
// The program is trusted, what it reads is not: a repository's own configuration names programs that its tool
// would start. So whatever runs here can start no other program, neither it nor anything that it turns into:
// the kernel refuses it new processes (seccomp(2)); threads it may have.
//
// Invariants  I1  nothing is inherited: the environment is the request's, standard input and standard error
//                 are the null device, no descriptor of ours is open in it but the socket that it was given,
//                 no signal is blocked or ignored
//             I2  it runs in a process group of its own, so that a terminal's interrupt reaches us and not it
//             I3  returned or thrown => it has ended and was reaped, and no descriptor of the run is open
// Threading   runChild() is stateless and safe to call from any thread; a RunningChild is confined to one at a time
#pragma once

#include "MorvCore/Platform/Descriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace morv {

struct ChildRequest {
    std::string executable; ///< an absolute path; the search path plays no part
    std::vector<std::string> arguments;
    std::vector<std::string> environment; ///< "NAME=value"
    std::size_t outputLimit = 0;          ///< bytes of standard output
    std::chrono::steady_clock::time_point deadline;
};

struct ChildResult {
    enum class Ending : std::uint8_t {
        exited,
        timedOut,      ///< it was killed at the deadline
        tooMuchOutput, ///< it was killed when it wrote more than the limit
    };

    Ending ending = Ending::exited;
    int status = 0; ///< of one that exited; as in a shell 128 and the signal's number for one that was killed
    std::string output;
};

/// Runs the program and waits until it has ended and its standard output is closed.
/// Throws PosixError when it cannot be started, CancellationError after a stop; it was killed then.
ChildResult runChild(const ChildRequest& request, const std::stop_token& stop);

/// A process of ours; it ends with its owner at the latest.
class RunningChild {
public:
    /// The number under which a serving program finds its socket.
    static constexpr int channel = 3;

    /// Starts a program without arguments, its standard output the null device. It is the program's part to end
    /// when the other end of its socket has gone: after a crash of ours nobody is left to kill it.
    /// Throws PosixError when it cannot be started.
    static RunningChild serving(const std::string& executable, const std::vector<std::string>& environment,
                                Descriptor socket);
    explicit RunningChild(pid_t process) : process_(process) {}
    RunningChild(RunningChild&& other) noexcept : process_(std::exchange(other.process_, -1)) {}
    RunningChild& operator=(RunningChild&&) = delete;
    ~RunningChild() { end(); }

    pid_t process() const { return process_; }
    /// Kills it if it still runs, waits until it has ended and returns its status as ChildResult has it.
    int end();

private:
    pid_t process_;
};

} // namespace morv
