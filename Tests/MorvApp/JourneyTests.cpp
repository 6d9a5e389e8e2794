// An ordinary hour with the window, by hand: every step is a key as a person presses it. It runs on the offscreen platform
// and, in another program, on a real X server.
#include "MorvApp/Views/Preview/PreviewWindow.h"
#include "Tests/MorvApp/WindowFixture.h"

namespace morv::test {
namespace {

using testing::ElementsAre;
using Names = std::vector<std::string>;

class Journey : public WindowTest {
protected:
    bool isAt(const FileURL& folder) {
        return eventually([&] { return app().activePane().location() == folder; }) && settled();
    }
    bool shows(std::size_t items) {
        return eventually([&] { return app().activePane().displayedEntries().size() == items; }) && settled();
    }
    bool asks() {
        return eventually([&] { return window->sheet() != nullptr; });
    }
};

TEST_F(Journey, browsesRenamesCopiesReviewsUndoesSearchesCollectsAndLooks) {
    const auto left = folder("work/left");
    const auto right = folder("work/right");
    file("left/photo.txt");
    file("left/plan.txt");
    open();

    key(Qt::Key_Home);
    key(Qt::Key_O, Qt::ControlModifier);
    ASSERT_TRUE(isAt(left));
    key(Qt::Key_Home);
    key(Qt::Key_F2);
    ASSERT_TRUE(eventually([&] { return window->collection().nameEditor() != nullptr; }));
    type(QStringLiteral("quay"));
    key(Qt::Key_Return);
    ASSERT_TRUE(becomes(left, {"plan.txt", "quay.txt"}));

    key(Qt::Key_F3);
    key(Qt::Key_F6, Qt::ControlModifier);
    key(Qt::Key_Up, Qt::AltModifier);
    ASSERT_TRUE(isAt(work));
    key(Qt::Key_End);
    key(Qt::Key_O, Qt::ControlModifier);
    ASSERT_TRUE(isAt(right));
    key(Qt::Key_F6, Qt::ControlModifier);
    ASSERT_TRUE(isAt(left));
    key(Qt::Key_Home);
    ASSERT_THAT(selected(), ElementsAre("plan.txt"));
    key(Qt::Key_F5);
    ASSERT_TRUE(becomes(right, {"plan.txt"}));

    // A second copy asks first, and nothing happens to who goes back.
    key(Qt::Key_F5);
    ASSERT_TRUE(asks());
    key(Qt::Key_Escape);
    ASSERT_TRUE(eventually([&] { return window->sheet() == nullptr; }));
    EXPECT_THAT(names(right), ElementsAre("plan.txt"));
    key(Qt::Key_F5);
    ASSERT_TRUE(asks());
    look();
    key(Qt::Key_Return);
    ASSERT_TRUE(becomes(right, {"plan 2.txt", "plan.txt"}));
    key(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(becomes(right, {"plan.txt"}));
    key(Qt::Key_F3);

    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("quay"));
    ASSERT_TRUE(shows(1));
    key(Qt::Key_Escape);
    ASSERT_TRUE(shows(2));
    key(Qt::Key_Escape);
    EXPECT_TRUE(window->collection().hasFocus());

    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_N, Qt::ControlModifier | Qt::AltModifier);
    ASSERT_TRUE(asks());
    type(QStringLiteral("Harbour"));
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return services->library.workspaceList().size() == 1; }));
    EXPECT_EQ(services->library.workspaceList().front().references.size(), 2U);
    EXPECT_THAT(names(left), ElementsAre("plan.txt", "quay.txt")) << "references move nothing";
    ASSERT_TRUE(eventually([&] { return window->sheet() == nullptr; }));
    app().setSelectedWorkspaceID(std::nullopt);

    window->collection().setFocus();
    key(Qt::Key_Home);
    key(Qt::Key_Space);
    const auto preview = [this] { return window->findChild<PreviewWindow*>(); };
    ASSERT_TRUE(eventually([&] { return preview() && preview()->isActiveWindow(); }));
    key(Qt::Key_Right);
    EXPECT_TRUE(eventually([&] { return selected() == Names{"quay.txt"}; }));
    key(Qt::Key_Escape);
    EXPECT_TRUE(eventually([&] { return !preview() || !preview()->isVisible(); }));
    ASSERT_TRUE(settled());
}

} // namespace
} // namespace morv::test
