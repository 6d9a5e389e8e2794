#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/FileStat.h"
#include "Tests/Support/TemporaryFolder.h"

#include <map>
#include <set>

using namespace morv;
using namespace morv::test;

namespace {

std::multiset<std::string> namesIn(const std::vector<FileEntry>& entries) {
    std::multiset<std::string> names;
    for (const auto& entry : entries)
        names.insert(entry.name);
    return names;
}

std::vector<std::size_t> batchSizes(const FileURL& folder, int batchSize) {
    auto batches = DirectoryService().batches(folder, HiddenItems::show, batchSize);
    std::vector<std::size_t> sizes;
    while (const auto batch = batches.next({}))
        sizes.push_back(batch->size());
    EXPECT_FALSE(batches.next({})) << "the end stays the end";
    return sizes;
}

std::vector<FileEntry> list(const FileURL& folder, HiddenItems hidden = HiddenItems::skip) {
    return DirectoryService().entries(folder, hidden, {});
}

} // namespace

TEST(DirectoryService, tellsWhatEachItemIs) {
    const TemporaryFolder folder;
    folder.makeFolder("Folder");
    folder.makeFolder("Tool.app");
    folder.write("caf\xE9.JPG", "12345");
    folder.write("cloud.pdf.nextcloud", "");
    folder.write("empty.txt", "");
    folder.link("link", folder.path("Folder"));
    folder.link("dangling", folder.path("nowhere"));
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    FileTagMetadata::setNames(folder.url("Folder"), {"Red"});
    FileTagMetadata::setNames(folder.url("empty.txt"), {"A", "B"});

    std::map<std::string, FileEntry> byName;
    for (auto& entry : list(folder.url()))
        byName[entry.name] = entry;
    ASSERT_EQ(byName.size(), 8U);
    for (const auto& [name, entry] : byName) {
        SCOPED_TRACE(name);
        EXPECT_EQ(entry, DirectoryService::entry(folder.url(name))) << "one item reads like the folder's";
        EXPECT_EQ(entry.resourceIdentity(), statItem(folder.url(name)).identity());
        EXPECT_EQ(entry.id(), entry.resourceIdentity() + ":" + folder.path(name));
    }
    EXPECT_TRUE(byName["Folder"].isNavigable());
    EXPECT_EQ(byName["Folder"].tags(), std::vector<std::string>{"Red"});
    EXPECT_TRUE(byName["Tool.app"].isPackage && byName["Tool.app"].kind == FileKind::installer);
    EXPECT_TRUE(byName["link"].isSymbolicLink && !byName["link"].isDirectory);
    EXPECT_TRUE(byName["link"].tags().empty()) << "never those of its target";
    EXPECT_TRUE(byName["link"].isWritable && !byName["dangling"].isWritable);
    EXPECT_EQ(byName["caf\xE9.JPG"].kind, FileKind::image);
    EXPECT_EQ(byName["cloud.pdf.nextcloud"].availability, FileAvailability::notDownloaded);
    EXPECT_EQ(byName["empty.txt"].availability, FileAvailability::local);
    EXPECT_EQ(byName["empty.txt"].tags(), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(byName["fifo"].kind, FileKind::other);
}

TEST(DirectoryService, hidesDotNamesAndWhatTheFolderHides) {
    const TemporaryFolder folder;
    for (const char* name : {".dot", "shown", "secret", "secret more", "caf\xE9"})
        folder.write(name);
    folder.write(".hidden", "secret\n\ncaf\xE9\nnot there");
    EXPECT_EQ(namesIn(list(folder.url())), (std::multiset<std::string>{"secret more", "shown"}));
    EXPECT_EQ(list(folder.url(), HiddenItems::show).size(), 6U);
    std::filesystem::remove(folder.path(".hidden"));
    ASSERT_EQ(::mkfifo(folder.path(".hidden").c_str(), 0600), 0);
    EXPECT_EQ(list(folder.url()).size(), 4U) << "a fifo in its place hides nothing and blocks nobody";
}

TEST(DirectoryService, batchesAreFullUntilTheEnd) {
    const TemporaryFolder folder(Disk::memory);
    EXPECT_TRUE(batchSizes(folder.url(), 10).empty());
    for (int i = 0; i < 20; ++i)
        folder.write(std::to_string(i));
    EXPECT_EQ(batchSizes(folder.url(), 20), std::vector<std::size_t>{20});
    EXPECT_EQ(batchSizes(folder.url(), 19), (std::vector<std::size_t>{19, 1}));
    EXPECT_EQ(batchSizes(folder.url(), 0).size(), 20U);
    EXPECT_EQ(batchSizes(folder.url(), -5).size(), 20U);
    for (int i = 20; i < 1500; ++i)
        folder.write(std::to_string(i));
    EXPECT_EQ(batchSizes(folder.url(), 5000), (std::vector<std::size_t>{1024, 476}));
}

TEST(DirectoryService, twoThreadsReadWhatOneReads) {
    const TemporaryFolder folder;
    for (int i = 0; i < 700; ++i) {
        const auto file =
            folder.write(std::to_string(i) + (i % 2 ? ".txt" : ".jpg"), std::string(i % 3, 'x'));
        if (i % 10 == 0)
            FileTagMetadata::setNames(file, {std::to_string(i)});
    }
    const auto serial = DirectoryService([](const FileURL&) {});
    std::vector<FileEntry> all;
    auto batches = serial.batches(folder.url(), HiddenItems::skip, 1024);
    while (const auto batch = batches.next({}))
        all.insert(all.end(), batch->begin(), batch->end());
    auto crew = DirectoryService().batches(folder.url(), HiddenItems::skip, 1024);
    EXPECT_EQ(crew.next({}), all) << "also in their order";
    EXPECT_EQ(list(folder.url()).size(), 700U);
}

TEST(DirectoryService, refusesWhatIsNoPhysicalFolder) {
    const TemporaryFolder folder;
    folder.makeFolder("real");
    const auto open = [](const FileURL& url) { return sentenceOf<FileOperationError>([&] { list(url); }); };
    const std::string sentence = "Choose a physical folder to view its contents.";
    EXPECT_EQ(open(folder.write("file")), sentence);
    EXPECT_EQ(open(folder.makeFolder("x.bundle")), sentence);
    EXPECT_EQ(open(folder.link("link", folder.path("real"))), sentence);
    try {
        list(folder.url("none"));
        ADD_FAILURE() << "a missing folder was listed";
    } catch (const PosixError& error) {
        EXPECT_EQ(error.code(), ENOENT);
        EXPECT_EQ(error.path(), folder.path("none"));
    }
}

TEST(DirectoryService, neverShowsAWrongRow) {
    enum class Outcome { changedItem, changedFolder, leftOut, untouched };
    using Act = std::function<void(const TemporaryFolder&)>;
    const struct {
        const char* name;
        Act act;
        Outcome outcome;
    } rows[] = {
        {"nothing happens", [](const TemporaryFolder&) {}, Outcome::untouched},
        {"the child is replaced by a file",
         [](const TemporaryFolder& t) {
             std::filesystem::rename(t.write("new").path(), t.path("folder/child"));
         },
         Outcome::changedItem},
        {"the child is replaced by a link",
         [](const TemporaryFolder& t) {
             std::filesystem::remove(t.path("folder/child"));
             t.link("folder/child", "/etc");
         },
         Outcome::changedItem},
        {"the child vanishes",
         [](const TemporaryFolder& t) { std::filesystem::remove(t.path("folder/child")); }, Outcome::leftOut},
        {"the folder is replaced",
         [](const TemporaryFolder& t) {
             std::filesystem::rename(t.path("folder"), t.path("away"));
             t.makeFolder("folder");
         },
         Outcome::changedFolder},
        {"the folder's parent becomes a link",
         [](const TemporaryFolder& t) {
             std::filesystem::rename(t.path(), t.path() + ".away");
             std::filesystem::create_symlink(t.path() + ".away", t.path());
         },
         Outcome::changedFolder},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        folder.makeFolder("folder");
        folder.write("folder/child");
        // A second link keeps the inode from being given to what replaces the child.
        std::filesystem::create_hard_link(folder.path("folder/child"), folder.path("kept"));
        const DirectoryService service([&](const FileURL& child) {
            EXPECT_EQ(child, folder.url("folder/child"));
            row.act(folder);
        });
        const auto read = [&] { return service.entries(folder.url("folder"), HiddenItems::skip, {}); };
        switch (row.outcome) {
        case Outcome::untouched:
            EXPECT_EQ(read().size(), 1U);
            break;
        case Outcome::leftOut:
            EXPECT_TRUE(read().empty());
            break;
        case Outcome::changedItem:
            EXPECT_EQ(sentenceOf<FileOperationError>(read), "The item changed during metadata loading.");
            break;
        case Outcome::changedFolder:
            EXPECT_EQ(sentenceOf<FileOperationError>(read),
                      "A containing folder changed or became a symbolic link. Its contents are unverified.");
            break;
        }
        if (std::filesystem::is_symlink(folder.path())) {
            std::filesystem::remove(folder.path());
            std::filesystem::rename(folder.path() + ".away", folder.path());
        }
    }
}

TEST(DirectoryService, aFolderReplacedBetweenBatchesEndsTheReading) {
    const TemporaryFolder folder;
    folder.makeFolder("folder");
    for (const char* name : {"folder/a", "folder/b"})
        folder.write(name);
    auto batches = DirectoryService().batches(folder.url("folder"), HiddenItems::skip, 1);
    EXPECT_TRUE(batches.next({}));
    std::filesystem::rename(folder.path("folder"), folder.path("away"));
    folder.makeFolder("folder");
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { batches.next({}); }),
              "A containing folder changed or became a symbolic link. Its contents are unverified.");
}

TEST(DirectoryService, anUnreadableChildCostsOneRow) {
    const TemporaryFolder folder;
    ::chmod(folder.path().c_str(), 0755);
    folder.makeFolder("listed");
    folder.write("listed/child");
    folder.makeFolder("passage/inside");
    folder.write("passage/inside/child");
    ::chmod(folder.path("listed").c_str(), 0744);
    ::chmod(folder.path("passage").c_str(), 0711);
    ::chmod(folder.makeFolder("closed").path().c_str(), 0700);
    EXPECT_TRUE(passesAsAnotherUser([&] {
        const auto rows = list(folder.url("listed"));
        EXPECT_EQ(rows.size(), 1U);
        EXPECT_EQ(rows.at(0).availability, FileAvailability::unavailable);
        EXPECT_EQ(rows.at(0).id(), "unavailable:" + folder.path("listed/child"));
        EXPECT_EQ(rows.at(0).resourceIdentity(), rows.at(0).id());
        EXPECT_FALSE(rows.at(0).modifiedAt);
        EXPECT_EQ(list(folder.url("passage/inside")).size(), 1U) << "an ancestor needs only to be passed";
        EXPECT_THROW(list(folder.url("passage")), PosixError);
        EXPECT_THROW(list(folder.url("closed")), PosixError);
    }));
}

TEST(DirectoryService, stopsWhenAsked) {
    const TemporaryFolder folder;
    for (int i = 0; i < 10; ++i)
        folder.write(std::to_string(i));
    std::stop_source source;
    int read = 0;
    const DirectoryService service([&](const FileURL&) {
        if (++read == 3)
            source.request_stop();
    });
    EXPECT_THROW(service.entries(folder.url(), HiddenItems::skip, source.get_token()), CancellationError)
        << "no partial batch";
}
