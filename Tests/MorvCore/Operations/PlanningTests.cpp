#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "Tests/MorvCore/Operations/EngineFixture.h"

#include <filesystem>

namespace morv::test {
namespace {

class Planning : public EngineFixture {};

TEST_F(Planning, refusesInTheStatedOrderAndWords) {
    makeFolder("folder/inner");
    write("folder/inner/file", "x");
    write("a.txt", "a");
    write("readonly", "r");
    std::filesystem::create_directory_symlink(at("folder/inner").path(), at("way in").path());
    using Kind = OperationKind;
    struct Case {
        const char* name;
        OperationRequest request;
        const char* sentence;
    };
    const auto a = at("a.txt"), folder = at("folder");
    const std::vector<Case> cases = {
        {"the root",
         {.kind = Kind::trash, .sources = {FileURL()}},
         "Choose a local file or folder below the volume root."},
        {"twice, once through a link",
         {.kind = Kind::trash, .sources = {at("folder/inner/file"), at("way in/file")}},
         "A file was selected more than once."},
        {"new folder with sources",
         {.kind = Kind::newFolder, .sources = {a}},
         "New Folder does not accept source files."},
        {"nothing selected", {.kind = Kind::copy, .destination = folder}, "Select at least one file."},
        {"no archive", {.kind = Kind::extractZIP, .sources = {a}}, "Only ZIP archives can be extracted."},
        {"no name", {.kind = Kind::rename, .sources = {a}}, "Enter a new name."},
        {"a folder and its contents",
         {.kind = Kind::trash, .sources = {at("folder/inner/file"), folder}},
         "Select a folder or its contents, rather than both in the same operation."},
        {"a file as destination",
         {.kind = Kind::copy, .sources = {folder}, .destination = a},
         "The destination is not a folder."},
        {"no destination", {.kind = Kind::copy, .sources = {a}}, "Choose a destination folder."},
        {"no place for a folder", {.kind = Kind::newFolder}, "Choose a location for the new folder."},
        {"a bad name",
         {.kind = Kind::newFolder, .destination = folder, .newName = "a:b"},
         "Names must contain 1–255 bytes and cannot contain a slash, colon or null character."},
        {"a template that makes a path",
         {.kind = Kind::rename, .sources = {a, folder}, .newName = "x/{n}"},
         "Names must contain 1–255 bytes and cannot contain a slash, colon or null character."},
        {"moved to where it is",
         {.kind = Kind::move, .sources = {a}, .destination = a.parent()},
         "a.txt is already at that location."},
        {"into itself through a link",
         {.kind = Kind::move, .sources = {folder}, .destination = at("way in")},
         "A folder cannot be placed inside itself, including through a symbolic link."},
        {"taken, and told to fail",
         {.kind = Kind::copy, .sources = {a}, .destination = a.parent(), .collision = CollisionPolicy::fail},
         "a.txt already exists. Choose Keep Both or Skip."},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(sentenceOf<FileOperationError>([&] { plan(row.request); }), row.sentence);
    }
    EXPECT_THROW(plan({.kind = Kind::trash, .sources = {at("missing")}}), PosixError);
}

TEST_F(Planning, findsFreeNamesOnDiskAndInThePlan) {
    makeFolder("one");
    makeFolder("two");
    makeFolder("into");
    write("one/Report.pdf", "1");
    write("two/report.pdf", "2");
    write("into/plain 2", "x");
    write("one/plain", "p");
    write("into/plain", "p");
    write("into/.hidden", "h");
    write("two/.hidden", "h");
    const auto made =
        plan({.kind = OperationKind::copy,
              .sources = {at("one/Report.pdf"), at("two/report.pdf"), at("one/plain"), at("two/.hidden")},
              .destination = at("into")});
    EXPECT_EQ(made.items[0].destination, at("into/Report.pdf"));
    EXPECT_EQ(made.items[1].destination, at("into/report 2.pdf"))
        << "differs only in case from an earlier item";
    EXPECT_EQ(made.items[2].destination, at("into/plain 3"));
    EXPECT_EQ(made.items[3].destination, at("into/.hidden 2"));
    EXPECT_EQ(made.warnings, (std::vector<std::string>{"Keep both: report.pdf will be saved as report 2.pdf.",
                                                       "Keep both: plain will be saved as plain 3.",
                                                       "Keep both: .hidden will be saved as .hidden 2."}));

    const auto skipped = plan(
        {.kind = OperationKind::duplicate, .sources = {at("one/plain")}, .collision = CollisionPolicy::skip});
    EXPECT_EQ(skipped.items[0].skipReason, "A file named plain already exists.");
    EXPECT_TRUE(skipped.warnings.empty());

    const auto longName = write("one/" + std::string(251, 'n') + ".txt", "long");
    const auto duplicate = plan({.kind = OperationKind::duplicate, .sources = {longName}});
    EXPECT_EQ(duplicate.items[0].destination->lastComponent(), std::string(249, 'n') + " 2.txt");
}

TEST_F(Planning, numbersTwentyThousandItemsOfOneNameWithoutAskingTwice) {
    for (const auto* taken : {"a.txt", "a 3.txt", "A 7.txt"})
        write(taken, "x");
    std::set<std::string> reserved{pathKey(at("a 5.txt").path())};
    OperationFiles::NumberedNames names;
    std::vector<std::string> found;
    for (int i = 0; i < 20'000; ++i) {
        const auto name = names.next(at("a.txt"), reserved);
        EXPECT_EQ(names.next(at("a.txt"), reserved), name) << "nobody has taken it yet";
        reserved.insert(pathKey(name.path()));
        found.emplace_back(name.lastComponent());
    }
    found.resize(5);
    EXPECT_EQ(found, (std::vector<std::string>{"a 2.txt", "a 4.txt", "a 6.txt", "a 7.txt", "a 8.txt"}));
    EXPECT_EQ(names.next(at("a.txt"), reserved), at("a 20004.txt"));
    EXPECT_EQ(names.next(at("A.txt"), reserved), at("A 3.txt")) << "another name may have others left";
}

TEST_F(Planning, namesManyByTheirTemplate) {
    write("a.txt", "");
    write("b", "");
    const auto batch = plan(
        {.kind = OperationKind::rename, .sources = {at("a.txt"), at("b")}, .newName = "{name} {n}.{ext}x"});
    EXPECT_EQ(batch.items[0].destination, at("a 1.txtx"));
    EXPECT_EQ(batch.items[1].destination, at("b 2.x"));
    EXPECT_TRUE(batch.requiresReview());
    const auto one = plan({.kind = OperationKind::rename, .sources = {at("b")}, .newName = "{name}"});
    EXPECT_EQ(one.items[0].destination, at("{name}")) << "with one source the text is the name";
}

TEST_F(Planning, warnsOfWhatIsWorthASecondLook) {
    const TemporaryFolder elsewhere(Disk::memory);
    write("a", "a");
    const auto move =
        plan({.kind = OperationKind::move, .sources = {at("a")}, .destination = elsewhere.url()});
    EXPECT_EQ(move.warnings,
              (std::vector<std::string>{"This move crosses volumes. After verification, originals will be "
                                        "kept in the system Trash for recovery."}));
    EXPECT_TRUE(plan({.kind = OperationKind::copy, .sources = {at("a")}, .destination = elsewhere.url()})
                    .warnings.empty());
    const auto tags = plan({.kind = OperationKind::tags, .sources = {at("a")}, .tags = {"b", "a", "b"}});
    EXPECT_EQ(tags.tags, (std::vector<std::string>{"a", "b"}));
    EXPECT_FALSE(tags.items[0].destination);
    EXPECT_EQ(tags.items[0].originalTags, std::vector<std::string>());
}

TEST_F(Planning, changesNothing) {
    makeFolder("top/sub");
    write("top/sub/file", "x");
    const auto before = snapshot(at("top").path());
    for (const auto kind :
         {OperationKind::duplicate, OperationKind::trash, OperationKind::alias, OperationKind::tags})
        plan({.kind = kind, .sources = {at("top")}});
    plan({.kind = OperationKind::newFolder, .destination = at("top")});
    EXPECT_EQ(snapshot(at("top").path()), before);
    EXPECT_FALSE(std::filesystem::exists(at("home/.local/share/Trash").path()));
}

} // namespace
} // namespace morv::test
