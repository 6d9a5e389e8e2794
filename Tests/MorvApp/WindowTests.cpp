// Drives the real window with keys, on real files, a real engine and a real Trash in the test's own folders.
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Sheets/ReviewSheet.h"
#include "MorvApp/Views/Window/MainWindow.h"
#include "MorvApp/Views/Window/PathBar.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/Support.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeView>

namespace morv {
namespace {

using test::eventually;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class WindowTest : public test::FolderTest {
protected:
    void open() {
        services.emplace(environment());
        window.emplace(*services, board, work);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(eventually([&] { return window->isActiveWindow() && window->collection().hasFocus(); }));
        ASSERT_TRUE(settled());
    }
    AppModel& app() { return window->model(); }
    bool settled() {
        return eventually([&] {
            return !app().isOperating() && !app().activePane().isLoading() &&
                   app().activePane().loadedLocation();
        });
    }
    /// To whatever has the keyboard, as a hand would; shortcuts of the window included.
    void key(int code, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        auto* target = QApplication::focusWidget();
        ASSERT_TRUE(target);
        QTest::keyClick(target, static_cast<Qt::Key>(code), modifiers);
    }
    void type(const QString& text) { QTest::keyClicks(QApplication::focusWidget(), text); }
    template <class Widget>
    Widget* find(const char* name) {
        return window->findChild<Widget*>(QLatin1String(name));
    }
    std::vector<std::string> selected() {
        std::vector<std::string> result;
        for (const auto* entry : app().activePane().selectedEntries())
            result.push_back(entry->name);
        return result;
    }
    bool becomes(const FileURL& folder, const std::vector<std::string>& expected) {
        return eventually([&] { return names(folder) == expected; }) && settled();
    }

    test::MemoryBoard board;
    std::optional<MorvServices> services;
    std::optional<MainWindow> window;
};

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

TEST_F(WindowTest, tagsAreReplacedAndTakenBack) {
    const auto item = file("a.txt");
    FileTagMetadata::setNames(item, {"Old", "Red"});
    open();
    key(Qt::Key_Down);
    app().perform(FileCommand::tags);
    auto* field = find<QLineEdit>("tagNames");
    ASSERT_TRUE(field);
    EXPECT_EQ(field->text(), QStringLiteral("Old, Red"));
    field->setText(QStringLiteral(" Blue ,, Green"));
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] {
        return FileTagMetadata::names(item) == std::vector<std::string>{"Blue", "Green"};
    }));
    ASSERT_TRUE(settled());
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] {
        return FileTagMetadata::names(item) == std::vector<std::string>{"Old", "Red"};
    }));
    settled();
}

TEST_F(WindowTest, thePathIsTypedAndTheKeyboardComesBack) {
    folder("work/sub");
    file("sub-file");
    open();
    key(Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(window->pathBar().isEditing());
    type(QStringLiteral("sub"));
    key(Qt::Key_Return);
    EXPECT_EQ(app().activePane().location(), work.child("sub"))
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

TEST_F(WindowTest, aReviewOfThousandsOpensAtOnce) {
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
    QElapsedTimer timer;
    timer.start();
    app().offer(plan, {});
    QCoreApplication::processEvents();
    EXPECT_LT(timer.elapsed(), 1000);
    ASSERT_TRUE(window->sheet());
    key(Qt::Key_Escape);
    EXPECT_FALSE(app().reviewPlan());
}

} // namespace
} // namespace morv
