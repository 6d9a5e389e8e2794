// The contract of morvctl with scripts: exit statuses, one JSON document, sentences, signals and the
// journal's guards.
#include "Scene.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class CommandLine : public Scene {
protected:
    void statement(const std::string& sql) const {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open((data + "/Morv.sqlite").c_str(), &database), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        ASSERT_EQ(sqlite3_close(database), SQLITE_OK);
    }

    void expectKeys(const nlohmann::json& record, const std::vector<std::string>& keys) const {
        for (const auto& key : keys)
            EXPECT_TRUE(record.contains(key)) << key << " is missing in " << record.dump(1);
    }
};

TEST_F(CommandLine, badUsageIsOneSentenceAndStatusTwo) {
    const std::vector<std::vector<std::string>> rows = {
        {},
        {"dance"},
        {"list"},
        {"list", from, to},
        {"list", from, "--loud"},
        {"list", ""},
        {"search", from},
        {"search", from, "text", "--limit", "many"},
        {"search", from, "text", "--tag", "\xff"},
        {"watch"},
        {"archive"},
        {"archive", "check"},
        {"archive", "list", from, to},
        {"info"},
        {"fingerprint"},
        {"plan"},
        {"run", "juggle", from},
        {"plan", "copy", from, "--to"},
        {"plan", "copy", from, "--to", to, "--collision", "overwrite"},
        {"plan", "tags", from, "--tag", "\xff"},
        {"execute"},
        {"undo", "not-an-id"},
        {"history", "extra"},
        {"handoffs", "dance"},
        {"handoffs", "acknowledge", "not-an-id", "--outcome", "seen"},
        {"handoffs", "acknowledge", "1B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D"},
        {"suggestions", "configure", "--enable", "--disable"},
        {"suggestions", "configure", "--retention-days", "long"},
        {"suggestions", "remove", "not-an-id"},
        {"workspace"},
        {"workspace", "create"},
        {"workspace", "create", "\xff"},
        {"workspace", "create", "Plans", "--color", "invisible"},
        {"workspace", "add", "Plans"},
        {"--data"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row));
        const auto result = run(row);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
        EXPECT_TRUE(result.err.ends_with(".\n")) << result.err;
    }
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_NE(run({"--help"}).out.find("history"), std::string::npos);
    EXPECT_TRUE(snapshot(data).empty()) << "Nothing of this needs a data directory.";
}

TEST_F(CommandLine, everyVerbPrintsItsRecordsAsOneDocument) {
    makeSmallTree(from + "/tree", "the tree");
    writeFile(from + "/.hidden-one", "");
    ASSERT_EQ(run({"run", "tags", from + "/tree", "--tag", "Red"}).status, 0);
    removeTree(data);

    const auto list = json({"list", from});
    ASSERT_EQ(list.size(), 1U);
    expectKeys(list[0], {"url", "name", "kind", "size", "isDirectory", "availability", "tags"});
    EXPECT_EQ(json({"list", from, "--hidden"}).size(), 2U);
    EXPECT_EQ(json({"info", from + "/tree", from + "/tree/text.txt"}).size(), 2U);
    const auto fingerprints = json({"fingerprint", from + "/tree"});
    expectKeys(fingerprints[0],
               {"identity", "contentDigest", "stateDigest", "metadataDigest", "byteCount", "kind"});
    const auto plan = json({"plan", "copy", from + "/tree", "--to", to});
    expectKeys(plan, {"id", "kind", "items", "createdAt", "warnings", "tags", "collision"});
    EXPECT_EQ(plan.at("items")[0].at("fingerprint"), fingerprints[0]);
    EXPECT_TRUE(snapshot(data).empty()) << "Reading and planning need no data directory.";

    const auto receipt = json({"run", "copy", from + "/tree", "--to", to});
    expectKeys(receipt, {"id", "kind", "status", "items", "startedAt", "completedAt", "message"});
    EXPECT_EQ(receipt.at("message"), "Copied 1 item.");
    EXPECT_EQ(json({"history"})[0], receipt);
    const auto undone = json({"undo", std::string(receipt.at("id"))});
    EXPECT_EQ(undone.at("status"), "undone");
    EXPECT_EQ(undone.at("id"), receipt.at("id"));
    EXPECT_EQ(json({"history"}), nlohmann::json::array({undone}));
    EXPECT_EQ(run({"undo"}).status, 3) << "Nothing is left to undo.";
}

TEST_F(CommandLine, searchPrintsOneDocumentWithItsCounts) {
    makeSmallTree(from + "/tree", "the tree");
    writeFile(from + "/.hidden-text", "");
    const auto found = json({"search", from, "TEXT"});
    expectKeys(found, {"entries", "issues", "scannedCount", "skippedCount", "truncated"});
    EXPECT_EQ(found.at("entries").size(), 1U);
    EXPECT_EQ(found.at("truncated"), false);
    EXPECT_EQ(json({"search", from, "TEXT", "--hidden"}).at("entries").size(), 2U);
    EXPECT_EQ(json({"search", from, "TEXT", "--tag", "Red"}).at("entries").size(), 0U);
    EXPECT_EQ(json({"search", from, "", "--limit", "1"}).at("truncated"), true);
    EXPECT_NE(run({"search", from, "text"}).out.find(from + "/tree/text.txt\n"), std::string::npos);
    const auto refused = run({"search", from + "/tree/text.txt", "x"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_EQ(refused.err, "Choose a physical folder as the search location.\n");
    const auto unwatched = run({"watch", from + "/tree/text.txt"});
    EXPECT_EQ(unwatched.status, 3);
    EXPECT_EQ(unwatched.err, "Only physical folders can be watched.\n");
}

TEST_F(CommandLine, archivesAreListedOnlyWhenAllOfThemPassed) {
    using morv::test::archiveBytes;
    const auto sound = from + "/sound.zip", empty = from + "/empty.zip", hostile = from + "/hostile.zip";
    const std::string name = "folder/red\x1b[31m\xe2\x80\xae\nfake \xc2\x9b.txt";
    writeFile(sound,
              archiveBytes({.members = {{.name = "folder/", .data = ""}, {.name = name, .data = "12345"}}}));
    writeFile(empty, archiveBytes({}));
    writeFile(hostile, archiveBytes({.members = {{.name = "first.txt"}, {.name = "../../.profile"}}}));
    const auto before = snapshot(from);

    const auto checked = run({"archive", "check", sound});
    EXPECT_EQ(checked.status, 0) << checked.err;
    EXPECT_EQ(checked.out, "The archive passed the check: 2 members, 5 bytes when extracted.\n");
    const auto listed = run({"archive", "list", sound});
    EXPECT_EQ(listed.out,
              "    Folder  folder/\n   5 bytes  folder/red\u241B[31m\u2426\u240Afake \u2426.txt\n");
    for (const std::string verb : {"check", "list"}) {
        const auto members = json({"archive", verb, sound});
        EXPECT_EQ(members, nlohmann::json({{{"name", "folder"}, {"size", 0}, {"isDirectory", true}},
                                           {{"name", name}, {"size", 5}, {"isDirectory", false}}}));
        const auto text = run({"--json", "archive", verb, sound}).out;
        EXPECT_TRUE(std::ranges::all_of(text, [](char c) { return c == '\n' || (c >= ' ' && c < 0x7F); }))
            << text;
        EXPECT_EQ(json({"archive", verb, empty}), nlohmann::json::array());
        for (const auto& arguments : std::vector<std::vector<std::string>>{
                 {"archive", verb, hostile}, {"--json", "archive", verb, hostile}}) {
            const auto refused = run(arguments);
            EXPECT_EQ(refused.status, 3);
            EXPECT_EQ(refused.out, "");
            EXPECT_EQ(refused.err,
                      "This ZIP contains an unsafe or unsupported path. Nothing was extracted.\n");
        }
    }
    EXPECT_EQ(run({"archive", "check", from}).err,
              "Choose a regular ZIP archive smaller than 2 GiB. ZIP64 archives are not supported yet.\n");
    EXPECT_EQ(difference(before, snapshot(from)), "");
    EXPECT_TRUE(snapshot(data).empty()) << "Nothing of this needs a data directory.";
}

TEST_F(CommandLine, packingMakesAnArchiveOrRefusesInThePreview) {
    makeFolder(from + "/tree");
    makeFolder(from + "/tree/empty");
    writeFile(from + "/tree/text.txt", "text", 0640);
    setAttribute(from + "/tree/text.txt", "user.xdg.comment", "words");
    const auto before = snapshot(from + "/tree");
    const auto receipt = json({"run", "compressZIP", from + "/tree", "--to", to});
    EXPECT_EQ(receipt.at("status"), "completed");
    EXPECT_EQ(pathOf(receipt.at("items")[0].at("destination")), to + "/tree.zip");
    std::vector<std::string> names;
    for (const auto& member : json({"archive", "list", to + "/tree.zip"}))
        names.push_back(member.at("name"));
    EXPECT_EQ(names,
              (std::vector<std::string>{"tree", "tree/empty", "tree/text.txt", "__MACOSX/tree/._text.txt"}));
    EXPECT_EQ(difference(before, snapshot(from + "/tree")), "");
    EXPECT_EQ(run({"undo"}).status, 0);
    EXPECT_EQ(namesIn(to), std::vector<std::string>());

    writeFile(from + "/tree/a\\b\x1b[31m", "text");
    const auto refused = run({"run", "compressZIP", from + "/tree", "--to", to, "--yes"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_EQ(refused.err, "“tree/a\\b\u241B[31m” cannot be put into a ZIP archive: its name contains a "
                           "backslash.\n");
    EXPECT_EQ(namesIn(to), std::vector<std::string>());
}

TEST_F(CommandLine, aPlanRunsOnceAndOnlyWhileTheWorldIsAsPreviewed) {
    writeFile(from + "/file", "content");
    const auto plan = run({"--json", "plan", "copy", from + "/file", "--to", to}).out;
    writeFile(root + "/plan.json", plan);
    RunOptions piped;
    piped.input = plan;
    EXPECT_EQ(run({"execute", "-"}, piped).status, 0);
    const auto again = run({"execute", root + "/plan.json"});
    EXPECT_EQ(again.status, 3);
    EXPECT_EQ(again.err,
              "This operation has already been recorded. Make a fresh preview before trying again.\n");

    const auto stale =
        run({"--json", "plan", "move", from + "/file", "--to", to, "--collision", "keepBoth"}).out;
    writeFile(from + "/file", "edited since");
    writeFile(root + "/stale.json", stale);
    const auto refused = run({"execute", root + "/stale.json"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.out.find("file changed since the preview. Create a new preview."), std::string::npos)
        << refused.out;
    EXPECT_EQ(readFile(from + "/file"), "edited since");

    for (const std::string damaged : {"", "{", "[]", "{\"id\":1}"}) {
        piped.input = damaged;
        EXPECT_EQ(run({"execute", "-"}, piped).status, 3) << damaged;
    }
    EXPECT_EQ(run({"execute", root + "/no such plan"}).status, 3);
}

TEST_F(CommandLine, reviewIsAskedForAndPreviewsSayEverything) {
    writeFile(from + "/a.txt", "12345");
    writeFile(from + "/b.txt", "67890");
    writeFile(to + "/a.txt", "taken");

    const auto result = run({"run", "copy", from + "/a.txt", "--to", to});
    EXPECT_EQ(result.status, 4);
    EXPECT_NE(result.out.find("→ " + to + "/a 2.txt"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("Keep both: a.txt will be saved as a 2.txt."), std::string::npos) << result.out;
    EXPECT_EQ(namesIn(to).size(), 1U);
    EXPECT_EQ(json({"run", "copy", from + "/a.txt", "--to", to}, 4).at("warnings").size(), 1U);
    EXPECT_EQ(run({"run", "copy", from + "/a.txt", "--to", to, "--yes"}).status, 0);
    EXPECT_EQ(readFile(to + "/a 2.txt"), "12345");
    EXPECT_EQ(readFile(to + "/a.txt"), "taken");

    const auto skipped =
        run({"run", "copy", from + "/a.txt", from + "/b.txt", "--to", to, "--collision", "skip"});
    EXPECT_EQ(skipped.status, 0) << skipped.err;
    EXPECT_NE(skipped.out.find("A file named a.txt already exists."), std::string::npos);
    EXPECT_NE(skipped.out.find("2 items, 5 bytes"), std::string::npos) << skipped.out;
    EXPECT_EQ(run({"run", "copy", from + "/a.txt", "--to", to, "--collision", "fail"}).status, 3);

    const auto batch =
        json({"plan", "rename", from + "/a.txt", from + "/b.txt", "--name", "{n}-{name}.{ext}"});
    EXPECT_EQ(pathOf(batch.at("items")[1].at("destination")), from + "/2-b.txt");
    EXPECT_EQ(run({"run", "rename", from + "/a.txt", from + "/b.txt", "--name", "{n}-{name}.{ext}"}).status,
              4);
}

TEST_F(CommandLine, namesCannotDrawOnTheTerminal) {
    const std::string name = "red\x1b[31m\xe2\x80\xae\nfake line";
    writeFile(from + "/" + name, "");
    for (const auto& verb :
         std::vector<std::vector<std::string>>{{"list", from},
                                               {"info", from + "/" + name},
                                               {"run", "copy", from + "/" + name, "--to", to},
                                               {"history"}}) {
        const auto result = run(verb);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ((result.out + result.err).find_first_of("\x1b"), std::string::npos) << verb[0];
        EXPECT_EQ(result.out.find("\nfake"), std::string::npos) << verb[0];
        EXPECT_EQ(result.out.find("\xe2\x80\xae"), std::string::npos) << verb[0];
    }
}

TEST_F(CommandLine, aSignalStopsAtACheckpointAndTheNextRunGoesOn) {
    for (int i = 0; i < 400; ++i)
        writeFile(from + "/" + std::to_string(i), std::string(20'000, static_cast<char>('a' + i % 26)));
    std::vector<std::string> arguments = {"--json", "run", "copy", "--to", to};
    for (int i = 0; i < 400; ++i)
        arguments.push_back(from + "/" + std::to_string(i));
    const auto before = snapshot(from);
    // Once the first result is published, the operation is in the middle of its items.
    const int watch = inotify_init1(IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, to.c_str(), IN_MOVED_TO), 0);
    const auto process = start(arguments);
    pollfd event{watch, POLLIN, 0};
    ASSERT_EQ(poll(&event, 1, 60'000), 1);
    close(watch);
    kill(process, SIGINT);
    kill(process, SIGINT);
    const auto result = finish(process);
    EXPECT_EQ(result.status, 130) << result.signal << result.err;
    const auto receipt = nlohmann::json::parse(result.out);
    EXPECT_EQ(receipt.at("status"), "partial");
    std::size_t done = 0;
    for (const auto& item : receipt.at("items")) {
        const bool copied = item.at("status") == "succeeded" || item.at("status") == "copiedOriginalRetained";
        done += copied ? 1 : 0;
        if (copied) {
            EXPECT_FALSE(snapshot(pathOf(item.at("destination"))).empty());
        }
    }
    EXPECT_GT(done, 0U);
    EXPECT_LT(done, 400U);
    EXPECT_EQ(difference(before, snapshot(from)), "");
    EXPECT_EQ(json({"undo"}).at("status"), "undone");
    EXPECT_TRUE(
        std::ranges::all_of(namesIn(to), [](const auto& name) { return name.starts_with(".morv-"); }));
}

TEST_F(CommandLine, aSignalInsideALargeFileKeepsTheSourceAndRecordsTheStaging) {
    writeFile(from + "/large", std::string(200 << 20, 'x'));
    for (const auto& [number, status] : {std::pair(SIGINT, 130), std::pair(SIGTERM, 143)}) {
        SCOPED_TRACE(number);
        const int watch = inotify_init1(IN_CLOEXEC);
        ASSERT_GE(inotify_add_watch(watch, other.c_str(), IN_CREATE), 0);
        const auto process = start({"--json", "run", "move", from + "/large", "--to", other, "--yes"});
        pollfd event{watch, POLLIN, 0};
        ASSERT_EQ(poll(&event, 1, 60'000), 1);
        close(watch);
        kill(process, number);
        const auto result = finish(process);
        EXPECT_EQ(result.status, status) << result.signal << result.err;
        const auto receipt = nlohmann::json::parse(result.out);
        EXPECT_EQ(receipt.at("status"), "cancelled");
        const auto item = receipt.at("items")[0];
        EXPECT_EQ(item.at("error"),
                  "Cancelled at a safe checkpoint. The original and any recorded staging copy were "
                  "preserved.");
        EXPECT_EQ(namesIn(other).size(), 1U);
        EXPECT_EQ(pathOf(item.at("stagingURL")), other + "/" + namesIn(other)[0]);
        EXPECT_EQ(readFile(from + "/large").size(), 200U << 20U);
        removeTree(other + "/" + namesIn(other)[0]);
    }
}

TEST_F(CommandLine, oneProcessHoldsTheDataDirectory) {
    writeFile(from + "/file", "content");
    ASSERT_EQ(run({"run", "copy", from + "/file", "--to", to}).status, 0);
    const int lock = open((data + "/Morv.lock").c_str(), O_RDWR);
    ASSERT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    for (const auto& verb :
         std::vector<std::vector<std::string>>{{"run", "trash", from + "/file"}, {"undo"}, {"history"}}) {
        const auto result = run(verb);
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.err, "Morv is already running with this data directory.\n");
    }
    EXPECT_EQ(readFile(from + "/file"), "content");
    EXPECT_EQ(run({"list", from}).status, 0);
    EXPECT_EQ(run({"info", from}).status, 0);
    EXPECT_EQ(run({"fingerprint", from}).status, 0);
    EXPECT_EQ(run({"plan", "trash", from + "/file"}).status, 0);
    close(lock);
    EXPECT_EQ(run({"history"}).status, 0);
}

TEST_F(CommandLine, aHandoffThatWasLeftIsToldOfAndHoldsOperationsBack) {
    writeFile(from + "/file", "content");
    EXPECT_EQ(json({"handoffs"}), nlohmann::json::array());
    const auto copied = std::string(json({"run", "copy", from + "/file", "--to", to}).at("id"));
    const auto plan = run({"--json", "plan", "trash", from + "/file"}).out;
    const std::string older = "1B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D";
    const std::string newer = "0B5A3C4E-1F2D-4A6B-8C9D-0E1F2A3B4C5D";
    for (const auto& [id, time] : {std::pair(newer, "2"), std::pair(older, "1")})
        statement("INSERT INTO records VALUES('systemOperations/" + id + R"(','{"id":")" + id +
                  R"(","kind":"emptyTrash","label":"Handed over","status":"pending","createdAt":)" + time +
                  "}',0)");

    for (const auto& row : {std::vector<std::string>{"run", "trash", from + "/file"},
                            {"execute", "-"},
                            {"undo"},
                            {"undo", copied}}) {
        SCOPED_TRACE(testing::PrintToString(row));
        RunOptions options;
        options.input = plan;
        const auto result = run(row, options);
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find("handoffs acknowledge " + older), std::string::npos) << result.err;
    }
    EXPECT_EQ(readFile(from + "/file"), "content");
    EXPECT_EQ(json({"history"}).size(), 1U);
    EXPECT_EQ(run({"plan", "trash", from + "/file"}).status, 0);

    const auto handoffs = json({"handoffs"});
    ASSERT_EQ(handoffs.size(), 2U);
    EXPECT_EQ(handoffs[0].at("id"), older) << "the one to acknowledge comes first";
    EXPECT_EQ(handoffs[0].at("status"), "requiresReview");
    EXPECT_NE(run({"handoffs"}).out.find("id " + newer), std::string::npos);
    EXPECT_EQ(run({"handoffs", "acknowledge", newer, "--outcome", "seen"}).status, 3);
    EXPECT_EQ(json({"handoffs", "acknowledge", older, "--outcome", " Trash is empty. "}).at("outcome"),
              "Trash is empty.");
    EXPECT_EQ(run({"undo"}).status, 3) << "the other one";
    EXPECT_EQ(json({"handoffs", "acknowledge", newer, "--outcome", "seen"}).at("status"), "outcomeRecorded");
    EXPECT_EQ(run({"undo"}).status, 0);
}

TEST_F(CommandLine, aJournalThatCannotBeReadOrWrittenIsNotReplaced) {
    writeFile(from + "/file", "content");
    ASSERT_EQ(run({"run", "copy", from + "/file", "--to", to}).status, 0);
    const auto originals = snapshot(from);
    const auto id = std::string(json({"history"})[0].at("id"));
    const auto database = data + "/Morv.sqlite";
    const auto whole = snapshot(data);

    struct Row {
        std::string name;
        std::string sql;
        std::string verb;
        std::string sentence;
    };
    const std::string record = "WHERE key='operations/" + id + "'";
    const std::vector<Row> rows = {
        {"an empty record", "UPDATE records SET value=x'' " + record, "history", "is empty or corrupt."},
        {"a truncated record", "UPDATE records SET value=substr(value,1,40) " + record, "history", "damaged"},
        {"a record under another's key",
         "UPDATE records SET key='operations/00000000-0000-4000-8000-000000000000' " + record, "history",
         "An operation receipt does not match its journal key."},
        {"a key that is no id", "UPDATE records SET key='operations/x' " + record, "history",
         "An operation receipt has an invalid journal key."},
        {"a newer database", "PRAGMA user_version=2", "trash",
         "This Morv database was created by a newer app version."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto copy = readFile(database);
        statement(row.sql);
        const auto damaged = readFile(database);
        const auto result = row.verb == "history" ? run({"history"}) : run({"run", "trash", from + "/file"});
        EXPECT_EQ(result.status, 3);
        EXPECT_NE(result.err.find(row.sentence), std::string::npos) << result.err;
        EXPECT_EQ(readFile(database), damaged) << "The damaged database was written to.";
        EXPECT_EQ(difference(originals, snapshot(from)), "");
        for (const std::string side : {"-wal", "-shm"})
            unlink((database + side).c_str());
        writeFile(database, copy, 0600);
        ASSERT_EQ(run({"history"}).status, 0);
    }

    writeFile(database, "This is no database at all, but long enough to look like one.", 0600);
    EXPECT_EQ(run({"run", "trash", from + "/file"}).status, 3);
    EXPECT_EQ(difference(originals, snapshot(from)), "");
    EXPECT_EQ(readFile(database), "This is no database at all, but long enough to look like one.");
}

TEST_F(CommandLine, aDataDirectoryThatCannotBeWrittenIsRefusedBeforeAnythingHappens) {
    writeFile(from + "/file", "content");
    const auto before = snapshot(from);
    for (const std::string& place :
         {from + "/file", std::string("/proc/no/such/place"), from + "/file/below"}) {
        const auto result = run({"--data", place, "run", "trash", from + "/file"});
        EXPECT_EQ(result.status, 3) << place;
        EXPECT_GE(result.err.size(), 12U);
        EXPECT_EQ(difference(before, snapshot(from)), "");
    }
    EXPECT_EQ(run({"--data", root + "/made/on/the/way", "run", "trash", from + "/file"}).status, 0);
    struct stat info {};
    ASSERT_EQ(stat((root + "/made/on/the/way/Morv.sqlite").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
}

TEST_F(CommandLine, relativePathsAreTakenFromTheWorkingFolder) {
    writeFile(from + "/[odd].txt", "content");
    RunOptions options;
    options.folder = from;
    EXPECT_EQ(run({"run", "copy", "[odd].txt", "--to", "../to"}, options).status, 0);
    EXPECT_EQ(readFile(to + "/[odd].txt"), "content");
}

} // namespace
