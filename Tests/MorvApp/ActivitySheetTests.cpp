// Activity: what is listed, found, told and shown of what Morv did, and what a long plan says while it is made.
#include "MorvApp/Views/Sheets/ActivityDetail.h"
#include "MorvApp/Views/Window/ProgressStrip.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QToolButton>
#include <QTreeView>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::ElementsAre;
using testing::IsEmpty;

class ActivityTest : public WindowTest {
protected:
    OperationReceipt receipt(OperationStatus status, int items, double daysAgo = 0) {
        OperationReceipt made;
        made.id = UUID::random();
        made.status = status;
        made.startedAt = Date::fromUnix(Date::now().unixSeconds() - daysAgo * 86'400);
        for (int i = 0; i < items; ++i) {
            OperationItemResult item;
            item.id = UUID::random();
            item.source = work.child("item " + std::to_string(i));
            item.status = OperationItemStatus::succeeded;
            made.items.append(item);
        }
        return made;
    }
    /// As an earlier process has left it.
    void record(const OperationReceipt& made) {
        MorvServices(environment()).store.save(made, "operations/" + made.id.text());
    }
    void showActivity(int expected) {
        app().showActivity();
        list = find<QListView>("activityReceipts");
        ASSERT_TRUE(list);
        ASSERT_TRUE(eventually([&] { return list->model()->rowCount() == expected; }));
    }
    void choose(int row) { list->setCurrentIndex(list->model()->index(row, 0)); }
    bool says(const QString& text) {
        for (auto* label : window->sheet()->findChildren<QLabel*>())
            if (label->isVisible() && label->text().contains(text))
                return true;
        return false;
    }

    QListView* list = nullptr;
};

TEST_F(ActivityTest, whatACrashLeftIsExplainedAndItsStagingCopyIsShown) {
    const auto elsewhere = folder("work/sub");
    const auto staging = file("sub/.morv-left", "half");
    auto left = receipt(OperationStatus::running, 0);
    OperationItemResult item;
    item.id = UUID::random();
    item.source = file("a.txt");
    item.destination = elsewhere.child("a.txt");
    item.stagingURL = staging;
    left.items.append(item);
    record(left);
    open();
    showActivity(1);
    EXPECT_TRUE(says(QStringLiteral("Morv stopped during this operation.")));
    EXPECT_TRUE(says(QStringLiteral("An interrupted operation is never undone or repeated by itself")));
    EXPECT_TRUE(says(QStringLiteral("may be incomplete")));
    EXPECT_FALSE(find<QPushButton>("activityUndo")->isEnabled());
    EXPECT_FALSE(find<QPushButton>("activityShowRecovery")->isVisible());
    auto* show = find<QPushButton>("activityShowStaging");
    ASSERT_TRUE(show->isVisible());
    QTest::mouseClick(show, Qt::LeftButton);
    EXPECT_FALSE(app().sheet());
    EXPECT_TRUE(eventually([&] { return selected() == std::vector<std::string>{".morv-left"}; }))
        << "a hidden item is shown to be selected";
    EXPECT_EQ(app().activePane().location(), elsewhere);
    settled();
}

TEST_F(ActivityTest, operationsStandByDayAndAreFoundByTheFilesInThem) {
    record(receipt(OperationStatus::completed, 3));
    record(receipt(OperationStatus::failed, 1, 1));
    auto named = receipt(OperationStatus::completed, 1, 400);
    OperationItemResult item;
    item.id = UUID::random();
    item.source = work.child("Rechnung März.pdf");
    item.status = OperationItemStatus::skipped;
    named.items.append(item);
    record(named);
    open();
    showActivity(3);
    const auto day = [&](int row) {
        return list->model()->index(row, 0).data(ReceiptListModel::dayRole).toString().toStdString();
    };
    EXPECT_EQ(day(0), "Today");
    EXPECT_EQ(day(1), "Yesterday");
    EXPECT_NE(day(2), "");
    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("marz"));
    EXPECT_EQ(list->model()->rowCount(), 1);
    EXPECT_TRUE(says(QStringLiteral("1 of 2 items done")));
    key(Qt::Key_Return);
    EXPECT_TRUE(list->hasFocus());
    EXPECT_TRUE(app().sheet());
    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("xyz"));
    EXPECT_TRUE(says(QStringLiteral("No matching operations")));
    key(Qt::Key_Escape);
    EXPECT_EQ(list->model()->rowCount(), 3) << "the first Escape clears the search";
    key(Qt::Key_Escape);
    EXPECT_FALSE(app().sheet());
}

TEST_F(ActivityTest, undoneFromTheListAndThenSaysWhyNot) {
    file("a.txt");
    open();
    key(Qt::Key_Down);
    key(Qt::Key_D, Qt::ControlModifier);
    ASSERT_TRUE(becomes(work, {"a 2.txt", "a.txt"}));
    showActivity(1);
    EXPECT_TRUE(says(QStringLiteral("Verified: the same contents as before")));
    auto* undo = find<QPushButton>("activityUndo");
    ASSERT_TRUE(undo->isEnabled());
    QTest::mouseClick(undo, Qt::LeftButton);
    EXPECT_FALSE(undo->isEnabled()) << "it is not asked for twice";
    EXPECT_TRUE(eventually([&] { return says(QStringLiteral("It has been undone.")); }));
    EXPECT_FALSE(undo->isEnabled());
    EXPECT_THAT(names(work), ElementsAre("a.txt"));
    EXPECT_TRUE(find<QPushButton>("activityShowRecovery")->isVisible())
        << "the result that undo removed is in Trash";
    settled();
}

TEST_F(ActivityTest, whatCouldNotBeReadIsNotCalledNothing) {
    open();
    auto& store = services->store;
    store.saveBytes("{}", "operations/nobody");
    app().showActivity();
    ASSERT_TRUE(eventually([&] { return says(QStringLiteral("an invalid journal key")); }))
        << "the reason stands in the sheet, which covers the window's own line";
    EXPECT_FALSE(says(QStringLiteral("Nothing has been changed yet")));
    store.remove("operations/nobody");
    QTest::mouseClick(find<QPushButton>("activityRetry"), Qt::LeftButton);
    EXPECT_TRUE(eventually([&] { return says(QStringLiteral("Nothing has been changed yet")); }));
    EXPECT_FALSE(says(QStringLiteral("an invalid journal key")));
    EXPECT_FALSE(app().errorMessage());
}

TEST_F(ActivityTest, aPathOfMegabytesIsGoneToWithoutAFreeze) {
    auto left = receipt(OperationStatus::completed, 0);
    auto path = work.path();
    for (int i = 0; i < 300'000; ++i)
        path += "/d";
    OperationItemResult item;
    item.id = UUID::random();
    item.source = file("a.txt");
    item.stagingURL = FileURL::fromPath(path + "/" + std::string(1'000'000, 'n') + "/left");
    left.items.append(item);
    record(left);
    open();
    showActivity(1);
    QElapsedTimer time;
    time.start();
    QTest::mouseClick(find<QPushButton>("activityShowStaging"), Qt::LeftButton);
    ASSERT_TRUE(eventually([&] { return app().activePane().error().has_value(); }));
    window->grab();
    EXPECT_LT(time.elapsed(), 20'000) << "a button for each of its folders takes minutes";
    EXPECT_LT(window->windowTitle().size(), 5'000);
    EXPECT_LT(window->findChildren<QToolButton*>(QStringLiteral("crumb")).size(), 100);
    key(Qt::Key_L, Qt::ControlModifier);
    key(Qt::Key_Escape);
}

TEST_F(ActivityTest, aHandoffToTheSystemStandsAmongTheOperations) {
    record(receipt(OperationStatus::completed, 1));
    open();
    const auto token = services->engine.beginExternalMaintenance("Empty Trash (permanent)", {});
    services->engine.endExternalMaintenance(token, "The service replied. Nothing was verified.");
    showActivity(2);
    choose(0);
    EXPECT_TRUE(says(QStringLiteral("Empty Trash (permanent)")));
    EXPECT_TRUE(says(QStringLiteral("The service replied. Nothing was verified.")));
    EXPECT_FALSE(find<QPushButton>("activityUndo")->isVisible());
    EXPECT_FALSE(find<QTreeView>("activityItems")->isVisible());
}

TEST_F(ActivityTest, aReceiptThatChangedIsSearchedAgainAndTheOthersStay) {
    auto changing = receipt(OperationStatus::completed, 1);
    record(changing);
    record(receipt(OperationStatus::completed, 300, 1));
    open();
    showActivity(2);
    auto* model = qobject_cast<ReceiptListModel*>(list->model());
    ASSERT_TRUE(model);
    const auto* before = operationOf(model->entry(1));
    const auto* stale = operationOf(model->entry(0));
    changing.message = "said later";
    services->store.save(changing, "operations/" + changing.id.text());
    find<QLineEdit>("activitySearch")->setText(QStringLiteral("completed"));
    app().refreshOperationHistory();
    ASSERT_TRUE(eventually([&] { return operationOf(model->entry(0)) != stale; }));
    EXPECT_EQ(operationOf(model->entry(1)), before) << "what has not changed is not copied";

    find<QLineEdit>("activitySearch")->setText(QStringLiteral("said at last"));
    ASSERT_EQ(model->rowCount(), 0);
    changing.message = "said at last";
    services->store.save(changing, "operations/" + changing.id.text());
    app().refreshOperationHistory();
    EXPECT_TRUE(eventually([&] { return model->rowCount() == 1; }));
}

TEST_F(ActivityTest, manyReceiptsAndNamesOfMegabytesAreShownAndSearched) {
    open();
    auto big = receipt(OperationStatus::completed, 2'000);
    OperationItemResult item;
    item.id = UUID::random();
    item.source = work.child(std::string(1'000'000, 'n'));
    item.error = std::string(1'000'000, 'e');
    item.status = OperationItemStatus::failed;
    big.items.append(item);
    big.message = std::string(1'000'000, 'm');
    {
        auto& store = services->store;
        store.save(big, "operations/" + big.id.text());
        for (int i = 0; i < 40; ++i) {
            const auto small = receipt(OperationStatus::completed, 2, i / 20.0 + 1);
            store.save(small, "operations/" + small.id.text());
        }
    }
    app().refreshOperationHistory();
    ASSERT_TRUE(eventually([&] { return app().receipts().size() == 41; }));
    showActivity(41);
    auto* items = find<QTreeView>("activityItems");
    items->setCurrentIndex(items->model()->index(2'000, 0));
    window->grab();
    for (const auto role : {Qt::DisplayRole, Qt::ToolTipRole})
        EXPECT_LT(items->currentIndex().data(role).toString().size(), 10'000)
            << "the longest names are not written out";
    find<QLineEdit>("activitySearch")->setText(QStringLiteral("item 1999"));
    EXPECT_EQ(list->model()->rowCount(), 1);
}

TEST_F(WindowTest, aLongPlanSaysWhatItReadsAndIsStoppedByTheButtonAndByEscape) {
    const auto big = file("big");
    std::filesystem::resize_file(big.path(), std::uintmax_t(64) << 30U);
    open();
    auto* strip = window->findChild<ProgressStrip*>();
    for (const bool byKey : {false, true}) {
        SCOPED_TRACE(byKey);
        app().perform(FileCommand::selectAll);
        app().perform(FileCommand::duplicate);
        ASSERT_TRUE(eventually([&] { return strip->isVisible(); }));
        EXPECT_TRUE(strip->findChild<QLabel*>()->text().contains(QStringLiteral("Reading “big”")));
        EXPECT_TRUE(app().isPlanning());
        if (byKey)
            key(Qt::Key_Escape);
        else
            QTest::mouseClick(find<QPushButton>("cancelOperation"), Qt::LeftButton);
        EXPECT_FALSE(app().isPlanning());
        EXPECT_FALSE(strip->isVisible());
        EXPECT_FALSE(app().errorMessage()) << "what the user stopped is no failure";
    }
    EXPECT_THAT(selected(), ElementsAre("big")) << "Escape stopped the plan and nothing else";
    EXPECT_THAT(services->engine.history(), IsEmpty());
    std::filesystem::resize_file(big.path(), 1);
}

} // namespace
} // namespace morv
