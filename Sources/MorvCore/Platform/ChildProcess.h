// One run of one program for its answer.
//
// The program is trusted, what it reads is not: a repository's own configuration names programs that its tool
// would start. So whatever runs here can start no other program, neither it nor anything that it turns into:
// the kernel refuses it new processes (seccomp(2)); threads it may have.
//
// Invariants  I1  nothing is inherited: the environment is the request's, standard input and standard error
//                 are the null device, no descriptor of ours is open in it, no signal is blocked or ignored
//             I2  it runs in a process group of its own, so that a terminal's interrupt reaches us and not it
//             I3  returned or thrown => it has ended and was reaped, and no descriptor of the run is open
// Threading   stateless; safe to call from any thread
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
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

} // namespace morv
