#include "MorvApp/Views/Collection/CollectionFocusContinuity.h"
#include "MorvApp/Views/Window/PaneView.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QLineEdit>
#include <QTest>
#include <memory>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;

/// A window with a field, in which collections come and go.
class FocusContinuityTest : public testing::Test {
protected:
    struct Place {
        QWidget window;
        QLineEdit field{&window};
        Place() {
            window.show();
            window.activateWindow();
        }
    };
    std::unique_ptr<QWidget> collection(Place& place, bool mayHaveKeyboard = true) {
        auto widget = std::make_unique<QWidget>(&place.window);
        widget->setFocusPolicy(Qt::StrongFocus);
        widget->show();
        continuity.add(*widget, {[mayHaveKeyboard] { return mayHaveKeyboard; },
                                 [target = widget.get()] { target->setFocus(); }});
        return widget;
    }
    /// The keyboard was in `left`, which is going.
    void leave(QWidget& left, Place& place) {
        left.setFocus();
        ASSERT_EQ(place.window.focusWidget(), &left);
        continuity.preserve(left, place.window);
        left.clearFocus();
    }

    double uptime = 1000;
    CollectionFocusContinuity continuity{[this] { return uptime; }};
};

TEST_F(FocusContinuityTest, theNewestThatMayHaveItGetsTheKeyboard) {
    Place place;
    auto old = collection(place);
    const auto first = collection(place);
    const auto second = collection(place);
    const auto refusing = collection(place, false);
    leave(*old, place);
    old.reset();
    EXPECT_TRUE(eventually([&] { return place.window.focusWidget() == second.get(); }));
    EXPECT_FALSE(continuity.isWaiting(&place.window));
}

TEST_F(FocusContinuityTest, aReplacementMayComeLaterButNotTooLate) {
    for (const double late : {4.9, 5.0}) {
        SCOPED_TRACE(late);
        Place place;
        auto old = collection(place);
        leave(*old, place);
        old.reset();
        continuity.restore(place.window);
        ASSERT_TRUE(continuity.isWaiting(&place.window)) << "nobody has come yet";
        uptime += late;
        const auto replacement = collection(place);
        EXPECT_TRUE(eventually([&] { return !continuity.isWaiting(&place.window); }));
        EXPECT_EQ(place.window.focusWidget() == replacement.get(), late < 5);
    }
}

TEST_F(FocusContinuityTest, whoeverHasMovedOnIsLeftAlone) {
    Place place;
    auto old = collection(place);
    const auto replacement = collection(place);
    leave(*old, place);
    place.field.setFocus();
    EXPECT_TRUE(eventually([&] { return !continuity.isWaiting(&place.window); }));
    EXPECT_EQ(place.window.focusWidget(), &place.field);
}

TEST_F(FocusContinuityTest, windowsDoNotKnowOfEachOther) {
    Place one;
    auto gone = std::make_unique<Place>();
    auto inOne = collection(one);
    auto inGone = collection(*gone);
    leave(*inGone, *gone);
    leave(*inOne, one);
    const auto* key = &gone->window;
    inGone.reset();
    gone.reset();
    inOne.reset();
    const auto replacement = collection(one);
    EXPECT_TRUE(eventually([&] { return one.window.focusWidget() == replacement.get(); }));
    EXPECT_TRUE(eventually([&] { return !continuity.isWaiting(key); })) << "a closed window is forgotten";
}

TEST_F(FocusContinuityTest, oneThatCannotAnswerHidesThoseBeforeIt) {
    Place place;
    auto old = collection(place);
    const auto willing = collection(place);
    QWidget silent(&place.window);
    continuity.add(silent, {});
    leave(*old, place);
    continuity.restore(place.window);
    EXPECT_NE(place.window.focusWidget(), willing.get());
    EXPECT_TRUE(continuity.isWaiting(&place.window));
}

TEST_F(WindowTest, theKeyboardStaysWithTheFilesWhateverReplacesThem) {
    file("a.txt");
    open();
    const auto hasKeyboard = [&] { return eventually([&] { return window->collection().hasFocus(); }); };
    struct Row {
        const char* name;
        FileCommand command;
    };
    for (const auto& row :
         {Row{"as a list", FileCommand::viewAsList}, Row{"as icons", FileCommand::viewAsGrid},
          Row{"split", FileCommand::toggleSplit}, Row{"the other pane", FileCommand::switchPane},
          Row{"unsplit", FileCommand::toggleSplit}, Row{"another tab", FileCommand::newTab},
          Row{"back to the first tab", FileCommand::nextTab}, Row{"one tab less", FileCommand::closeTab}}) {
        SCOPED_TRACE(row.name);
        app().perform(row.command);
        EXPECT_TRUE(hasKeyboard());
    }
}

TEST_F(WindowTest, tabChangesThePaneOnlyWhereThereAreTwo) {
    file("a.txt");
    open();
    key(Qt::Key_Tab);
    EXPECT_FALSE(window->collection().hasFocus()) << "one pane is one stop among others";
    window->collection().setFocus();
    key(Qt::Key_F3);
    ASSERT_TRUE(settled());
    ASSERT_TRUE(eventually([&] { return window->collection().hasFocus(); }));
    const bool wasSecond = app().secondaryActive();
    key(Qt::Key_Tab);
    EXPECT_NE(app().secondaryActive(), wasSecond);
    EXPECT_TRUE(eventually([&] { return window->collection().hasFocus(); }));
    key(Qt::Key_Tab);
    EXPECT_EQ(app().secondaryActive(), wasSecond);
}

} // namespace
} // namespace morv
