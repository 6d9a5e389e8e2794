#include "MorvApp/Views/Window/ManagedFileWindow.h"
#include "MorvApp/Views/Window/ScreenKeeper.h"
#include "Tests/MorvApp/Support.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QPointer>
#include <QSignalSpy>

namespace morv {
namespace {

using test::eventually;

class ManagedFileWindowTest : public test::FolderTest {
protected:
    ManagedFileWindowTest() {
        services.emplace(environment());
        services->windows.setFactory([this](const std::optional<FileURL>& at) {
            last = new ManagedFileWindow(*services, board, at);
            made.emplace_back(last);
            return last;
        });
    }
    ~ManagedFileWindowTest() override {
        for (const auto& window : made)
            delete window.data();
    }
    ManagedFileWindow* open() {
        services->windows.newWindow(work);
        return last;
    }
    OperationAdmission operation() {
        OperationRequest request;
        request.kind = OperationKind::duplicate;
        request.sources = {file("a")};
        return services->engine.admit(services->engine.plan(request, {}));
    }
    static std::vector<std::string> buttons(const QMessageBox& box) {
        std::vector<std::string> titles;
        for (const auto* button : box.buttons())
            titles.push_back(button->text().toStdString());
        return titles;
    }

    test::MemoryBoard board;
    std::optional<MorvServices> services;
    ManagedFileWindow* last = nullptr;
    std::vector<QPointer<ManagedFileWindow>> made;
};

TEST_F(ManagedFileWindowTest, aWindowGoesWithItsModelAndLeavesItsFrame) {
    const QPointer<ManagedFileWindow> first = open(), second = open();
    EXPECT_NE(first->pos(), second->pos()) << "one does not hide the other";
    EXPECT_EQ(services->windows.visibleCount(), 2U);
    second->resize(1000, 700);
    QSignalSpy closed(second, &ManagedFileWindow::closed);
    second->close();
    EXPECT_EQ(closed.count(), 1);
    EXPECT_TRUE(eventually([&] { return second.isNull(); }));
    EXPECT_EQ(services->windows.visibleCount(), 1U);
    EXPECT_EQ(services->windows.visibleManager(work), &first->model());
    EXPECT_EQ(open()->size(), QSize(1000, 700));
    const auto* third = last;
    EXPECT_NE(open()->pos(), third->pos());
    last->setWindowState(Qt::WindowMaximized | Qt::WindowMinimized);
    last->bringForward();
    EXPECT_TRUE(last->isMaximized() && !last->isMinimized());
}

TEST_F(ManagedFileWindowTest, theLastWindowStaysDuringAnOperationUnlessItCanBeBroughtBack) {
    const QPointer<ManagedFileWindow> first = open(), second = open();
    {
        const auto turn = operation();
        second->close();
        EXPECT_TRUE(eventually([&] { return second.isNull(); })) << "another one shows the operation";
        first->close();
        EXPECT_TRUE(first->MainWindow::isVisible());
        services->windows.setReachable(true);
        first->close();
        EXPECT_TRUE(eventually([&] { return first.isNull(); }));
        EXPECT_TRUE(services->windows.keepsProcess());
    }
    EXPECT_FALSE(services->windows.keepsProcess());
}

TEST_F(ManagedFileWindowTest, quittingIsRefusedOrAskedAboutInItsOwnWords) {
    auto* window = open();
    bool shelves = true;
    services->windows.setShelvesEnabled([&] { return shelves; });
    const auto asked = [&](const char* title, const std::vector<std::string>& wanted) {
        window->quit();
        auto* box = window->findChild<QMessageBox*>();
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->text().toStdString(), title);
        EXPECT_EQ(buttons(*box), wanted);
        box->buttons().front()->click();
        EXPECT_TRUE(eventually([&] { return !window->findChild<QMessageBox*>(); }));
        EXPECT_TRUE(window->MainWindow::isVisible());
    };
    asked("Quit Morv’s desktop shelves?", {"Keep Morv Open", "Quit Morv"});
    const auto turn = operation();
    asked("Files are still being processed", {"Keep Morv Open"});
}

TEST(ScreenKeeper, aWindowThatNoScreenShowsComesBackAndAnyOtherStays) {
    const QRect laptop(0, 30, 1366, 738);
    const QRect beamer(1366, 0, 1920, 1080);
    struct Row {
        const char* name;
        QRect frame;
        QList<QRect> screens;
        QRect placed;
    };
    const Row rows[] = {
        {"where it was", {100, 100, 900, 600}, {laptop}, {100, 100, 900, 600}},
        {"over both", {1200, 100, 900, 600}, {laptop, beamer}, {1200, 100, 900, 600}},
        {"half beyond the edge", {1200, 100, 900, 600}, {laptop}, {1200, 100, 900, 600}},
        {"its screen has gone", {1500, 100, 900, 600}, {laptop}, {466, 100, 900, 600}},
        {"larger than what is left", {1400, -20, 1900, 1000}, {laptop}, laptop},
        {"its title above the edge", {100, 0, 900, 600}, {laptop}, {100, 30, 900, 600}},
        {"no screen at all", {1500, 100, 900, 600}, {}, {1500, 100, 900, 600}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(ScreenKeeper::place(row.frame, row.screens), row.placed);
    }
}

} // namespace
} // namespace morv
