// What comes by itself while a hand is busy: reviews one after the other, keys that were meant for something
// else, a name or a sheet that is being filled in, keys that are held.
#include "MorvApp/Views/Sheets/ReviewSheet.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QTreeView>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::ElementsAre;
using testing::SizeIs;

class SheetFlowTest : public WindowTest {
protected:
    /// Of a copy beside itself: something to confirm.
    FileOperationPlan planned(const FileURL& item) {
        OperationRequest request;
        request.kind = OperationKind::copy;
        request.sources = {item};
        request.destination = work;
        return services->engine.plan(request, {});
    }
    ReviewSheet* review() { return qobject_cast<ReviewSheet*>(window->sheet()); }
    /// The sheet that is seen has come this moment, and time passes only by `passes()`.
    void holdClock() {
        window->sheet()->guardKeys([this] { return now_; });
    }
    void passes(std::chrono::milliseconds time) { now_ += time; }
    /// As a key that is held sends itself.
    void repeat(int code, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::simulateEvent(QApplication::focusWidget(), true, code, modifiers, QString(), true);
    }

private:
    std::chrono::steady_clock::time_point now_;
};

TEST_F(SheetFlowTest, aSecondReviewWaitsForTheFirstAndTakesNoKeyThatWasMeantForIt) {
    const auto a = file("a.txt");
    const auto b = file("b.txt");
    open();
    const auto first = planned(a);
    const auto second = planned(b);
    app().offer(first, {});
    ASSERT_TRUE(review());
    auto* items = find<QTreeView>("reviewItems");
    ASSERT_TRUE(items->model()->setData(items->model()->index(0, 0), Qt::Unchecked, Qt::CheckStateRole));
    app().offer(second, [](const std::stop_token&) { throw std::runtime_error("stale"); });
    ASSERT_EQ(review()->planID(), first.id);
    EXPECT_EQ(items->model()->index(0, 0).data(Qt::CheckStateRole), Qt::Unchecked);
    items->model()->setData(items->model()->index(0, 0), Qt::Checked, Qt::CheckStateRole);

    find<QPushButton>("reviewConfirm")->click();
    ASSERT_EQ(review()->planID(), second.id);
    holdClock();
    key(Qt::Key_Return);
    EXPECT_TRUE(becomes(work, {"a 2.txt", "a.txt", "b.txt"})) << "its own check is not that of the first";
    ASSERT_TRUE(review());
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
    EXPECT_TRUE(window->collection().hasFocus());
    EXPECT_FALSE(app().errorMessage());
    EXPECT_THAT(services->engine.history(), SizeIs(1));
}

TEST_F(SheetFlowTest, aKeyThatWasMeantForSomethingElseConfirmsAndUnchecksNothing) {
    const auto a = file("a.txt");
    open();
    app().offer(planned(a), {});
    ASSERT_TRUE(review());
    holdClock();
    auto* items = find<QTreeView>("reviewItems");
    const auto checked = [items] {
        return items->model()->index(0, 0).data(Qt::CheckStateRole) == Qt::Checked;
    };
    key(Qt::Key_Space);
    passes(KeyGuard::pause / 2);
    key(Qt::Key_Return);
    passes(KeyGuard::pause - std::chrono::milliseconds(1));
    repeat(Qt::Key_Return);
    key(Qt::Key_Space);
    ASSERT_TRUE(review()) << "each of them begins the pause anew";
    EXPECT_TRUE(checked());
    passes(KeyGuard::pause);
    key(Qt::Key_Space);
    EXPECT_FALSE(checked()) << "after the pause the sheet has its keys";
    key(Qt::Key_Space);
    key(Qt::Key_Return);
    EXPECT_TRUE(becomes(work, {"a 2.txt", "a.txt"}));
}

TEST_F(SheetFlowTest, aReviewWaitsForTheNameThatIsBeingTyped) {
    const auto a = file("a.txt");
    file("b.txt");
    open();
    const auto plan = planned(a);
    key(Qt::Key_End);
    key(Qt::Key_F2);
    type(QStringLiteral("fin"));
    auto* field = find<QLineEdit>("inlineName");
    app().offer(plan, {});
    EXPECT_FALSE(review());
    EXPECT_TRUE(field->hasFocus());
    type(QStringLiteral("al"));
    EXPECT_EQ(field->text(), QStringLiteral("final.txt"));
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return review() != nullptr; })) << "it comes when the name is given";
    EXPECT_TRUE(becomes(work, {"a.txt", "final.txt"}));
    key(Qt::Key_Escape);
}

TEST_F(SheetFlowTest, aSheetThatIsBeingFilledInOutlastsWhatComesMeanwhile) {
    const auto a = file("a.txt");
    const auto gone = file("gone.txt");
    open();
    const auto plan = planned(a);
    auto failing = planned(gone);
    file("gone.txt", "changed after the plan");
    key(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    auto* sheet = window->sheet();
    ASSERT_TRUE(sheet);
    type(QStringLiteral("Ma"));
    app().offer(plan, {});
    ASSERT_TRUE(review());
    EXPECT_FALSE(sheet->isVisible());
    key(Qt::Key_Escape);
    ASSERT_EQ(window->sheet(), sheet);
    ASSERT_TRUE(sheet->isVisible());

    app().execute(std::move(failing));
    ASSERT_TRUE(
        eventually([&] { return !app().receipts().empty() && !app().receipts().front().isActive(); }));
    ASSERT_TRUE(settled());
    EXPECT_EQ(window->sheet(), sheet) << "Activity waits for the sheet that is open";
    type(QStringLiteral("de"));
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return find<QListView>("activityReceipts") != nullptr; }));
    EXPECT_TRUE(becomes(work, {"Made", "a.txt", "gone.txt"}));
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
}

TEST_F(SheetFlowTest, undoTakesBackThePlanInTheMakingAndNothingOlder) {
    const auto big = file("big");
    std::filesystem::resize_file(big.path(), std::uintmax_t(64) << 30U);
    open();
    app().createFolder(work, "kept");
    ASSERT_TRUE(becomes(work, {"big", "kept"}));
    app().createFolder(work, "kept too");
    ASSERT_TRUE(becomes(work, {"big", "kept", "kept too"}));
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_D, Qt::ControlModifier);
    ASSERT_TRUE(app().isPlanning());
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_FALSE(app().isPlanning());
    EXPECT_EQ(app().status(), "Duplicate stopped before it began · Nothing was changed");
    ASSERT_TRUE(settled());
    EXPECT_THAT(names(work), ElementsAre("big", "kept", "kept too"));
    std::filesystem::resize_file(big.path(), 1);

    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(app().isUndoing());
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return !app().isUndoing(); }));
    ASSERT_TRUE(settled());
    EXPECT_THAT(names(work), ElementsAre("big", "kept")) << "a second one waits for the answer to the first";
    EXPECT_FALSE(app().errorMessage());
}

TEST_F(SheetFlowTest, aKeyThatIsHeldChangesFilesOnceAndStillMovesAmongTabs) {
    file("a.txt");
    open();
    // A worker may still hold it when the test has ended.
    const auto opened = std::make_shared<std::atomic<int>>(0);
    services->opener = [opened](const FileURL&) { ++*opened; };
    key(Qt::Key_Home);
    key(Qt::Key_D, Qt::ControlModifier);
    for (int i = 0; i < 3; ++i)
        repeat(Qt::Key_D, Qt::ControlModifier);
    ASSERT_TRUE(becomes(work, {"a 2.txt", "a.txt"}));
    EXPECT_THAT(services->engine.history(), SizeIs(1));

    // Return begins a name, and the same press does not end it.
    key(Qt::Key_Return);
    ASSERT_TRUE(find<QLineEdit>("inlineName"));
    repeat(Qt::Key_Return);
    EXPECT_TRUE(find<QLineEdit>("inlineName")->isVisible());
    key(Qt::Key_Escape);
    services->keys.setKeys(FileCommand::rename, {"F2"});
    services->keys.setKeys(FileCommand::open, {"Return"});
    repeat(Qt::Key_Return);
    repeat(Qt::Key_Down, Qt::AltModifier);
    EXPECT_FALSE(app().activePane().isLoading());
    services->keys.resetAll();

    app().addTab();
    app().addTab();
    ASSERT_TRUE(settled());
    ASSERT_EQ(app().tabIndex(), 2U);
    repeat(Qt::Key_PageUp, Qt::ControlModifier);
    repeat(Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_EQ(app().tabIndex(), 0U);
    ASSERT_TRUE(settled());
    EXPECT_EQ(*opened, 0);
}

} // namespace
} // namespace morv
