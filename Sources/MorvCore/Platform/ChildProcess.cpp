#include "MorvCore/Platform/ChildProcess.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/SystemCallFilter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace morv {

namespace {

using filter::answer;
using filter::compare;
using filter::loadArgument;
using filter::onlyIf;
using filter::onThisArchitecture;

constexpr std::size_t pieceSize = 16384;

/// What a program that serves has as its descriptor of the socket.
constexpr int channelNumber = RunningChild::channel;

/// Refuses new processes. The flags of clone3 are out of a filter's sight: without that call the C library
/// makes its threads with clone, whose flags are not.
const std::array refuseProcesses = {
    onThisArchitecture[0],
    onThisArchitecture[1],
    onThisArchitecture[2],
    onThisArchitecture[3],
#ifdef __NR_fork
    onlyIf(__NR_fork),
    answer(SECCOMP_RET_ERRNO | EPERM),
    onlyIf(__NR_vfork),
    answer(SECCOMP_RET_ERRNO | EPERM),
#endif
    onlyIf(__NR_clone3),
    answer(SECCOMP_RET_ERRNO | ENOSYS),
    compare(BPF_JEQ, __NR_clone, 0, 3),
    loadArgument(0),
    compare(BPF_JSET, CLONE_THREAD, 1, 0),
    answer(SECCOMP_RET_ERRNO | EPERM),
    answer(SECCOMP_RET_ALLOW),
};

/// Above the numbers that the child puts its own into.
Descriptor aboveStandard(Descriptor descriptor) {
    if (descriptor.get() > channelNumber)
        return descriptor;
    const int number = ::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, channelNumber + 1);
    if (number < 0)
        throw PosixError(errno);
    return Descriptor(number);
}

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            throw PosixError(errno);
        readEnd = Descriptor(ends[0]);
        writeEnd = aboveStandard(Descriptor(ends[1]));
    }

    Descriptor readEnd;
    Descriptor writeEnd;
};

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (const auto& text : texts)
        result.push_back(const_cast<char*>(text.c_str())); // as execve(2) declares what it does not change
    result.push_back(nullptr);
    return result;
}

/// All that the child needs, made before it: it shares our memory until it has become the program.
struct Start {
    const char* executable;
    char* const* arguments;
    char* const* environment;
    int nullDevice;
    int output;
    int channel; ///< -1: none
    int report;  ///< receives the errno value of what failed; closed by success
    sock_fprog filter;
};

bool prepare(const Start& start) {
    if (::setpgid(0, 0) != 0)
        return false;
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        ::sigaction(signal, &standard, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    return ::dup2(start.nullDevice, STDIN_FILENO) >= 0 && ::dup2(start.output, STDOUT_FILENO) >= 0 &&
           ::dup2(start.nullDevice, STDERR_FILENO) >= 0 &&
           (start.channel < 0 || ::dup2(start.channel, channelNumber) >= 0) &&
           ::close_range(start.channel < 0 ? channelNumber : channelNumber + 1, ~0U, CLOSE_RANGE_CLOEXEC) ==
               0 &&
           ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &start.filter) == 0;
}

/// Nothing but system calls: the thread that made the child holds still, others may hold any lock.
[[noreturn]] void become(const Start& start) {
    if (prepare(start))
        ::execve(start.executable, start.arguments, start.environment);
    const int code = errno;
    [[maybe_unused]] const auto written = ::write(start.report, &code, sizeof code);
    ::_exit(127);
}

/// Of the calling thread: in the child's first moments a handler of ours would run in our memory.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

pid_t launch(const Start& start) {
    const AllSignalsBlocked quiet;
    // Not fork(): copying the page tables of a large process would stop its other threads for a moment.
    const auto child = ::vfork();
    if (child == 0)
        become(start);
    if (child < 0)
        throw PosixError(errno, start.executable);
    return child;
}

struct ProgramStart {
    const std::string& executable;
    const std::vector<std::string>& arguments;
    const std::vector<std::string>& environment;
    Descriptor output;  ///< standard output; none: the null device
    Descriptor channel; ///< none: it has no socket of ours
};

/// Starts the program; what was handed over is closed here.
RunningChild startProgram(ProgramStart request) {
    auto texts = request.arguments;
    texts.insert(texts.begin(), request.executable);
    const auto arguments = pointers(texts);
    const auto environment = pointers(request.environment);
    Descriptor opened(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!opened)
        throw PosixError(errno, "/dev/null");
    const auto nullDevice = aboveStandard(std::move(opened));
    if (request.channel)
        request.channel = aboveStandard(std::move(request.channel));
    Pipe report;
    const Start start{request.executable.c_str(),
                      arguments.data(),
                      environment.data(),
                      nullDevice.get(),
                      request.output ? request.output.get() : nullDevice.get(),
                      request.channel.get(),
                      report.writeEnd.get(),
                      {static_cast<unsigned short>(refuseProcesses.size()),
                       const_cast<sock_filter*>(refuseProcesses.data())}};
    RunningChild child(launch(start));
    report.writeEnd.reset();
    int code = 0;
    ssize_t count = 0;
    do
        count = ::read(report.readEnd.get(), &code, sizeof code);
    while (count < 0 && errno == EINTR);
    if (count != 0)
        throw PosixError(count < 0 ? errno : code, request.executable);
    return child;
}

enum class Reading { more, ended, tooMuch };

Reading readPiece(int output, std::size_t limit, std::string& captured) {
    std::array<char, pieceSize> piece;
    const auto count = ::read(output, piece.data(), piece.size());
    if (count < 0)
        return errno == EINTR ? Reading::more : Reading::ended;
    const auto size = static_cast<std::size_t>(count);
    if (size > limit - captured.size())
        return Reading::tooMuch;
    captured.append(piece.data(), size);
    return size == 0 ? Reading::ended : Reading::more;
}

int millisecondsUntil(std::chrono::steady_clock::time_point moment) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(moment - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, INT_MAX));
}

} // namespace

RunningChild RunningChild::serving(const std::string& executable, const std::vector<std::string>& environment,
                                   Descriptor socket) {
    return startProgram({executable, {}, environment, {}, std::move(socket)});
}

int RunningChild::end() {
    if (process_ < 0)
        return 0;
    // Until it is reaped, nobody else's group has its number.
    ::kill(-process_, SIGKILL);
    int status = 0;
    pid_t reaped = 0;
    do
        reaped = ::waitpid(process_, &status, 0);
    while (reaped < 0 && errno == EINTR);
    process_ = -1;
    if (reaped < 0)
        return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

ChildResult runChild(const ChildRequest& request, const std::stop_token& stop) {
    checkCancelled(stop);
    const Descriptor stopped(::eventfd(0, EFD_CLOEXEC));
    if (!stopped)
        throw PosixError(errno);
    const std::stop_callback wake(stop, [&stopped] { ::eventfd_write(stopped.get(), 1); });
    Pipe pipe;
    auto child = startProgram(
        {request.executable, request.arguments, request.environment, std::move(pipe.writeEnd), {}});
    const Descriptor life(static_cast<int>(::syscall(SYS_pidfd_open, child.process(), 0)));
    if (!life)
        throw PosixError(errno, request.executable);

    ChildResult result;
    bool isDrained = false;
    bool hasEnded = false;
    while (!isDrained || !hasEnded) {
        const int patience = millisecondsUntil(request.deadline);
        if (patience == 0) {
            result.ending = ChildResult::Ending::timedOut;
            return result;
        }
        std::array<pollfd, 3> events{{{stopped.get(), POLLIN, 0},
                                      {isDrained ? -1 : pipe.readEnd.get(), POLLIN, 0},
                                      {hasEnded ? -1 : life.get(), POLLIN, 0}}};
        if (::poll(events.data(), events.size(), patience) < 0 && errno != EINTR)
            throw PosixError(errno, request.executable);
        checkCancelled(stop);
        hasEnded = hasEnded || events[2].revents != 0;
        if (events[1].revents == 0)
            continue;
        const auto reading = readPiece(pipe.readEnd.get(), request.outputLimit, result.output);
        if (reading == Reading::tooMuch) {
            result.ending = ChildResult::Ending::tooMuchOutput;
            return result;
        }
        isDrained = reading == Reading::ended;
    }
    checkCancelled(stop);
    result.status = child.end();
    return result;
}

} // namespace morv
