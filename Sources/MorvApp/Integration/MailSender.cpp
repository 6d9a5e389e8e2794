#include "MorvApp/Integration/MailSender.h"

#include "MorvApp/Integration/GObjects.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/Descriptor.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace morv {

namespace {

constexpr const char* notOpened = "No message could be opened. Check that an e-mail program is installed.";

/// Between fork and exec: system calls only.
void beginSession(gpointer) {
    ::setsid();
}

Descriptor descriptorOf(GPid process) {
    return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

int endOf(GPid process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR)
        ;
    return status;
}

/// False when the stop came first.
bool waitFor(GPid process, const std::stop_token& stop) {
    const auto ended = descriptorOf(process);
    const Descriptor wish(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!ended || !wish)
        return true; // then waitpid waits
    const std::stop_callback wake(stop, [number = wish.get()] { ::eventfd_write(number, 1); });
    std::array waiting{pollfd{ended.get(), POLLIN, 0}, pollfd{wish.get(), POLLIN, 0}};
    while (::poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR)
        ;
    return waiting[0].revents != 0;
}

} // namespace

void MailSender::sendByMail(const std::vector<FileURL>& files, const std::stop_token& stop) const {
    std::vector<std::string> words{program_};
    for (const auto& file : files) {
        words.emplace_back("--attach");
        words.push_back(file.path());
    }
    std::vector<char*> arguments;
    for (auto& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    constexpr auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD |
                                                    G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
    GPid process = 0;
    GFailure failure;
    if (g_spawn_async(nullptr, arguments.data(), nullptr, flags, beginSession, nullptr, &process, failure) ==
        FALSE)
        throw FileOperationError::unavailable(notOpened);
    if (!waitFor(process, stop)) {
        // Nobody asks for its end any more, but it has to be taken note of, whenever it comes.
        std::thread([process] { endOf(process); }).detach();
        return;
    }
    const int status = endOf(process);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw FileOperationError::unavailable(notOpened);
}

} // namespace morv
