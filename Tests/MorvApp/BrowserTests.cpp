// Columns and gallery under a hand's keys and pointer.
#include "MorvApp/Views/Browser/ColumnsView.h"
#include "MorvApp/Views/Browser/GalleryView.h"
#include "MorvApp/Views/Preview/PreviewPane.h"
#include "MorvApp/Views/Sheets/Sheet.h"
#include "MorvApp/Views/Window/PaneView.h"
#include "MorvApp/Views/Window/PathBar.h"
#include "MorvApp/Views/Window/TabArea.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QPointer>
#include <QToolButton>
#include <atomic>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::ElementsAre;
using testing::IsEmpty;

class BrowserTest : public WindowTest {
protected:
    /// Null in another view.
    ColumnsView* columns() { return window->findChild<TabArea*>()->activeView()->columns(); }
    GalleryView* gallery() { return window->findChild<TabArea*>()->activeView()->gallery(); }
    void openColumns() {
        open();
        key(Qt::Key_3, Qt::ControlModifier);
        ASSERT_TRUE(columns());
        ASSERT_TRUE(columns()->collection().hasFocus()) << "another view keeps the keyboard";
    }
    bool shows(const std::vector<std::string>& expected) {
        return eventually([&] {
            auto& model = columns()->model();
            std::vector<std::string> found;
            for (std::size_t i = 0; i < model.count(); ++i)
                found.emplace_back(model.column(i).location().lastComponent());
            return !model.isResting() && model.focusedColumn().loadedLocation() && found == expected;
        });
    }
    std::vector<std::string> chosen() {
        std::vector<std::string> result;
        for (const auto* entry : app().currentPane().selectedEntries())
            result.push_back(entry->name);
        return result;
    }
    QString crumb() { return find<QToolButton>("lastCrumb")->text(); }
};

/// Every picture is one pixel; counts what it was asked for.
class CountingDecoder : public MediaDecoder {
public:
    DecodedMedia decode(const MediaRequest&, const std::stop_token&) const override {
        ++asked;
        return {};
    }
    bool understands(const FileURL&) const override { return true; }

    mutable std::atomic<int> asked = 0;
};

TEST_F(BrowserTest, aViewThatComesBeforeItsWindowIsActiveHasTheKeyboardWhenItIs) {
    file("a.txt");
    open();
    // As at the start, when how a folder was left is known before the desktop has made the window active.
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(eventually([&] { return other.isActiveWindow(); }));
    auto preferences = app().activePane().preferences();
    preferences.view = BrowserViewMode::columns;
    app().activePane().setPreferences(preferences);
    window->activateWindow();
    ASSERT_TRUE(eventually([&] { return window->isActiveWindow(); }));
    EXPECT_TRUE(columns()->collection().hasFocus());
}

TEST_F(BrowserTest, theKeyboardWalksThroughColumns) {
    folder("work/a");
    folder("work/a/b");
    folder("work/a/b/c");
    file("a/b/c/deep.txt");
    file("z.txt");
    openColumns();
    type(QStringLiteral("a"));
    ASSERT_TRUE(shows({"work", "a"}));
    EXPECT_TRUE(columns()->collection(0).hasFocus());
    key(Qt::Key_Right);
    ASSERT_TRUE(shows({"work", "a", "b"}));
    EXPECT_TRUE(columns()->collection(1).hasFocus());
    EXPECT_THAT(chosen(), ElementsAre("b"));
    EXPECT_EQ(crumb(), QStringLiteral("a")) << "the path is that of the column with the keyboard";
    key(Qt::Key_O, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return chosen() == std::vector<std::string>{"c"}; }));
    key(Qt::Key_Right);
    ASSERT_TRUE(eventually([&] { return chosen() == std::vector<std::string>{"deep.txt"}; }));
    ASSERT_TRUE(eventually([&] { return columns()->preview() != nullptr; }));
    EXPECT_EQ(columns()->preview()->entry()->name, "deep.txt");
    EXPECT_EQ(app().activePane().location(), work);

    key(Qt::Key_Left);
    EXPECT_FALSE(columns()->preview());
    EXPECT_THAT(chosen(), ElementsAre("c"));
    key(Qt::Key_Up, Qt::AltModifier);
    EXPECT_TRUE(columns()->collection(1).hasFocus()) << "the enclosing folder is the column before";
    find<PathBar>("pathField")->findChildren<QToolButton*>(QStringLiteral("crumb")).back()->click();
    EXPECT_EQ(columns()->model().focused(), 0U);
    EXPECT_TRUE(columns()->collection(0).hasFocus());
    EXPECT_FALSE(app().activePane().canGoBack());
    key(Qt::Key_Down);
    EXPECT_THAT(chosen(), ElementsAre("z.txt")) << "the keyboard is where it was in that column";
}

TEST_F(BrowserTest, handsWorkInTheFocusedColumn) {
    folder("work/a");
    file("a/one.txt");
    file("a/two.txt");
    file("z.txt");
    openColumns();
    auto& first = columns()->collection(0);
    QTest::mouseClick(first.viewport(), Qt::LeftButton, {}, first.visualRect(0).center());
    ASSERT_TRUE(shows({"work", "a"}));
    auto& second = columns()->collection(1);
    ASSERT_TRUE(eventually([&] { return second.count() == 2; }));
    QTest::mouseClick(second.viewport(), Qt::LeftButton, {}, second.visualRect(1).center());
    EXPECT_EQ(columns()->model().focused(), 1U);
    EXPECT_THAT(chosen(), ElementsAre("two.txt"));
    key(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    type(QStringLiteral("Inbox"));
    key(Qt::Key_Return);
    ASSERT_TRUE(becomes(work.child("a"), {"Inbox", "one.txt", "two.txt"}));
    ASSERT_TRUE(eventually([&] { return chosen() == std::vector<std::string>{"Inbox"}; }));
    EXPECT_TRUE(second.hasFocus());
    key(Qt::Key_F2);
    ASSERT_TRUE(second.nameEditor());
    type(QStringLiteral("Post"));
    key(Qt::Key_Return);
    ASSERT_TRUE(becomes(work.child("a"), {"Post", "one.txt", "two.txt"}));
    ASSERT_TRUE(shows({"work", "a", "Post"}));

    const int width = first.width();
    auto* edge = columns()->findChild<QWidget*>(QStringLiteral("columnEdge"));
    QTest::mousePress(edge, Qt::LeftButton, {}, edge->rect().center());
    QTest::mouseMove(edge, edge->rect().center() + QPoint(60, 0));
    EXPECT_NEAR(columns()->collection(0).width(), width + 60, 4);
    QTest::mouseRelease(edge, Qt::LeftButton);

    std::filesystem::remove_all(work.child("a").path());
    ASSERT_TRUE(shows({"work"}));
    EXPECT_TRUE(columns()->collection(0).hasFocus()) << "the keyboard does not vanish with a folder";
}

TEST_F(BrowserTest, aPressThatLeadsAwayIsOverBeforeItsColumnGoes) {
    folder("work/a");
    folder("work/a/b");
    openColumns();
    app().showFolder(work.child("a").asFolder());
    ASSERT_TRUE(settled());
    key(Qt::Key_3, Qt::ControlModifier);
    ASSERT_TRUE(shows({"a"}));
    type(QStringLiteral("b"));
    ASSERT_TRUE(shows({"a", "b"}));
    const QPointer pressed(&columns()->collection(1));
    QTest::mousePress(pressed->viewport(), Qt::BackButton);
    EXPECT_TRUE(pressed) << "it goes in the middle of its own press";
    EXPECT_TRUE(shows({"work"}));
    EXPECT_FALSE(pressed);
}

TEST_F(BrowserTest, theViewOptionsOfAColumnChangeThePane) {
    folder("work/a");
    file("a/one.txt");
    openColumns();
    key(Qt::Key_Down);
    ASSERT_TRUE(shows({"work", "a"}));
    key(Qt::Key_Right);
    ASSERT_TRUE(eventually([&] { return chosen() == std::vector<std::string>{"one.txt"}; }));
    key(Qt::Key_J, Qt::ControlModifier);
    ASSERT_TRUE(window->sheet());
    const auto view = [&](const char* title) -> QToolButton* {
        for (auto* button : window->sheet()->findChildren<QToolButton*>())
            if (button->text() == QLatin1String(title))
                return button;
        return nullptr;
    };
    ASSERT_TRUE(view("Columns") && view("List"));
    EXPECT_TRUE(view("Columns")->isChecked());
    view("List")->click();
    EXPECT_EQ(app().activePane().preferences().view, BrowserViewMode::list);
    EXPECT_EQ(app().activePane().location(), work.child("a")) << "where the keyboard was";
    EXPECT_TRUE(view("List")->isChecked());
    key(Qt::Key_Escape);
    ASSERT_TRUE(settled());
}

TEST_F(BrowserTest, theFocusedColumnIsInSight) {
    auto path = work;
    for (int level = 0; level < 8; ++level) {
        path = path.child("level");
        std::filesystem::create_directory(path.path());
    }
    openColumns();
    window->resize(920, 640);
    key(Qt::Key_Down);
    for (std::size_t level = 1; level < 8; ++level) {
        key(Qt::Key_Right);
        ASSERT_TRUE(eventually([&] { return !chosen().empty(); }));
        const auto& files = columns()->collection();
        const auto left = files.mapTo(columns()->viewport(), QPoint(0, 0)).x();
        EXPECT_GE(left, 0) << level;
        EXPECT_LE(left + files.width(), columns()->viewport()->width()) << level;
    }
    while (columns()->model().focused() > 0)
        key(Qt::Key_Left);
    EXPECT_EQ(columns()->collection(0).mapTo(columns()->viewport(), QPoint(0, 0)).x(), 0);
}

TEST_F(BrowserTest, viewsTabsSplitsAndSessionsKeepSelectionAndFocus) {
    folder("work/a");
    file("a/one.txt");
    file("z.txt");
    openColumns();
    key(Qt::Key_Down);
    ASSERT_TRUE(shows({"work", "a"}));
    key(Qt::Key_4, Qt::ControlModifier);
    ASSERT_TRUE(gallery());
    EXPECT_TRUE(gallery()->collection().hasFocus());
    EXPECT_THAT(chosen(), ElementsAre("a"));
    key(Qt::Key_3, Qt::ControlModifier);
    ASSERT_TRUE(shows({"work", "a"}));
    key(Qt::Key_Right);
    ASSERT_TRUE(eventually([&] { return chosen() == std::vector<std::string>{"one.txt"}; }));

    key(Qt::Key_T, Qt::ControlModifier);
    key(Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_TRUE(columns()->collection(1).hasFocus());
    EXPECT_THAT(chosen(), ElementsAre("one.txt")) << "a tab comes back as it was left";
    key(Qt::Key_F3);
    EXPECT_THAT(chosen(), ElementsAre("one.txt"));
    key(Qt::Key_F3);

    key(Qt::Key_2, Qt::ControlModifier);
    ASSERT_TRUE(settled());
    EXPECT_EQ(app().activePane().location(), work.child("a")) << "a list of what was worked in";
    EXPECT_THAT(chosen(), ElementsAre("one.txt"));
    EXPECT_TRUE(window->collection().hasFocus());
    key(Qt::Key_Left, Qt::AltModifier);
    ASSERT_TRUE(settled());
    ASSERT_TRUE(columns()) << "the folder comes back as it was seen";

    window->collection().setFocus();
    key(Qt::Key_Home);
    ASSERT_TRUE(shows({"work", "a"}));
    app().saveSession("window");
    ASSERT_TRUE(eventually([&] { return app().status() == "Session saved"; }));
    key(Qt::Key_Right);
    app().restoreSession("window");
    ASSERT_TRUE(eventually([&] { return columns() && columns()->model().focused() == 0; }));
    ASSERT_TRUE(shows({"work", "a"}));
    key(Qt::Key_W, Qt::ControlModifier);
    ASSERT_TRUE(settled());
}

TEST_F(BrowserTest, theGalleryShowsWhatIsSelected) {
    for (const auto* name : {"a.jpg", "b.jpg", "c.jpg"})
        file(name);
    for (int i = 0; i < 30; ++i)
        file("d" + std::to_string(i) + ".jpg");
    open();
    auto decoder = std::make_shared<CountingDecoder>();
    services->mediaDecoder = decoder;
    key(Qt::Key_4, Qt::ControlModifier);
    ASSERT_TRUE(gallery());
    EXPECT_THAT(selected(), ElementsAre("a.jpg")) << "what is large is what is selected";
    const auto shown = [&] {
        const auto& entry = gallery()->preview().entry();
        return entry ? entry->name : std::string();
    };
    EXPECT_EQ(shown(), "a.jpg");
    key(Qt::Key_Right);
    EXPECT_TRUE(eventually([&] { return shown() == "b.jpg"; }));
    type(QStringLiteral("c"));
    EXPECT_TRUE(eventually([&] { return shown() == "c.jpg"; }));
    const int before = decoder->asked;
    for (int i = 0; i < 20; ++i)
        key(Qt::Key_Right);
    EXPECT_TRUE(eventually([&] { return shown() == selected().front(); }));
    EXPECT_TRUE(eventually([&] { return decoder->asked > before; }));
    EXPECT_LE(decoder->asked - before, 3) << "passing by decodes nothing";
    key(Qt::Key_F2);
    EXPECT_TRUE(gallery()->collection().nameEditor());
    key(Qt::Key_Escape);
    key(Qt::Key_Escape);
    EXPECT_TRUE(eventually([&] { return shown().empty(); }));

    app().activePane().navigate(folder("empty"), PaneModel::History::record);
    ASSERT_TRUE(settled());
    app().perform(FileCommand::viewAsGallery);
    EXPECT_FALSE(gallery()->preview().isVisible()) << "the sentence has the room";
    EXPECT_THAT(selected(), IsEmpty());
}

} // namespace
} // namespace morv
