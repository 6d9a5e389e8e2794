// The columns of a pane without a window: what opens, what goes, and what commands work on.
#include "MorvApp/Model/ColumnsModel.h"
#include "Tests/MorvApp/Support.h"

#include <QCoreApplication>
#include <filesystem>
#include <optional>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;

class ColumnsModelTest : public test::ModelTest {
protected:
    void open() {
        app.emplace(services, board, work);
        columns.emplace(*app, app->activePane());
        QObject::connect(&*columns, &ColumnsModel::added, [this] { ++opened; });
        ASSERT_TRUE(loaded());
    }
    bool loaded() {
        return eventually([this] { return columns->focusedColumn().loadedLocation().has_value(); });
    }
    /// In the focused column.
    void choose(const std::string& name) {
        auto& pane = columns->focusedColumn();
        EntrySelection selection;
        pane.entries().forEach([&](const FileEntry& entry) {
            if (entry.name == name)
                selection.emplace(entry);
        });
        pane.setSelection(selection);
    }
    bool shows(const std::vector<std::string>& expected) {
        return eventually([&] { return !columns->isResting() && locations() == expected; });
    }
    std::vector<std::string> locations() const {
        std::vector<std::string> found;
        for (std::size_t i = 0; i < columns->count(); ++i)
            found.emplace_back(columns->column(i).location().lastComponent());
        return found;
    }
    static std::vector<std::string> selected(const PaneModel& pane) {
        std::vector<std::string> found;
        for (const auto* entry : pane.selectedEntries())
            found.push_back(entry->name);
        return found;
    }
    /// Through `names`, each the only or the first item of the one before.
    void descend(const std::vector<std::string>& path) {
        for (const auto& name : path) {
            choose(name);
            ASSERT_TRUE(columns->enter()) << name;
            ASSERT_TRUE(loaded());
        }
    }

    MorvServices services{environment()};
    std::optional<AppModel> app;
    std::optional<ColumnsModel> columns;
    int opened = 0;
};

TEST_F(ColumnsModelTest, aFolderOpensWhenItsSelectionHasRested) {
    for (int i = 0; i < 40; ++i)
        folder("work/folder" + std::to_string(i));
    const auto plain = file("plain.txt");
    open();
    for (int i = 0; i < 40; ++i) {
        choose("folder" + std::to_string(i));
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(shows({"work", "folder39"}));
    EXPECT_EQ(opened, 1) << "no step in between has read a folder";
    EXPECT_EQ(columns->focused(), 0U) << "the keyboard stays where it is";

    choose("plain.txt");
    EXPECT_THAT(locations(), ElementsAre("work")) << "at once";
    ASSERT_TRUE(shows({"work"}));
    ASSERT_TRUE(columns->preview());
    EXPECT_EQ(columns->preview()->url(), plain);
    app->activePane().setSelection({});
    EXPECT_TRUE(eventually([&] { return !columns->preview(); }));
    choose("folder1");
    auto both = app->activePane().selection();
    choose("folder2");
    both.insert(app->activePane().selection().begin(), app->activePane().selection().end());
    app->activePane().setSelection(both);
    EXPECT_TRUE(shows({"work"})) << "several have no column";
    EXPECT_FALSE(columns->preview());
}

TEST_F(ColumnsModelTest, theFocusedColumnIsTheCurrentPane) {
    folder("work/a");
    folder("work/a/b");
    folder("work/a/b/c");
    file("a/b/c/z.txt");
    folder("work/other");
    open();
    auto& pane = app->activePane();
    descend({"a", "b", "c"});
    EXPECT_THAT(locations(), ElementsAre("work", "a", "b", "c"));
    EXPECT_EQ(&app->currentPane(), &columns->column(3));
    EXPECT_THAT(selected(app->currentPane()), ElementsAre("z.txt")) << "one comes in at the first item";
    EXPECT_EQ(&app->activePane(), &pane);
    EXPECT_FALSE(pane.canGoBack()) << "moving between columns is no journey";
    ASSERT_TRUE(eventually([&] { return columns->preview().has_value(); }));

    EXPECT_TRUE(columns->leave());
    EXPECT_FALSE(columns->preview());
    EXPECT_EQ(columns->count(), 4U) << "the column that was left stays beside its folder";
    EXPECT_THAT(selected(columns->column(3)), IsEmpty());
    EXPECT_TRUE(columns->focusFolder(work.child("a")));
    EXPECT_THAT(locations(), ElementsAre("work", "a", "b")) << "what lay behind it is given back";
    EXPECT_EQ(app->currentPane().location(), work.child("a"));
    columns->focus(0);
    choose("other");
    EXPECT_EQ(&app->currentPane(), &pane);
    EXPECT_TRUE(shows({"work", "other"}));
    EXPECT_FALSE(columns->leave());
    EXPECT_FALSE(columns->focusFolder(root));
}

TEST_F(ColumnsModelTest, aFolderThatVanishesTakesItsColumnsWithIt) {
    folder("work/a");
    folder("work/a/b");
    file("a/b/z.txt");
    open();
    descend({"a", "b"});
    std::vector<std::size_t> told;
    QObject::connect(&*columns, &ColumnsModel::dropping, [&](std::size_t first) {
        told.push_back(first);
        EXPECT_NE(&app->currentPane(), &columns->column(2)) << "taken back before it goes";
    });
    std::filesystem::remove_all(work.child("a").path());
    EXPECT_TRUE(shows({"work"}));
    EXPECT_THAT(told, Not(IsEmpty()));
    EXPECT_EQ(columns->focused(), 0U);
    EXPECT_EQ(&app->currentPane(), &app->activePane());
}

TEST_F(ColumnsModelTest, commandsChangeTheFocusedColumn) {
    folder("work/a");
    folder("work/a/b");
    open();
    descend({"a"});
    app->createFolder(app->currentPane().location(), "new");
    ASSERT_TRUE(eventually([&] { return selected(columns->column(1)) == std::vector<std::string>{"new"}; }));
    EXPECT_TRUE(shows({"work", "a", "new"})) << "the result is selected, and opens";

    app->perform(FileCommand::trash);
    ASSERT_TRUE(eventually([&] { return !exists(work.child("a").child("new")) && idle(*app); }));
    EXPECT_TRUE(shows({"work", "a"}));
    EXPECT_EQ(columns->focused(), 1U);
}

TEST_F(ColumnsModelTest, whatTakesThePaneElsewhereTakesBackTheColumn) {
    folder("work/a");
    folder("work/a/b");
    file("a/b/z.txt");
    open();
    auto& pane = app->activePane();
    descend({"a"});
    auto* column = &columns->column(1);

    app->addTab();
    EXPECT_EQ(&app->currentPane(), &app->activePane());
    EXPECT_NE(&app->activePane(), &pane);
    app->changeTab(1);
    EXPECT_EQ(&app->currentPane(), column) << "a tab comes back as it was left";
    app->perform(FileCommand::toggleSplit);
    EXPECT_EQ(&app->currentPane(), column);
    app->perform(FileCommand::switchPane);
    EXPECT_EQ(&app->currentPane(), app->activeTab().second.get());
    app->perform(FileCommand::switchPane);
    EXPECT_EQ(&app->currentPane(), column);
    app->perform(FileCommand::toggleSplit);
    EXPECT_EQ(&app->currentPane(), column) << "the other side has gone, not this one";

    app->showFolder(work);
    EXPECT_EQ(columns->focused(), 0U);
    EXPECT_EQ(&app->currentPane(), &pane);
    EXPECT_EQ(columns->count(), 2U);

    ASSERT_TRUE(columns->enter());
    choose("b");
    auto preferences = pane.preferences();
    preferences.view = BrowserViewMode::columns;
    pane.setPreferences(preferences);
    app->perform(FileCommand::viewAsList);
    EXPECT_EQ(&app->currentPane(), &pane);
    EXPECT_EQ(pane.location(), work.child("a")) << "another view shows the folder that was worked in";
    EXPECT_EQ(pane.preferences().view, BrowserViewMode::list);
    EXPECT_TRUE(pane.canGoBack());
    EXPECT_THAT(locations(), ElementsAre("a"));
    ASSERT_TRUE(loaded());
    EXPECT_THAT(selected(pane), ElementsAre("b"));

    ASSERT_TRUE(columns->enter());
    columns.reset();
    EXPECT_EQ(&app->currentPane(), &pane) << "nothing of it is left behind";
}

} // namespace
} // namespace morv
