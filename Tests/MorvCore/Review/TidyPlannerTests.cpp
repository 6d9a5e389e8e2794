#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Folders/CreativeLocalFile.h"
#include "MorvCore/Review/TidyPlanner.h"
#include "Tests/Support/TemporaryFolder.h"

#include <fcntl.h>

using namespace morv;
using namespace morv::test;

namespace {

FileEntry file(const std::string& folder, const std::string& name) {
    FileEntry entry;
    entry.folder = std::make_shared<const FileURL>(FileURL::folder(folder));
    entry.name = name;
    entry.kind = classifyName(name, false, false);
    entry.isWritable = true;
    return entry;
}

} // namespace

TEST(TidyPlanner, leavesInPlaceWhatItMustNotTouchForTheFirstReasonThatHolds) {
    struct Row {
        std::string name;
        void (*change)(FileEntry&);
        std::string reason;
    };
    const std::vector<Row> rows = {
        {"link.txt", [](FileEntry& e) { e.isSymbolicLink = true, e.isWritable = false; },
         "Symbolic links stay in place."},
        {"folder", [](FileEntry& e) { e.isDirectory = true; }, "Folders and app packages stay in place."},
        {"x.app", [](FileEntry& e) { e.isPackage = true; }, "Folders and app packages stay in place."},
        {"cloud.part", [](FileEntry& e) { e.availability = FileAvailability::notDownloaded; },
         "This file has not been downloaded."},
        {"unread.txt", [](FileEntry& e) { e.availability = FileAvailability::unavailable; },
         "This file has not been downloaded."},
        {"busy.txt", [](FileEntry& e) { e.isDownloading = true; },
         "An active or incomplete download stays in place."},
        {"film.mkv.CRDownload", [](FileEntry& e) { e.isWritable = false; },
         "An active or incomplete download stays in place."},
        {"locked.txt", [](FileEntry& e) { e.isWritable = false; }, "This file is read-only."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto entry = file("/nowhere", row.name);
        row.change(entry);
        const auto plan = TidyPlanner::plan({entry}, FileURL::folder("/nowhere"));
        EXPECT_TRUE(plan.proposals.empty());
        ASSERT_EQ(plan.exclusions.size(), 1U);
        EXPECT_EQ(plan.exclusions[0], (TidyExclusion{entry.url(), row.reason}));
    }
    EXPECT_TRUE(isIncompleteDownload(FileURL::fromPath("/a.partial")));
    EXPECT_FALSE(isIncompleteDownload(FileURL::fromPath("/part")));
    EXPECT_FALSE(isIncompleteDownload(FileURL::fromPath("/.tmp")));
    EXPECT_EQ(TidyPlanner::plan({}, FileURL()), TidyPlan());
}

TEST(TidyPlanner, proposesKindFoldersOfARealFolderAndSeesWhatIsTaken) {
    const TemporaryFolder folder;
    folder.write("photo 10.JPG");
    folder.write("photo 2.jpg");
    folder.write("notes.txt");
    folder.write("caf\xE9.bin");
    folder.write("plan.pdf");
    folder.makeFolder("Images");
    folder.makeFolder("Documents");
    folder.write("Documents/notes.txt");
    folder.link("Documents/plan.pdf", "/nowhere");
    const auto inside = DirectoryService::entry(folder.write("Images/there.png"));
    auto entries = DirectoryService().entries(folder.url(), HiddenItems::skip, {});
    entries.push_back(inside);

    const auto plan = TidyPlanner::plan(entries, folder.url());
    const auto proposal = [&](const std::string& name, const std::string& kindFolder, FileKind kind,
                              bool taken) {
        return TidyProposal{folder.url(name), folder.url(kindFolder + "/" + name), kind, taken};
    };
    EXPECT_EQ(plan.proposals, (std::vector{proposal("caf\xE9.bin", "Other", FileKind::other, false),
                                           proposal("notes.txt", "Documents", FileKind::document, true),
                                           proposal("photo 2.jpg", "Images", FileKind::image, false),
                                           proposal("photo 10.JPG", "Images", FileKind::image, false),
                                           proposal("plan.pdf", "Documents", FileKind::document, true)}));
    ASSERT_EQ(plan.exclusions.size(), 3U);
    EXPECT_EQ(plan.exclusions[2], (TidyExclusion{inside.url(), "Already in its destination."}));
}

TEST(TidyPlanner, namesThatLookTheSameCollideAndTheFirstKeepsThePlainOne) {
    struct Row {
        std::string first, second;
        bool collide;
    };
    for (const auto& row : std::vector<Row>{{"A.txt", "a.TXT", true},
                                            {"caf\xC3\xA9.txt", "cafe\xCC\x81.txt", true},
                                            {"same.txt", "same.txt", true},
                                            {"a.txt", "b.txt", false},
                                            {"a.txt", "a.png", false}}) {
        SCOPED_TRACE(row.first + " and " + row.second);
        const auto plan =
            TidyPlanner::plan({file("/nowhere/two", row.second), file("/nowhere/one", row.first)},
                              FileURL::folder("/nowhere/tidy"));
        ASSERT_EQ(plan.proposals.size(), 2U);
        EXPECT_FALSE(plan.proposals[0].hasCollision);
        EXPECT_EQ(plan.proposals[1].hasCollision, row.collide);
    }
}

TEST(TidyPlanner, aPlanHasItsJSONForm) {
    const std::string text = R"({"exclusions":[{"reason":"This file is read-only.","source":"file:///d/b"}],)"
                             R"("proposals":[{"destination":"file:///d/Images/a%20%FF.png",)"
                             R"("hasCollision":true,"kind":"image","source":"file:///d/a%20%FF.png"}]})";
    const TidyPlan plan = {{{FileURL::fromPath("/d/a \xFF.png"), FileURL::fromPath("/d/Images/a \xFF.png"),
                             FileKind::image, true}},
                           {{FileURL::fromPath("/d/b"), "This file is read-only."}}};
    EXPECT_EQ(toJSON(plan), text);
    TidyPlan read;
    fromJSON(text, read);
    EXPECT_EQ(read, plan);
    for (const std::string damaged :
         {R"({"proposals":[]})", R"({"proposals":{},"exclusions":[]})",
          R"({"exclusions":[],"proposals":[{"source":"file:///a","destination":"file:///b","kind":"song",)"
          R"("hasCollision":false}]})"})
        EXPECT_THROW(fromJSON(damaged, read), DecodingError) << damaged;
    EXPECT_EQ(read, plan) << "A failed reading changes nothing.";
}
