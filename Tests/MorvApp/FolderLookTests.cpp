// How folders look: the art, the sheet that chooses it, and the insights of the cards in sight.
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/FolderSymbols.h"
#include "MorvApp/Views/Window/MainWindow.h"
#include "MorvApp/Views/Window/WindowActions.h"
#include "Tests/MorvApp/Support.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTreeWidget>
#include <set>

namespace morv {
namespace {

using test::eventually;

QImage drawn(const FolderAppearance& look, int size = 64, Appearance theme = Appearance::light) {
    return FolderArt::render(look, theme, size, 1).toImage();
}

TEST(FolderArt, coloursAndSymbolsTellFoldersApart) {
    std::set<QRgb> fronts;
    for (const auto color : FolderAppearance::colors)
        for (const auto theme : {Appearance::light, Appearance::dark}) {
            const auto image = drawn({std::string(color), {}, {}}, 64, theme);
            fronts.insert(image.pixel(32, 50));
            EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0) << "what is behind shows at the corners";
            EXPECT_EQ(qAlpha(image.pixel(32, 50)), 255);
        }
    EXPECT_EQ(fronts.size(), 2 * FolderAppearance::colors.size());
    EXPECT_EQ(drawn({"moss", {}, {}}), drawn({"teal", {}, {}})) << "a colour of a newer version";

    const auto plain = drawn({});
    std::vector<QImage> different = {plain};
    for (const auto& symbol : folderSymbols()) {
        SCOPED_TRACE(std::string(symbol.name));
        const auto image = drawn({"teal", std::string(symbol.name), {}});
        for (const auto& other : different)
            EXPECT_NE(image, other);
        different.push_back(image);
        QRect ink;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x)
                if (image.pixel(x, y) != plain.pixel(x, y))
                    ink |= QRect(x, y, 1, 1);
        EXPECT_TRUE(QRect(18, 25, 28, 28).contains(ink)) << "it stays on the folder";
        EXPECT_GT(ink.width() * ink.height(), 14 * 12);
        EXPECT_EQ(drawn({"teal", std::string(symbol.name), {}}, 20), drawn({}, 20)) << "too small for one";
    }
    EXPECT_EQ(drawn({"teal", "unknown", "star"}), plain);
    for (const auto* name : {"Documents", "Pictures", "Design", "Archive", "Downloads", "Desktop", "Movies",
                             "Music", "Applications", "Library", "System", "Code", "Screenshots"})
        EXPECT_TRUE(folderSymbol(*FolderAppearance::standard(FileURL().child(name)).defaultSymbol)) << name;
}

TEST(FolderArt, fillsThePixelsOfTheScreen) {
    FolderArt art;
    const auto fine = art.folder({}, 40, 2);
    EXPECT_EQ(fine.size(), QSize(80, 80));
    EXPECT_EQ(fine.devicePixelRatio(), 2);
    EXPECT_EQ(art.folder({}, 40, 2).cacheKey(), fine.cacheKey()) << "made once";
    EXPECT_NE(art.folder({}, 40, 1).size(), fine.size());
}

class FolderLookTest : public test::FolderTest {
protected:
    void open() {
        services.emplace(environment());
        window.emplace(*services, board, work);
        window->resize(920, 640);
        window->show();
        ASSERT_TRUE(eventually([&] { return app().activePane().loadedLocation().has_value(); }));
    }
    AppModel& app() { return window->model(); }
    const FolderInsight* known(std::size_t index) {
        return services->insights.known(app().activePane().displayedEntry(index));
    }
    void selectFirst() {
        QTest::mouseClick(window->collection().viewport(), Qt::LeftButton, {},
                          window->collection().visualRect(0).center());
    }
    void click(const char* name) {
        auto* button = window->sheet()->findChild<QAbstractButton*>(QLatin1String(name));
        ASSERT_TRUE(button) << name;
        QTest::mouseClick(button, Qt::LeftButton);
    }
    QPushButton* button(const QString& title) {
        for (auto* each : window->sheet()->findChildren<QPushButton*>())
            if (each->text() == title)
                return each;
        return nullptr;
    }
    QImage preview() {
        return window->sheet()->findChild<QLabel*>(QStringLiteral("lookPicture"))->pixmap().toImage();
    }

    test::MemoryBoard board;
    std::optional<MorvServices> services;
    std::optional<MainWindow> window;
};

TEST_F(FolderLookTest, aFolderIsGivenAColourAndASymbolAndItsOwnLookBack) {
    const auto photos = folder("work/Photos");
    file("a.txt");
    open();
    EXPECT_FALSE(FileManagerCommands::isEnabled(FileCommand::appearance, &app())) << "nothing is selected";
    window->collection().selectAll();
    EXPECT_FALSE(FileManagerCommands::isEnabled(FileCommand::appearance, &app())) << "more than one";
    selectFirst();
    ASSERT_TRUE(WindowActions::isOffered(FileCommand::appearance));
    ASSERT_TRUE(FileManagerCommands::isEnabled(FileCommand::appearance, &app()));

    app().perform(FileCommand::appearance);
    ASSERT_TRUE(window->sheet());
    const auto before = preview();
    click("colour-plum");
    const auto plum = preview();
    EXPECT_NE(plum, before);
    click("symbol-star");
    EXPECT_NE(preview(), plum);
    EXPECT_EQ(services->appearances.appearance(photos).color, "saffron") << "not before it is applied";
    QTest::mouseClick(button(QStringLiteral("Cancel")), Qt::LeftButton);
    EXPECT_FALSE(window->sheet());
    EXPECT_EQ(services->appearances.appearance(photos), FolderAppearance::standard(photos));

    app().perform(FileCommand::appearance);
    click("colour-coral");
    click("symbol-heart");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    app().perform(FileCommand::appearance);
    EXPECT_EQ(preview(), before) << "what was cancelled is forgotten";
    click("colour-coral");
    click("symbol-heart");
    QTest::mouseClick(button(QStringLiteral("Apply")), Qt::LeftButton);
    EXPECT_FALSE(window->sheet());
    EXPECT_EQ(services->appearances.appearance(photos), (FolderAppearance{"coral", "heart", "photo"}));

    app().perform(FileCommand::appearance);
    click("symbol-automatic");
    QTest::mouseClick(button(QStringLiteral("Apply")), Qt::LeftButton);
    EXPECT_EQ(services->appearances.appearance(photos), (FolderAppearance{"coral", std::nullopt, "photo"}));
    app().perform(FileCommand::appearance);
    QTest::mouseClick(button(QStringLiteral("Standard Appearance")), Qt::LeftButton);
    EXPECT_EQ(preview(), before);
    QTest::mouseClick(button(QStringLiteral("Apply")), Qt::LeftButton);
    EXPECT_EQ(services->appearances.appearance(photos), FolderAppearance::standard(photos));
    EXPECT_TRUE(eventually([&] { return services->store.loadBytes("folder.appearances") == "{}"; }));
}

TEST_F(FolderLookTest, cardsThatCameIntoSightAreScannedAndThoseInBetweenAreNot) {
    constexpr std::size_t count = 600;
    for (std::size_t i = 0; i < count; ++i)
        folder("work/" + std::to_string(1000 + i));
    file("1000/x", "12345");
    open();
    ASSERT_TRUE(eventually([&] { return app().activePane().displayedEntries().size() == count; }));
    ASSERT_TRUE(eventually([&] { return known(0) != nullptr; }));
    EXPECT_EQ(known(0)->countLabel(), "1 item");
    auto* bar = window->collection().verticalScrollBar();
    for (int step = 1; step <= 50; ++step) {
        bar->setValue(bar->maximum() * step / 50);
        QCoreApplication::processEvents();
    }
    ASSERT_TRUE(eventually([&] { return known(count - 1) != nullptr; }));
    EXPECT_FALSE(known(count / 2)) << "it was only scrolled past";
    const auto before = window->grab().toImage();
    file(std::to_string(1000 + count - 1) + "/new");
    app().refresh();
    EXPECT_TRUE(eventually([&] { return known(count - 1)->countLabel() == "1 item"; }))
        << "a folder that was modified is scanned again when the pane has been read";
    EXPECT_TRUE(eventually([&] { return window->grab().toImage() != before; }));
}

TEST_F(FolderLookTest, aGlanceShowsTwoLevelsAndOpensTheFolder) {
    folder("work/sub/inner");
    file("sub/photo.png", "12345");
    file("sub/inner/notes.txt", "123");
    open();
    selectFirst();
    auto* viewport = window->collection().viewport();
    const auto point = window->collection().visualRect(0).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, point, viewport->mapToGlobal(point));
    QApplication::sendEvent(viewport, &event);
    auto* action = window->findChild<QAction*>(QStringLiteral("glanceAction"));
    ASSERT_TRUE(action);
    action->trigger();
    ASSERT_TRUE(window->sheet());
    const auto text = [&](const char* name) {
        return window->sheet()->findChild<QLabel*>(QLatin1String(name))->text();
    };
    ASSERT_TRUE(eventually([&] { return !text("glanceCount").isEmpty(); }));
    EXPECT_EQ(text("glanceCount"), QStringLiteral("2"));
    EXPECT_EQ(text("glanceSize"), QStringLiteral("8 bytes"));
    auto* tree = window->sheet()->findChild<QTreeWidget*>();
    ASSERT_EQ(tree->topLevelItemCount(), 2);
    EXPECT_EQ(tree->topLevelItem(0)->child(0)->text(0), QStringLiteral("notes.txt"));
    QTest::mouseClick(button(QStringLiteral("Open Folder")), Qt::LeftButton);
    EXPECT_FALSE(window->sheet());
    EXPECT_EQ(app().activePane().location(), work.child("sub"));
    EXPECT_TRUE(eventually([&] { return app().activePane().loadedLocation() == work.child("sub"); }));
}

} // namespace
} // namespace morv
