#include "MorvCore/Folders/CreativeLocalFile.h"
#include "MorvCore/Folders/CreativePinnedDirectory.h"
#include "MorvCore/Foundation/Errors.h"
#include "Tests/Support/TemporaryFolder.h"

#include <fcntl.h>
#include <set>

using namespace morv;
using namespace morv::test;

namespace {

const std::string folderSentence =
    "A containing folder changed or became a symbolic link. Its contents are unverified.";

int openDescriptors() {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

std::multiset<std::string> namesOf(CreativeDirectoryCursor& cursor) {
    std::multiset<std::string> names;
    while (auto name = cursor.next(Ancestry::validate, {}))
        names.insert(*name);
    return names;
}

} // namespace

TEST(CreativePinnedDirectory, holdsADeepChainAndLeaksNothing) {
    const TemporaryFolder folder;
    std::string below;
    for (int i = 0; i < 200; ++i)
        below += (i ? "/d" : "d") + std::to_string(i);
    folder.makeFolder(below);
    folder.write(below + "/leaf");
    statItem(folder.url()); // the mount table stays open once volumes are asked about
    const int before = openDescriptors();
    {
        const auto pinned = CreativePinnedDirectory::open(folder.url(below));
        EXPECT_NO_THROW(pinned->validate());
        CreativeDirectoryCursor first(pinned, ""), second(pinned, "");
        EXPECT_EQ(namesOf(first), std::multiset<std::string>{"leaf"});
        EXPECT_EQ(namesOf(second), std::multiset<std::string>{"leaf"}) << "cursors share no position";
        std::filesystem::rename(folder.path("d0/d1"), folder.path("d0/moved"));
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { pinned->validate(); }), folderSentence);
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { pinned->metadata("leaf", Ancestry::validate); }),
                  folderSentence);
        EXPECT_TRUE(pinned->metadata("leaf", Ancestry::trust).isRegular()) << "the descriptor still works";
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CreativePinnedDirectory, followsLinksOnlyAtItsOpening) {
    const TemporaryFolder folder;
    folder.makeFolder("real/inner");
    folder.write("real/file");
    folder.link("link", folder.path("real"));
    folder.link("real/link", "inner");
    const auto pinned = CreativePinnedDirectory::open(folder.url("link"));
    EXPECT_EQ(pinned->name(), "real");
    const int before = openDescriptors();
    EXPECT_THROW(pinned->child("link", std::nullopt), PosixError);
    EXPECT_THROW(pinned->child("file", std::nullopt), PosixError);
    EXPECT_THROW(pinned->metadata("none", Ancestry::validate), PosixError);
    const auto expected = pinned->metadata("inner", Ancestry::trust);
    EXPECT_EQ(pinned->child("inner", expected)->name(), "inner");
    std::filesystem::rename(folder.path("real/inner"), folder.path("real/other"));
    folder.makeFolder("real/inner");
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { pinned->child("inner", expected); }), folderSentence);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CreativeLocalFile, refusesWhatIsNotACompleteLocalFile) {
    const TemporaryFolder folder;
    folder.write("file");
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    for (const auto& item :
         {folder.makeFolder("folder"), folder.link("link", folder.path("file")), folder.write("movie.TMP"),
          folder.write("a.crdownload"), folder.write("cloud.nextcloud", "")}) {
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { CreativeLocalFile file(item); }),
                  "Only a complete, local regular file can be inspected.")
            << item.path();
    }
    const int before = openDescriptors();
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { CreativeLocalFile file(folder.url("fifo")); }),
              "This file changed or is not available locally.");
    EXPECT_THROW(CreativeLocalFile{folder.url("none")}, PosixError);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CreativeLocalFile, provesThatItIsStillTheFileThatWasOpened) {
    using Act = std::function<void(const TemporaryFolder&)>;
    const std::string changed = "file changed during inspection. Try again.";
    const struct {
        const char* name;
        Act act;
        std::string sentence;
    } rows[] = {
        {"nothing happens", [](const TemporaryFolder&) {}, ""},
        {"a byte is added", [](const TemporaryFolder& t) { t.write("in/file", "content!"); }, changed},
        {"only the change time moves",
         [](const TemporaryFolder& t) { ::chmod(t.path("in/file").c_str(), 0600); }, changed},
        {"another file stands under the name",
         // Exchanged through the folder, so that the open file itself is untouched.
         [](const TemporaryFolder& t) {
             std::filesystem::rename(t.path("in"), t.path("away"));
             t.makeFolder("in");
             t.write("in/file");
         },
         folderSentence},
    };
    for (const auto& row : rows)
        for (const bool byWalk : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (byWalk ? ", found by a walk" : ", by its URL"));
            const TemporaryFolder folder;
            folder.makeFolder("in");
            folder.write("in/file");
            // Old times: a change within the granularity of the clock must still show.
            const timespec times[2] = {{1, 0}, {1, 5}};
            ::utimensat(AT_FDCWD, folder.path("in/file").c_str(), times, 0);
            const auto parent = CreativePinnedDirectory::open(folder.url("in"));
            const auto file =
                byWalk ? CreativeLocalFile("file", parent, parent->metadata("file", Ancestry::trust),
                                           folder.url("in/file"))
                       : CreativeLocalFile(folder.url("in/file"));
            EXPECT_EQ(file.entry().size, 7);
            EXPECT_EQ(file.entry().kind, FileKind::other);
            EXPECT_EQ(file.entry().modifiedAt, Date::fromUnix(1, 5));
            const auto before = statDescriptor(file.descriptor()).changed;
            // The kernel's clock ticks in milliseconds: the change must fall on a later tick than the
            // opening.
            for (timespec now{}; FileTime{now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec)} <= before;)
                ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
            row.act(folder);
            if (row.sentence.empty())
                EXPECT_NO_THROW(file.validate());
            else
                EXPECT_EQ(sentenceOf<FileOperationError>([&] { file.validate(); }), row.sentence);
        }
}

TEST(CreativeLocalFile, aFileThatDiffersFromItsWalkIsRefused) {
    const TemporaryFolder folder;
    folder.write("file");
    const auto parent = CreativePinnedDirectory::open(folder.url());
    auto expected = parent->metadata("file", Ancestry::trust);
    const int before = openDescriptors();
    expected.size += 1;
    EXPECT_EQ(sentenceOf<FileOperationError>(
                  [&] { CreativeLocalFile file("file", parent, expected, folder.url("file")); }),
              "The file changed before its content could be read.");
    std::filesystem::remove(folder.path("file"));
    ASSERT_EQ(::mkfifo(folder.path("file").c_str(), 0600), 0);
    EXPECT_EQ(sentenceOf<FileOperationError>(
                  [&] { CreativeLocalFile file("file", parent, expected, folder.url("file")); }),
              "The file changed before its content could be read.")
        << "a fifo does not hang the opening";
    EXPECT_EQ(openDescriptors(), before);
}
