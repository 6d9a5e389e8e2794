// morvctl on a terminal: the question, the progress line, and Ctrl-C.
#include "Scene.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Terminal : public Scene {
protected:
    // Standard input and error are the terminal; standard output is a file.
    void open(const std::vector<std::string>& arguments) {
        std::vector<std::string> words = arguments;
        words.insert(words.begin(), MORVCTL);
        const winsize size{24, 60, 0, 0};
        process_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (process_ != 0)
            return;
        std::vector<char*> pointers;
        for (auto& word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);
        setenv("HOME", home.c_str(), 1);
        setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
        setenv("MORV_DATA_DIRECTORY", data.c_str(), 1);
        if (std::freopen((root + "/.out").c_str(), "w", stdout) != nullptr)
            execv(MORVCTL, pointers.data());
        _exit(127);
    }

    // Reads what the terminal shows until `text` is part of it; everything until the end when it never is.
    void awaitText(const std::string& text) {
        std::array<char, 4096> piece{};
        while (shown_.find(text) == std::string::npos) {
            pollfd waits{terminal_, POLLIN, 0};
            if (poll(&waits, 1, 30'000) != 1)
                return;
            const auto count = read(terminal_, piece.data(), piece.size());
            if (count <= 0)
                return;
            shown_.append(piece.data(), static_cast<std::size_t>(count));
        }
    }

    void type(const std::string& text) const {
        ASSERT_EQ(write(terminal_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    int end() {
        awaitText("\x04 never shown");
        int status = 0;
        waitpid(process_, &status, 0);
        close(terminal_);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string shown_;
    pid_t process_ = 0;
    int terminal_ = -1;
};

TEST_F(Terminal, asksBeforeAPlanThatNeedsReviewAndTakesNoForNo) {
    struct Row {
        std::string name;
        std::string typed;
        int status;
        std::size_t names;
    };
    for (const auto& row : {Row{"yes", "y\n", 0, 2}, Row{"no", "n\n", 4, 1}, Row{"only Return", "\n", 4, 1},
                            Row{"Ctrl-C", "\x03", 130, 1}, Row{"end of input", "\x04", 4, 1}}) {
        SCOPED_TRACE(row.name);
        for (const auto& folder : {from, to}) {
            removeTree(folder);
            makeFolder(folder);
            writeFile(folder + "/file", "in " + folder);
        }
        shown_.clear();
        open({"--json", "run", "copy", from + "/file", "--to", to});
        awaitText("[y/N]");
        EXPECT_NE(shown_.find("file will be saved as file 2."), std::string::npos) << shown_;
        type(row.typed);
        EXPECT_EQ(end(), row.status) << shown_;
        EXPECT_EQ(namesIn(to).size(), row.names);
        const auto out = readFile(root + "/.out");
        if (row.status != 130) {
            EXPECT_FALSE(nlohmann::json::parse(out, nullptr, false).is_discarded()) << out;
        }
    }
}

TEST_F(Terminal, showsOneLineOfProgressAndErasesIt) {
    writeFile(from + "/\x1b[2Jlarge", std::string(64 << 20, 'x'));
    open({"run", "copy", from + "/\x1b[2Jlarge", "--to", to});
    EXPECT_EQ(end(), 0);
    EXPECT_NE(shown_.find("67.1 MB"), std::string::npos) << shown_;
    EXPECT_EQ(shown_.find("\x1b[2J"), std::string::npos) << "A name reached the terminal as it is.";
    EXPECT_EQ(shown_.find('\n'), std::string::npos) << "Progress stays on one line: " << shown_;
    EXPECT_TRUE(shown_.ends_with("\r\x1b[K")) << "The line is erased at the end.";
    EXPECT_NE(readFile(root + "/.out").find("Copied 1 item."), std::string::npos);
}

} // namespace
