// The verbs that only propose: what they print, and that they leave the folder as it was.
#include "Scene.h"

#include <sqlite3.h>

namespace {

class Organising : public Scene {
protected:
    void statement(const std::string& sql) const {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open((data + "/Morv.sqlite").c_str(), &database), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        ASSERT_EQ(sqlite3_close(database), SQLITE_OK);
    }
};

} // namespace

TEST_F(Organising, downloadsAndTidyProposeAndChangeNothing) {
    writeFile(from + "/photo.png", "12345");
    writeFile(from + "/film.mkv.part", "");
    writeFile(from + "/.secret.txt", "");
    makeFolder(from + "/Images");
    writeFile(from + "/Images/photo.png", "");
    const auto before = snapshot(from), untouched = snapshot(to);

    const auto byKind = json({"downloads", from});
    EXPECT_EQ(byKind.at("completion"), "complete");
    EXPECT_EQ(byKind.at("groups").size(), 3U);
    EXPECT_EQ(byKind.at("groups")[0].at("id"), "physical-folders");
    EXPECT_EQ(byKind.at("totalCount"), 3);
    EXPECT_EQ(json({"downloads", from, "--hidden"}).at("totalCount"), 4);
    EXPECT_EQ(json({"downloads", from, "--by", "dateAdded"}).at("groups")[1].at("id"), "added-today");
    EXPECT_EQ(json({"downloads", from, "--limit", "1"}).at("completion"), "entryLimit");
    EXPECT_EQ(json({"downloads", from, "--seconds", "0"}).at("completion"), "timeLimit");
    EXPECT_NE(run({"downloads", from}).out.find("Images · 1 item · 5 bytes"), std::string::npos)
        << run({"downloads", from}).out;

    const auto plan = json({"tidy", from});
    ASSERT_EQ(plan.at("proposals").size(), 1U);
    EXPECT_EQ(plan.at("proposals")[0].at("destination"), fileURL(from + "/Images/photo.png"));
    EXPECT_EQ(plan.at("proposals")[0].at("hasCollision"), true);
    EXPECT_EQ(plan.at("exclusions").size(), 2U);
    EXPECT_EQ(json({"tidy", from, "--to", to}).at("proposals")[0].at("hasCollision"), false);
    const auto text = run({"tidy", from, "--hidden"}).out;
    EXPECT_NE(text.find("→ " + from + "/Documents/.secret.txt"), std::string::npos) << text;
    EXPECT_NE(text.find("This name is taken there."), std::string::npos) << text;

    EXPECT_EQ(run({"tidy", from + "/gone"}).status, 3);
    EXPECT_EQ(run({"downloads", from + "/photo.png"}).status, 3);
    EXPECT_EQ(run({"downloads", from, "--by", "colour"}).status, 2);
    EXPECT_EQ(run({"suggestions"}).status, 2);
    EXPECT_EQ(difference(before, snapshot(from)), "");
    EXPECT_EQ(difference(untouched, snapshot(to)), "");
    EXPECT_TRUE(snapshot(data).empty()) << "None of this needs a data directory.";
}

TEST_F(Organising, anInsightSaysWhatAFolderHolds) {
    writeFile(from + "/photo.png", "12345");
    makeFolder(from + "/sub");
    writeFile(from + "/sub/notes.txt", "123");
    const auto insight = json({"insight", from});
    EXPECT_EQ(insight.at("directCount"), 2);
    EXPECT_EQ(insight.at("bytes"), 8);
    EXPECT_EQ(insight.at("peek")[0].at("children").size(), 1U);
    const auto text = run({"insight", from}).out;
    EXPECT_NE(text.find(" · 2 items · 8 bytes\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  sub/\n    notes.txt\n  photo.png\n"), std::string::npos) << text;
    EXPECT_EQ(run({"insight", from + "/gone"}).status, 1);
    EXPECT_EQ(run({"insight"}).status, 2);
    EXPECT_TRUE(snapshot(data).empty()) << "No data directory is needed.";
}

TEST_F(Organising, rememberedSuggestionsAreListedExportedAndCleared) {
    EXPECT_EQ(json({"suggestions", "list"}), nlohmann::json::array());
    const nlohmann::json preferences = {{"enabled", true},
                                        {"suggestionsEnabled", true},
                                        {"allowedRoots", nlohmann::json::array()},
                                        {"excludedRoots", nlohmann::json::array({fileURL(other)})},
                                        {"retentionDays", 0}};
    const std::string key = "00000000-0000-0000-0000-00000000000";
    nlohmann::json kept = {{"id", key + "1"},
                           {"source", fileURL(from + "/a.png")},
                           {"destination", fileURL(to + "/a.png")},
                           {"createdAt", 700000000.0}};
    auto excluded = kept;
    excluded["id"] = key + "2";
    excluded["source"] = fileURL(other + "/a.png");
    const auto insert = [&](const std::string& name, const nlohmann::json& value) {
        statement("INSERT INTO records VALUES('" + name + "', '" + value.dump() + "', 0)");
    };
    insert("suggestions/preferences", preferences);
    insert("suggestions/record/" + key + "1", kept);
    insert("suggestions/record/" + key + "2", excluded);

    EXPECT_EQ(nlohmann::json::parse(run({"suggestions", "export"}).out), nlohmann::json::array({kept}));
    const auto text = run({"suggestions", "list"}).out;
    EXPECT_NE(text.find("Suggestion memory is on. 1 record."), std::string::npos) << text;
    EXPECT_NE(text.find(from + "/a.png → " + to + "/a.png"), std::string::npos) << text;
    EXPECT_EQ(json({"suggestions", "clear"}), nlohmann::json::array());
    EXPECT_NE(run({"suggestions", "list"}).out.find("Suggestion memory is on. 0 records."),
              std::string::npos);
}

TEST_F(Organising, theMemoryIsConfiguredAskedAndForgotten) {
    EXPECT_NE(run({"suggestions", "configure"}).out.find("Suggestion memory is off."), std::string::npos);
    auto preferences = json({"suggestions", "configure", "--enable", "--retention-days", "400", "--allow",
                             from, "--allow", to, "--exclude", from + "/private"});
    EXPECT_EQ(preferences.at("enabled"), true);
    EXPECT_EQ(preferences.at("retentionDays"), 365);
    EXPECT_EQ(preferences.at("allowedRoots").size(), 2U);
    preferences = json({"suggestions", "configure", "--everywhere", "--retention-days", "0"});
    EXPECT_EQ(preferences.at("allowedRoots").size() + preferences.at("excludedRoots").size(), 0U);
    EXPECT_EQ(preferences.at("enabled"), true) << "What is not named stays.";

    const std::string key = "00000000-0000-0000-0000-00000000000";
    for (const std::string digit : {"1", "2", "3"}) {
        const nlohmann::json record = {{"id", key + digit},
                                       {"source", fileURL(from + "/" + digit + ".png")},
                                       {"destination", fileURL(to + "/" + digit + ".png")},
                                       {"createdAt", 700000000.0}};
        statement("INSERT INTO records VALUES('suggestions/record/" + key + digit + "', '" + record.dump() +
                  "', 0)");
    }
    writeFile(from + "/new.jpg", "");
    const auto suggested = json({"suggestions", "suggest", from + "/new.jpg"});
    ASSERT_EQ(suggested.size(), 1U);
    EXPECT_EQ(suggested[0].at("destination"), fileURL(to) + "/");
    EXPECT_EQ(suggested[0].at("reason"), "Based on 3 file organisation choices in this category.");
    EXPECT_EQ(json({"suggestions", "remove", key + "2"}).size(), 2U);
    EXPECT_EQ(json({"suggestions", "configure", "--no-suggest"}).at("suggestionsEnabled"), false);
    EXPECT_EQ(json({"suggestions", "suggest", from + "/new.jpg"}).size(), 0U);
    EXPECT_EQ(json({"suggestions", "forget", to}).size(), 0U);
    EXPECT_EQ(run({"suggestions", "suggest", from + "/gone"}).status, 3);
}

TEST_F(Organising, aWorkspaceIsNamedInEveryWayAndLeavesItsFilesAlone) {
    writeFile(from + "/a.txt", "a");
    const auto before = snapshot(from);
    const auto created = json({"workspace", "create", "  Plans ", from + "/a.txt", "--color", "plum"});
    const std::string id = created.at("id");
    EXPECT_EQ(created.at("name"), "Plans");
    EXPECT_EQ(created.at("color"), "plum");
    EXPECT_EQ(json({"workspace", "add", "Plans", from + "/a.txt", to + "/away"}).at("references"),
              nlohmann::json::array({fileURL(from + "/a.txt"), fileURL(to + "/away")}));
    EXPECT_EQ(json({"workspace", "remove", id, from + "/a.txt"}).at("references").size(), 1U);
    EXPECT_EQ(json({"workspace", "rename", id, "Harbour"}).at("name"), "Harbour");
    EXPECT_NE(run({"workspace", "list"}).out.find("Harbour · plum · 1 reference\n"), std::string::npos);

    EXPECT_EQ(run({"workspace", "rename", id, " "}).err, "Give this workspace a name.\n");
    EXPECT_EQ(run({"workspace", "delete", "Plans"}).err, "There is no workspace “Plans”.\n");
    json({"workspace", "create", "Harbour"});
    EXPECT_EQ(run({"workspace", "delete", "Harbour"}).err,
              "Several workspaces are called “Harbour”. Name one by its id.\n");
    json({"workspace", "delete", id});
    EXPECT_EQ(json({"workspace", "list"}).size(), 1U);
    EXPECT_EQ(difference(before, snapshot(from)), "");
}
