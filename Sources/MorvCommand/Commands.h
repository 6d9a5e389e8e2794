// The verbs of morvctl over the core.
//
// On streams  standard output carries the answer (with --json one document), standard error everything else:
//             progress, questions and the sentence of a refusal
// Invariants  I1  a verb that writes or repairs (run, execute, undo, history, handoffs, suggestions, workspace)
//                 holds the data directory's lock from before the journal is opened to its end; the others
//                 need no data directory at all
//             I2  a signal never ends the process inside an operation: it stops at the next checkpoint
// Threading   call on the main thread, once
#pragma once

#include "MorvCommand/CommandLine.h"

namespace morv {

class Interruption;

namespace ExitStatus {
inline constexpr int done = 0;
inline constexpr int unfinished = 1; ///< the operation ended partial, failed or cancelled
inline constexpr int badUsage = 2;
inline constexpr int refused = 3;
inline constexpr int needsReview = 4;
/// Stopped by this signal, as a shell words it: 130 for SIGINT.
constexpr int stopped(int signal) {
    return 128 + signal;
}
} // namespace ExitStatus

/// Carries the command out and returns the exit status. Throws what the core throws: then nothing more will
/// happen, and the error's sentence is the answer.
int runCommand(const CommandLine& command, const Interruption& interruption);

} // namespace morv
