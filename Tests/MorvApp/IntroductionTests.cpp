// Who sees the introduction, and how it ends.
#include "MorvApp/Views/Sheets/IntroductionSheet.h"
#include "MorvApp/Views/Window/ManagedFileWindow.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QPushButton>

namespace morv {
namespace {

using test::eventually;

class IntroductionTest : public test::FolderTest {
protected:
    void start(Environment environment) {
        services.emplace(std::move(environment));
        services->defaults.setIntroductionCompleted(false);
        services->windows.setFactory([this](const std::optional<FileURL>& at) {
            auto* window = new ManagedFileWindow(*services, board, at);
            made.emplace_back(window);
            return window;
        });
    }
    ~IntroductionTest() override {
        for (const auto& window : made)
            delete window.data();
    }
    ManagedFileWindow& open() {
        services->windows.newWindow(work);
        return *made.back();
    }
    static bool shows(ManagedFileWindow& window) {
        return qobject_cast<IntroductionSheet*>(window.sheet()) != nullptr;
    }
    static void press(ManagedFileWindow& window, Qt::Key key) {
        auto* target = window.focusWidget();
        QTest::keyClick(target ? target : &window, key);
    }

    test::MemoryBoard board;
    std::optional<MorvServices> services;
    std::vector<QPointer<ManagedFileWindow>> made;
};

TEST_F(IntroductionTest, aNewUserSeesItOnceAndInOneWindow) {
    start(environment());
    auto& first = open();
    ASSERT_TRUE(shows(first));
    EXPECT_FALSE(shows(open()));
    first.activateWindow();
    ASSERT_TRUE(eventually([&] { return first.isActiveWindow(); }));
    press(first, Qt::Key_Escape);
    EXPECT_TRUE(shows(first)) << "the first time it does not end by accident";
    press(first, Qt::Key_Return);
    press(first, Qt::Key_Escape);
    for (int panel = 0; panel < 3; ++panel)
        press(first, Qt::Key_Return);
    ASSERT_TRUE(shows(first));
    EXPECT_EQ(first.findChild<QPushButton*>(QStringLiteral("introductionNext"))->text(),
              QStringLiteral("Start"));
    EXPECT_FALSE(services->defaults.introductionCompleted());
    press(first, Qt::Key_Return);
    EXPECT_FALSE(shows(first));
    EXPECT_TRUE(services->defaults.introductionCompleted());
    EXPECT_EQ(services->windows.introductionTarget(), nullptr);
    EXPECT_FALSE(shows(open()));

    auto& second = *made[1];
    second.model().perform(FileCommand::introduction);
    ASSERT_TRUE(shows(second)) << "the menu shows it again";
    press(second, Qt::Key_Escape);
    EXPECT_FALSE(shows(second)) << "seen once, Escape leaves";
}

TEST_F(IntroductionTest, aSessionOnAFolderOfItsOwnIsNotGreeted) {
    auto own = environment();
    own["MORV_START_DIRECTORY"] = work.path();
    start(own);
    EXPECT_FALSE(shows(open()));
}

} // namespace
} // namespace morv
