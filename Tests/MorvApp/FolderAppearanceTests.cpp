#include "MorvApp/Model/FolderAppearanceStore.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "Tests/MorvApp/Support.h"

#include <nlohmann/json.hpp>
#include <sqlite3.h>

namespace morv {
namespace {

using test::eventually;
constexpr const char* recordKey = "folder.appearances";

class FolderAppearanceTest : public test::FolderTest {
protected:
    void open() {
        looks.reset();
        looks.emplace(store, pools);
        changes = 0;
        QObject::connect(&*looks, &FolderAppearanceStore::revisionChanged, [this] { ++changes; });
    }
    /// What was asked of the record so far is done.
    bool settled() {
        bool done = false;
        TaskScope probe(pools);
        probe.run(
            TaskLane::records, [](const std::stop_token&) {}, [&] { done = true; },
            [](const std::exception_ptr&) {});
        return eventually([&] { return done; });
    }
    nlohmann::json record() { return nlohmann::json::parse(store.loadBytes(recordKey).value_or("null")); }

    SQLiteStore store{FileURL::fromPath(root.path() + "/Morv.sqlite")};
    TaskPools pools;
    std::optional<FolderAppearanceStore> looks;
    int changes = 0;
    const FolderAppearance coral{"coral", "star", std::nullopt};
};

TEST_F(FolderAppearanceTest, aNameSuggestsALookWhateverItsCase) {
    const auto look = [](const std::string& name) {
        return FolderAppearance::standard(FileURL::fromPath("/srv/" + name));
    };
    EXPECT_EQ(look("PICTURES"), (FolderAppearance{"saffron", std::nullopt, "photo"}));
    EXPECT_EQ(look("Screen Shots").defaultSymbol, "camera.viewfinder");
    EXPECT_EQ(look("Audio").color, "teal");
    EXPECT_EQ(look("Picture"), FolderAppearance());
    EXPECT_EQ(look("Harbour").shownSymbol(), nullptr);
    auto chosen = look("Archives");
    EXPECT_EQ(*chosen.shownSymbol(), "archivebox");
    chosen.symbol = "star";
    EXPECT_EQ(*chosen.shownSymbol(), "star");
}

TEST_F(FolderAppearanceTest, aLookIsKeptForTheFolderAndGivenUpForItsStandard) {
    const auto photos = folder("work/Photos");
    const auto odd = folder("work/caf\xE9");
    open();
    ASSERT_TRUE(settled());
    EXPECT_EQ(changes, 0) << "an absent record changes nothing";
    EXPECT_EQ(looks->appearance(photos).color, "saffron");
    looks->set(coral, photos);
    looks->set(coral, odd);
    EXPECT_EQ(looks->appearance(photos), (FolderAppearance{"coral", "star", "photo"}));
    EXPECT_EQ(changes, 2);
    ASSERT_TRUE(settled());
    EXPECT_EQ(record(), (nlohmann::json{{photos.path(), {{"color", "coral"}, {"symbol", "star"}}},
                                        {odd.absoluteString(), {{"color", "coral"}, {"symbol", "star"}}}}));
    open();
    ASSERT_TRUE(settled());
    EXPECT_EQ(changes, 1) << "views are told to draw again";
    EXPECT_EQ(looks->appearance(FileURL::fromPath(odd.path())).color, "coral");
    looks->set(std::nullopt, photos);
    EXPECT_EQ(looks->appearance(photos), FolderAppearance::standard(photos));
    ASSERT_TRUE(settled());
    EXPECT_FALSE(record().contains(photos.path()));
}

TEST_F(FolderAppearanceTest, whatTheRecordCannotSayLeavesFoldersAsTheyCome) {
    const struct {
        const char* name;
        std::string record;
        std::string color;
    } rows[] = {
        {"of an older version", R"({"/a":{"color":"plum"}})", "plum"},
        {"with a colour of a newer one", R"({"/a":{"color":"moss","symbol":"x","shine":1}})", "moss"},
        {"without the colour", R"({"/a":{"symbol":"star"}})", "teal"},
        {"no object", R"([1])", "teal"},
        {"no path", R"({"a":{"color":"plum"}})", "teal"},
        {"no JSON", "{", "teal"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        store.saveBytes(row.record, recordKey);
        open();
        ASSERT_TRUE(settled());
        EXPECT_EQ(looks->appearance(FileURL::fromPath("/a")).color, row.color);
    }
}

TEST_F(FolderAppearanceTest, aChangeBeforeTheRecordWasReadJoinsIt) {
    store.saveBytes(R"({"/a":{"color":"plum"},"/b":{"color":"plum"}})", recordKey);
    open();
    looks->set(coral, FileURL::fromPath("/c"));
    looks->set(std::nullopt, FileURL::fromPath("/b"));
    EXPECT_EQ(looks->appearance(FileURL::fromPath("/c")).color, "coral");
    ASSERT_TRUE(settled() && settled());
    EXPECT_EQ(looks->appearance(FileURL::fromPath("/a")).color, "plum");
    EXPECT_EQ(looks->appearance(FileURL::fromPath("/c")).color, "coral");
    EXPECT_TRUE(record().contains("/a") && record().contains("/c") && !record().contains("/b"));
}

TEST_F(FolderAppearanceTest, aLookThatCannotBeSavedStaysForNow) {
    open();
    ASSERT_TRUE(settled());
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((root.path() + "/Morv.sqlite").c_str(), &database), SQLITE_OK);
    ASSERT_EQ(
        sqlite3_exec(database,
                     "CREATE TRIGGER full BEFORE INSERT ON records BEGIN SELECT RAISE(FAIL, 'full'); END",
                     nullptr, nullptr, nullptr),
        SQLITE_OK);
    sqlite3_close(database);
    std::string message;
    QObject::connect(&*looks, &FolderAppearanceStore::failed,
                     [&](const std::string& sentence) { message = sentence; });
    looks->set(coral, FileURL::fromPath("/a"));
    ASSERT_TRUE(settled());
    EXPECT_THAT(message, testing::StartsWith("The folder’s appearance couldn’t be saved: "));
    EXPECT_EQ(looks->appearance(FileURL::fromPath("/a")).color, "coral");
    EXPECT_TRUE(record().is_null());
}

} // namespace
} // namespace morv
