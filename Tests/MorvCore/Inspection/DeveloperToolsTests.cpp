#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Inspection/DeveloperTools.h"
#include "Tests/Support/PrivateHome.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TreeSnapshot.h"

#include <chrono>
#include <filesystem>
#include <limits>
#include <sys/stat.h>

using namespace morv;
using namespace morv::test;

namespace {

using namespace std::string_literals;

constexpr double patience = 60;

/// A folder with a repository, made with the real Git and nobody's configuration.
class GitFolder : public testing::Test {
protected:
    GitFolder() { folder.makeFolder("work"); }

    std::string in(const std::string& name) const { return folder.path("work/" + name); }
    /// Runs a line of a shell in the work folder; "git" there commits as somebody.
    void shell(const std::string& line, bool mayFail = false) const {
        const auto command = "cd '" + folder.path("work") + "' && env -i PATH=/usr/bin:/bin HOME='" +
                             folder.path() +
                             "' GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_NOSYSTEM=1 /bin/sh -c '" +
                             "git() { command git -c user.name=Ada -c user.email=ada@example.org "
                             "-c init.defaultBranch=main \"$@\"; }; " +
                             line + "' >/dev/null 2>&1";
        const int status = std::system(command.c_str());
        ASSERT_TRUE(mayFail || status == 0) << line;
    }
    std::optional<GitFolderStatus> status(const std::string& name = "work") const {
        return GitStatusService().status(folder.url(name), patience, {});
    }
    /// What stands in Git's place: the body of a shell script that is given Git's arguments.
    GitStatusService fake(const std::string& body) const {
        const auto script = folder.write("fake", "#!/bin/sh\n" + body + "\n");
        EXPECT_EQ(::chmod(script.path().c_str(), 0755), 0);
        return GitStatusService(script.path());
    }
    std::string failure(const GitStatusService& service, const std::string& name = "work",
                        double timeout = patience) const {
        return sentenceOf<DeveloperToolError>([&] { service.status(folder.url(name), timeout, {}); });
    }

    TemporaryFolder folder;
};

TEST(PathCommandParser, knowsItsCommandsAndNothingElse) {
    using Tool = DeveloperPathIntent::Tool;
    const auto editor = [](DeveloperEditor which) { return DeveloperPathIntent{Tool::editor, which}; };
    const struct {
        const char* input;
        std::optional<DeveloperPathIntent> intent;
    } rows[] = {
        {"terminal", DeveloperPathIntent{Tool::terminal, {}}},
        {"terminal .", DeveloperPathIntent{Tool::terminal, {}}},
        {"warp", DeveloperPathIntent{Tool::warp, {}}},
        {"  warp .  ", DeveloperPathIntent{Tool::warp, {}}},
        {"\tcode .\r\n", editor(DeveloperEditor::visualStudioCode)},
        {"cursor .", editor(DeveloperEditor::cursor)},
        {"xed .", editor(DeveloperEditor::xcode)},
        {"zed .\xC2\xA0", editor(DeveloperEditor::zed)},
        {"Terminal", {}},
        {"code", {}},
        {"zed", {}},
        {"code  .", {}},
        {"code\t.", {}},
        {"code ./src", {}},
        {"terminal ..", {}},
        {"terminal.", {}},
        {"code . .", {}},
        {"sh", {}},
        {"", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        EXPECT_EQ(PathCommandParser::parse(row.input), row.intent);
    }
}

TEST(GitStatusService, countsEntriesAndNotPieces) {
    const struct {
        const char* name;
        std::string output;
        std::int64_t count;
    } rows[] = {
        {"nothing", "", 0},
        {"only separators", "\0\0\0"s, 0},
        {"three kinds", " M a\0?? b\0A  c\0"s, 3},
        {"the last one unended", " M a\0 M b"s, 2},
        {"a rename takes its source", "R  new\0old\0 M b\0"s, 2},
        {"in the work tree too", " R new\0old\0 C copy\0old\0"s, 2},
        {"a source that looks like an entry", "R  new\0R  old\0 M b\0"s, 2},
        {"a short source", "R  new\0o\0 M b\0"s, 2},
        {"a rename without a source", "R  new\0"s, 1},
        {"what is too short", "M\0 M\0 M b\0"s, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(GitStatusService::changeCount(row.output), row.count);
    }
}

TEST_F(GitFolder, answersForEveryStateOfARepository) {
    EXPECT_EQ(status(), std::nullopt) << "no repository";
    shell("git init -q");
    EXPECT_EQ(status(), (GitFolderStatus{folder.url("work"), "main", 0, false})) << "no commit yet";
    EXPECT_TRUE(status()->repository.isFolder());

    shell("mkdir -p sub/deep && echo one > a && echo two > b && echo three > sub/c && git add . && "
          "git commit -qm first");
    EXPECT_EQ(status(), (GitFolderStatus{folder.url("work"), "main", 0, false}));
    shell("git mv a renamed && echo more >> b && touch new sub/deep/one sub/deep/two");
    EXPECT_EQ(status("work/sub"), (GitFolderStatus{folder.url("work"), "main", 4, false}))
        << "the whole repository's, from any folder of it; a new folder is one entry";
    shell("git checkout -q -b topic/long-one");
    EXPECT_EQ(status()->branch, "topic/long-one");

    shell("git checkout -q --detach");
    const auto detached = status();
    ASSERT_TRUE(detached);
    EXPECT_TRUE(detached->isDetached);
    EXPECT_EQ(detached->branch.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_GE(detached->branch.size(), 7U);
    EXPECT_EQ(detached->changedCount, 4);
    EXPECT_EQ(toJSON(*detached), "{\"branch\":\"" + detached->branch +
                                     "\",\"changedCount\":4,\"isDetached\":true,\"repository\":\"" +
                                     folder.url("work").asFolder().absoluteString() + "\"}");

    shell("git clone -q --bare . ../bare");
    EXPECT_EQ(status("bare"), std::nullopt) << "a repository without a work tree shows none";
    EXPECT_EQ(status("work/.git"), std::nullopt);
}

TEST_F(GitFolder, keepsTheBytesOfARepositorysPath) {
    const auto odd = folder.makeFolder("work/odd \xff name\n");
    shell("cd odd* && git init -q");
    const auto answer = status("work/odd \xff name\n");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->repository, odd);
}

TEST_F(GitFolder, refusesWhatIsNoPlainLocalFolder) {
    shell("git init -q");
    folder.makeFolder("work/Some.app");
    folder.link("work/link", folder.path("work"));
    folder.write("work/file");
    for (const auto* name : {"work/Some.app", "work/link", "work/file"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(failure(GitStatusService(), name), "Choose a readable local folder.");
    }
    EXPECT_EQ(sentenceOf<PosixError>([&] { status("work/missing"); }),
              PosixError(ENOENT, folder.path("work/missing")).what());
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(GitStatusService().status(folder.url("work/missing"), patience, stopped.get_token()),
                 CancellationError)
        << "before anything is read";
}

TEST_F(GitFolder, asksWithTheseWordsAlone) {
    const auto record = folder.path("asked");
    const PrivateHome home(folder.makeFolder("home"));
    const auto service =
        fake("for word; do echo \"$word\" >> '" + record + "'; done; set >> '" + record +
             ".environment'; case \"$*\" in *--show-toplevel) echo /top;; *--quiet*) exit 1;; "
             "*--short*) echo abc1234;; esac");
    EXPECT_EQ(service.status(folder.url("work"), patience, {}),
              (GitFolderStatus{FileURL::folder("/top"), "abc1234", 0, true}));
    const auto head = "--no-optional-locks\n-c\ncore.fsmonitor=false\n-c\ncore.untrackedCache=false\n-C\n" +
                      folder.path("work") + "\n";
    EXPECT_EQ(readFile(folder.url("asked")),
              head + "rev-parse\n--show-toplevel\n" + head + "symbolic-ref\n--quiet\n--short\nHEAD\n" + head +
                  "rev-parse\n--short\nHEAD\n" + head +
                  "status\n--porcelain=v1\n-z\n--untracked-files=normal\n--ignore-submodules=all\n");
    const auto environment = readFile(folder.url("asked.environment"));
    for (const auto& line :
         {"HOME='" + folder.path("home") + "'", "GIT_OPTIONAL_LOCKS='0'"s, "GIT_TERMINAL_PROMPT='0'"s,
          "GIT_CONFIG_SYSTEM='/dev/null'"s, "GIT_CONFIG_GLOBAL='/dev/null'"s, "PATH='/usr/bin:/bin'"s}) {
        SCOPED_TRACE(line);
        EXPECT_NE(environment.find(line + "\n"), std::string::npos);
    }
}

TEST_F(GitFolder, whatGoesWrongIsSaidInASentence) {
    const std::string top = "case \"$*\" in *--show-toplevel) echo /top;; ";
    const std::string branch = top + "*symbolic-ref*) echo main;; ";
    EXPECT_EQ(fake("exit 128").status(folder.url("work"), patience, {}), std::nullopt);
    EXPECT_EQ(fake("echo").status(folder.url("work"), patience, {}), std::nullopt) << "an empty answer";
    EXPECT_EQ(failure(fake(top + "*) exit 1;; esac")), "The repository has no readable HEAD.");
    EXPECT_EQ(failure(fake(branch + "*) exit 1;; esac")), "Git could not read this repository's status.");
    EXPECT_EQ(failure(fake(branch + "*) exec head -c 1048577 /dev/zero;; esac")),
              "This repository has too many changes to summarise in the path bar.");
    EXPECT_EQ(fake(branch + "*) exec head -c 1048576 /dev/zero;; esac")
                  .status(folder.url("work"), patience, {})
                  ->changedCount,
              0);
    const auto late = "Git status took too long. Try again when the folder is available.";
    for (const double timeout : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 0.2}) {
        SCOPED_TRACE(timeout);
        EXPECT_EQ(failure(fake("exec sleep 60"), "work", timeout), late);
    }
    EXPECT_EQ(failure(fake("case \"$*\" in *--show-toplevel) echo /top;; *symbolic-ref*) echo main;; esac; "
                           "exec sleep 0.4"),
                      "work", 1),
              late)
        << "one deadline for all runs together: each of them alone would be in time";
    EXPECT_EQ(sentenceOf<PosixError>(
                  [&] { GitStatusService(folder.path("none")).status(folder.url("work"), patience, {}); }),
              PosixError(ENOENT, folder.path("none")).what());
}

TEST_F(GitFolder, aHostileRepositoryRunsNothingAndIsLeftAsItWas) {
    const auto mark = folder.path("executed");
    const auto evil = folder.write("evil", "#!/bin/sh\n: > '" + mark + "'\nexit 0\n").path();
    ASSERT_EQ(::chmod(evil.c_str(), 0755), 0);
    shell("git init -q && echo content > data && git add data && git commit -qm first");
    // All that its own configuration can name, for every file, and a file whose bytes have to be read again.
    for (const auto* key : {"filter.evil.clean", "filter.evil.smudge", "filter.evil.process",
                            "diff.evil.textconv", "diff.evil.command", "diff.external", "core.fsmonitor",
                            "core.pager", "pager.status", "core.sshCommand", "core.gitProxy", "core.editor",
                            "core.askPass", "credential.helper", "gpg.program", "alias.status",
                            "alias.rev-parse", "uploadpack.packObjectsHook", "remote.origin.uploadpack"}) {
        const auto value = std::string(key).starts_with("alias.") ? "!" + evil : evil;
        shell("git config " + std::string(key) + " \"" + value + "\"");
    }
    shell(
        "mkdir -p .git/evil && for hook in post-index-change fsmonitor-watchman query-watchman post-checkout "
        "pre-commit reference-transaction; do cp ../evil .git/evil/$hook; done; "
        "git config core.hooksPath \"" +
        in(".git/evil") +
        "\" && echo \"* filter=evil diff=evil\" > .git/info/attributes && git config core.trustctime false");
    std::filesystem::remove(mark);

    const auto again = [&](const char* bytes) {
        folder.write("work/data", bytes);
        std::filesystem::last_write_time(in("data"), std::filesystem::file_time_type::clock::now() -
                                                         std::chrono::hours(1));
    };
    again("CONTENT\n");
    shell("git status --porcelain", true);
    EXPECT_TRUE(std::filesystem::exists(mark)) << "on its own Git would run what the repository names";
    std::filesystem::remove(mark);

    again("Content\n");
    const auto before = snapshot(folder.path("work"));
    for (const auto* required : {"false", "true"}) {
        SCOPED_TRACE(required);
        try {
            EXPECT_EQ(status()->branch, "main");
        } catch (const DeveloperToolError& error) {
            EXPECT_STREQ(error.what(), "Git could not read this repository's status.");
        }
        EXPECT_FALSE(std::filesystem::exists(mark));
        if (required == "false"s) {
            EXPECT_EQ(difference(before, snapshot(folder.path("work"))), "");
        }
        shell("git config filter.evil.required true");
        again("cONTENT\n");
    }

    // Missing objects would be fetched by a program that the configuration names.
    shell("git config --unset core.hooksPath; git config extensions.partialClone origin && "
          "git config remote.origin.promisor true && git config protocol.ext.allow always && "
          "git config remote.origin.url \"ext::" +
          evil + " %S\" && git config core.repositoryformatversion 1 && rm -rf .git/objects/??");
    std::filesystem::remove(mark);
    try {
        status();
    } catch (const DeveloperToolError& error) {
        EXPECT_EQ(error.kind(), DeveloperToolError::Case::failed);
    }
    EXPECT_FALSE(std::filesystem::exists(mark));
}

TEST_F(GitFolder, aLargeIndexIsReadOnSeveralThreads) {
    shell("git init -q && mkdir many && for n in $(seq 3000); do : > many/$n; done && git add . && "
          "git commit -qm first && rm many/1");
    EXPECT_EQ(status()->changedCount, 1);
}

} // namespace
