#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Inspection/FolderInsights.h"
#include "Tests/Support/TemporaryFolder.h"

#include <atomic>
#include <chrono>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <map>
#include <nlohmann/json.hpp>
#include <thread>

using namespace morv;
using namespace morv::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

namespace {

FolderInsight read(const FileURL& url) {
    return FolderInsightScanner::read(url, {});
}

void fill(const TemporaryFolder& folder, const std::string& under, int count) {
    for (int i = 0; i < count; ++i)
        folder.write(fmt::format("{}{}", under, i), "");
}

std::string chain(int length) {
    std::string path = "1";
    for (int level = 2; level <= length; ++level)
        path += "/" + std::to_string(level);
    return path;
}

template <class Condition>
bool holds(const Condition& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace

TEST(FolderInsights, countsTwoLevelsAndEverythingBelow) {
    const TemporaryFolder folder;
    folder.makeFolder("b sub/deep/deeper");
    folder.write("b sub/deep/deeper/film.mkv", std::string(700, 'x'));
    folder.write("b sub/10.png", "12345");
    folder.write("b sub/9.png", "12345");
    folder.write("a.txt", "123");
    folder.write(".hidden", "listed\n");
    folder.write("listed");
    folder.makeFolder(".dot");
    folder.write(".dot/x");

    const auto insight = read(folder.url());
    EXPECT_EQ(insight.error, std::nullopt);
    EXPECT_EQ(insight.directCount, 2);
    EXPECT_EQ(insight.scannedCount, 7);
    EXPECT_EQ(insight.bytes, 713);
    EXPECT_THAT(insight.counts,
                ElementsAre(Pair(FileKind::image, 2), Pair(FileKind::document, 1), Pair(FileKind::video, 1)));
    EXPECT_THAT(insight.kindBytes, ElementsAre(Pair(FileKind::image, 10), Pair(FileKind::document, 3),
                                               Pair(FileKind::video, 700)));
    EXPECT_THAT(insight.childCounts,
                UnorderedElementsAre(Pair(folder.path(), 2), Pair(folder.path("b sub"), 3),
                                     Pair(folder.path("b sub/deep"), 1),
                                     Pair(folder.path("b sub/deep/deeper"), 1)));
    ASSERT_EQ(insight.peek.size(), 2U);
    EXPECT_EQ(insight.peek[0].entry.name, "b sub") << "folders first, then names as a person counts";
    EXPECT_EQ(insight.peek[1].entry, DirectoryService::entry(folder.url("a.txt")));
    std::vector<std::string> names;
    for (const auto& child : insight.peek[0].children)
        names.push_back(child.name);
    EXPECT_THAT(names, ElementsAre("deep", "9.png", "10.png"));
    EXPECT_EQ(insight.dominantKind(), FileKind::image);
    EXPECT_EQ(insight.countLabel(), "2 items");
    EXPECT_EQ(insight.sizeLabel(), "713 bytes");
    EXPECT_EQ(insight.coverage(), "Readable local contents scanned.");
}

TEST(FolderInsights, saysWhatANumberDoesNotSpeakOf) {
    struct Row {
        const char* name;
        std::function<void(const TemporaryFolder&)> make;
        std::string count;
        std::string size; ///< empty: depends on the length of paths
        bool complete;
        bool byteCountComplete;
        std::int64_t scanned;
    };
    const std::vector<Row> rows = {
        {"nothing", [](auto&) {}, "0 items", "Zero KB", true, true, 0},
        {"one item", [](auto& folder) { folder.write("a", "12"); }, "1 item", "2 bytes", true, true, 1},
        {"only folders", [](auto& folder) { folder.makeFolder("a/b"); }, "1 item", "Zero KB", true, true, 2},
        {"a link is counted and never entered",
         [](auto& folder) {
             folder.makeFolder("real");
             folder.write("real/x", "12");
             folder.link("link", folder.path("real"));
             folder.link("loop", folder.path());
         },
         "3 items",
         {},
         true,
         true,
         4},
        {"a package is one item of unknown weight",
         [](auto& folder) {
             folder.makeFolder("Tool.app");
             folder.write("Tool.app/inside", "12345");
         },
         "1 item", "≥ Zero KB", true, false, 1},
        {"a placeholder has no size of its own",
         [](auto& folder) {
             folder.write("film.mkv.nextcloud", "x");
             folder.write("local", "12");
         },
         "2 items", "≥ 2 bytes", true, false, 2},
        {"31 levels are entered", [](auto& folder) { folder.makeFolder(chain(31)); }, "1 item", "Zero KB",
         true, true, 31},
        {"the 32nd is not", [](auto& folder) { folder.makeFolder(chain(33)); }, "1+ items", "≥ Zero KB",
         false, true, 32},
        {"the budget to the last entry", [](auto& folder) { fill(folder, "", 2500); }, "2500 items",
         "Zero KB", true, true, 2500},
        {"one more", [](auto& folder) { fill(folder, "", 2501); }, "2500+ items", "≥ Zero KB", false, true,
         2500},
        {"the budget over two levels, and an empty folder after it",
         [](auto& folder) {
             folder.makeFolder("a/empty");
             fill(folder, "a/", 2498);
         },
         "1 item", "Zero KB", true, true, 2500},
        {"a subfolder takes nothing from what stands directly here",
         [](auto& folder) {
             folder.makeFolder("a");
             fill(folder, "a/", 2600);
             fill(folder, "", 100);
         },
         "101+ items", "≥ Zero KB", false, true, 2500},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder(Disk::memory);
        row.make(folder);
        const auto insight = read(folder.url());
        EXPECT_EQ(insight.countLabel(), row.count);
        if (!row.size.empty()) {
            EXPECT_EQ(insight.sizeLabel(), row.size);
        }
        EXPECT_EQ(insight.complete, row.complete);
        EXPECT_EQ(insight.byteCountComplete, row.byteCountComplete);
        EXPECT_EQ(insight.scannedCount, row.scanned);
        EXPECT_EQ(insight.dominantKind().has_value(), !insight.counts.empty());
    }
}

TEST(FolderInsights, keepsABoundedPeek) {
    const TemporaryFolder folder(Disk::memory);
    for (int i = 0; i < 81; ++i)
        folder.makeFolder(std::to_string(i));
    for (int i = 0; i < 25; ++i)
        for (const char* parent : {"0/", "1/", "80/"})
            folder.write(parent + std::to_string(i));
    const auto insight = read(folder.url());
    EXPECT_EQ(insight.directCount, 81);
    EXPECT_EQ(insight.peek.size(), 80U);
    std::size_t most = 0;
    for (const auto& node : insight.peek)
        most = std::max(most, node.children.size());
    EXPECT_EQ(most, 24U);
    EXPECT_EQ(insight.childCounts.at(folder.path("1")), 25);
    EXPECT_TRUE(insight.complete) << "what the peek leaves out was counted";
}

TEST(FolderInsights, aHugeFolderLeavesItsNeighboursTheirShare) {
    const TemporaryFolder folder(Disk::memory); // where a folder's size tells how many names it holds
    for (const char* name : {"a", "huge", "z"})
        folder.makeFolder(name);
    fill(folder, "huge/", 2600);
    fill(folder, "a/", 30);
    fill(folder, "z/", 30);
    const auto insight = read(folder.url());
    EXPECT_EQ(insight.countLabel(), "3+ items");
    EXPECT_EQ(insight.childCounts.at(folder.path("a")) + insight.childCounts.at(folder.path("z")), 60);
    EXPECT_EQ(insight.childCounts.at(folder.path("huge")), 2500 - 63);
}

TEST(FolderInsights, unreadablePartsLowerTheCoverageAndNothingElse) {
    const TemporaryFolder folder;
    folder.makeFolder("closed");
    folder.write("closed/x", "12345");
    folder.makeFolder("nameless");
    folder.write("nameless/y", "12345");
    folder.write("open", "123");
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(folder.path("closed"), std::filesystem::perms(0700));
    // Its names can be read, and nothing else of what stands in it.
    std::filesystem::permissions(folder.path("nameless"), std::filesystem::perms(0744));
    EXPECT_TRUE(passesAsAnotherUser([&] {
        const auto insight = read(folder.url());
        EXPECT_EQ(insight.error, std::nullopt);
        EXPECT_EQ(insight.countLabel(), "3+ items");
        EXPECT_EQ(insight.sizeLabel(), "≥ 3 bytes");
        EXPECT_FALSE(insight.byteCountComplete);
        EXPECT_EQ(insight.coverage(), "Partial scan · 4 entries checked · 2 skipped. Size is a lower bound.");

        const auto refused = read(folder.url("closed"));
        ASSERT_TRUE(refused.error);
        EXPECT_EQ(refused.countLabel(), "Unavailable");
        EXPECT_EQ(refused.sizeLabel(), "—");
        EXPECT_FALSE(refused.complete);
        EXPECT_EQ(refused.scannedCount + refused.directCount, 0);
    }));
}

TEST(FolderInsights, aFolderThatIsNoneIsAValueWithASentence) {
    const TemporaryFolder folder;
    folder.makeFolder("real");
    for (const auto& url : {folder.url("gone"), folder.write("file"), folder.makeFolder("x.app"),
                            folder.link("link", folder.path("real"))}) {
        const auto insight = read(url);
        EXPECT_TRUE(insight.error) << url.path();
        EXPECT_EQ(insight.scannedCount, 0);
    }
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(FolderInsightScanner::read(folder.url(), stopped.get_token()), CancellationError);
}

TEST(FolderInsights, aFolderThatIsReplacedOnTheWayIsNotEnteredOrNotBelieved) {
    const TemporaryFolder folder;
    folder.makeFolder("root/a");
    folder.makeFolder("secret");
    folder.write("secret/x", "12345");
    const auto replace = [&](const std::string& path) {
        std::filesystem::rename(folder.path(path), folder.path("aside"));
        std::filesystem::create_directory_symlink(folder.path("secret"), folder.path(path));
    };
    FolderInsightScanner child([&](const FileURL& url) {
        if (url.path().ends_with("/a"))
            replace("root/a");
    });
    const auto partial = child.scan(folder.url("root"), {});
    EXPECT_EQ(partial.bytes, 0);
    EXPECT_EQ(partial.skippedCount, 1);
    EXPECT_FALSE(partial.complete);

    std::filesystem::remove(folder.path("root/a"));
    std::filesystem::rename(folder.path("aside"), folder.path("root/a"));
    FolderInsightScanner root([&](const FileURL& url) {
        if (url.path().ends_with("/a"))
            replace("root");
    });
    EXPECT_TRUE(root.scan(folder.url("root"), {}).error);
}

TEST(FolderInsights, theThirdScanWaitsAndTheFourthBehindIt) {
    const TemporaryFolder folder;
    const std::vector<std::string> names = {"1", "2", "3", "4", "5"};
    std::map<std::string, std::atomic<bool>> begun, mayEnd;
    for (const auto& name : names) {
        folder.makeFolder(name);
        begun[name] = mayEnd[name] = false;
    }
    FolderInsightScanner scanner([&](const FileURL& url) {
        const std::string name(url.lastComponent());
        begun.at(name) = true;
        EXPECT_TRUE(holds([&] { return mayEnd.at(name).load(); }));
    });
    std::atomic<bool> gaveUp = false;
    std::map<std::string, std::jthread> threads;
    const auto start = [&](const std::string& name) {
        threads[name] = std::jthread([&, name](const std::stop_token& stop) {
            try {
                scanner.scan(folder.url(name), stop);
            } catch (const CancellationError&) {
                gaveUp = true;
            }
        });
    };
    start("1");
    start("2");
    EXPECT_TRUE(holds([&] { return begun["1"] && begun["2"]; }));
    for (std::size_t i = 2; i < names.size(); ++i) {
        start(names[i]);
        EXPECT_TRUE(holds([&] { return scanner.waiting() == i - 1; }));
    }
    EXPECT_FALSE(begun["3"]);
    threads["4"].request_stop();
    EXPECT_TRUE(holds([&] { return gaveUp && scanner.waiting() == 2; })) << "a waiter can leave the queue";
    mayEnd["2"] = true;
    EXPECT_TRUE(holds([&] { return begun["3"].load(); }));
    EXPECT_FALSE(begun["5"]) << "in the order of asking";
    mayEnd["1"] = true;
    EXPECT_TRUE(holds([&] { return begun["5"].load(); }));
    mayEnd["3"] = mayEnd["5"] = true;
    threads.clear();
    EXPECT_FALSE(begun["4"]);

    begun["1"] = false;
    scanner.scan(folder.url("1"), {});
    EXPECT_TRUE(begun["1"]) << "every place was given back";
}

TEST(FolderInsights, theRecordCarriesNamesThatAreNoText) {
    const TemporaryFolder folder;
    folder.makeFolder("caf\xE9");
    folder.write("caf\xE9/photo.png", "12345");
    const auto record = nlohmann::json::parse(toJSON(read(folder.url())));
    EXPECT_EQ(record.at("childCounts").at("file://" + folder.path() + "/caf%E9/"), 1);
    EXPECT_EQ(record.at("childCounts").at(folder.path()), 1);
    EXPECT_EQ(record.at("counts"), (nlohmann::json{{"image", 1}}));
    EXPECT_EQ(record.at("kindBytes"), (nlohmann::json{{"image", 5}}));
    EXPECT_EQ(record.at("peek")[0].at("children")[0].at("name"), "photo.png");
    EXPECT_FALSE(record.contains("error"));
}
