// What a drag carries, the rule by which it ends, and a visit of files to a window's model.
#include "MorvApp/Model/DragVisit.h"
#include "Tests/MorvApp/Support.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;

FileURL at(const char* path) {
    return FileURL::fromPath(path);
}

TEST(FileDrag, theRuleOfKeysAndVolumes) {
    using enum DropAct;
    using Relation = VolumeRelation;
    const DragPermit all;
    const DragPermit onlyCopies{true, false, false};
    const DragPermit onlyMoves{false, true, false};
    struct Row {
        const char* name;
        const char* file;
        const char* folder;
        DragWish wish;
        DragPermit permit;
        Relation relation;
        DropAct expected;
    };
    const Row rows[] = {
        {"same volume", "/a/f", "/b", DragWish::byVolume, all, Relation::same, move},
        {"other volume", "/a/f", "/b", DragWish::byVolume, all, Relation::other, copy},
        {"not known yet", "/a/f", "/b", DragWish::byVolume, all, Relation::unknown, copy},
        {"ctrl", "/a/f", "/b", DragWish::copy, all, Relation::same, copy},
        {"shift", "/a/f", "/b", DragWish::move, all, Relation::other, move},
        {"ctrl and shift", "/a/f", "/b", DragWish::link, all, Relation::same, link},
        {"where it is", "/a/f", "/a", DragWish::byVolume, all, Relation::same, none},
        {"where it is, with shift", "/a/f", "/a", DragWish::move, all, Relation::same, none},
        {"where it is, copied", "/a/f", "/a", DragWish::copy, all, Relation::same, copy},
        {"onto itself", "/a/f", "/a/f", DragWish::copy, all, Relation::same, none},
        {"into its own descendant", "/a/f", "/a/f/g/h", DragWish::move, all, Relation::same, none},
        {"a link to it inside it", "/a/f", "/a/f/g", DragWish::link, all, Relation::same, none},
        {"a name that only begins alike", "/a/f", "/a/fg", DragWish::byVolume, all, Relation::same, move},
        {"a program that only lends", "/a/f", "/b", DragWish::byVolume, onlyCopies, Relation::same, copy},
        {"and shift", "/a/f", "/b", DragWish::move, onlyCopies, Relation::same, copy},
        {"and ctrl and shift", "/a/f", "/b", DragWish::link, onlyCopies, Relation::same, copy},
        {"a program that only gives away", "/a/f", "/b", DragWish::byVolume, onlyMoves, Relation::other,
         none},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(FileDrag::actInto(at(row.folder), {at(row.file)}, row.wish, row.permit, row.relation),
                  row.expected);
    }
    EXPECT_EQ(FileDrag::actInto(at("/b"), {}, DragWish::copy, all, Relation::same), none);
    EXPECT_EQ(FileDrag::actInto(at("/b/c"), {at("/a"), at("/b")}, DragWish::copy, all, Relation::same), none)
        << "one of several is in the way";
    EXPECT_EQ(FileDrag::actInto(at("/b"), {at("/b/c"), at("/a/f")}, DragWish::byVolume, all, Relation::same),
              move);

    const auto moved = FileDrag::request(move, {at("/b/c"), at("/a/f")}, at("/b"));
    EXPECT_EQ(moved.kind, OperationKind::move);
    EXPECT_THAT(moved.sources, ElementsAre(at("/a/f"))) << "what is there already stays";
    EXPECT_EQ(FileDrag::request(copy, {at("/b/c")}, at("/b")).kind, OperationKind::duplicate);
    EXPECT_EQ(FileDrag::request(copy, {at("/b/c"), at("/a/f")}, at("/b")).kind, OperationKind::copy);
    EXPECT_EQ(FileDrag::request(link, {at("/a/f")}, at("/b")).kind, OperationKind::alias);
    EXPECT_FALSE(FileDrag::request(trash, {at("/a/f")}, {}).destination);
}

TEST(FileDrag, aListIsBytesFromAStranger) {
    const std::vector<FileURL> odd{FileURL::folder("/a b"), at("/not \xff utf-8"), at("/line\nfeed"),
                                   at("/percent%20")};
    const auto contents = FileDrag::contents(odd);
    ASSERT_EQ(contents.front().first, "text/uri-list");
    EXPECT_EQ(FileDrag::filesIn(contents.front().second), odd) << "every name survives";

    EXPECT_THAT(
        FileDrag::filesIn("# a comment\r\nhttp://example.org/a\r\nfile:///a/../b\nfile://elsewhere/c\r\n"
                          "file:///b\r\n/etc/passwd\r\nfile:///\r\nfile:///d%00e\r\n"
                          "file:///%2e%2e/%2e%2e\nfile:relative\nfile:///end"),
        ElementsAre(at("/b"), at("/end")))
        << "local files, each once; never the root";
    EXPECT_TRUE(FileDrag::filesIn(std::string("\0\0\r\n\xff\xfe", 6)).empty());
}

class DragVisitTest : public test::ModelTest {
protected:
    /// Disks that answer when they are told to.
    struct Disks {
        std::mutex mutex;
        std::condition_variable answered;
        bool areOpen = false;

        void open() {
            const std::lock_guard lock(mutex);
            areOpen = true;
            answered.notify_all();
        }
        void wait() {
            std::unique_lock lock(mutex);
            answered.wait(lock, [this] { return areOpen; });
        }
    };
};

TEST_F(DragVisitTest, whichVolumeItIsIsFoundOutAsideAndUntilThenItCopies) {
    auto disks = std::make_shared<Disks>();
    MorvServices services(environment());
    AppModel app(services, board, work);
    auto& visit = app.drag();
    visit.setReader([disks](const FileURL& url, DragLinks) -> std::optional<DragStanding> {
        disks->wait();
        if (url.lastComponent() == "gone")
            return std::nullopt;
        return DragStanding{url.lastComponent() == "stick" ? 2U : 1U, 1, url.lastComponent() == "sub"};
    });
    const auto near = DropPlace::into(folder("near"));
    const auto stick = DropPlace::into(folder("stick"));
    const auto gone = DropPlace::into(root.child("gone"));
    visit.enter({work.child("a"), work.child("sub")}, {});
    for (const auto& place : {near, stick, gone})
        EXPECT_EQ(visit.hover(place, DragWish::byVolume), DropAct::copy) << "not known yet";
    disks->open();
    EXPECT_TRUE(eventually([&] { return visit.hover(near, DragWish::byVolume) == DropAct::move; }));
    EXPECT_EQ(visit.sentence(near, DropAct::move), "Move to “near”");
    EXPECT_EQ(visit.hover(stick, DragWish::byVolume), DropAct::copy);
    EXPECT_EQ(visit.hover(gone, DragWish::byVolume), DropAct::copy);
    EXPECT_EQ(visit.hover(DropPlace::amongFavourites(0), DragWish::byVolume), DropAct::none)
        << "a file is no place";
    EXPECT_EQ(visit.hover(DropPlace::intoWorkspace(UUID::random()), DragWish::byVolume), DropAct::none);

    visit.enter({work.child("sub")}, {});
    EXPECT_TRUE(eventually([&] { return visit.areFolders(); }));
    visit.enter({work.child("a"), root.child("stick")}, {});
    EXPECT_FALSE(visit.areFolders());
    visit.hover(near, DragWish::byVolume);
    EXPECT_TRUE(eventually([&] { return visit.hover(DropPlace::intoTrash(), {}) == DropAct::trash; }));
    EXPECT_EQ(visit.hover(near, DragWish::byVolume), DropAct::copy) << "files of two volumes are copied";
    visit.enter({work.child("a")}, {true, false, true});
    EXPECT_EQ(visit.hover(DropPlace::intoTrash(), {}), DropAct::none) << "their program only lends them";
}

TEST_F(DragVisitTest, realDisksAnswerThroughLinks) {
    file("a");
    std::filesystem::create_directory_symlink("/dev/shm", root.path() + "/elsewhere");
    folder("near");
    MorvServices services(environment());
    AppModel app(services, board, work);
    app.drag().enter({work.child("a")}, {});
    const auto near = DropPlace::into(root.child("near"));
    const auto elsewhere = DropPlace::into(root.child("elsewhere"));
    app.drag().hover(elsewhere, DragWish::byVolume);
    ASSERT_TRUE(eventually([&] { return app.drag().hover(near, DragWish::byVolume) == DropAct::move; }));
    if (std::filesystem::exists("/dev/shm")) {
        EXPECT_EQ(app.drag().hover(elsewhere, DragWish::byVolume), DropAct::copy);
    }
    ASSERT_EQ(app.drag().drop(near, DragWish::byVolume), DropAct::move);
    EXPECT_FALSE(app.drag().isActive());
    EXPECT_TRUE(
        eventually([&] { return exists(root.child("near").child("a")) && !exists(work.child("a")); }));
}

TEST_F(DragVisitTest, whoLeavesWithoutADropFindsTheWindowWhereItWas) {
    file("a");
    const auto inner = folder("work/inner");
    const auto innermost = folder("work/inner/most");
    const auto other = folder("other");
    MorvServices services(environment());
    AppModel app(services, board, work);
    app.addTab(other);
    const auto second = app.activeTab().id;
    app.activateTab(app.tabs()[0].id);
    ASSERT_TRUE(idle(app));
    select(app, {"a"});
    auto& pane = app.activePane();
    const auto before = pane.history();

    app.drag().openFolder(pane, inner);
    EXPECT_EQ(pane.location(), work) << "nothing opens without a drag";
    app.drag().enter({work.child("a")}, {});
    app.drag().openFolder(pane, inner);
    app.drag().openFolder(pane, innermost);
    app.drag().openTab(second);
    EXPECT_EQ(app.activeTab().id, second);
    EXPECT_EQ(pane.location(), innermost);
    app.drag().leave();
    EXPECT_EQ(app.tabIndex(), 0U);
    EXPECT_EQ(pane.location(), work);
    EXPECT_EQ(pane.history().locations, before.locations);
    EXPECT_TRUE(eventually([&] { return pane.selectedURLs().size() == 1; }))
        << "what was carried is selected again";

    app.drag().enter({work.child("a")}, {});
    app.drag().openFolder(pane, inner);
    app.drag().drop(DropPlace::into(inner), DragWish::copy);
    EXPECT_EQ(pane.location(), inner) << "where something was dropped one stays";
    EXPECT_TRUE(eventually([&] { return exists(inner.child("a")); }));

    app.drag().enter({work.child("a")}, {});
    app.drag().openTab(second);
    app.closeTab(app.tabs()[0].id);
    app.drag().leave();
    EXPECT_EQ(app.activeTab().id, second) << "the tab where it was has gone";
}

} // namespace
} // namespace morv
