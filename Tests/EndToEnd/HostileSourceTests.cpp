// What people's disks really hold: there and back again, byte for byte.
#include "Scene.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

class HostileSources : public Scene {
protected:
    /// Copies and undoes, moves and undoes, moves across volumes and undoes `names` of `from`.
    void roundTrips(const std::vector<std::string>& names) {
        const auto before = snapshot(from);
        std::vector<std::string> sources;
        for (const auto& name : names)
            sources.push_back(from + "/" + name);
        for (const auto& [kind, destination] :
             {std::pair(std::string("copy"), to), std::pair(std::string("move"), to),
              std::pair(std::string("move"), other)}) {
            SCOPED_TRACE(kind + " to " + destination);
            std::vector<std::string> arguments = {"--json", "run", kind, "--yes", "--to", destination, "--"};
            arguments.insert(arguments.end(), sources.begin(), sources.end());
            const auto result = run(arguments);
            ASSERT_EQ(result.status, 0) << result.err << result.out.substr(0, 4000);
            for (const auto& name : names) {
                TreeSnapshot expected;
                for (const auto& [path, item] : before) {
                    if (path == name)
                        expected[""] = item;
                    else if (path.starts_with(name + "/"))
                        expected[path.substr(name.size() + 1)] = item;
                }
                ASSERT_EQ(difference(expected, snapshot(destination + "/" + name)), "") << name;
            }
            const auto undone = run({"undo"});
            ASSERT_EQ(undone.status, 0) << undone.err << undone.out.substr(0, 4000);
            ASSERT_EQ(difference(withoutFolderTimes(before), withoutFolderTimes(snapshot(from))), "");
            ASSERT_TRUE(namesIn(destination).empty());
        }
    }

    /// A chain of folders with a file at its end.
    void makeDeep(const std::string& name, int depth) {
        ASSERT_EQ(mkdirat(AT_FDCWD, (from + "/" + name).c_str(), 0755), 0);
        int folder = open((from + "/" + name).c_str(), O_RDONLY | O_DIRECTORY);
        for (int i = 1; i < depth; ++i) {
            ASSERT_EQ(mkdirat(folder, "d", 0755), 0);
            const int next = openat(folder, "d", O_RDONLY | O_DIRECTORY);
            close(folder);
            folder = next;
        }
        const int file = openat(folder, "bottom", O_WRONLY | O_CREAT, 0600);
        ASSERT_EQ(write(file, "deep", 4), 4);
        close(file);
        close(folder);
    }
};

TEST_F(HostileSources, namesOfEveryKindSurvive) {
    const std::vector<std::string> names = {"not \xff\xfe UTF-8",
                                            "line\nfeed",
                                            std::string(255, 'n'),
                                            "caf\xc3\xa9 composed",
                                            "[a,b]",
                                            "++",
                                            "-rf",
                                            "%2F 100%",
                                            "back\\slash",
                                            "\x01 control",
                                            "quote\"'`$(x)",
                                            " ",
                                            "\xe2\x80\xae gpj.txt",
                                            "list",
                                            "[x].zip"};
    for (const auto& name : names)
        writeFile(from + "/" + name, "content of " + name);
    roundTrips(names);
}

TEST_F(HostileSources, namesThatOnlyLookEqualAreTwoFiles) {
    // The plan keeps names apart that a user cannot tell apart, so each travels alone.
    writeFile(from + "/caf\xc3\xa9", "composed");
    writeFile(from + "/cafe\xcc\x81", "decomposed");
    const auto plan = json({"plan", "copy", from + "/caf\xc3\xa9", from + "/cafe\xcc\x81", "--to", to});
    ASSERT_EQ(plan.at("items").size(), 2U);
    EXPECT_EQ(pathOf(plan.at("items")[0].at("destination")), to + "/caf\xc3\xa9");
    EXPECT_EQ(pathOf(plan.at("items")[1].at("destination")), to + "/cafe\xcc\x81 2");
    roundTrips({"caf\xc3\xa9"});
    roundTrips({"cafe\xcc\x81"});
}

TEST_F(HostileSources, linksTravelAsLinks) {
    makeSmallTree(from + "/tree", "the tree");
    ASSERT_EQ(symlink("loop", (from + "/loop").c_str()), 0);
    ASSERT_EQ(symlink("nowhere/at/all", (from + "/dangling").c_str()), 0);
    ASSERT_EQ(symlink("/etc", (from + "/tree/outside").c_str()), 0);
    ASSERT_EQ(symlink("..", (from + "/tree/up").c_str()), 0);
    roundTrips({"tree", "loop", "dangling"});
}

TEST_F(HostileSources, whatIsNoFileIsRefusedInWords) {
    ASSERT_EQ(mkfifo((from + "/pipe").c_str(), 0600), 0);
    makeFolder(from + "/folder");
    const int server = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (from + "/folder/socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    for (const std::string name : {"pipe", "folder"}) {
        const auto result = run({"run", "copy", from + "/" + name, "--to", to});
        EXPECT_EQ(result.status, 3) << name;
        EXPECT_GE(result.err.size(), 12U) << name;
        EXPECT_TRUE(namesIn(to).empty());
    }
    close(server);
}

TEST_F(HostileSources, sparseFilesStaySparseAndEmptyOnesEmpty) {
    writeFile(from + "/empty", "");
    writeFile(from + "/sparse", "head");
    ASSERT_EQ(truncate((from + "/sparse").c_str(), 64 << 20), 0);
    const int file = open((from + "/sparse").c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(file, "middle", 6, 32 << 20), 6);
    close(file);
    roundTrips({"empty", "sparse"});
    ASSERT_EQ(run({"run", "copy", from + "/sparse", "--to", to}).status, 0);
    struct stat info {};
    ASSERT_EQ(stat((to + "/sparse").c_str(), &info), 0);
    EXPECT_LT(info.st_blocks * 512, 1 << 20);
}

TEST_F(HostileSources, anotherUsersFilesAndClosedFoldersAreRefusedAndLeftAlone) {
    if (geteuid() != 0)
        GTEST_SKIP() << "Only root can become another user.";
    constexpr uid_t nobody = 65534;
    writeFile(from + "/secret", "secret", 0600);
    writeFile(from + "/open", "open", 0644);
    makeFolder(from + "/closed");
    chmod(root.c_str(), 0755);
    for (const auto& place : {home, to})
        ASSERT_EQ(chown(place.c_str(), nobody, nobody), 0);
    RunOptions options;
    options.user = nobody;
    options.environment["MORV_DATA_DIRECTORY"] = home + "/data";
    const auto before = snapshot(from);

    struct Row {
        std::string name;
        std::vector<std::string> arguments;
        int status;
    };
    const std::vector<Row> rows = {
        {"an unreadable source", {"run", "copy", from + "/secret", "--to", to}, 3},
        {"a read-only destination", {"run", "copy", from + "/open", "--to", from + "/closed"}, 3},
        {"moving out of a read-only folder", {"run", "move", from + "/open", "--to", to}, 1},
        {"trashing out of a read-only folder", {"run", "trash", from + "/open"}, 1},
        {"renaming in a read-only folder", {"run", "rename", from + "/open", "--name", "new"}, -1},
        {"copying what may be read", {"run", "copy", from + "/open", "--to", to}, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto result = run(row.arguments, options);
        if (row.status >= 0) {
            EXPECT_EQ(result.status, row.status) << result.err << result.out;
        } else {
            EXPECT_TRUE(result.status == 1 || result.status == 3) << result.status;
        }
        EXPECT_EQ(difference(before, snapshot(from)), "");
        EXPECT_EQ(namesIn(to).size(), row.status == 0 ? 1U : 0U);
    }
}

TEST_F(HostileSources, depthNeedsNoStackAndNoPath) {
    for (const int depth : {250, 3000}) {
        SCOPED_TRACE(depth);
        makeDeep("deep" + std::to_string(depth), depth);
        roundTrips({"deep" + std::to_string(depth)});
    }
}

TEST_F(HostileSources, twentyThousandChildrenAreOneFolder) {
    makeFolder(from + "/wide");
    for (int i = 0; i < 20'000; ++i) {
        const int file = open((from + "/wide/" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0600);
        close(file);
    }
    EXPECT_EQ(json({"list", from + "/wide"}).size(), 20'000U);
    const auto before = snapshot(from + "/wide");
    ASSERT_EQ(run({"run", "copy", from + "/wide", "--to", to}).status, 0);
    ASSERT_EQ(difference(before, snapshot(to + "/wide")), "");
    ASSERT_EQ(run({"undo"}).status, 0);
    EXPECT_TRUE(namesIn(to).empty());
}

TEST_F(HostileSources, anEditedResultIsKeptByUndo) {
    makeSmallTree(from + "/tree", "the tree");
    writeFile(from + "/file", "content");
    ASSERT_EQ(run({"run", "copy", from + "/tree", from + "/file", "--to", to}).status, 0);
    writeFile(to + "/tree/text.txt", "edited");
    const auto edited = snapshot(to + "/tree");
    EXPECT_EQ(run({"undo"}).status, 1);
    EXPECT_EQ(difference(edited, snapshot(to + "/tree")), "");
    EXPECT_TRUE(snapshot(to + "/file").empty()) << "The untouched item is undone all the same.";
}

} // namespace
