// The sidebar under the hand, the sheet that connects to servers, and the line under the files.
#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Sidebar/Sidebar.h"
#include "MorvApp/Views/Theme/PlaceSymbols.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/DragHand.h"
#include "Tests/MorvApp/FakeServers.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QProxyStyle>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;

class FakeVolumes : public VolumeSource {
public:
    const std::vector<Volume>& mountedVolumes() const override { return mounted; }
    const std::vector<Volume>& cloudLocations() const override { return network; }
    void refresh() override {}
    void eject(const FileURL& url, QObject*, Ejected done) override {
        ejected = url;
        answer = std::move(done);
    }

    std::vector<Volume> mounted;
    std::vector<Volume> network;
    std::optional<FileURL> ejected;
    Ejected answer;
};

class SidebarTest : public test::WindowTest {
protected:
    SidebarTest() { DropArea::setPatience(100'000); }
    ~SidebarTest() override {
        DropArea::setPatience(700);
        window.reset();
    }

    /// With the favourites "one" and "two" alone.
    void openWithPlaces() {
        services.emplace(environment());
        services->windows.setVolumes(&volumes);
        services->servers = &servers;
        ASSERT_TRUE(eventually([&] { return !services->library.favourites().empty(); }));
        for (const auto& url : std::vector(services->library.favourites()))
            services->library.removeFavourite(url);
        services->library.insertFavourites({one, two}, 0);
        window.emplace(*services, board, work);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(eventually([&] { return window->collection().hasFocus(); }) && settled());
        bar = find<Sidebar>("sidebar");
    }
    QTreeWidgetItem* item(const char* title) {
        const auto found = bar->findItems(QString::fromUtf8(title), Qt::MatchExactly);
        return found.isEmpty() ? nullptr : found.front();
    }
    QRect row(const char* title) { return bar->visualItemRect(item(title)); }
    QString label() {
        const auto* shown = find<QLabel>("dropLabel");
        return shown && shown->isVisible() ? shown->text() : QString();
    }

    FileURL one = folder("one");
    FileURL two = folder("two");
    FakeVolumes volumes;
    test::FakeServers servers;
    Sidebar* bar = nullptr;
};

TEST_F(SidebarTest, filesAreDroppedOnPlacesTrashAndWorkspaces) {
    file("a.txt");
    file("b.txt");
    file("c.txt");
    openWithPlaces();
    services->library.createWorkspace("Harbour", {}, "teal", {});
    ASSERT_TRUE(eventually([&] { return item("Harbour") != nullptr; }));
    auto& viewport = *bar->viewport();

    test::DragHand first({work.child("a.txt")});
    first.enter(viewport, row("one").center(), Qt::ShiftModifier);
    EXPECT_EQ(label(), QStringLiteral("Move to “one”"));
    first.drop();
    EXPECT_TRUE(eventually([&] { return exists(one.child("a.txt")) && !exists(work.child("a.txt")); }));
    ASSERT_TRUE(settled());

    test::DragHand second({work.child("b.txt")});
    second.enter(viewport, row("Trash").center());
    EXPECT_EQ(label(), QStringLiteral("Move to Trash"));
    second.drop();
    EXPECT_TRUE(becomes(work, {"c.txt"}));

    test::DragHand third({work.child("c.txt")});
    third.enter(viewport, row("Harbour").center(), Qt::ShiftModifier);
    EXPECT_EQ(label(), QStringLiteral("Add to “Harbour”"));
    third.drop();
    EXPECT_TRUE(eventually([&] {
        return services->library.workspaceList().front().references == std::vector{work.child("c.txt")};
    }));
    EXPECT_TRUE(exists(work.child("c.txt"))) << "a reference leaves the original where it is";
}

TEST_F(SidebarTest, foldersBetweenFavouritesBecomeFavourites) {
    file("a.txt");
    openWithPlaces();
    auto& viewport = *bar->viewport();
    const auto favourites = [&] { return services->library.favourites(); };
    test::DragHand aFile({work.child("a.txt")});
    aFile.enter(viewport, QPoint(40, row("two").top() + 1));
    EXPECT_EQ(label(), QStringLiteral("Copy to “two”")) << "a file goes into the place, not between";
    aFile.leave();
    test::DragHand aFolder({work});
    aFolder.enter(viewport, QPoint(40, row("two").top() + 1));
    EXPECT_TRUE(eventually([&] { return label() == QStringLiteral("Add to Favourites"); }));
    aFolder.drop();
    EXPECT_THAT(favourites(), ElementsAre(one, work, two));
    EXPECT_TRUE(exists(work));
}

TEST_F(SidebarTest, aVolumeTellsItsSpaceAndIsEjectedByKeys) {
    volumes.mounted = {{FileURL::folder("/"), "File System", true, false},
                       {two, "Stick", false, true},
                       {root.child("nowhere"), "Gone", false, true}};
    openWithPlaces();
    const auto tip = [&](const char* title) { return item(title)->toolTip(0); };
    EXPECT_TRUE(eventually([&] { return tip("Stick").contains(QStringLiteral(" free of ")); }));
    EXPECT_FALSE(tip("Gone").contains(QStringLiteral("free")));
    auto* eject = bar->findChild<QToolButton*>(QStringLiteral("eject"));
    EXPECT_FALSE(eject->isVisible());
    bar->setFocus();
    bar->setCurrentItem(item("File System"));
    EXPECT_FALSE(eject->isVisible()) << "the system's own volume stays";
    key(Qt::Key_Down);
    ASSERT_TRUE(eject->isVisible());
    EXPECT_EQ(eject->accessibleName(), QStringLiteral("Eject Stick"));
    key(Qt::Key_Tab);
    ASSERT_TRUE(eject->hasFocus());
    key(Qt::Key_Space);
    EXPECT_EQ(volumes.ejected, two);
    ASSERT_TRUE(app().ejecting().contains(two));
    EXPECT_EQ(bar->noteOf(*bar->rowOf(*item("Stick"))), QStringLiteral("Ejecting…"));
    EXPECT_FALSE(eject->isVisible()) << "it is asked once";
    volumes.answer("It is busy.");
    EXPECT_EQ(app().errorMessage(), "It is busy.");
    EXPECT_TRUE(app().ejecting().empty());
    QTest::mouseMove(bar->viewport(), row("Gone").center());
    EXPECT_TRUE(eventually([&] { return eject->accessibleName() == QStringLiteral("Eject Gone"); }));
}

TEST_F(SidebarTest, sectionsCloseAndTheRailTakesItsPlace) {
    openWithPlaces();
    bar->setFocus();
    bar->setCurrentItem(item("Favourites"));
    key(Qt::Key_Left);
    EXPECT_FALSE(item("one"));
    EXPECT_EQ(services->defaults.closedSidebarSections(), std::set<std::string>{"Favourites"});
    EXPECT_EQ(bar->currentItem(), item("Favourites")) << "the keyboard stays";
    key(Qt::Key_Right);
    EXPECT_TRUE(item("one"));

    key(Qt::Key_F9);
    auto* rail = find<Sidebar>("sidebarRail");
    EXPECT_FALSE(bar->isVisible());
    ASSERT_TRUE(rail->isVisible());
    EXPECT_EQ(rail->width(), Sidebar::railWidth);
    const auto place = rail->findItems(QStringLiteral("two"), Qt::MatchExactly);
    ASSERT_EQ(place.size(), 1);
    EXPECT_TRUE(place[0]->toolTip(0).startsWith(QStringLiteral("two\n")));
    rail->setFocus();
    rail->setCurrentItem(place[0]);
    key(Qt::Key_Return);
    EXPECT_EQ(app().activePane().location(), two);
}

/// As on desktops on which one click activates.
class SingleClickStyle : public QProxyStyle {
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* answer) const override {
        return hint == SH_ItemView_ActivateItemOnSingleClick
                   ? 1
                   : QProxyStyle::styleHint(hint, option, widget, answer);
    }
};

TEST_F(SidebarTest, aClickIsOneClickWhereItActivates) {
    openWithPlaces();
    auto* style = new SingleClickStyle;
    style->setParent(bar);
    bar->setStyle(style);
    const auto click = [&](const char* title) {
        QTest::mouseClick(bar->viewport(), Qt::LeftButton, {}, row(title).center());
    };
    click("Favourites");
    EXPECT_FALSE(item("one")) << "closed, and not open again";
    click("Favourites");
    ASSERT_TRUE(item("one"));
    click("one");
    EXPECT_EQ(app().activePane().location(), one);
    ASSERT_TRUE(settled());
}

TEST_F(SidebarTest, aServerIsReachedThroughItsQuestions) {
    openWithPlaces();
    key(Qt::Key_K, Qt::ControlModifier);
    ASSERT_TRUE(window->sheet());
    type(QStringLiteral("nothing"));
    key(Qt::Key_Return);
    EXPECT_TRUE(servers.address.empty());
    EXPECT_TRUE(window->sheet()->findChild<QLabel*>(QStringLiteral("errorText"))) << "says why";
    auto* address = find<QLineEdit>("serverAddress");
    EXPECT_TRUE(address->hasFocus());
    address->selectAll();
    type(QStringLiteral("sftp://host/a"));
    key(Qt::Key_Return);
    EXPECT_EQ(servers.address, "sftp://host/a");
    servers.listener.asked({.message = "Unknown host\nTrust\x01it?", .choices = {"Trust", "Do not"}});
    const auto choices = window->sheet()->findChildren<QPushButton*>(QStringLiteral("serverChoice"));
    ASSERT_EQ(choices.size(), 2);
    auto* focus = QApplication::focusWidget();
    focus->clearFocus();
    QTest::keyClick(window->sheet(), Qt::Key_Return);
    EXPECT_TRUE(servers.answers.empty()) << "Return trusts nobody, wherever the keyboard is";
    focus->setFocus();
    key(Qt::Key_Return);
    EXPECT_EQ(servers.abandoned, 1);
    ASSERT_TRUE(window->sheet());
    key(Qt::Key_Return);
    servers.listener.asked({.message = "Trust it?", .choices = {"Trust", "Do not"}});
    QTest::mouseClick(window->sheet()->findChildren<QPushButton*>(QStringLiteral("serverChoice")).last(),
                      Qt::LeftButton);
    EXPECT_EQ(servers.choice, 1);
    servers.listener.asked(
        {.message = "Password for ada", .user = "ada", .asksUser = true, .asksPassword = true});
    EXPECT_TRUE(find<QLineEdit>("serverPassword")->hasFocus());
    EXPECT_FALSE(find<QLineEdit>("serverDomain")->isVisible());
    type(QStringLiteral("secret"));
    key(Qt::Key_Return);
    EXPECT_EQ(servers.answers.back(), "secret");
    servers.listener.mounted(two);
    EXPECT_FALSE(window->sheet());
    EXPECT_EQ(app().activePane().location(), two);
    ASSERT_TRUE(settled());

    key(Qt::Key_K, Qt::ControlModifier);
    auto* recent = find<QListWidget>("recentServers");
    ASSERT_TRUE(eventually([&] {
        recent = window->sheet()->findChild<QListWidget*>(QStringLiteral("recentServers"));
        return recent && recent->count() == 1;
    }));
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
}

TEST_F(SidebarTest, theStatusLineTellsSpaceAndSizesIcons) {
    file("a.txt");
    openWithPlaces();
    auto* space = find<QLabel>("freeSpace");
    EXPECT_TRUE(
        eventually([&] { return space->isVisible() && space->text().endsWith(QStringLiteral("free")); }));
    auto* sizes = find<QSlider>("iconSize");
    ASSERT_TRUE(sizes->isVisible());
    sizes->setFocus();
    key(Qt::Key_Home);
    EXPECT_TRUE(eventually([&] { return app().activePane().preferences().iconSize == 72; }));
    key(Qt::Key_End);
    EXPECT_TRUE(eventually([&] { return app().activePane().preferences().iconSize == 160; }));
    window->collection().setFocus();
    app().perform(FileCommand::decreaseIconSize);
    EXPECT_TRUE(eventually([&] { return sizes->value() == 144; })) << "it follows what others do";
    app().perform(FileCommand::viewAsList);
    EXPECT_TRUE(eventually([&] { return !sizes->isVisible(); }));
    app().showActivity();
    app().closeSheet();
    window->resize(920, 640);
    QApplication::processEvents();
    const auto* counts = space->parentWidget();
    for (const auto* child : counts->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
        EXPECT_TRUE(!child->isVisible() || counts->rect().contains(child->geometry()));
}

TEST(PlaceSymbols, everySymbolLeavesAMarkInsideItsSquare) {
    constexpr int side = 48;
    for (const auto& symbol : placeSymbols()) {
        SCOPED_TRACE(std::string(symbol.name));
        QImage image(3 * side, 3 * side, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            drawSymbol(painter, symbol, QRectF(side, side, side, side), Qt::black);
        }
        int inside = 0;
        int outside = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (qAlpha(image.pixel(x, y)) > 0)
                    ++(QRect(side, side, side, side).contains(x, y) ? inside : outside);
        EXPECT_GT(inside, side);
        EXPECT_EQ(outside, 0);
    }
}

} // namespace
} // namespace morv
