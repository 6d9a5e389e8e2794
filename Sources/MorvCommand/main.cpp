#include "MorvCommand/Commands.h"
#include "MorvCommand/Interruption.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <fmt/format.h>

int main(int count, char** arguments) {
    using namespace morv;
    // A reader that goes away must not end an operation half-way: the write fails instead.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const auto line = parseCommandLine(count, arguments);
        const Interruption interruption;
        int status = ExitStatus::done;
        try {
            status = runCommand(line, interruption);
        } catch (const CancellationError&) {
            fmt::print(stderr, "Stopped.\n");
            status = interruption.signal() != 0 ? ExitStatus::stopped(interruption.signal())
                                                : ExitStatus::unfinished;
        }
        if (std::fflush(stdout) != 0)
            throw PosixError(errno, "standard output");
        return status;
    } catch (const HelpRequest& help) {
        fmt::print("{}", help.what());
        return ExitStatus::done;
    } catch (const UsageError& error) {
        fmt::print(stderr, "{}\n", error.what());
        return ExitStatus::badUsage;
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return ExitStatus::refused;
    }
}
