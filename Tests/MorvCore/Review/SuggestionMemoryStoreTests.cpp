#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Records/SQLiteStore.h"
#include "MorvCore/Review/SuggestionMemoryStore.h"
#include "Tests/Support/TemporaryFolder.h"

#include <optional>

using namespace morv;
using namespace morv::test;

namespace {

constexpr double day = 86'400;

class SuggestionMemory : public testing::Test {
protected:
    SuggestionMemory() {
        configure([](auto&) {});
    }

    /// Enabled, and changed from there.
    template <class Change>
    void configure(Change change) {
        SuggestionMemoryPreferences preferences;
        preferences.enabled = true;
        change(preferences);
        memory.configure(preferences);
    }

    SuggestionMemoryRecord filed(const std::string& source, const std::string& destination,
                                 double ago = 60) const {
        return {UUID::random(), folder.url(source), folder.url(destination),
                Date{Date::now().sinceReference - ago}};
    }

    std::vector<std::string> held() {
        std::vector<std::string> names;
        for (const auto& record : memory.records())
            names.emplace_back(record.source.lastComponent());
        return names;
    }

    FileEntry entry(const std::string& name) const {
        FileEntry result;
        result.folder = std::make_shared<const FileURL>(folder.url("inbox"));
        result.name = name;
        result.kind = classifyName(name, false, false);
        return result;
    }

    /// Folder and evidence of each suggestion.
    std::vector<std::string> suggested(const std::string& name) {
        std::vector<std::string> lines;
        for (const auto& each : memory.suggestions(entry(name)))
            lines.push_back(each.destination.path().substr(folder.path().size() + 1) + " " +
                            std::to_string(each.evidenceCount));
        return lines;
    }

    using Lines = std::vector<std::string>;
    TemporaryFolder folder;
    SQLiteStore store{folder.url("data/Morv.sqlite")};
    SuggestionMemoryStore memory{store};
};

} // namespace

TEST_F(SuggestionMemory, nothingIsLearnedBeforeItIsEnabledAndPausingLosesNothing) {
    store.remove("suggestions/preferences");
    EXPECT_EQ(memory.preferences(), SuggestionMemoryPreferences());
    memory.record(filed("inbox/a.png", "Pictures/a.png"));
    EXPECT_TRUE(store.keys("suggestions/").empty());

    configure([](auto&) {});
    memory.record(filed("inbox/a.png", "Pictures/a.png"));
    EXPECT_EQ(suggested("b.png"), (Lines{"Pictures 1"}));
    configure([](auto& preferences) { preferences.suggestionsEnabled = false; });
    EXPECT_EQ(suggested("b.png"), Lines());
    configure([](auto& preferences) { preferences.enabled = false; });
    memory.record(filed("inbox/b.png", "Pictures/b.png"));
    EXPECT_EQ(suggested("b.png"), Lines());
    EXPECT_EQ(held(), (Lines{"a.png"}));
}

TEST_F(SuggestionMemory, thePolicyDecidesWhereAndNoLinkLeadsAroundIt) {
    folder.makeFolder("home/work/secret");
    folder.makeFolder("elsewhere");
    folder.link("alias", folder.path("home/work/secret"));
    const auto excludeThroughTheLink = [&](auto& preferences) {
        preferences.allowedRoots = {folder.url("home/work")};
        preferences.excludedRoots = {folder.url("alias")};
        preferences.retentionDays = 400;
    };
    configure(excludeThroughTheLink);
    EXPECT_EQ(memory.preferences().excludedRoots, std::vector{folder.url("home/work/secret")});
    EXPECT_EQ(memory.preferences().retentionDays, 365);
    struct Row {
        std::string source, destination;
        bool permitted;
    };
    for (const auto& row : std::vector<Row>{{"home/work/a", "home/work/b/a", true},
                                            {"home/work/secret/a", "home/work/b/a", false},
                                            {"home/work/a", "home/work/secret/a", false},
                                            {"home/work/a", "alias/gone/a", false},
                                            {"elsewhere/a", "home/work/b/a", false},
                                            {"home/work/a", "home/workshop/a", false},
                                            {"home/work/secretary/a", "home/work/b/a", true}}) {
        SCOPED_TRACE(row.source + " to " + row.destination);
        memory.clear();
        const auto record = filed(row.source, row.destination);
        memory.record(record);
        EXPECT_EQ(held().size(), row.permitted ? 1U : 0U);
        if (row.permitted) {
            EXPECT_NO_THROW(memory.save(record));
        } else {
            EXPECT_EQ(sentenceOf<FileOperationError>([&] { memory.save(record); }),
                      "This location is excluded from local suggestion memory.");
        }
    }
    EXPECT_EQ(memory.preferences().allowedRoots.size(), 1U) << "Clearing leaves the preferences.";
}

TEST_F(SuggestionMemory, whatMayNoLongerBeHeldIsRemovedAndOldRecordsExpire) {
    memory.record(filed("a/one", "b/one", 300));
    memory.record(filed("c/two", "d/two", 200));
    memory.record(filed("e/three", "f/three", 100));
    EXPECT_EQ(held(), (Lines{"three", "two", "one"}));
    memory.suspend(folder.url("d"));
    EXPECT_EQ(store.keys("suggestions/record/").size(), 2U);
    EXPECT_EQ(memory.preferences().excludedRoots, std::vector{folder.url("d")});
    memory.forget(folder.url("a"));
    EXPECT_EQ(held(), (Lines{"three"}));

    memory.save(filed("a/young", "b/young", 30 * day - 60));
    memory.save(filed("a/old", "b/old", 30 * day + 60));
    EXPECT_EQ(held(), (Lines{"three", "young"}));
    configure([](auto& preferences) { preferences.retentionDays = 1; });
    EXPECT_EQ(held(), (Lines{"three"}));
    configure([](auto& preferences) { preferences.retentionDays = 0; });
    memory.save(filed("a/ancient", "b/ancient", 4000 * day));
    EXPECT_EQ(held(), (Lines{"three", "ancient"}));

    memory.remove(memory.records().front().id);
    EXPECT_EQ(held(), (Lines{"ancient"}));
    store.saveBytes("", "suggestions/record/damaged");
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { memory.records(); }),
              "The saved value for suggestions/record/damaged is empty or corrupt.");
}

TEST_F(SuggestionMemory, suggestionsOrderByEvidenceThenUseThenPath) {
    memory.record(filed("inbox/1.png", "Often/1.png", 900));
    memory.record(filed("inbox/2.jpg", "Often/2.jpg", 800));
    memory.record(filed("inbox/3.png", "Earlier/3.png", 700));
    memory.record(filed("inbox/4.png", "Later/4.png", 600));
    auto tied = filed("inbox/5.png", "Zoo/5.png", 500);
    memory.record(tied);
    tied.id = UUID::random();
    tied.destination = folder.url("Ark/5.png");
    memory.record(tied);
    memory.record(filed("inbox/6.png", "inbox/6 b.png"));
    memory.record(filed("inbox/7.pdf", "Papers/7.pdf"));
    memory.record(filed("inbox/8.qqq", "Odd/8.qqq"));
    memory.record(filed("inbox/9.dmg", "Apps/9.dmg"));
    EXPECT_EQ(suggested("New.PNG"), (Lines{"Often 2", "Ark 1", "Zoo 1", "Later 1", "Earlier 1"}));
    EXPECT_EQ(suggested("new.iso"), (Lines{"Apps 1"}));
    EXPECT_EQ(suggested("new.QQQ"), (Lines{"Odd 1"}));
    EXPECT_EQ(suggested("new.qqx"), Lines()) << "Unknown kinds have only their extension in common.";

    const auto best = memory.suggestions(entry("x.png"));
    EXPECT_EQ(best[0].reason, "Based on 2 file organisation choices in this category.");
    EXPECT_EQ(best[1].reason, "Based on 1 file organisation choice in this category.");
    EXPECT_EQ(best[0].id(), "image:" + folder.path("Often"));
    EXPECT_NEAR(best[0].lastUsed.sinceReference, Date::now().sinceReference - 800, 60);
    configure([&](auto& preferences) { preferences.excludedRoots = {folder.url("Often/x.png")}; });
    EXPECT_EQ(suggested("x.png").front(), "Ark 1") << "The new item’s own place has to be permitted too.";
}

TEST(SuggestionMemoryRecords, haveTheirJSONForm) {
    const std::string preferencesText =
        R"({"allowedRoots":["file:///home/a%20b"],"enabled":true,"excludedRoots":[],"retentionDays":7,)"
        R"("suggestionsEnabled":false})";
    SuggestionMemoryPreferences preferences{true, false, {FileURL::fromPath("/home/a b")}, {}, 7};
    EXPECT_EQ(toJSON(preferences), preferencesText);
    SuggestionMemoryPreferences readPreferences;
    fromJSON(preferencesText, readPreferences);
    EXPECT_EQ(readPreferences, preferences);
    fromJSON(R"({"allowedRoots":[],"enabled":true,"excludedRoots":[],"retentionDays":-3,)"
             R"("suggestionsEnabled":true})",
             readPreferences);
    EXPECT_EQ(readPreferences.retentionDays, 0);

    const std::string recordText =
        R"({"createdAt":700000000.5,"destination":"file:///b/%FF","id":"00112233-4455-6677-8899-AABBCCDDEEFF",)"
        R"("source":"file:///a/%FF"})";
    const SuggestionMemoryRecord record{*UUID::parse("00112233-4455-6677-8899-aabbccddeeff"),
                                        FileURL::fromPath("/a/\xFF"), FileURL::fromPath("/b/\xFF"),
                                        Date{700000000.5}};
    EXPECT_EQ(toJSON(record), recordText);
    SuggestionMemoryRecord readRecord;
    fromJSON(recordText, readRecord);
    EXPECT_EQ(readRecord, record);
    EXPECT_THROW(fromJSON(R"({"id":"00112233-4455-6677-8899-AABBCCDDEEFF"})", readRecord), DecodingError);
}
