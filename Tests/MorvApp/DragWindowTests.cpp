// Files that are dragged over the window: onto folders, tabs and the path bar.
#include "MorvApp/Model/FileClipboard.h"
#include "MorvApp/Model/FileDrag.h"
#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Window/PathBar.h"
#include "Tests/MorvApp/DragHand.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QLabel>
#include <QScrollBar>
#include <QTabBar>
#include <QToolButton>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;

class DragWindow : public test::WindowTest {
protected:
    DragWindow() { DropArea::setPatience(10); }
    ~DragWindow() override { DropArea::setPatience(700); }

    QWidget& files() { return *window->collection().viewport(); }
    QPoint cell(const std::string& name) {
        auto& pane = app().activePane();
        for (std::size_t i = 0; i < pane.displayedEntries().size(); ++i)
            if (pane.displayedEntry(i).name == name)
                return window->collection().visualRect(static_cast<std::int64_t>(i)).center();
        ADD_FAILURE() << name << " is not shown";
        return {};
    }
    /// Beside all items.
    QPoint ground() { return files().rect().bottomRight() - QPoint(40, 40); }
    QString label() {
        const auto* shown = find<QLabel>("dropLabel");
        return shown && shown->isVisible() ? shown->text() : QString();
    }
};

TEST_F(DragWindow, aDropDoesWhatStandsBesideThePointer) {
    file("a.txt");
    file("b.txt");
    const auto inbox = folder("work/Inbox");
    open();
    DropArea::setPatience(100'000);
    test::DragHand hand({work.child("a.txt"), inbox});
    hand.enter(files(), cell("b.txt"));
    EXPECT_EQ(hand.action, Qt::IgnoreAction) << "they are in this folder already";
    EXPECT_TRUE(label().isEmpty());
    hand.move(cell("Inbox"));
    EXPECT_EQ(hand.action, Qt::IgnoreAction) << "a folder does not go into itself";
    hand.drop();
    EXPECT_FALSE(hand.isTaken);

    test::DragHand one({work.child("a.txt")});
    one.enter(files(), cell("Inbox"));
    EXPECT_TRUE(eventually([&] {
        one.move(cell("Inbox"));
        return label() == QStringLiteral("Move to “Inbox”");
    }));
    EXPECT_EQ(one.action, Qt::MoveAction);
    one.move(cell("Inbox"), Qt::ControlModifier);
    EXPECT_EQ(label(), QStringLiteral("Copy to “Inbox”"));
    one.move(cell("Inbox"), Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(label(), QStringLiteral("Make links in “Inbox”"));
    EXPECT_EQ(one.action, Qt::LinkAction);
    one.move(ground(), Qt::ControlModifier);
    EXPECT_EQ(label(), QStringLiteral("Copy to “work”"));
    one.move(cell("Inbox"));
    one.drop();
    EXPECT_EQ(one.action, Qt::CopyAction) << "a stranger is not told that its file was moved";
    EXPECT_TRUE(becomes(work, {"Inbox", "b.txt"}));
    EXPECT_THAT(names(inbox), ElementsAre("a.txt"));
    EXPECT_TRUE(label().isEmpty());
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(becomes(work, {"Inbox", "a.txt", "b.txt"}));
}

TEST_F(DragWindow, whatAStrangerDragsIsTakenOnlyAsLocalFiles) {
    const auto outside = folder("outside");
    const std::string name = "odd\xff.txt";
    file("x");
    std::rename((work.path() + "/x").c_str(), (outside.path() + "/" + name).c_str());
    open();
    test::DragHand text(QByteArray("http://example.org/\r\nnonsense"));
    text.enter(files(), ground());
    EXPECT_FALSE(text.isTaken);
    test::DragHand lent({outside.child(name)}, Qt::CopyAction);
    lent.enter(files(), ground(), Qt::ShiftModifier);
    EXPECT_EQ(lent.action, Qt::CopyAction) << "it was not offered to be moved";
    lent.drop();
    EXPECT_TRUE(becomes(work, {name}));
    EXPECT_THAT(names(outside), ElementsAre(name));

    test::DragHand given({outside.child(name)}, Qt::MoveAction);
    given.enter(files(), ground(), Qt::ShiftModifier);
    given.drop();
    EXPECT_EQ(given.action, Qt::IgnoreAction) << "it must not take a move for done and delete";
    EXPECT_TRUE(eventually([&] { return app().reviewPlan() || names(outside).empty(); }));
}

TEST_F(DragWindow, foldersAndTabsOpenUnderARestingDrag) {
    file("a.txt");
    const auto inner = folder("work/inner");
    const auto innermost = folder("work/inner/most");
    open();
    app().addTab(work);
    app().activateTab(app().tabs()[0].id);
    ASSERT_TRUE(settled());
    test::DragHand hand({work.child("a.txt")});
    hand.enter(files(), cell("inner"));
    ASSERT_TRUE(eventually([&] { return app().activePane().location() == inner; }));
    ASSERT_TRUE(settled());
    hand.move(cell("most"));
    ASSERT_TRUE(eventually([&] { return app().activePane().location() == innermost; }));
    hand.leave();
    ASSERT_TRUE(eventually([&] { return app().activePane().location() == work; }))
        << "outside the window it is over";
    ASSERT_TRUE(settled());

    auto* tabs = find<QTabBar>("tabs");
    hand.enter(files(), cell("inner"));
    ASSERT_TRUE(eventually([&] { return app().activePane().location() == inner; }));
    hand.leave();
    hand.enter(*tabs, tabs->tabRect(1).center());
    ASSERT_TRUE(eventually([&] { return app().tabIndex() == 1; }));
    EXPECT_EQ(app().tabs()[0].pane->location(), inner) << "still in the window";
    hand.leave();
    hand.enter(window->pathBar(),
               window->pathBar().findChild<QToolButton*>(QStringLiteral("lastCrumb"))->geometry().center(),
               Qt::ControlModifier);
    EXPECT_EQ(label(), QStringLiteral("Copy to “work”"));
    hand.leave();
    ASSERT_TRUE(eventually([&] { return app().tabIndex() == 0 && app().activePane().location() == work; }));
    ASSERT_TRUE(settled());

    hand.enter(files(), cell("inner"));
    ASSERT_TRUE(eventually([&] { return app().activePane().location() == inner; }));
    ASSERT_TRUE(settled());
    hand.move(ground(), Qt::ControlModifier);
    hand.drop();
    EXPECT_TRUE(becomes(inner, {"a.txt", "most"}));
    EXPECT_EQ(app().activePane().location(), inner);
}

TEST_F(DragWindow, theEdgesOfAStripAndOfTheColumnsDrawItOn) {
    std::string deep = "work";
    std::vector<FileURL> levels;
    for (int i = 0; i < 8; ++i)
        levels.push_back(folder(deep += "/deeper"));
    for (int i = 0; i < 40; ++i)
        file(std::to_string(i) + ".txt");
    open();
    DropArea::setPatience(100'000);
    key(Qt::Key_4, Qt::ControlModifier);
    test::DragHand hand({work.child("0.txt")});
    const auto* strip = window->collection().horizontalScrollBar();
    ASSERT_TRUE(eventually([&] { return strip->maximum() > 0; }));
    hand.enter(files(), QPoint(files().width() - 4, 40));
    EXPECT_TRUE(eventually([&] { return strip->value() == strip->maximum(); }));
    hand.move(QPoint(4, 40));
    EXPECT_TRUE(eventually([&] { return strip->value() == 0; }));
    hand.leave();

    key(Qt::Key_3, Qt::ControlModifier);
    auto* columns = find<QAbstractScrollArea>("columnsView");
    ASSERT_TRUE(columns);
    const auto* sideways = columns->horizontalScrollBar();
    key(Qt::Key_Home);
    for (const auto& level : levels) {
        ASSERT_TRUE(eventually([&] { return !app().currentPane().selection().empty(); }));
        key(Qt::Key_Right);
        ASSERT_TRUE(eventually(
            [&] { return app().currentPane().location() == level && app().currentPane().loadedLocation(); }));
    }
    ASSERT_TRUE(eventually([&] { return sideways->value() > 300; }));
    MorvCollectionView* first = nullptr;
    for (auto* column : columns->findChildren<MorvCollectionView*>())
        if (columns->viewport()->rect().contains(
                column->mapTo(columns->viewport(), QPoint(column->width() / 2, 100))))
            first = column;
    ASSERT_TRUE(first);
    const QPoint edge(10, 100);
    hand.enter(*first->viewport(), first->viewport()->mapFrom(columns->viewport(), edge));
    const int before = sideways->value();
    EXPECT_TRUE(eventually([&] { return sideways->value() < before; }));
    hand.leave();
    ASSERT_TRUE(settled());
}

TEST_F(DragWindow, aPressOnTheSelectionKeepsWhatItMayCarry) {
    file("a.txt");
    file("b.txt");
    folder("work/Inbox");
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    QTest::mouseClick(&files(), Qt::LeftButton, Qt::ControlModifier, cell("Inbox"));
    EXPECT_THAT(selected(), ElementsAre("a.txt", "b.txt"));
    QTest::mousePress(&files(), Qt::LeftButton, Qt::ControlModifier, cell("b.txt"));
    EXPECT_THAT(selected(), ElementsAre("a.txt", "b.txt")) << "it may become a copy of both";
    QTest::mouseRelease(&files(), Qt::LeftButton, Qt::ControlModifier, cell("b.txt"));
    EXPECT_THAT(selected(), ElementsAre("a.txt"));
}

} // namespace
} // namespace morv
