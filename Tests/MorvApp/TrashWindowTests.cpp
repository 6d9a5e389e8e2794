// Empty Trash in the real window, by the hand of a user. The system's part is played: what it really does is
// tested beside the service.
#include "MorvApp/Views/Sheets/TrashBand.h"
#include "MorvApp/Views/Window/MainWindow.h"
#include "Tests/MorvApp/Support.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScopeGuard>
#include <QTest>
#include <QToolButton>
#include <QTreeWidget>
#include <atomic>

namespace morv {
namespace {

using test::eventually;

class TrashWindow : public test::FolderTest {
protected:
    void open() {
        services.emplace(environment());
        services->trash.setOperations({emptyTrashAlert(), trashFinishedAlert(),
                                       [this](const std::stop_token&) { ++sent; }, [this] { ++opened; }});
        window.emplace(*services, board, work);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(eventually([&] { return window->isActiveWindow(); }));
    }
    template <class Widget>
    Widget* find(const char* name, QWidget* in = nullptr) {
        return (in ? in : &*window)->findChild<Widget*>(QLatin1String(name));
    }
    static void click(QWidget* button) {
        ASSERT_TRUE(button && button->isVisible() && button->isEnabled());
        QTest::mouseClick(button, Qt::LeftButton);
    }
    QMessageBox* alert() {
        EXPECT_TRUE(eventually([&] { return find<QMessageBox>("trashAlert"); }));
        return find<QMessageBox>("trashAlert");
    }
    bool alertIsGone() {
        return eventually([&] { return !find<QMessageBox>("trashAlert"); });
    }
    void chooseFromFilesMenu() {
        for (auto* entry : window->menuBar()->actions())
            if (entry->text() == QLatin1String("Files"))
                for (auto* action : entry->menu()->actions())
                    if (action->text() == QStringLiteral("Empty Trash…"))
                        return action->trigger();
        FAIL() << "The menu does not have it.";
    }
    bool says(const char* beginning, QWidget* in = nullptr) {
        return eventually([&] {
            auto* label = find<QLabel>("trashMessage", in);
            return label && label->isVisible() && label->text().startsWith(QString::fromUtf8(beginning));
        });
    }

    test::MemoryBoard board;
    std::atomic<int> sent = 0, opened = 0;
    std::optional<MorvServices> services;
    std::optional<MainWindow> window;
};

TEST_F(TrashWindow, emptyingIsConfirmedShownAndAcknowledged) {
    open();
    auto* band = find<TrashBand>("trashBand");
    EXPECT_FALSE(band->isVisible());
    chooseFromFilesMenu();
    auto* box = alert();
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text(), QStringLiteral("Permanently empty the system Trash?"));
    EXPECT_EQ(
        box->informativeText(),
        QStringLiteral(
            "The system’s Trash service will permanently delete ALL items currently in Trash, including "
            "Trash on connected drives as the service handles it. This is not limited to Smart Clean "
            "selections or the selected folder.\n\n"
            "This action is permanent and cannot be undone. Morv’s Undo and Activity recovery can rely on "
            "items in Trash; they cannot restore anything the Trash service permanently removes. Check "
            "Trash and finish any recovery first.\n\n"
            "The Trash service may go on removing items after it has answered. Morv’s file operations "
            "stay paused until you check Trash and acknowledge that its action has finished or been "
            "cancelled."));
    ASSERT_EQ(box->buttons().size(), 2);
    EXPECT_EQ(box->buttons()[1]->text(), QStringLiteral("Empty Trash Permanently"));
    EXPECT_EQ(box->buttons()[1]->objectName(), QStringLiteral("destructive"));
    QTest::keyClick(box, Qt::Key_Return);
    ASSERT_TRUE(alertIsGone());
    EXPECT_TRUE(says("Cancelled. No Empty Trash command was sent."));
    click(find<QToolButton>("trashClose"));
    EXPECT_FALSE(band->isVisible());

    chooseFromFilesMenu();
    click(alert()->buttons()[1]);
    ASSERT_TRUE(says("The Trash service replied. Check that its Empty Trash work"));
    ASSERT_TRUE(alertIsGone());
    EXPECT_EQ(sent, 1);
    EXPECT_FALSE(find<QToolButton>("trashClose")->isVisible()) << "what waits is not put away";
    click(find<QPushButton>("trashOpen"));
    EXPECT_TRUE(eventually([&] { return opened == 1; }));
    EXPECT_EQ(services->windows.applicationShouldTerminate().verdict, QuitAnswer::Verdict::refuse);

    // The same stands at the top of Activity.
    window->model().showActivity();
    ASSERT_TRUE(says("Opened Trash in the system file manager.", window->sheet()));
    click(find<QPushButton>("trashFinished", window->sheet()));
    box = alert();
    EXPECT_EQ(box->text(), QStringLiteral("Has the Trash service finished or cancelled Empty Trash?"));
    EXPECT_EQ(
        box->informativeText(),
        QStringLiteral("Continue only after the Trash service’s work has finished or been cancelled. A "
                       "returned reply or timeout does not verify that the system action is finished.\n\n"
                       "Continuing releases Morv’s paused file operations. It does not resend Empty "
                       "Trash or make permanently removed items recoverable."));
    EXPECT_EQ(box->buttons()[1]->text(), QStringLiteral("The Trash Service Has Finished"));
    EXPECT_NE(box->buttons()[1]->objectName(), QStringLiteral("destructive")) << "it removes nothing";
    QTest::keyClick(box, Qt::Key_Escape);
    ASSERT_TRUE(alertIsGone());
    EXPECT_TRUE(services->trash.awaitingFinderCompletion());
    ASSERT_TRUE(eventually([&] { return !services->trash.isCompleting(); }));
    click(find<QPushButton>("trashFinished", window->sheet()));
    click(alert()->buttons()[1]);
    EXPECT_TRUE(says("Trash handoff acknowledged."));
    EXPECT_EQ(services->windows.applicationShouldTerminate().verdict, QuitAnswer::Verdict::quit);
    EXPECT_EQ(sent, 1);
}

/// Desktops lay out the buttons of an alert each in an order of its own.
TEST_F(TrashWindow, cancelIsFirstAndHasTheKeyboardOnEveryDesktop) {
    open();
    const auto theme = qApp->styleSheet();
    const auto restore = qScopeGuard([&] { qApp->setStyleSheet(theme); });
    for (int layout = 0; layout < 4; ++layout) {
        SCOPED_TRACE(layout);
        qApp->setStyleSheet(theme + QStringLiteral("QDialogButtonBox { button-layout: %1; }").arg(layout));
        chooseFromFilesMenu();
        auto* box = alert();
        ASSERT_TRUE(box);
        ASSERT_EQ(box->buttons().size(), 2);
        auto* cancel = box->buttons()[0];
        EXPECT_TRUE(QTest::qWaitForWindowExposed(box));
        EXPECT_LT(cancel->x(), box->buttons()[1]->x());
        EXPECT_TRUE(eventually([&] { return box->focusWidget() == cancel; }));
        QTest::keyClick(box->focusWidget(), Qt::Key_Space);
        ASSERT_TRUE(alertIsGone());
        EXPECT_TRUE(says("Cancelled."));
    }
    EXPECT_EQ(sent, 0);
}

TEST_F(TrashWindow, theSameAnswerIsShownAgainAfterItWasPutAway) {
    open();
    const auto turn = services->engine.admit(services->engine.plan(
        {.kind = OperationKind::newFolder, .destination = work, .newName = std::string("waits")}, {}));
    for (int time = 0; time < 2; ++time) {
        SCOPED_TRACE(time);
        chooseFromFilesMenu();
        ASSERT_TRUE(eventually([&] { return !services->trash.isWorking(); }));
        ASSERT_TRUE(says("Finish Morv’s active or queued file operations"));
        click(find<QToolButton>("trashClose"));
        EXPECT_FALSE(find<TrashBand>("trashBand")->isVisible());
    }
}

TEST_F(TrashWindow, everyWindowShowsWhatWaitsAndAsksForItself) {
    open();
    MainWindow other(*services, board, work);
    chooseFromFilesMenu();
    click(alert()->buttons()[1]);
    ASSERT_TRUE(says("The Trash service replied."));
    other.show();
    other.activateWindow();
    ASSERT_TRUE(eventually([&] { return other.isActiveWindow(); }));
    auto* finished = find<QPushButton>("trashFinished", &other);
    // From the files to the acknowledgement by the keyboard alone.
    for (int step = 0; step < 100 && !finished->hasFocus(); ++step)
        QTest::keyClick(other.focusWidget(), Qt::Key_Tab);
    ASSERT_TRUE(finished->hasFocus());
    QTest::keyClick(finished, Qt::Key_Space);
    ASSERT_TRUE(eventually([&] { return find<QMessageBox>("trashAlert", &other); }));
    EXPECT_FALSE(find<QPushButton>("trashFinished")->isEnabled()) << "asked once, wherever";
    QTest::keyClick(find<QMessageBox>("trashAlert", &other), Qt::Key_Tab);
    QTest::keyClick(find<QMessageBox>("trashAlert", &other)->focusWidget(), Qt::Key_Return);
    EXPECT_TRUE(says("Trash handoff acknowledged."));
    EXPECT_TRUE(says("Trash handoff acknowledged.", &other));
    click(find<QToolButton>("trashClose"));
    EXPECT_TRUE(find<TrashBand>("trashBand", &other)->isVisible()) << "put away in one window only";
}

TEST_F(TrashWindow, theSidebarsTrashIsOpenedAndEmptied) {
    open();
    auto* sidebar = find<QTreeWidget>("sidebar");
    // The places arrive one after the other and move it down.
    const auto place = [&] {
        const auto rows = sidebar->findItems(QStringLiteral("Trash"), Qt::MatchExactly);
        return rows.size() == 1 ? sidebar->visualItemRect(rows[0]).center() : QPoint(-1, -1);
    };
    EXPECT_TRUE(eventually([&] {
        if (opened == 0 && !services->trash.isOpening())
            QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {}, place());
        return opened == 1;
    }));
    EXPECT_EQ(window->model().activePane().location(), work);

    QMenu* menu = nullptr;
    ASSERT_TRUE(eventually([&] {
        const auto at = place();
        QContextMenuEvent asked(QContextMenuEvent::Mouse, at, sidebar->viewport()->mapToGlobal(at));
        QApplication::sendEvent(sidebar->viewport(), &asked);
        return (menu = sidebar->findChild<QMenu*>()) != nullptr;
    }));
    const auto actions = menu->actions();
    ASSERT_EQ(actions.back()->text(), QStringLiteral("Empty Trash…"));
    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(actions.back()).center());
    ASSERT_TRUE(alert());
    EXPECT_TRUE(says("Waiting for your Empty Trash decision…"));
    // A window that closes takes its alert along, and nothing was agreed to.
    window.reset();
    EXPECT_TRUE(eventually([&] { return !services->trash.isWorking(); }));
    EXPECT_EQ(services->trash.message(), "Cancelled. No Empty Trash command was sent.");
    EXPECT_EQ(sent, 0);
}

TEST_F(TrashWindow, aHandoffThatWasLeftIsSeenAtStart) {
    {
        SQLiteStore store(MorvServices::dataDirectory(environment()).child("Morv.sqlite"));
        FileOperationEngine engine(store);
        engine.beginExternalMaintenance("System Empty Trash (permanent)", {});
    }
    open();
    ASSERT_TRUE(says("A previous Trash handoff needs review."));
    EXPECT_TRUE(find<TrashBand>("trashBand")->property("problem").toBool());
    click(find<QPushButton>("trashFinished"));
    click(alert()->buttons()[1]);
    EXPECT_TRUE(says("Trash handoff acknowledged."));
    EXPECT_EQ(sent, 0) << "nothing is sent again";
    EXPECT_FALSE(services->engine.hasActiveOperation());
}

} // namespace
} // namespace morv
