#include "MorvApp/Model/WorkspaceDetail.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/Support.h"

#include <atomic>
#include <latch>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::SizeIs;

class WorkspaceDetailTest : public test::FolderTest {
protected:
    static WorkspaceCardReference card(const std::string& path) {
        return {FileURL::fromPath(path), std::nullopt, "gone"};
    }

    TaskPools pools;
    WorkspaceDetail detail{pools, Environment{{"USER", "ann"}, {"XDG_RUNTIME_DIR", "/run/user/7"}}};
};

TEST_F(WorkspaceDetailTest, referencesAreCheckedAndSorted) {
    Workspace workspace{UUID::random(), "Plans", {}, "teal", Date::now()};
    workspace.references = {file("plan.pdf"), folder("work/sub"), file("song.mp3"), work.child("gone.txt"),
                            file("cloud.nextcloud", "")};
    detail.check(workspace);
    EXPECT_TRUE(detail.checkingReferences());
    Workspace other = workspace;
    other.id = UUID::random();
    other.references.pop_back();
    detail.check(workspace);
    detail.check(other);
    ASSERT_TRUE(eventually([&] { return !detail.checkingReferences(); }));
    EXPECT_EQ(detail.loadedWorkspaceID(), other.id) << "a superseded check publishes nothing";
    EXPECT_THAT(detail.cards(), SizeIs(4));
    EXPECT_TRUE(detail.cards().back().error);
    EXPECT_EQ(detail.summary(), "3 on this computer · 0 cloud only · 1 unavailable");
    std::vector<std::string_view> titles;
    for (const auto& section : detail.sections(""))
        titles.push_back(section.title);
    EXPECT_THAT(titles, ElementsAre("Folders", "Documents", "Pinned Files", "Unavailable References"));
    EXPECT_THAT(detail.filtered("SONG"), SizeIs(1));
    EXPECT_THAT(detail.filtered(work.lastComponent()), SizeIs(4)) << "a folder's name on the way counts";
    EXPECT_THAT(detail.sections("no such name"), testing::IsEmpty());

    detail.check(workspace);
    ASSERT_TRUE(eventually([&] { return !detail.checkingReferences(); }));
    EXPECT_EQ(detail.summary(), "3 on this computer · 1 cloud only · 1 unavailable");
}

TEST_F(WorkspaceDetailTest, aReferenceThatHangsHidesNoOther) {
    std::latch release(1);
    std::atomic<int> hung = 0;
    detail.setPatience(std::chrono::milliseconds(300));
    detail.setReader([&](const FileURL& url) {
        if (url.lastComponent().starts_with("dead")) {
            ++hung;
            release.wait();
        }
        return DirectoryService::entry(url);
    });
    Workspace workspace{UUID::random(), "Plans", {}, "teal", Date::now()};
    workspace.references = {file("first.txt"), file("dead 1.txt"), file("dead 2.txt"), file("last.txt")};
    const auto titles = [&] {
        std::vector<std::pair<std::string_view, std::size_t>> found;
        for (const auto& section : detail.sections(""))
            found.emplace_back(section.title, section.cards.size());
        return found;
    };
    using Found = std::pair<std::string_view, std::size_t>;
    detail.check(workspace);
    EXPECT_THAT(detail.cards(), SizeIs(4)) << "at once";
    EXPECT_THAT(titles(), testing::IsEmpty()) << "what is about to be read does not flash";
    EXPECT_TRUE(eventually([&] {
        return titles() == std::vector{Found("Documents", 1), Found("Not Checked Yet", 3)};
    })) << "what takes longer is listed meanwhile";
    ASSERT_TRUE(eventually([&] { return !detail.checkingReferences(); }));
    EXPECT_THAT(titles(), ElementsAre(Found("Documents", 2), Found("Unavailable References", 2)));
    EXPECT_EQ(detail.summary(), "2 on this computer · 0 cloud only · 2 unavailable");
    EXPECT_EQ(hung, 2);

    workspace.references.push_back(file("new.txt"));
    detail.check(workspace);
    detail.check(workspace);
    ASSERT_TRUE(eventually([&] { return !detail.checkingReferences(); }));
    EXPECT_THAT(titles(), ElementsAre(Found("Documents", 3), Found("Unavailable References", 2)));
    EXPECT_EQ(hung, 2) << "what hangs is not asked again";
    release.count_down();
    EXPECT_TRUE(eventually([&] {
        if (!detail.checkingReferences())
            detail.check(workspace);
        return titles() == std::vector{Found("Documents", 5)};
    })) << "until it is back";
}

TEST_F(WorkspaceDetailTest, aMissingReferenceOnADriveIsOnlyAway) {
    EXPECT_EQ(detail.status(card("/run/media/ann/Backup/a.txt")).status, "Offline or unavailable");
    EXPECT_EQ(detail.status(card("/mnt/Backup/a.txt")).status, "Offline or unavailable");
    EXPECT_EQ(detail.status(card(homeFolder().path() + "/a.txt")).status, "Unavailable reference");
    EXPECT_EQ(detail.status(card("/mnt")).status, "Unavailable reference");
}

TEST_F(WorkspaceDetailTest, theSourceIsNamedInWords) {
    const auto home = homeFolder().path();
    const auto label = [&](const std::string& path) { return detail.sourceLabel(FileURL::fromPath(path)); };
    EXPECT_EQ(label(home + "/Nextcloud/a.txt"), "Nextcloud");
    EXPECT_EQ(label(home + "/Nextcloud/Work/2026/a.txt"), "Nextcloud › Work › 2026");
    EXPECT_EQ(label("/run/media/ann/Backup/2026/a.txt"), "Backup › 2026");
    EXPECT_EQ(label("/mnt/disk/a.txt"), "disk");
    EXPECT_EQ(label("/run/user/7/gvfs/smb-share/x/a.txt"), "smb-share › x");
    EXPECT_EQ(label("/srv/data/a.txt"), "/srv/data");
    EXPECT_EQ(label(home + "/a.txt"), home) << "unchanged, with its slashes";
}

} // namespace
} // namespace morv
