// Real folders for tests, and code that runs as somebody else.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace morv::test {

/// Where a temporary folder is made: TMPDIR (or /tmp), or the memory disk, which is another volume.
enum class Disk { temporary, memory };

/// A new folder, removed at the end of a test that passed; after a failure it is kept and its path printed.
class TemporaryFolder {
public:
    explicit TemporaryFolder(Disk disk = Disk::temporary) {
        const char* chosen = std::getenv("TMPDIR");
        std::string path = disk == Disk::memory ? "/dev/shm" : chosen && *chosen ? chosen : "/tmp";
        path += "/MorvTestXXXXXX";
        if (!::mkdtemp(path.data()))
            throw std::runtime_error("cannot make a folder for the test: " + path);
        path_ = std::filesystem::canonical(path);
    }
    ~TemporaryFolder() {
        if (::testing::Test::HasFailure()) {
            std::fprintf(stderr, "The test's folder was kept: %s\n", path_.c_str());
            return;
        }
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string path(std::string_view name) const { return path_ + '/' + std::string(name); }
    FileURL url() const { return FileURL::folder(path_); }
    FileURL url(std::string_view name) const { return FileURL::fromPath(path(name)); }

    FileURL write(std::string_view name, std::string_view bytes = "content") const {
        std::ofstream file(path(name), std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush())
            throw std::runtime_error("cannot write for the test: " + path(name));
        return url(name);
    }
    FileURL makeFolder(std::string_view name) const {
        std::filesystem::create_directories(path(name));
        return url(name);
    }
    FileURL link(std::string_view name, const std::string& target) const {
        std::filesystem::create_symlink(target, path(name));
        return url(name);
    }

private:
    std::string path_;
};

inline constexpr uid_t anotherUser = 65534;

/// Runs `body` in a child process as a user without privileges; true when no expectation failed there and
/// nothing was thrown. As root a test about permissions proves nothing. Needs a process without other
/// threads.
inline bool passesAsAnotherUser(const std::function<void()>& body) {
    std::fflush(nullptr);
    const auto child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 &&
            (::setgroups(0, nullptr) != 0 || ::setresgid(anotherUser, anotherUser, anotherUser) ||
             ::setresuid(anotherUser, anotherUser, anotherUser) != 0))
            ::_exit(2);
        try {
            body();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "thrown as another user: %s\n", error.what());
            ::_exit(3);
        }
        std::fflush(nullptr);
        ::_exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

/// The sentence of the `Error` that `work` throws; anything else fails the test.
template <class Error, class Work>
std::string sentenceOf(Work work) {
    try {
        work();
    } catch (const Error& error) {
        return error.what();
    } catch (const std::exception& error) {
        ADD_FAILURE() << "another error: " << error.what();
        return {};
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

} // namespace morv::test
