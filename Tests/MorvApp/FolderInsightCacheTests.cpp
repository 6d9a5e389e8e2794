#include "MorvApp/Model/FolderInsightCache.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "Tests/MorvApp/Support.h"

#include <atomic>
#include <filesystem>
#include <map>
#include <set>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;

class FolderInsightCacheTest : public test::FolderTest {
protected:
    ~FolderInsightCacheTest() override {
        isOpen = true;
        isOpen.notify_all();
    }

    FileEntry entry(const std::string& name) { return DirectoryService::entry(folder("work/" + name)); }
    /// Keeps the wish for the test's time.
    void ask(const FileEntry& asked, const std::string& as = {}) {
        wishes.push_back(
            cache.request(asked, [this, name = as.empty() ? asked.name : as](const FolderInsight& insight) {
                answers.emplace_back(name, insight.countLabel());
            }));
    }
    bool answered(std::size_t count) {
        return eventually([&] { return answers.size() == count; });
    }

    std::atomic<bool> isOpen = true; ///< while it is not, scans stand at their beginning
    std::string held;                ///< those of folders whose names begin like this
    std::atomic<int> begun = 0;
    Date now = Date::now();
    std::vector<std::pair<std::string, std::string>> answers;
    std::vector<FolderInsightWish> wishes;
    TaskPools pools;
    FolderInsightCache cache{pools, std::make_shared<FolderInsightScanner>([this](const FileURL& folder) {
                                 ++begun;
                                 if (folder.lastComponent().starts_with(held))
                                     isOpen.wait(false);
                             }),
                             [this] { return now; }};
};

TEST_F(FolderInsightCacheTest, oneScanAnswersAllWhoAskForAFolder) {
    isOpen = false;
    const auto sub = entry("sub");
    file("sub/x");
    ask(sub, "first");
    ask(sub, "second");
    ask(sub, "third");
    EXPECT_TRUE(answers.empty()) << "never from within the call, when there is a scan to wait for";
    isOpen = true;
    isOpen.notify_all();
    ASSERT_TRUE(answered(3));
    using Answer = std::pair<std::string, std::string>;
    EXPECT_THAT(answers, ElementsAre(Answer("first", "1 item"), Answer("second", "1 item"),
                                     Answer("third", "1 item")));
    EXPECT_EQ(begun, 1);

    now.sinceReference += 29;
    ask(sub);
    EXPECT_EQ(answers.size(), 4U) << "at once, from what is known";
    EXPECT_EQ(begun, 1);
    now.sinceReference += 2;
    ask(sub);
    EXPECT_EQ(answers.size(), 4U);
    ASSERT_TRUE(answered(5));
    EXPECT_EQ(begun, 2);
}

TEST_F(FolderInsightCacheTest, aModifiedFolderIsScannedAtOnceAndShownAsItWasUntilThen) {
    const auto before = entry("sub");
    ask(before);
    ASSERT_TRUE(answered(1));
    file("sub/x");
    std::filesystem::last_write_time(before.url().path(),
                                     std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
    const auto after = entry("sub");
    ASSERT_TRUE(cache.known(after));
    EXPECT_EQ(cache.known(after)->countLabel(), "0 items");
    ask(after);
    ASSERT_TRUE(answered(2));
    EXPECT_EQ(cache.known(after)->countLabel(), "1 item");
    EXPECT_EQ(begun, 2);
}

TEST_F(FolderInsightCacheTest, twoScansRunAndWhatNobodyWishesForAnyMoreIsNotScanned) {
    isOpen = false;
    for (const auto* name : {"1", "2"})
        ask(entry(name));
    ask(entry("3"));
    ask(entry("4"));
    ask(entry("5"), "5, first card");
    ask(entry("5"), "5, second card");
    ASSERT_TRUE(eventually([&] { return begun == 2; }));
    wishes[0].reset(); // its scan has begun
    wishes[2].reset();
    wishes[4].reset();
    isOpen = true;
    isOpen.notify_all();
    ASSERT_TRUE(answered(3));
    std::set<std::string> names;
    for (const auto& [name, answer] : answers)
        names.insert(name);
    EXPECT_THAT(names, ElementsAre("2", "4", "5, second card"));
    EXPECT_EQ(begun, 4);
    EXPECT_TRUE(eventually([&] { return cache.known(entry("1")) != nullptr; })) << "what has begun is kept";
    EXPECT_FALSE(cache.known(entry("3")));
    ask(entry("3"));
    ASSERT_TRUE(answered(4)) << "a folder that was withdrawn can be wished for again";
}

TEST_F(FolderInsightCacheTest, scansThatHangDoNotHoldUpTheOthers) {
    isOpen = false;
    held = "dead";
    cache.setPatience(std::chrono::milliseconds(50));
    const auto dead = entry("dead 1");
    ask(dead);
    ask(entry("dead 2"));
    ask(entry("live"));
    ASSERT_TRUE(answered(3));
    using Answer = std::pair<std::string, std::string>;
    EXPECT_THAT(answers,
                testing::UnorderedElementsAre(Answer("dead 1", "Unavailable"),
                                              Answer("dead 2", "Unavailable"), Answer("live", "0 items")));
    EXPECT_EQ(cache.known(dead)->error, "This folder is not answering");
    now.sinceReference += FolderInsightCache::freshFor + 1;
    ask(dead);
    EXPECT_EQ(answers.size(), 4U) << "while its scan hangs there is no other";
    EXPECT_EQ(begun, 3);

    // Not without end.
    answers.clear();
    for (std::size_t i = 0; i < FolderInsightCache::mostGivenUp + 1; ++i)
        ask(entry("dead again " + std::to_string(i)));
    ASSERT_TRUE(answered(FolderInsightCache::mostGivenUp - 2));
    ask(entry("live too"));
    EXPECT_TRUE(eventually([&] { return begun == FolderInsightCache::mostGivenUp + 3; }));
    EXPECT_EQ(answers.size(), FolderInsightCache::mostGivenUp - 2);
    isOpen = true;
    isOpen.notify_all();
    EXPECT_TRUE(answered(FolderInsightCache::mostGivenUp + 2)) << "and those that wait have their turn later";
    EXPECT_TRUE(eventually([&] {
        now.sinceReference += FolderInsightCache::freshFor + 1;
        ask(dead);
        return cache.known(dead)->countLabel() == "0 items";
    })) << "a folder that answers again is scanned again";
}

TEST_F(FolderInsightCacheTest, theOldestGivesWayToThe301st) {
    std::vector<FileEntry> entries;
    for (std::size_t i = 0; i <= FolderInsightCache::capacity; ++i)
        entries.push_back(entry(std::to_string(i)));
    ask(entries[0]);
    ASSERT_TRUE(answered(1));
    for (std::size_t i = 1; i < FolderInsightCache::capacity; ++i)
        ask(entries[i]);
    ASSERT_TRUE(answered(FolderInsightCache::capacity));
    EXPECT_TRUE(cache.known(entries[0]));
    ask(entries.back());
    ASSERT_TRUE(answered(FolderInsightCache::capacity + 1));
    EXPECT_FALSE(cache.known(entries[0]));
    EXPECT_TRUE(cache.known(entries[1]));
    const int scans = begun;
    ask(entries[0]);
    ASSERT_TRUE(answered(FolderInsightCache::capacity + 2));
    EXPECT_EQ(begun, scans + 1);
}

TEST_F(FolderInsightCacheTest, onlyARealFolderHasAnInsightAndAFailureIsOne) {
    std::filesystem::create_directory_symlink(folder("work/real").path(), work.path() + "/link");
    for (const auto& url : {file("file"), folder("work/Tool.app"), work.child("link")})
        EXPECT_FALSE(cache.request(DirectoryService::entry(url), [](const auto&) { FAIL(); })) << url.path();
    const auto gone = entry("gone");
    std::filesystem::remove(gone.url().path());
    ask(gone);
    ASSERT_TRUE(answered(1));
    EXPECT_EQ(answers.front().second, "Unavailable");
}

} // namespace
} // namespace morv
