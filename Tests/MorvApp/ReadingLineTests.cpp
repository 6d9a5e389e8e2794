// What stands above files that may be out of date.
#include "MorvApp/Views/Window/ReadingLine.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QLabel>
#include <QToolButton>
#include <atomic>
#include <filesystem>
#include <latch>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::HasSubstr;

class ReadingLineTest : public test::WindowTest {
protected:
    static std::vector<std::string> buttons(const ReadingLine& line) {
        std::vector<std::string> found;
        for (const auto* button : line.findChildren<QToolButton*>())
            if (!button->isHidden())
                found.push_back(button->text().toStdString());
        return found;
    }
    static void press(const ReadingLine& line, const QString& text) {
        for (auto* button : line.findChildren<QToolButton*>())
            if (button->text() == text && !button->isHidden())
                return button->click();
        ADD_FAILURE() << text.toStdString();
    }
};

TEST_F(ReadingLineTest, aFolderThatGoesUnderItsFilesSaysSoAboveThem) {
    const auto sub = folder("work/sub");
    file("sub/a.txt");
    open();
    app().open(sub);
    ASSERT_TRUE(eventually([&] { return app().activePane().loadedLocation() == sub.asFolder(); }));
    const auto& line = *window->findChild<ReadingLine*>();
    EXPECT_FALSE(line.isVisible());
    std::filesystem::remove_all(sub.path());
    ASSERT_TRUE(eventually([&] { return line.isVisible(); }));
    EXPECT_EQ(app().activePane().entries().size(), 1U) << "the files stay on the screen";
    EXPECT_THAT(line.accessibleDescription().toStdString(),
                HasSubstr("These files may be incomplete or out of date. The item doesn’t exist"));
    EXPECT_THAT(buttons(line), ElementsAre("Go Up", "Try Again"));
    press(line, QStringLiteral("Try Again"));
    EXPECT_TRUE(app().activePane().isLoading());
    EXPECT_TRUE(line.isVisible()) << "nothing moves before there is news";
    ASSERT_TRUE(eventually([&] { return !app().activePane().isLoading(); }));
    EXPECT_TRUE(line.isVisible());
    folder("work/sub");
    press(line, QStringLiteral("Try Again"));
    EXPECT_TRUE(eventually([&] { return !line.isVisible(); }));
    EXPECT_FALSE(app().activePane().error());

    file("sub/b.txt");
    ASSERT_TRUE(eventually([&] { return app().activePane().entries().size() == 1; }));
    std::filesystem::remove_all(sub.path());
    ASSERT_TRUE(eventually([&] { return line.isVisible(); }));
    press(line, QStringLiteral("Go Up"));
    EXPECT_FALSE(line.isVisible()) << "it speaks of the folder that was left";
    EXPECT_TRUE(eventually([&] { return app().activePane().loadedLocation() == work.asFolder(); }));
}

TEST_F(ReadingLineTest, filesOfAFolderThatStopsAnsweringAreInDoubtUntilItAnswers) {
    file("a.txt");
    open();
    std::latch answer(1);
    std::atomic<bool> isDead = false;
    TaskPools pools; // its end waits for the reader
    PaneServices reading{services->store, pools, nullptr, DirectoryService([&](const FileURL&) {
                             if (isDead)
                                 answer.wait();
                         })};
    PaneModel pane(work, reading);
    ReadingLine line(window->centralWidget());
    line.setAnswerPatience(std::chrono::milliseconds(20));
    line.follow(pane);
    ASSERT_TRUE(eventually([&] { return !pane.isLoading(); }));
    isDead = true;
    pane.refresh();
    ASSERT_TRUE(eventually([&] { return line.isVisible(); }));
    EXPECT_THAT(line.accessibleDescription().toStdString(), HasSubstr("This folder is not answering."));
    EXPECT_THAT(buttons(line), ElementsAre("Cancel"));
    press(line, QStringLiteral("Cancel"));
    EXPECT_FALSE(pane.isLoading());
    EXPECT_THAT(line.accessibleDescription().toStdString(), HasSubstr("Reading this folder was cancelled."));
    EXPECT_THAT(buttons(line), ElementsAre("Go Up", "Try Again"));
    isDead = false;
    press(line, QStringLiteral("Try Again"));
    EXPECT_TRUE(eventually([&] { return pane.loadedLocation().has_value(); }))
        << "although the reading before still hangs";
    EXPECT_FALSE(line.isVisible());
    EXPECT_EQ(pane.entries().size(), 1U);
    answer.count_down();
}

} // namespace
} // namespace morv
