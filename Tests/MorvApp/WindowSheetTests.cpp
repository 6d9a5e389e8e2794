// Reviews, tags, workspaces, quick actions, keys: what a hand does in a sheet over the window.
#include "MorvApp/Views/Preview/PreviewWindow.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QContextMenuEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QTreeView>
#include <QTreeWidget>
#include <filesystem>
#include <sqlite3.h>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(WindowTest, aReviewIsCancelledOrNarrowedBeforeAnythingChanges) {
    file("a.txt");
    file("b.txt");
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_C, Qt::ControlModifier);
    key(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return window->sheet() != nullptr; }));
    key(Qt::Key_Z, Qt::ControlModifier);
    key(Qt::Key_Delete);
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
    EXPECT_TRUE(window->collection().hasFocus());
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt"));
    EXPECT_THAT(services->engine.history(), IsEmpty()) << "keys do not reach the files behind a sheet";

    key(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return window->sheet() != nullptr; }));
    auto* items = find<QTreeView>("reviewItems")->model();
    auto* confirm = find<QPushButton>("reviewConfirm");
    EXPECT_TRUE(items->setData(items->index(0, 0), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_TRUE(items->setData(items->index(1, 0), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_FALSE(confirm->isEnabled()) << "nothing would be left to do";
    items->setData(items->index(1, 0), Qt::Checked, Qt::CheckStateRole);
    confirm->click();
    EXPECT_TRUE(becomes(work, {"a.txt", "b 2.txt", "b.txt"}));
    EXPECT_FALSE(window->sheet());
}

TEST_F(WindowTest, aWorkspaceIsMadeShownAndTouchesNoOriginal) {
    const auto original = file("plan.txt");
    folder("work/sub");
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_N, Qt::ControlModifier | Qt::AltModifier);
    ASSERT_TRUE(window->sheet());
    key(Qt::Key_Return);
    EXPECT_TRUE(window->sheet()) << "a workspace has a name";
    type(QStringLiteral("Harbour"));
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return !window->sheet(); }));
    auto* sidebar = find<QTreeWidget>("sidebar");
    ASSERT_TRUE(eventually(
        [&] { return !sidebar->findItems(QStringLiteral("Harbour"), Qt::MatchExactly).isEmpty(); }));
    auto* row = sidebar->findItems(QStringLiteral("Harbour"), Qt::MatchExactly).front();
    QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {}, sidebar->visualItemRect(row).center());
    auto* list = find<QTreeWidget>("references");
    ASSERT_TRUE(list->isVisible());
    EXPECT_TRUE(list->hasFocus());
    ASSERT_TRUE(eventually([&] { return list->topLevelItemCount() == 4; })) << "two sections, two references";
    EXPECT_EQ(list->topLevelItem(3)->text(0), QStringLiteral("plan.txt"));
    EXPECT_EQ(list->topLevelItem(3)->text(1), QStringLiteral("On this computer"));

    key(Qt::Key_Delete);
    app().perform(FileCommand::trash);
    EXPECT_FALSE(app().isOperating()) << "what is selected behind the workspace is not acted on";
    list->setCurrentItem(list->topLevelItem(1));
    app().refresh();
    ASSERT_TRUE(settled());
    ASSERT_TRUE(eventually([&] {
        return list->topLevelItemCount() == 4 && list->currentItem() == list->topLevelItem(1);
    })) << "a check leaves the row that has the keyboard";
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return app().activePane().location() == work.child("sub"); }));
    EXPECT_FALSE(list->isVisible());
    EXPECT_TRUE(window->collection().hasFocus());
    ASSERT_TRUE(settled());
    app().openWorkspace(0);
    ASSERT_TRUE(list->isVisible());
    sidebar->setCurrentItem(sidebar->findItems(QStringLiteral("Harbour"), Qt::MatchExactly).front());
    for (const auto* answer : {"Keep", "Remove Workspace"}) {
        QContextMenuEvent asked(QContextMenuEvent::Keyboard, QPoint(), QPoint());
        QCoreApplication::sendEvent(sidebar->viewport(), &asked);
        auto* menu = sidebar->findChild<QMenu*>();
        ASSERT_TRUE(menu);
        for (auto* action : menu->actions())
            if (action->text() == QStringLiteral("Remove Workspace…"))
                action->trigger();
        menu->close();
        auto* box = sidebar->findChild<QMessageBox*>(QStringLiteral("confirmRemoval"));
        ASSERT_TRUE(box);
        EXPECT_EQ(box->defaultButton()->text(), QStringLiteral("Keep"));
        for (auto* button : box->buttons())
            if (button->text() == QLatin1String(answer))
                QTest::mouseClick(button, Qt::LeftButton);
        ASSERT_TRUE(
            eventually([&] { return !sidebar->findChild<QMessageBox*>() && !sidebar->findChild<QMenu*>(); }));
    }
    EXPECT_TRUE(eventually([&] { return !list->isVisible(); })) << "a workspace that has gone is not shown";
    EXPECT_TRUE(eventually([&] { return app().library().workspaceList().empty(); }));
    EXPECT_TRUE(exists(original));
}

TEST_F(WindowTest, aWorkspaceHasKeysAndAListOfItsOwn) {
    file("hidden behind.txt");
    std::vector<FileURL> originals;
    for (int i = 0; i < 60; ++i)
        originals.push_back(file("note " + std::to_string(i) + ".txt", "text"));
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    app().addTab();
    app().changeTab(-1);
    ASSERT_TRUE(settled());
    Workspace workspace{UUID::random(), "Harbour", originals, "teal", Date::now()};
    app().library().saveWorkspace(workspace, [](const auto&) {});
    ASSERT_TRUE(eventually([&] { return app().library().workspaceList().size() == 1; }));
    app().openWorkspace(0);
    auto* list = find<QTreeWidget>("references");
    ASSERT_TRUE(eventually([&] { return list->isVisible() && list->topLevelItemCount() == 61; }));
    ASSERT_TRUE(list->hasFocus());

    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("note 1"));
    EXPECT_TRUE(app().selectedWorkspaceID()) << "its own field, and not that of the files behind it";
    EXPECT_EQ(list->topLevelItemCount(), 12);
    find<QLineEdit>("workspaceQuery")->clear();
    list->setFocus();

    list->verticalScrollBar()->setValue(list->verticalScrollBar()->maximum() / 2);
    const int scrolled = list->verticalScrollBar()->value();
    ASSERT_GT(scrolled, 0);
    std::filesystem::remove(originals[3].path());
    app().refresh();
    ASSERT_TRUE(eventually([&] {
        return list->topLevelItem(list->topLevelItemCount() - 2)->text(0) ==
               QStringLiteral("Unavailable References");
    }));
    EXPECT_EQ(list->verticalScrollBar()->value(), scrolled) << "a check leaves the list where it is";

    list->setCurrentItem(list->topLevelItem(1));
    key(Qt::Key_Space);
    ASSERT_TRUE(eventually([&] { return window->preview() && window->preview()->isActiveWindow(); }));
    EXPECT_EQ(window->preview()->pane().entry()->url(), originals[0]);
    key(Qt::Key_Right);
    EXPECT_EQ(window->preview()->pane().entry()->url(), originals[1]);
    key(Qt::Key_Space);
    EXPECT_FALSE(window->preview()->isVisible());
    ASSERT_TRUE(eventually([&] { return window->isActiveWindow() && list->hasFocus(); }));

    list->clearSelection();
    list->topLevelItem(1)->setSelected(true);
    list->topLevelItem(2)->setSelected(true);
    key(Qt::Key_Delete);
    EXPECT_TRUE(eventually([&] { return app().library().workspaceList().front().references.size() == 58; }));
    EXPECT_TRUE(exists(originals[0]));

    ASSERT_FALSE(app().activePane().selection().empty());
    app().perform(FileCommand::newWorkspace);
    EXPECT_TRUE(app().workspaceDraft().empty()) << "what is selected behind it is no draft";
    app().closeSheet();
    key(Qt::Key_1, Qt::AltModifier);
    EXPECT_FALSE(app().selectedWorkspaceID()) << "the tab that is active already, too";
    app().openWorkspace(0);
    app().perform(FileCommand::closeTab);
    EXPECT_FALSE(app().selectedWorkspaceID());
    EXPECT_EQ(app().tabs().size(), 2U) << "no tab that nobody sees";
}

TEST_F(WindowTest, thePaletteRunsAnActionAndAChangedKeyWorks) {
    file("a.txt");
    open();
    key(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(window->sheet());
    type(QStringLiteral("split"));
    key(Qt::Key_Return);
    EXPECT_FALSE(app().sheet());
    EXPECT_TRUE(app().isSplit());
    services->keys.setKeys(FileCommand::toggleSplit, {"F7"});
    key(Qt::Key_F3);
    EXPECT_TRUE(app().isSplit()) << "the old key does nothing";
    key(Qt::Key_F7);
    EXPECT_FALSE(app().isSplit());

    // Who wants Return to open gives it to that command.
    folder("work/sub");
    app().refresh();
    ASSERT_TRUE(settled());
    services->keys.setKeys(FileCommand::rename, {"F2"});
    services->keys.setKeys(FileCommand::open, {"Ctrl+O", "Return"});
    key(Qt::Key_Home);
    ASSERT_THAT(selected(), ElementsAre("sub"));
    key(Qt::Key_Return);
    EXPECT_EQ(app().activePane().location(), work.child("sub"));
    ASSERT_TRUE(settled());
    key(Qt::Key_L, Qt::ControlModifier);
    type(QStringLiteral(".."));
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return app().activePane().location() == work; }))
        << "in a field Return belongs to the field";
    services->keys.resetAll();
    ASSERT_TRUE(settled());
}

TEST_F(WindowTest, aWorkspaceThatCouldNotBeSavedIsNotLost) {
    const auto original = file("plan.txt");
    open();
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((root.path() + "/data/deep/Morv/Morv.sqlite").c_str(), &database), SQLITE_OK);
    const auto tell = [&](const char* statement) {
        EXPECT_EQ(sqlite3_exec(database, statement, nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
    };
    tell("CREATE TRIGGER refuse BEFORE INSERT ON records WHEN NEW.key LIKE 'workspace/%' "
         "BEGIN SELECT RAISE(ABORT, 'no room'); END");
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_N, Qt::ControlModifier | Qt::AltModifier);
    type(QStringLiteral("Harbour"));
    key(Qt::Key_Return);
    auto* problem = find<QLabel>("warning");
    ASSERT_TRUE(eventually([&] { return problem->isVisible(); }));
    EXPECT_TRUE(problem->text().contains(QStringLiteral("no room"))) << problem->text().toStdString();
    ASSERT_TRUE(window->sheet());
    tell("DROP TRIGGER refuse");
    sqlite3_close(database);
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return !window->sheet(); }));
    const auto& list = services->library.workspaceList();
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list.front().name, "Harbour");
    EXPECT_THAT(list.front().references, ElementsAre(original));
}

TEST_F(WindowTest, aReviewKeepsWhatTheUserUncheckedWhateverComesMeanwhile) {
    file("a.txt");
    file("b.txt");
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_C, Qt::ControlModifier);
    key(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return window->sheet() != nullptr; }));
    auto* items = find<QTreeView>("reviewItems")->model();
    ASSERT_TRUE(items->setData(items->index(0, 0), Qt::Unchecked, Qt::CheckStateRole));
    app().showActivity();
    auto* confirm = find<QPushButton>("reviewConfirm");
    ASSERT_TRUE(confirm);
    confirm->click();
    ASSERT_TRUE(becomes(work, {"a.txt", "b 2.txt", "b.txt"}));
    EXPECT_TRUE(find<QListView>("activityReceipts")) << "what waited behind the review is shown after it";
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
}

TEST_F(WindowTest, returnPressesTheButtonThatHasTheKeyboard) {
    file("a.txt");
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_C, Qt::ControlModifier);
    key(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return window->sheet() != nullptr; }));
    find<QPushButton>("reviewCancel")->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    EXPECT_FALSE(window->sheet());
    ASSERT_TRUE(settled());
    EXPECT_THAT(names(work), ElementsAre("a.txt")) << "Cancel never confirms";
    EXPECT_THAT(services->engine.history(), IsEmpty());

    // In the palette Return reaches the list and the sheet; the action runs once.
    key(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    type(QStringLiteral("split"));
    key(Qt::Key_Tab);
    ASSERT_TRUE(qobject_cast<QListWidget*>(QApplication::focusWidget()));
    key(Qt::Key_Return);
    EXPECT_TRUE(app().isSplit());
    ASSERT_TRUE(settled());
}

TEST_F(WindowTest, aSheetThatFollowsAnotherKeepsTheKeyboard) {
    open();
    key(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    type(QStringLiteral("new folder"));
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return window->findChildren<Sheet*>().size() == 1; }));
    type(QStringLiteral("Made"));
    key(Qt::Key_Return);
    EXPECT_TRUE(becomes(work, {"Made"}));
    EXPECT_TRUE(window->collection().hasFocus());
}

TEST_F(WindowTest, aSheetActsOnWhatItNamesAlsoWhenTheWindowHasGoneOn) {
    const auto item = file("a.txt");
    const auto elsewhere = folder("elsewhere");
    open();
    key(Qt::Key_Down);
    app().perform(FileCommand::tags);
    app().showFolder(elsewhere);
    ASSERT_TRUE(settled());
    type(QStringLiteral("Blue"));
    key(Qt::Key_Return);
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return FileTagMetadata::names(item) == std::vector<std::string>{"Blue"}; }));
    ASSERT_TRUE(settled());

    app().perform(FileCommand::newFolder);
    app().showFolder(work);
    ASSERT_TRUE(settled());
    type(QStringLiteral("Made"));
    key(Qt::Key_Return);
    EXPECT_TRUE(becomes(elsewhere, {"Made"}));
    EXPECT_THAT(names(work), ElementsAre("a.txt"));
}

TEST_F(WindowTest, aReviewOfThousandsIsShownAndLeft) {
    open();
    FileOperationPlan plan;
    plan.kind = OperationKind::copy;
    for (int i = 0; i < 20'000; ++i) {
        FileOperationItem item;
        item.id = UUID::random();
        item.source = work.child("item " + std::to_string(i));
        item.destination = work.child("item " + std::to_string(i) + " 2");
        plan.items.push_back(item);
        plan.warnings.push_back("Keep both: item " + std::to_string(i) + ".");
    }
    app().offer(plan, {});
    QCoreApplication::processEvents();
    ASSERT_TRUE(window->sheet());
    key(Qt::Key_Escape);
    EXPECT_FALSE(app().reviewPlan());
}

} // namespace
} // namespace morv
