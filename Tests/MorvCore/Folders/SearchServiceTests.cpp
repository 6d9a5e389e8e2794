#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Folders/SearchService.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/Descriptor.h"
#include "Tests/Support/TemporaryFolder.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>

using namespace morv;
using namespace morv::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

struct Query {
    std::string text;
    std::vector<std::string> tags;
    HiddenItems hidden = HiddenItems::skip;
    std::int64_t limit = 10000;
};

SearchResult search(const FileURL& root, const Query& query) {
    return SearchService().search({root, query.text, query.tags, query.hidden, query.limit}, {});
}

std::vector<std::string> found(const SearchResult& result, const FileURL& root) {
    std::vector<std::string> names;
    for (const auto& entry : result.entries)
        names.push_back(entry.url().path().substr(root.path().size() + 1));
    return names;
}

/// One folder after the other by the listing itself: what every search has to agree with.
SearchResult plainWalk(const FileURL& root, std::string_view part, std::size_t limit) {
    SearchResult result;
    std::vector<FileURL> queue = {root};
    for (std::size_t next = 0; next < queue.size() && !result.truncated; ++next) {
        for (const auto& entry : DirectoryService().entries(queue[next], HiddenItems::skip, {})) {
            ++result.scannedCount;
            if (entry.name.find(part) != std::string::npos)
                result.entries.push_back(entry);
            result.truncated = result.entries.size() == limit;
            if (result.truncated)
                break;
            if (entry.isNavigable())
                queue.push_back(entry.url());
        }
    }
    DirectoryService::sortByName(result.entries);
    return result;
}

} // namespace

TEST(SearchService, findsNamesAsAPersonReadsThem) {
    const TemporaryFolder folder;
    folder.makeFolder("sub");
    folder.write("sub/Caf\u00e9.txt");
    folder.write("CAFE\u0301 2.txt");
    folder.write("Stra\u00dfe");
    folder.write("raw \xE9 cafe");
    folder.write("a\tb");
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
        {"cafe", {"sub/Caf\u00e9.txt", "CAFE\u0301 2.txt", "raw \xE9 cafe"}},
        {"CAF\u00c9", {"sub/Caf\u00e9.txt", "CAFE\u0301 2.txt", "raw \xE9 cafe"}},
        {" \n\u00a0e 2 \t", {"CAFE\u0301 2.txt"}},
        {"strasse", {"Stra\u00dfe"}},
        {"\xE9", {"raw \xE9 cafe"}},
        {"A\tB", {"a\tb"}},
        {"txtx", {}},
    };
    for (const auto& [text, names] : rows) {
        SCOPED_TRACE(text);
        EXPECT_THAT(found(search(folder.url(), {text, {}}), folder.url()),
                    testing::UnorderedElementsAreArray(names));
    }
    EXPECT_EQ(search(folder.url(), {"", {}}).entries.size(), 6U) << "an empty query matches everything";
}

TEST(SearchService, asksForEveryTagWhateverItsCase) {
    const TemporaryFolder folder;
    folder.makeFolder("tagged");
    folder.write("tagged/both");
    folder.write("one");
    FileTagMetadata::setNames(folder.url("tagged"), {"red"});
    FileTagMetadata::setNames(folder.url("tagged/both"), {"\u00c9t\u00e9", "RED"});
    const auto red = search(folder.url(), {"", {"Red"}});
    EXPECT_THAT(found(red, folder.url()), ElementsAre("tagged", "tagged/both"));
    EXPECT_EQ(red.scannedCount, 3);
    EXPECT_THAT(found(search(folder.url(), {"", {"Red", "\u00e9t\u00e9"}}), folder.url()),
                ElementsAre("tagged/both"));
    EXPECT_THAT(found(search(folder.url(), {"one", {"Red"}}), folder.url()), IsEmpty());
    const auto first = search(folder.url(), {"", {"Red"}, HiddenItems::skip, 1});
    EXPECT_THAT(found(first, folder.url()), ElementsAre("tagged"));
}

TEST(SearchService, entersNoLinksPackagesOrHiddenFolders) {
    const TemporaryFolder folder;
    folder.makeFolder("real");
    folder.write("real/x");
    folder.link("loop x", folder.path());
    folder.makeFolder("x.app");
    folder.write("x.app/x inside");
    folder.makeFolder(".x");
    folder.write(".x/x");
    folder.makeFolder("listed");
    folder.write("listed/x");
    folder.write(".hidden", "listed\n");
    EXPECT_THAT(found(search(folder.url(), {"x", {}}), folder.url()),
                UnorderedElementsAre("loop x", "x.app", "real/x"));
    EXPECT_THAT(found(search(folder.url(), {"x", {}, HiddenItems::show}), folder.url()),
                UnorderedElementsAre("loop x", "x.app", "real/x", ".x", ".x/x", "listed/x"));
    for (const auto* name : {"loop x", "x.app", "real/x"}) {
        EXPECT_EQ(sentenceOf<FileOperationError>([&] {
                      search(folder.url(name), {"", {}, {}, 0});
                  }),
                  "Choose a physical folder as the search location.");
    }
    EXPECT_EQ(sentenceOf<PosixError>([&] {
                  search(folder.url("gone"), {"", {}});
              }),
              PosixError(ENOENT, folder.path("gone")).what());
}

TEST(SearchService, stopsWhereAPlainWalkWouldAndCountsTheSame) {
    const TemporaryFolder folder;
    // More folders than one thread reads alone, in an order that the disk does not keep.
    for (int i = 0; i < 150; ++i) {
        const auto name = fmt::format("d{}", i * 7 % 150);
        folder.makeFolder(name + "/match deep");
        folder.write(name + "/File 10 match");
        folder.write(name + "/file 9 match");
        folder.write(name + "/other");
    }
    for (const std::int64_t limit : {1, 2, 3, 299, 300, 301, 449, 450, 451}) {
        SCOPED_TRACE(limit);
        const auto expected = plainWalk(folder.url(), "match", static_cast<std::size_t>(limit));
        const auto result = search(folder.url(), {"MATCH", {}, HiddenItems::skip, limit});
        EXPECT_EQ(result.entries, expected.entries);
        EXPECT_EQ(result.scannedCount, expected.scannedCount);
        EXPECT_EQ(result.truncated, limit <= 450);
    }
    const auto none = search(folder.url(), {"", {}, HiddenItems::skip, 0});
    EXPECT_TRUE(none.truncated && none.entries.empty() && none.scannedCount == 0);
}

TEST(SearchService, skipsWhatCannotBeReadAndSaysSo) {
    const TemporaryFolder folder;
    folder.makeFolder("closed/x");
    folder.makeFolder("listed/x");
    folder.write("open x");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(folder.path("closed").c_str(), 0000), 0);
    ASSERT_EQ(::chmod(folder.path("listed").c_str(), 0744), 0);
    EXPECT_TRUE(passesAsAnotherUser([&] {
        const auto result = search(folder.url(), {"x", {}});
        EXPECT_THAT(found(result, folder.url()), UnorderedElementsAre("open x", "listed/x"));
        EXPECT_EQ(result.scannedCount, 4);
        EXPECT_EQ(result.skippedCount, 1);
        EXPECT_THAT(result.issues, ElementsAre(ScanIssue{folder.url("closed"),
                                                         PosixError(EACCES, folder.path("closed")).what()}));
        EXPECT_THROW(search(folder.url("closed"), {"x", {}}), PosixError);
    }));
    ::chmod(folder.path("closed").c_str(), 0755);
}

TEST(SearchService, reachesBelowTheLongestPathAndStopsWhenAsked) {
    const TemporaryFolder folder;
    const std::string name(250, 'd');
    Descriptor current(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    constexpr int depth = 40;
    for (int i = 0; i < depth; ++i) {
        ASSERT_EQ(::mkdirat(current.get(), name.c_str(), 0755), 0);
        current = Descriptor(::openat(current.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    ASSERT_EQ(::mkdirat(current.get(), "bottom", 0755), 0);
    const auto result = search(folder.url(), {"bottom", {}});
    EXPECT_EQ(result.entries.size(), 1U);
    EXPECT_EQ(result.scannedCount, depth + 1);
    EXPECT_EQ(result.skippedCount, 0);
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(SearchService().search({folder.url(), "", {}}, stopped.get_token()), CancellationError);
}

TEST(SearchService, stopsInTheMiddleOfAWalkAndOfASort) {
    const TemporaryFolder folder;
    for (int i = 0; i < 200; ++i)
        folder.makeFolder(fmt::format("{}", i));
    std::stop_source stopped;
    std::atomic<int> reached = 0;
    const SearchService observed([&](const FileURL&) {
        if (++reached == 3)
            stopped.request_stop();
    });
    EXPECT_THROW(observed.search({folder.url(), "", {}}, stopped.get_token()), CancellationError);
    EXPECT_LE(reached, 5) << "what each thread had begun, and no more";

    std::vector<FileEntry> entries(3000);
    for (std::size_t i = 0; i < entries.size(); ++i)
        entries[i].name = fmt::format("{}", i * 7 % entries.size());
    const auto before = entries;
    EXPECT_THROW(DirectoryService::sortByName(entries, stopped.get_token()), CancellationError);
    EXPECT_EQ(entries, before);
}

TEST(SearchService, aFolderThatFailsIsAnIssueUnlessItIsTheRoot) {
    const TemporaryFolder folder;
    folder.makeFolder("fails/x");
    folder.makeFolder("x");
    const auto failing = [&](const std::string& name) {
        return SearchService([bad = folder.url(name)](const FileURL& place) {
            if (place == bad)
                throw std::runtime_error("The cable came off.");
        });
    };
    const auto result = failing("fails").search({folder.url(), "x", {}}, {});
    EXPECT_THAT(found(result, folder.url()), ElementsAre("x"));
    EXPECT_EQ(result.skippedCount, 1);
    EXPECT_THAT(result.issues, ElementsAre(ScanIssue{folder.url("fails"), "The cable came off."}));
    EXPECT_EQ(sentenceOf<std::runtime_error>([&] {
                  failing("fails").search({folder.url("fails"), "x", {}}, {});
              }),
              "The cable came off.");
}

TEST(SavedSearch, keepsEveryFieldInItsJSON) {
    const auto text = R"({"id":"01234567-89AB-CDEF-0123-456789ABCDEF","name":"Late","query":"x",)"
                      R"("root":"file:///a%20b/","showHidden":true,"tags":["Red"]})";
    SavedSearch search;
    fromJSON(text, search);
    EXPECT_EQ(search.root.path(), "/a b");
    EXPECT_THAT(search.tags, ElementsAre("Red"));
    EXPECT_TRUE(search.showHidden);
    EXPECT_EQ(toJSON(search), text);
    EXPECT_THROW(fromJSON(R"({"id":"01234567-89AB-CDEF-0123-456789ABCDEF"})", search), DecodingError);
}
