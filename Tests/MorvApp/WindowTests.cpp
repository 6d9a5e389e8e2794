// Names, panes, tabs, search, sidebar: what a hand does with files in the window.
#include "MorvApp/Views/Window/PathBar.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QKeySequenceEdit>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <algorithm>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(WindowTest, theMenusHoldTheCommandsInTheirOrderWithTheirKeys) {
    struct Row {
        const char* title;
        const char* key;
    };
    const std::vector<std::pair<const char*, std::vector<Row>>> menus = {
        {"File",
         {{"New Window", "Ctrl+N"},
          {"New Tab", "Ctrl+T"},
          {"New Folder…", "Ctrl+Shift+N"},
          {"Open Folder…", ""},
          {"New Workspace…", "Ctrl+Alt+N"},
          {"Close Tab", "Ctrl+W"}}},
        {"Edit",
         {{"Undo", "Ctrl+Z"},
          {"Redo", "Ctrl+Shift+Z"},
          {"Move Copied Items Here", "Ctrl+Alt+V"},
          {"Duplicate", "Ctrl+D"},
          {"Rename…", "F2"},
          {"Move to Trash", "Ctrl+Backspace"}}},
        {"View",
         {{"Compact Sidebar", "Ctrl+Alt+S"},
          {"as Icons", "Ctrl+1"},
          {"as List", "Ctrl+2"},
          {"as Columns", "Ctrl+3"},
          {"as Gallery", "Ctrl+4"},
          {"Larger Icons", "Ctrl++"},
          {"Smaller Icons", "Ctrl+-"},
          {"Toggle Split View", "F3"},
          {"Switch Pane", "Ctrl+Alt+Right"},
          {"Swap Panes", "Ctrl+U"},
          {"Copy to Other Pane", "F5"},
          {"Move to Other Pane…", "F6"},
          {"Show Inspector", "Ctrl+Shift+P"},
          {"Show View Options…", "Ctrl+J"},
          {"Show Hidden Files", "Ctrl+Shift+."},
          {"Refresh", ""}}},
        {"Workspaces", {}},
        {"Go",
         {{"Back", "Ctrl+["},
          {"Forward", "Ctrl+]"},
          {"Enclosing Folder", "Ctrl+Up"},
          {"Next Tab", "Ctrl+Shift+]"},
          {"Previous Tab", "Ctrl+Shift+["},
          {"Home", "Ctrl+Shift+H"},
          {"Desktop", "Ctrl+Shift+D"},
          {"Downloads", "Ctrl+Shift+L"},
          {"Documents", "Ctrl+Shift+O"},
          {"Go to Folder…", "Ctrl+L"},
          {"Go to Folder by Path…\tCtrl+Shift+G", ""},
          {"Connect to Server…", "Ctrl+K"}}},
        {"Files",
         {{"Open", "Ctrl+O"},
          {"Open Selection\tCtrl+Down", ""},
          {"Quick Look", ""},
          {"Get Info", "Ctrl+I"},
          {"Tags…", ""},
          {"Make Alias", ""},
          {"Compress to ZIP", ""},
          {"Extract ZIP…", ""},
          {"Share…", ""},
          {"Open in Terminal", "Ctrl+Alt+Shift+T"},
          {"Open in Editor", "Ctrl+Alt+Shift+E"},
          {"Find in Current Folder", "Ctrl+F"},
          {"Activity && Recovery…", ""},
          {"Quick Actions…", ""},
          {"Save Window Session", ""},
          {"Restore Window Session", ""}}},
        {"Help", {{"Keyboard Shortcuts…", ""}, {"Welcome to Morv…", ""}}},
    };
    file("a.txt");
    open();
    key(Qt::Key_Home);
    app().toggleSplit();
    ASSERT_TRUE(settled());
    app().switchPane();
    key(Qt::Key_Home);
    std::vector<std::string> titles;
    for (auto* menu : window->menuBar()->actions())
        titles.push_back(menu->text().toStdString());
    ASSERT_THAT(titles, ElementsAre("File", "Edit", "View", "Workspaces", "Go", "Files", "Help"));
    for (const auto& [title, rows] : menus) {
        auto* const bar = window->menuBar();
        const auto actions =
            bar->actions()[std::ranges::find(titles, title) - titles.begin()]->menu()->actions();
        qsizetype last = -1;
        for (const auto& row : rows) {
            SCOPED_TRACE(row.title);
            // What a menu shows of a key that is not the window's own stands behind a tab.
            const auto found =
                std::ranges::find_if(actions, [whole = QString::fromUtf8(row.title)](const QAction* action) {
                    return action->text() == whole ||
                           action->text().section(QLatin1Char('\t'), 0, 0) == whole;
                });
            ASSERT_NE(found, actions.end());
            EXPECT_GT(found - actions.begin(), last);
            last = found - actions.begin();
            const QKeySequence key(QLatin1String(row.key));
            EXPECT_TRUE(key.isEmpty() || (*found)->shortcuts().contains(key));
        }
    }
}

TEST_F(WindowTest, namesAreEditedInPlace) {
    file("report.final.pdf");
    folder("work/sub.d");
    open();
    type(QStringLiteral("rep"));
    EXPECT_THAT(selected(), ElementsAre("report.final.pdf"));
    key(Qt::Key_F2);
    auto* editor = window->collection().nameEditor();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->selectedText(), QStringLiteral("report.final"));
    type(QStringLiteral("new"));
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(editor->text(), QStringLiteral("report.final.pdf")) << "takes back text in the field";
    type(QStringLiteral("x"));
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->collection().nameEditor());
    EXPECT_TRUE(window->collection().hasFocus());

    key(Qt::Key_Return);
    ASSERT_TRUE(window->collection().nameEditor());
    type(QStringLiteral("minutes"));
    key(Qt::Key_Return);
    ASSERT_TRUE(becomes(work, {"minutes.pdf", "sub.d"}));
    EXPECT_TRUE(eventually([&] { return selected() == std::vector<std::string>{"minutes.pdf"}; }))
        << "the item stays selected under its new name";

    key(Qt::Key_Home);
    key(Qt::Key_F2);
    EXPECT_EQ(window->collection().nameEditor()->selectedText(), QStringLiteral("sub.d"))
        << "folders have no stem";
    key(Qt::Key_Return);
    EXPECT_EQ(app().receipts().size(), 1U) << "an unchanged name does nothing";

    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(becomes(work, {"report.final.pdf", "sub.d"}));
}

TEST_F(WindowTest, aNameThatIsNotUTF8IsRenamedOnlyWhenItWasEdited) {
    const std::string name = "odd\xff.txt";
    file(name);
    open();
    key(Qt::Key_Down);
    key(Qt::Key_F2);
    key(Qt::Key_Return);
    EXPECT_THAT(names(work), ElementsAre(name));
    EXPECT_THAT(app().receipts(), IsEmpty());
    key(Qt::Key_F2);
    window->collection().nameEditor()->selectAll();
    type(QStringLiteral("even.txt"));
    key(Qt::Key_Return);
    EXPECT_TRUE(becomes(work, {"even.txt"}));
}

TEST_F(WindowTest, newFolderCopyPasteTrashAndUndo) {
    file("a.txt");
    file("b.txt");
    open();
    key(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(window->sheet());
    type(QStringLiteral("Inbox"));
    key(Qt::Key_Return);
    ASSERT_TRUE(becomes(work, {"Inbox", "a.txt", "b.txt"}));
    EXPECT_FALSE(window->sheet());
    EXPECT_TRUE(eventually([&] { return selected() == std::vector<std::string>{"Inbox"}; }));

    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(selected().size(), 3U);
    key(Qt::Key_Home);
    EXPECT_THAT(selected(), ElementsAre("Inbox"));
    key(Qt::Key_Right);
    key(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_THAT(selected(), ElementsAre("a.txt", "b.txt"));
    key(Qt::Key_C, Qt::ControlModifier);
    key(Qt::Key_Home);
    key(Qt::Key_O, Qt::ControlModifier);
    ASSERT_TRUE(settled());
    EXPECT_EQ(app().activePane().location(), work.child("Inbox"));
    key(Qt::Key_V, Qt::ControlModifier);
    ASSERT_TRUE(becomes(work.child("Inbox"), {"a.txt", "b.txt"}));

    key(Qt::Key_Backspace);
    ASSERT_TRUE(settled());
    EXPECT_EQ(app().activePane().location(), work);
    type(QStringLiteral("b"));
    key(Qt::Key_Delete);
    ASSERT_TRUE(becomes(work, {"Inbox", "a.txt"}));
    const auto trash = dataHome().child("Trash").child("files");
    EXPECT_THAT(names(trash), Contains("b.txt"));
    key(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(becomes(work, {"Inbox", "a.txt", "b.txt"}));
    EXPECT_THAT(names(trash), testing::Not(Contains("b.txt")));
}

TEST_F(WindowTest, thePathIsTypedAndTheKeyboardComesBack) {
    folder("work/sub");
    file("sub-file");
    open();
    key(Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(window->pathBar().isEditing());
    type(QStringLiteral("sub"));
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return app().activePane().location() == work.child("sub"); }))
        << "a relative path begins at the present folder";
    EXPECT_TRUE(window->collection().hasFocus());
    ASSERT_TRUE(settled());
    key(Qt::Key_Left, Qt::AltModifier);
    ASSERT_TRUE(settled());
    EXPECT_EQ(app().activePane().location(), work);
    key(Qt::Key_L, Qt::ControlModifier);
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->pathBar().isEditing());
    EXPECT_TRUE(window->collection().hasFocus());
    key(Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(window->collection().mode(), CollectionMode::list);
    EXPECT_TRUE(window->collection().hasFocus());
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    EXPECT_THAT(selected(), ElementsAre("sub-file"));
}

TEST_F(WindowTest, tabsAndSplitPanesFollowTheKeyboard) {
    folder("work/sub");
    file("a.txt");
    open();
    key(Qt::Key_F3);
    ASSERT_TRUE(app().isSplit());
    EXPECT_TRUE(window->collection().hasFocus());
    key(Qt::Key_T, Qt::ControlModifier);
    ASSERT_EQ(app().tabs().size(), 2U);
    EXPECT_TRUE(window->collection().hasFocus()) << "the new tab's files have the keyboard";
    key(Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_EQ(app().tabIndex(), 0U);
    const auto* first = &window->collection();
    key(Qt::Key_Right, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_TRUE(app().secondaryActive());
    EXPECT_NE(&window->collection(), first);
    EXPECT_TRUE(window->collection().hasFocus());
    key(Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(app().activeTab().second->location(), work.parent());
    EXPECT_EQ(app().activeTab().pane->location(), work) << "the other pane stays where it is";
    key(Qt::Key_U, Qt::ControlModifier);
    EXPECT_EQ(app().activeTab().pane->location(), work.parent());
    EXPECT_EQ(&window->collection(), first) << "the panes changed places with their views";
    ASSERT_TRUE(settled());

    // F5 copies where there is another pane, and only refreshes where there is none.
    key(Qt::Key_Down);
    key(Qt::Key_Right);
    ASSERT_THAT(selected(), ElementsAre("a.txt"));
    key(Qt::Key_F5);
    EXPECT_TRUE(eventually([&] { return exists(work.parent().child("a.txt")); }));
    ASSERT_TRUE(settled());
    key(Qt::Key_F3);
    EXPECT_FALSE(app().isSplit());
    EXPECT_TRUE(window->collection().hasFocus());
    ASSERT_TRUE(settled());
    int readings = 0;
    QObject counting;
    QObject::connect(&app().activePane(), &PaneModel::loaded, &counting, [&] { ++readings; });
    key(Qt::Key_F5);
    ASSERT_TRUE(settled());
    EXPECT_TRUE(eventually([&] { return readings > 0; }));
    ASSERT_TRUE(settled());
    EXPECT_THAT(app().receipts(), testing::SizeIs(1));

    key(Qt::Key_W, Qt::ControlModifier);
    EXPECT_EQ(app().tabs().size(), 1U);
    EXPECT_TRUE(window->collection().hasFocus());
    key(Qt::Key_T, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(app().tabs().size(), 2U);
    EXPECT_TRUE(window->isVisible());
    key(Qt::Key_W, Qt::ControlModifier);
    key(Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window->isVisible()) << "the last tab goes with its window";
}

TEST_F(WindowTest, theDividerStaysWhereItWasPutLast) {
    folder("work/sub");
    open();
    key(Qt::Key_F3);
    const auto fraction = [&] {
        const auto known = services->layout.snapshots(app().layoutNamespace());
        return known.contains("panes") ? known.at("panes").front() : -1;
    };
    const auto drag = [&](int by) {
        QSplitter* panes = nullptr;
        for (auto* splitter : window->findChildren<QSplitter*>())
            if (splitter->isVisible() && splitter->findChildren<MorvCollectionView*>().size() == 2 &&
                splitter->parentWidget() != window->centralWidget())
                panes = splitter;
        ASSERT_TRUE(panes);
        auto* handle = panes->handle(1);
        QTest::mousePress(handle, Qt::LeftButton);
        QTest::mouseMove(handle, handle->rect().center() + QPoint(by, 0));
        QTest::mouseRelease(handle, Qt::LeftButton, {}, handle->rect().center());
    };
    drag(150);
    const double right = fraction();
    EXPECT_GT(right, 0.52);
    key(Qt::Key_F3);
    key(Qt::Key_F3);
    EXPECT_TRUE(eventually([&] { return std::abs(fraction() - right) < 0.01; })) << "split again";

    app().perform(FileCommand::saveSession);
    ASSERT_TRUE(eventually([&] { return app().status() == "Session saved"; }));
    drag(-250);
    app().perform(FileCommand::restoreSession);
    ASSERT_TRUE(eventually([&] { return app().layoutRestoreRevision() == 1; }));
    EXPECT_TRUE(eventually([&] { return std::abs(fraction() - right) < 0.01; })) << "as the session had it";
    drag(-250);
    const double left = fraction();
    EXPECT_LT(left, 0.48);
    app().addTab();
    app().changeTab(1);
    EXPECT_TRUE(eventually([&] { return fraction() > 0; }));
    EXPECT_NEAR(fraction(), left, 0.01) << "moved by hand after the session was restored";
    ASSERT_TRUE(settled());
}

TEST_F(WindowTest, aSearchIsTypedAndLeftAgain) {
    folder("work/sub");
    std::filesystem::copy_file(file("needle.txt").path(), work.path() + "/sub/Needle 2.txt");
    file("other.txt");
    open();
    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("needle"));
    ASSERT_TRUE(eventually([&] { return app().activePane().entries().size() == 2 && settled(); }));
    EXPECT_EQ(app().activePane().searchNote(), "Searched 4 items");
    key(Qt::Key_Return);
    EXPECT_TRUE(window->collection().hasFocus());
    key(Qt::Key_F, Qt::ControlModifier);
    key(Qt::Key_Escape);
    EXPECT_TRUE(eventually([&] { return app().activePane().entries().size() == 3; })) << "the folder again";
    key(Qt::Key_Escape);
    EXPECT_TRUE(window->collection().hasFocus());
    ASSERT_TRUE(settled());

    // A search belongs to its pane: the field follows the pane that is active.
    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("needle"));
    key(Qt::Key_F3);
    key(Qt::Key_Right, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_EQ(app().activePane().query(), "");
    EXPECT_TRUE(find<QLineEdit>("searchField")->text().isEmpty());
    key(Qt::Key_Right, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_EQ(find<QLineEdit>("searchField")->text(), QStringLiteral("needle"));
    ASSERT_TRUE(settled());
}

TEST_F(WindowTest, theSidebarLeadsToFavouritesAndSearches) {
    const auto other = folder("other");
    file("needle.txt");
    open();
    app().library().addFavourite(other);
    app().activePane().setQuery("needle");
    app().saveSearch();
    app().activePane().setQuery({});
    auto* sidebar = find<QTreeWidget>("sidebar");
    const auto row = [&](const char* title) {
        const auto found = sidebar->findItems(QLatin1String(title), Qt::MatchExactly);
        return found.isEmpty() ? nullptr : found.front();
    };
    ASSERT_TRUE(eventually([&] { return row("other") && row("needle"); }));
    const auto click = [&](const char* title) {
        QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {},
                          sidebar->visualItemRect(row(title)).center());
    };
    click("other");
    EXPECT_EQ(app().activePane().location(), other);
    EXPECT_TRUE(window->collection().hasFocus()) << "the files have the keyboard";
    ASSERT_TRUE(settled());
    EXPECT_EQ(sidebar->currentItem(), row("other")) << "the present place is marked";
    click("needle");
    ASSERT_TRUE(eventually([&] { return app().activePane().entries().size() == 1; }));
    EXPECT_EQ(app().activePane().location(), work);
    EXPECT_EQ(sidebar->currentItem(), nullptr);
    click("Favourites");
    ASSERT_TRUE(settled());

    const int width = sidebar->width();
    EXPECT_GE(width, static_cast<int>(SidebarColumn::smallest));
    key(Qt::Key_F9);
    EXPECT_FALSE(sidebar->isVisible());
    EXPECT_TRUE(services->defaults.sidebarIsCompact());
    key(Qt::Key_F9);
    EXPECT_TRUE(sidebar->isVisible());
    EXPECT_EQ(sidebar->width(), width);

    auto* body = qobject_cast<QSplitter*>(sidebar->parentWidget());
    ASSERT_TRUE(body);
    const auto dragTo = [&](int place) {
        auto* handle = body->handle(1);
        QTest::mousePress(handle, Qt::LeftButton);
        QTest::mouseMove(handle, handle->mapFrom(body, QPoint(place, 100)));
        const int during = sidebar->width();
        QTest::mouseRelease(handle, Qt::LeftButton, {}, handle->rect().center());
        return during;
    };
    EXPECT_EQ(dragTo(100), 184);
    EXPECT_EQ(sidebar->width(), 184);
    EXPECT_EQ(dragTo(500), 280);
    EXPECT_EQ(sidebar->width(), 280);
}

TEST_F(WindowTest, whatEditsTextNeverReachesTheFiles) {
    file("a.txt");
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    for (const bool inPath : {false, true}) {
        key(inPath ? Qt::Key_L : Qt::Key_F, Qt::ControlModifier);
        type(QStringLiteral("one two"));
        key(Qt::Key_Backspace, Qt::ControlModifier);
        auto* field = qobject_cast<QLineEdit*>(QApplication::focusWidget());
        ASSERT_TRUE(field);
        EXPECT_EQ(field->text(), QStringLiteral("one ")) << "the last word goes";
        key(Qt::Key_Escape);
        ASSERT_TRUE(settled());
        app().activePane().navigate(work, PaneModel::History::keep);
        ASSERT_TRUE(settled());
        window->collection().setFocus();
        key(Qt::Key_A, Qt::ControlModifier);
    }
    EXPECT_THAT(names(work), ElementsAre("a.txt"));
    EXPECT_THAT(services->engine.history(), IsEmpty());
}

TEST_F(WindowTest, theSidebarKeepsThePlaceOfTheKeyboard) {
    const auto other = folder("other");
    const auto item = file("a.txt");
    open();
    app().library().addFavourite(other);
    auto* sidebar = find<QTreeWidget>("sidebar");
    QTreeWidgetItem* row = nullptr;
    ASSERT_TRUE(eventually([&] {
        const auto found = sidebar->findItems(QStringLiteral("other"), Qt::MatchExactly);
        row = found.isEmpty() ? nullptr : found.front();
        return row != nullptr;
    }));
    key(Qt::Key_A, Qt::ControlModifier);
    sidebar->setFocus();
    sidebar->setCurrentItem(row);
    app().setErrorMessage("Nothing was planned.");
    key(Qt::Key_Delete);
    key(Qt::Key_Backspace, Qt::ControlModifier);
    EXPECT_TRUE(app().errorMessage()) << "Delete on a place is no word about the files beside it";
    EXPECT_TRUE(exists(item));
    app().refresh();
    ASSERT_TRUE(settled());
    EXPECT_EQ(sidebar->currentItem(), row) << "a folder that is read again moves nothing in the list";
    app().library().addFavourite(work);
    ASSERT_TRUE(sidebar->currentItem());
    EXPECT_EQ(sidebar->currentItem()->text(0), QStringLiteral("other"));

    const auto middle = sidebar->viewport()->rect().center();
    QContextMenuEvent menuKey(QContextMenuEvent::Keyboard, middle, sidebar->viewport()->mapToGlobal(middle));
    QApplication::sendEvent(sidebar->viewport(), &menuKey);
    auto* menu = sidebar->findChild<QMenu*>();
    ASSERT_TRUE(menu);
    menu->actions().front()->trigger();
    EXPECT_EQ(app().activePane().location(), other) << "the menu is that of the row with the keyboard";
    ASSERT_TRUE(settled());
}

TEST_F(WindowTest, strangeRecordsAndKeysLeaveTheWindowUsable) {
    file("a.txt");
    open();
    for (const double size : {-8.0, 0.0, 1e300}) {
        auto preferences = app().activePane().preferences();
        preferences.iconSize = size;
        app().activePane().setPreferences(preferences);
        EXPECT_FALSE(window->collection().visualRect(0).isEmpty());
    }
    app().perform(FileCommand::keyBindings);
    auto* editor = window->findChild<QKeySequenceEdit*>();
    ASSERT_TRUE(editor);
    editor->setFocus();
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
    EXPECT_TRUE(window->collection().hasFocus());
    EXPECT_FALSE(services->keys.isChanged(FileCommand::newWindow)) << "Escape is no command's key";
    ASSERT_TRUE(settled());
}

TEST_F(WindowTest, thePointerSelectsItemsAndAreas) {
    for (const auto* name : {"a", "b", "c"})
        file(name);
    open();
    auto& view = window->collection();
    const auto centre = [&](int index) { return view.visualRect(index).center(); };
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, centre(0));
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::ControlModifier, centre(2));
    EXPECT_THAT(selected(), ElementsAre("a", "c"));
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::ShiftModifier, centre(1));
    EXPECT_THAT(selected(), ElementsAre("b", "c"));
    QTest::mousePress(view.viewport(), Qt::LeftButton, {}, view.visualRect(1).bottomRight() + QPoint(0, 40));
    EXPECT_THAT(selected(), IsEmpty());
    QTest::mouseMove(view.viewport(), centre(0));
    EXPECT_THAT(selected(), ElementsAre("a", "b"));
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, centre(0));
}

TEST_F(WindowTest, cancelStopsWhatIsUnderWay) {
    const auto large = file("large");
    std::filesystem::resize_file(large.path(), 1'000'000'000);
    open();
    auto* cancel = find<QPushButton>("cancelOperation");
    EXPECT_FALSE(cancel->isVisible());
    key(Qt::Key_Down);
    key(Qt::Key_D, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return cancel->isVisible(); }));
    cancel->click();
    ASSERT_TRUE(eventually([&] { return !cancel->isVisible() && !app().isOperating(); }));
    ASSERT_TRUE(settled());
    EXPECT_FALSE(exists(work.child("large 2")));
    EXPECT_EQ(std::filesystem::file_size(large.path()), 1'000'000'000U);
    key(Qt::Key_F5);
    EXPECT_TRUE(settled()) << "the window goes on";
}

TEST_F(WindowTest, theKeyboardStaysBesideWhatHasGone) {
    for (const auto* name : {"a", "b", "c", "d"})
        file(name);
    open();
    type(QStringLiteral("b"));
    key(Qt::Key_Delete);
    ASSERT_TRUE(becomes(work, {"a", "c", "d"}));
    ASSERT_TRUE(eventually([&] { return app().activePane().entries().size() == 3; }) && settled());
    key(Qt::Key_Right);
    EXPECT_THAT(selected(), ElementsAre("d"));
}

} // namespace
} // namespace morv
