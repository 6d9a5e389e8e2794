#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/ChildProcess.h"
#include "Tests/Support/PrivateHome.h"
#include "Tests/Support/TemporaryFolder.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>

using namespace morv;
using namespace morv::test;
using testing::HasSubstr;

namespace {

using Ending = ChildResult::Ending;
using std::chrono::seconds;

ChildRequest shell(const std::string& script, std::size_t limit = 1 << 20) {
    return {"/bin/sh", {"-c", script}, {}, limit, std::chrono::steady_clock::now() + seconds(60)};
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

bool hasChildren() {
    return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

/// Ignores one signal and blocks another for the length of a scope.
class OddSignals {
public:
    OddSignals() : before_(std::signal(SIGPIPE, SIG_IGN)) {
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
    }
    ~OddSignals() {
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        (void)std::signal(SIGPIPE, before_);
    }

private:
    void (*before_)(int);
    sigset_t mask_{};
};

TEST(ChildProcess, inheritsNothing) {
    const TemporaryFolder folder;
    const OddSignals odd;
    const int inheritable = ::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(inheritable, 0);
    auto request = shell("");
    request.executable = "/usr/bin/env";
    request.arguments = {};
    request.environment = {"ONE=1", "TWO=b c"};
    EXPECT_EQ(runChild(request, {}).output, "ONE=1\nTWO=b c\n");
    request.executable = "/bin/ls";
    request.arguments = {"/proc/self/fd"};
    EXPECT_EQ(runChild(request, {}).output, "0\n1\n2\n3\n") << "the fourth is that of ls itself";
    request.executable = "/bin/cat";
    request.arguments = {"/proc/self/status"};
    const auto status = runChild(request, {}).output;
    EXPECT_THAT(status, HasSubstr("SigBlk:\t0000000000000000\n"));
    EXPECT_THAT(status, HasSubstr("SigIgn:\t0000000000000000\n"));
    request.arguments = {"/dev/stdin"};
    EXPECT_EQ(runChild(request, {}).output, "") << "nobody's input";
    const auto group = runChild(shell("read -r pid name state parent group rest < /proc/$$/stat; "
                                      "echo $((pid - group))"),
                                {});
    EXPECT_EQ(group.output, "0\n") << "a group of its own";
    ::close(inheritable);
}

TEST(ChildProcess, startsNoOtherProgram) {
    const TemporaryFolder folder;
    for (const auto* script : {"/bin/touch mark; true", "/bin/touch mark & wait", "(: > mark)",
                               ": $(: > mark)", ": | { : > mark; }"}) {
        SCOPED_TRACE(script);
        const auto result = runChild(shell("cd " + folder.path() + "; " + script), {});
        EXPECT_NE(result.status, 0);
        EXPECT_FALSE(std::filesystem::exists(folder.path("mark")));
    }
    const auto itself = runChild(shell("cd " + folder.path() + "; : > mark"), {});
    EXPECT_EQ(itself.status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder.path("mark"))) << "the scripts do what they should not";
}

TEST(ChildProcess, outputEndsAtItsLimit) {
    constexpr std::size_t limit = 1'048'576;
    const struct {
        const char* name;
        const char* script;
        Ending ending;
    } rows[] = {
        {"exactly", "exec head -c 1048576 /dev/zero", Ending::exited},
        {"one more", "exec head -c 1048577 /dev/zero", Ending::tooMuchOutput},
        {"without an end", "exec cat /dev/zero", Ending::tooMuchOutput},
        {"in single bytes", "while :; do echo; done", Ending::tooMuchOutput},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto result = runChild(shell(row.script, limit), {});
        EXPECT_EQ(result.ending, row.ending);
        EXPECT_TRUE(row.ending != Ending::exited || result.output.size() == limit);
    }
}

TEST(ChildProcess, leavesNothingBehindHoweverItEnds) {
    const TemporaryFolder folder;
    const auto before = openDescriptors();
    EXPECT_EQ(runChild(shell("exit 3"), {}).status, 3);
    EXPECT_EQ(runChild(shell("kill -9 $$"), {}).status, 128 + SIGKILL);
    EXPECT_EQ(runChild(shell("exec cat /dev/zero", 10), {}).ending, Ending::tooMuchOutput);
    for (const auto* script :
         {"exec sleep 60", "exec >&-; exec sleep 60", "trap '' TERM INT HUP; while :; do :; done"}) {
        SCOPED_TRACE(script);
        auto late = shell(script);
        late.deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
        EXPECT_EQ(runChild(late, {}).ending, Ending::timedOut) << "also when its output is closed already";
    }
    auto missing = shell("");
    missing.executable = folder.path("missing");
    EXPECT_EQ(sentenceOf<PosixError>([&] { runChild(missing, {}); }),
              PosixError(ENOENT, missing.executable).what());
    missing.executable = folder.write("data").path();
    ASSERT_EQ(::chmod(missing.executable.c_str(), 0755), 0);
    EXPECT_EQ(sentenceOf<PosixError>([&] { runChild(missing, {}); }),
              PosixError(ENOEXEC, missing.executable).what());
    EXPECT_FALSE(hasChildren());
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ChildProcess, aStopKillsItAtOnce) {
    const TemporaryFolder folder;
    const auto mark = folder.url("process");
    ASSERT_EQ(::mkfifo(mark.path().c_str(), 0600), 0);
    std::stop_source source;
    // Opened for writing when the child opens it for reading: it runs then, and waits for a line.
    std::thread stopper([&] {
        const int writing = ::open(mark.path().c_str(), O_WRONLY | O_CLOEXEC);
        source.request_stop();
        ::close(writing);
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(runChild(shell("exec 3< " + mark.path() + "; exec sleep 60"), source.get_token()),
                 CancellationError);
    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(30));
    stopper.join();
    EXPECT_FALSE(hasChildren());
    EXPECT_THROW(runChild(shell("exit 0"), source.get_token()), CancellationError);
}

} // namespace
