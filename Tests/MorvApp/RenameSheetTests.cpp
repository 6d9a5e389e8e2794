// Renaming several items at once by a pattern.
#include "MorvApp/Views/Sheets/RenameSheet.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTreeView>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::ElementsAre;

class RenameSheetTest : public WindowTest {
protected:
    void begin() {
        key(Qt::Key_A, Qt::ControlModifier);
        key(Qt::Key_F2);
        pattern = find<QLineEdit>("renamePattern");
        ASSERT_TRUE(pattern);
        review = find<QPushButton>("renameReview");
        rows = find<QTreeView>("renameNames")->model();
    }
    std::string cell(int row, int column) { return rows->index(row, column).data().toString().toStdString(); }
    bool shows(int row, const std::string& name) {
        return eventually([&] { return cell(row, RenameModel::after) == name; });
    }

    QLineEdit* pattern = nullptr;
    QPushButton* review = nullptr;
    QAbstractItemModel* rows = nullptr;
};

TEST_F(RenameSheetTest, everyNewNameIsSeenReviewedAndTakenBack) {
    file("a.txt", "A");
    file("b.txt", "B");
    open();
    begin();
    pattern->selectAll();
    type(QStringLiteral("Trip "));
    for (auto* button : window->sheet()->findChildren<QPushButton*>(QStringLiteral("token")))
        if (button->text() == QLatin1String("Number"))
            QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_TRUE(pattern->hasFocus());
    type(QStringLiteral(".{ext}"));
    ASSERT_TRUE(shows(1, "Trip 2.txt"));
    EXPECT_EQ(cell(0, RenameModel::before), "a.txt");
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt"));
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return app().reviewPlan().has_value(); })) << "several are always reviewed";
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt"));
    look();
    key(Qt::Key_Return);
    ASSERT_TRUE(becomes(work, {"Trip 1.txt", "Trip 2.txt"}));
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(becomes(work, {"a.txt", "b.txt"}));
}

TEST_F(RenameSheetTest, whatThePlanWouldRefuseCannotBeReviewed) {
    file("a.txt");
    file("b.txt");
    open();
    begin();
    pattern->setText(QStringLiteral("{name}.{ext}"));
    EXPECT_TRUE(eventually([&] { return cell(0, RenameModel::note) == "Has this name already"; }));
    EXPECT_FALSE(review->isEnabled());
    key(Qt::Key_Return);
    EXPECT_EQ(app().sheet(), AppSheet::rename);
    pattern->setText(QStringLiteral("{name}:"));
    EXPECT_TRUE(eventually([&] { return cell(1, RenameModel::note) == "No file may have this name"; }));
    EXPECT_FALSE(review->isEnabled());
    pattern->setText(QStringLiteral("same"));
    EXPECT_TRUE(eventually([&] { return review->isEnabled(); }));
    EXPECT_EQ(cell(0, RenameModel::note), "");
    EXPECT_EQ(cell(1, RenameModel::note), "The name is taken: a number is added");
    key(Qt::Key_Escape);
    EXPECT_FALSE(app().sheet());
    EXPECT_TRUE(window->collection().hasFocus());
    EXPECT_THAT(names(work), ElementsAre("a.txt", "b.txt"));
}

TEST_F(RenameSheetTest, foldersGetNoDotWithoutAnExtension) {
    folder("work/a");
    folder("work/b");
    open();
    begin();
    EXPECT_TRUE(shows(0, "a 1"));
    key(Qt::Key_Escape);
}

TEST_F(RenameSheetTest, oneItemIsRenamedInItsPlace) {
    file("a.txt");
    open();
    key(Qt::Key_Down);
    key(Qt::Key_F2);
    EXPECT_FALSE(app().sheet());
    EXPECT_TRUE(qobject_cast<QLineEdit*>(QApplication::focusWidget()));
    key(Qt::Key_Escape);
}

TEST_F(WindowTest, thePaletteFindsEveryCommandOnceSomethingIsTyped) {
    open();
    key(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    auto* list = find<QListWidget>("quickActions");
    ASSERT_TRUE(list);
    EXPECT_TRUE(list->findItems(QStringLiteral("All Commands"), Qt::MatchExactly).isEmpty());
    type(QStringLiteral("new"));
    std::vector<std::string> titles;
    for (int row = 0; row < list->count(); ++row)
        titles.push_back(list->item(row)->text().toStdString());
    EXPECT_THAT(titles, ElementsAre("New Folder", "All Commands", "New Window", "New Tab", "New Workspace…"));
    key(Qt::Key_Down);
    EXPECT_EQ(list->currentItem()->text(), QStringLiteral("New Window")) << "the heading is passed over";
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_EQ(app().tabs().size(), 2U);
    ASSERT_TRUE(settled());

    // What needs a selection is named and cannot be run without one.
    key(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    type(QStringLiteral("move to trash"));
    list = find<QListWidget>("quickActions");
    ASSERT_EQ(list->count(), 2);
    EXPECT_FALSE(list->item(1)->flags().testFlag(Qt::ItemIsEnabled));
    key(Qt::Key_Return);
    EXPECT_EQ(app().sheet(), AppSheet::commands);
    key(Qt::Key_Escape);
}

} // namespace
} // namespace morv
