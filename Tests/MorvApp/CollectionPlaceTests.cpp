// What stays where it belongs in a collection: the field of a name, the beginning of a range, what is in sight.
#include "MorvApp/Views/Window/WindowActions.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QLineEdit>
#include <QScrollBar>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::ElementsAre;

class CollectionPlaceTest : public WindowTest {
protected:
    MorvCollectionView& view() { return window->collection(); }
    void show(BrowserViewMode mode) {
        auto preferences = app().activePane().preferences();
        preferences.view = mode;
        app().activePane().setPreferences(preferences);
    }
    void files(int number) {
        for (int i = 0; i < number; ++i)
            file("f" + std::to_string(100 + i) + ".txt");
    }
    void click(std::int64_t index, Qt::KeyboardModifiers keys = Qt::NoModifier) {
        QTest::mouseClick(view().viewport(), Qt::LeftButton, keys, view().visualRect(index).center());
    }
    bool isInSight(std::int64_t index) {
        return view().viewport()->rect().contains(view().visualRect(index).center());
    }
    /// The first item of the first row that can be seen as a whole.
    std::int64_t top() {
        std::int64_t index = 0;
        while (view().visualRect(index).top() < 0)
            ++index;
        return index;
    }
};

TEST_F(CollectionPlaceTest, theFieldOfANameStandsWhereTheNameStood) {
    file("a quite ordinary name.txt");
    folder("work/folder");
    open();
    WindowActions actions(app(), *window, [](FileCommand) {});
    struct Row {
        const char* name;
        CollectionMode mode;
        QSize size;
    };
    for (const auto& row :
         {Row{"grid", CollectionMode::grid, {600, 400}}, Row{"list", CollectionMode::list, {700, 400}},
          Row{"column", CollectionMode::column, {240, 400}}, Row{"strip", CollectionMode::strip, {600, 136}}})
        for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft})
            for (const std::int64_t index : {0, 1}) {
                SCOPED_TRACE(row.name + std::string(direction == Qt::RightToLeft ? ", mirrored" : "") +
                             ", item " + std::to_string(index));
                MorvCollectionView shown(app(), app().activePane(), actions, {.mode = row.mode},
                                         window->centralWidget());
                shown.setLayoutDirection(direction);
                shown.resize(row.size);
                shown.show();
                shown.selectItem(index);
                shown.beginInlineRename();
                ASSERT_TRUE(shown.nameEditor());
                const auto field = shown.nameEditor()->geometry();
                EXPECT_TRUE(shown.visualRect(index).contains(field));
                EXPECT_GE(field.width(), 60);
                QTest::keyClick(shown.nameEditor(), Qt::Key_Escape);
            }
    view().setFocus();
}

TEST_F(CollectionPlaceTest, aRangeBeginsWhereItBeganAlsoAfterANewReading) {
    for (const bool goes : {false, true}) {
        SCOPED_TRACE(goes ? "its first item goes" : "another item comes");
        std::filesystem::remove_all(work.path());
        std::filesystem::create_directory(work.path());
        files(8);
        if (!window)
            open();
        app().refresh();
        ASSERT_TRUE(eventually([&] { return view().count() == 8 && settled(); }));
        show(BrowserViewMode::list);
        click(2);
        click(5, Qt::ShiftModifier);
        if (goes)
            std::filesystem::remove(work.child("f102.txt").path());
        else
            file("f099.txt");
        app().refresh();
        ASSERT_TRUE(eventually([&] { return view().count() == (goes ? 7 : 9) && settled(); }));
        ASSERT_EQ(view().entry(view().current()).name, "f105.txt");
        key(Qt::Key_Down, Qt::ShiftModifier);
        if (goes)
            EXPECT_THAT(selected(), ElementsAre("f105.txt", "f106.txt"));
        else
            EXPECT_THAT(selected(), ElementsAre("f102.txt", "f103.txt", "f104.txt", "f105.txt", "f106.txt"));
        key(Qt::Key_Up, Qt::ShiftModifier);
        EXPECT_EQ(selected().size(), goes ? 1U : 4U) << "the same beginning";
    }
}

TEST_F(CollectionPlaceTest, whatIsInSightStaysThereInAnotherWidth) {
    files(300);
    open();
    key(Qt::Key_Escape);
    window->resize(1440, 900);
    view().verticalScrollBar()->setValue(view().verticalScrollBar()->maximum() / 2);
    const int scrolled = view().verticalScrollBar()->value();
    const auto first = top();
    const auto place = view().visualRect(first).top();
    for (const int width : {1210, 1000, 930}) {
        SCOPED_TRACE(width);
        window->resize(width, window->height());
        ASSERT_TRUE(eventually([&] { return window->width() == width; }));
        EXPECT_TRUE(isInSight(first));
        EXPECT_NEAR(view().visualRect(first).top(), place, view().visualRect(first).height());
    }
    window->resize(1440, window->height());
    EXPECT_TRUE(eventually([&] { return view().verticalScrollBar()->value() == scrolled; }))
        << "back where it was";

    // The last that is in sight, in a pane of half the width.
    auto last = first;
    while (isInSight(last + 1))
        ++last;
    click(last);
    key(Qt::Key_F3);
    ASSERT_TRUE(settled());
    EXPECT_TRUE(eventually([&] { return isInSight(last); }));
    app().activePane().setSelection({});
}

} // namespace
} // namespace morv
