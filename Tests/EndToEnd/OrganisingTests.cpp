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
