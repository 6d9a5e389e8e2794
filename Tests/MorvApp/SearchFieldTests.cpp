// The search field: names, tags and kinds, typed, completed, chosen and taken away.
#include "MorvApp/Views/Tags/TagChip.h"
#include "MorvApp/Views/Window/SearchField.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QAbstractItemView>
#include <QMenu>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;

class SearchFieldTest : public test::WindowTest {
protected:
    SearchField& field() { return *find<SearchField>("searchField"); }
    Names chips() {
        Names result;
        for (auto* chip : field().findChildren<TagChip*>())
            if (chip->isVisible())
                result.push_back(chip->name());
        return result;
    }
    Names found() {
        Names result;
        auto& pane = app().activePane();
        for (std::size_t i = 0; i < pane.displayedEntries().size(); ++i)
            result.push_back(pane.displayedEntry(i).name);
        return result;
    }
    bool finds(const Names& names) {
        return eventually([&] { return found() == names; }) && settled();
    }
    static QString popupOf(QWidget* popup) {
        const auto* view = qobject_cast<QAbstractItemView*>(popup);
        return view ? view->currentIndex().data().toString() : QString();
    }
};

TEST_F(SearchFieldTest, tokensAreTypedAndTakenAway) {
    folder("work/sub");
    std::filesystem::copy_file(file("deep plan.png").path(), work.path() + "/sub/deep plan.png");
    std::filesystem::remove(work.path() + "/deep plan.png");
    const auto deep = work.child("sub").child("deep plan.png");
    FileTagMetadata::setNames(file("plan.png"), {"Red"});
    FileTagMetadata::setNames(file("plan.txt"), {"Red"});
    FileTagMetadata::setNames(deep, {"Red"});
    file("other.png");
    open();
    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("kind:images "));
    EXPECT_THAT(chips(), ElementsAre("Images"));
    EXPECT_TRUE(field().text().isEmpty());
    EXPECT_THAT(found(), ElementsAre("other.png", "plan.png")) << "a folder is only narrowed";
    EXPECT_FALSE(app().activePane().isSearch());
    type(QStringLiteral("tag:red "));
    EXPECT_THAT(chips(), ElementsAre("Red", "Images")) << "as the tag is spelled where it is in use";
    ASSERT_TRUE(finds({"deep plan.png", "plan.png"})) << "a tag is searched for below, too";
    type(QStringLiteral("deep"));
    ASSERT_TRUE(finds({"deep plan.png"}));
    EXPECT_EQ(app().activePane().query(), "deep");
    EXPECT_EQ(app().activePane().tagFilter(), "Red");

    key(Qt::Key_Home);
    key(Qt::Key_Backspace);
    EXPECT_THAT(chips(), ElementsAre("Red"));
    EXPECT_EQ(field().text(), QStringLiteral("deep")) << "the text stays";
    key(Qt::Key_Backspace);
    EXPECT_THAT(chips(), IsEmpty());
    ASSERT_TRUE(settled());
    EXPECT_FALSE(app().activePane().tagFilter());
    type(QStringLiteral("tag:red "));
    ASSERT_TRUE(settled());
    key(Qt::Key_Escape);
    EXPECT_THAT(chips(), IsEmpty());
    EXPECT_TRUE(field().text().isEmpty());
    ASSERT_TRUE(eventually([&] { return found().size() == 4; })) << "the folder again";
    ASSERT_TRUE(settled());

    // A tag that was chosen elsewhere is told here, and goes with its cross.
    app().filterTag("Red");
    ASSERT_THAT(chips(), ElementsAre("Red"));
    ASSERT_TRUE(settled());
    auto* chip = field().findChild<TagChip*>();
    for (auto* each : field().findChildren<TagChip*>())
        if (each->isVisible())
            chip = each;
    QTest::mouseClick(chip, Qt::LeftButton, {}, {chip->width() - 12, chip->height() / 2});
    EXPECT_FALSE(app().activePane().tagFilter());
    ASSERT_TRUE(settled());
}

TEST_F(SearchFieldTest, aTokenIsCompletedFromAList) {
    FileTagMetadata::setNames(file("a.txt"), {"to do"});
    file("b.txt");
    open();
    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("tag:to"));
    EXPECT_EQ(app().activePane().query(), "") << "what is still typed is not searched for";
    ASSERT_TRUE(
        eventually([&] { return popupOf(QApplication::activePopupWidget()) == QStringLiteral("to do"); }));
    QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Return);
    EXPECT_THAT(chips(), ElementsAre("to do"));
    EXPECT_TRUE(field().text().isEmpty());
    EXPECT_TRUE(finds({"a.txt"}));
    EXPECT_TRUE(field().hasFocus());
    key(Qt::Key_Escape);
    FileTagMetadata::setNames(file("c.txt"), {R"(12" discs \)"});
    ASSERT_TRUE(eventually([&] { return found().size() == 3; }));
    app().refresh();
    ASSERT_TRUE(settled());
    type(QStringLiteral("tag:disc"));
    ASSERT_TRUE(eventually([&] { return popupOf(QApplication::activePopupWidget()).contains(u'"'); }));
    QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Return);
    EXPECT_THAT(chips(), ElementsAre(R"(12" discs \)"));
    EXPECT_TRUE(field().text().isEmpty()) << field().text().toStdString();
    EXPECT_TRUE(finds({"c.txt"}));
}

TEST_F(SearchFieldTest, theHomeFolderIsSearchedAndLeftAgain) {
    file("needle here.txt");
    const auto home = homeFolder().path() + "/needle at home.txt";
    std::filesystem::copy_file(work.path() + "/needle here.txt", home);
    open();
    key(Qt::Key_F, Qt::ControlModifier);
    type(QStringLiteral("needle kind:documents "));
    ASSERT_TRUE(finds({"needle here.txt"}));
    key(Qt::Key_Down, Qt::AltModifier);
    auto* menu = find<QMenu>("searchMenu");
    ASSERT_TRUE(menu);
    for (auto* action : menu->actions())
        if (action->text() == QStringLiteral("Search the Home Folder"))
            action->trigger();
    menu->close();
    EXPECT_EQ(app().activePane().location(), homeFolder());
    EXPECT_EQ(field().text(), QStringLiteral("needle "));
    EXPECT_THAT(chips(), ElementsAre("Documents"));
    ASSERT_TRUE(finds({"needle at home.txt"}));
    app().perform(FileCommand::back);
    EXPECT_EQ(app().activePane().location(), work);
    EXPECT_TRUE(field().text().isEmpty()) << "a search does not follow into another folder";
    EXPECT_THAT(chips(), IsEmpty());
    std::filesystem::remove(home);
    ASSERT_TRUE(settled());
}

} // namespace
} // namespace morv
