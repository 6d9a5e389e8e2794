// Sections, what is read out, what stands in place of files, and the menus of a collection.
#include "MorvApp/Views/Collection/CollectionAccessibility.h"
#include "MorvApp/Views/Collection/OpenWithMenu.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/WindowActions.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QAbstractButton>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QScopeGuard>
#include <QScrollBar>
#include <QThread>
#include <QToolTip>
#include <filesystem>
#include <latch>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class CollectionViewTest : public WindowTest {
protected:
    MorvCollectionView& view() { return window->collection(); }
    void group(FileGrouping grouping, BrowserViewMode mode = BrowserViewMode::grid) {
        auto preferences = app().activePane().preferences();
        preferences.grouping = grouping;
        preferences.view = mode;
        app().activePane().setPreferences(preferences);
    }
    std::string current() {
        return view().current() < 0 ? std::string() : view().entry(view().current()).name;
    }
    QAbstractButton* button(const char* parent, const QString& text) {
        for (auto* button :
             view().window()->findChild<QWidget*>(QLatin1String(parent))->findChildren<QAbstractButton*>())
            if (button->isVisible() && button->text().startsWith(text))
                return button;
        return nullptr;
    }
};

TEST_F(CollectionViewTest, keysHandsAndTypingFollowTheShownOrder) {
    for (const auto* name : {"a.txt", "b.png", "c.txt", "d.png", "e.zip"})
        file(name);
    folder("work/folder");
    open();
    for (const auto mode : {BrowserViewMode::grid, BrowserViewMode::list}) {
        group(FileGrouping::kind, mode);
        std::vector<std::string> titles, shown;
        for (const auto& section : view().sections())
            titles.emplace_back(section.title);
        EXPECT_THAT(titles, ElementsAre("Folders", "Images", "Documents", "Archives"));
        for (std::int64_t i = 0; i < view().count(); ++i)
            shown.push_back(view().entry(i).name);
        EXPECT_THAT(shown, ElementsAre("folder", "b.png", "d.png", "a.txt", "c.txt", "e.zip"));

        key(Qt::Key_Home);
        key(Qt::Key_Down);
        EXPECT_EQ(current(), "b.png") << "into the next section";
        key(Qt::Key_End, Qt::ShiftModifier);
        EXPECT_THAT(selected(), ElementsAre("a.txt", "b.png", "c.txt", "d.png", "e.zip"));
        const auto from = view().visualRect(1), to = view().visualRect(3);
        QTest::mouseClick(view().viewport(), Qt::LeftButton, {}, from.center());
        QTest::mouseClick(view().viewport(), Qt::LeftButton, Qt::ShiftModifier, to.center());
        EXPECT_THAT(selected(), ElementsAre("a.txt", "b.png", "d.png")) << "the range that is seen";
        QTest::mouseClick(view().viewport(), Qt::LeftButton, {}, {from.center().x(), from.top() - 4});
        EXPECT_THAT(selected(), IsEmpty()) << "a heading is no item";
    }
    type(QStringLiteral("c"));
    EXPECT_THAT(selected(), ElementsAre("c.txt"));
    key(Qt::Key_Down);
    EXPECT_EQ(current(), "e.zip");
    EXPECT_THAT(view().sectionSize(1).toStdString(),
                AllOf(HasSubstr(" in 2 local files."), HasSubstr(" Hidden files excluded.")));
    EXPECT_EQ(view().sectionSize(0).toStdString(), "1 physical folder. Hidden files excluded.");
    folder("work/second");
    EXPECT_TRUE(eventually([&] {
        return view().sectionSize(0) == QStringLiteral("2 physical folders. Hidden files excluded.");
    })) << "what was counted before is of the past";
}

TEST_F(CollectionViewTest, theColumnIsKeptPastShorterRows) {
    for (const auto* name : {"1.png", "2.png", "3.png", "5.zip", "6.zip", "7.deb", "8.deb", "9.deb"})
        file(name);
    open();
    group(FileGrouping::kind);
    key(Qt::Key_Home);
    key(Qt::Key_Right);
    key(Qt::Key_Right);
    ASSERT_EQ(current(), "3.png");
    key(Qt::Key_Down);
    EXPECT_EQ(current(), "6.zip") << "the nearest in a row of two";
    key(Qt::Key_Down);
    EXPECT_EQ(current(), "9.deb") << "back in the third column";
}

TEST_F(CollectionViewTest, typingSeeksWhateverCanBePrinted) {
    for (const auto* name : {"a.txt", "~b.txt", "~\xF0\x9D\x9B\xBC.txt"})
        file(name);
    open();
    // With the key for third-level characters, and from beyond the first plane.
    for (const auto* text : {"~", "\xF0\x9D\x9B\xBC"}) {
        QKeyEvent press(QEvent::KeyPress, 0, Qt::GroupSwitchModifier, QString::fromUtf8(text));
        QApplication::sendEvent(&view(), &press);
    }
    EXPECT_THAT(selected(), ElementsAre("~\xF0\x9D\x9B\xBC.txt"));
}

TEST_F(CollectionViewTest, aNameThatIsBeingEditedStaysWithItsItemWhenOthersGo) {
    for (const auto* name : {"a.txt", "b.txt", "c.txt"})
        file(name);
    open();
    key(Qt::Key_End);
    app().perform(FileCommand::rename);
    ASSERT_TRUE(view().nameEditor());
    type(QStringLiteral("half"));
    std::filesystem::remove(work.child("a.txt").path());
    app().refresh();
    ASSERT_TRUE(eventually([&] { return view().count() == 2; }));
    ASSERT_TRUE(settled());
    ASSERT_TRUE(view().nameEditor()) << "nothing was typed to its end";
    EXPECT_TRUE(view().visualRect(1).intersects(view().nameEditor()->geometry()));
    EXPECT_FALSE(view().visualRect(0).intersects(view().nameEditor()->geometry()));
    std::filesystem::remove(work.child("c.txt").path());
    app().refresh();
    ASSERT_TRUE(eventually([&] { return view().count() == 1 && !view().nameEditor(); }));
    EXPECT_TRUE(view().hasFocus());
    EXPECT_TRUE(settled());
    EXPECT_THAT(names(work), ElementsAre("b.txt"));
}

TEST_F(CollectionViewTest, upAndDownStayInTheColumnOfAnItemThatHasMoved) {
    for (int i = 0; i < 30; ++i)
        file("b" + std::to_string(10 + i) + ".txt");
    open();
    std::int64_t columns = 1;
    while (view().visualRect(columns).top() == view().visualRect(0).top())
        ++columns;
    ASSERT_GE(columns, 3);
    key(Qt::Key_Home);
    key(Qt::Key_Right);
    file("a.txt");
    app().refresh();
    ASSERT_TRUE(eventually([&] { return view().count() == 31 && view().current() == 2; }));
    key(Qt::Key_Down);
    EXPECT_EQ(view().current(), 2 + columns);
}

TEST_F(CollectionViewTest, theRingOfTheCurrentItemIsWideInHighContrast) {
    file("a.txt");
    open();
    key(Qt::Key_Home);
    const auto back = qScopeGuard([] { Theme::shared().apply(Look{}); });
    const auto ring = [&](Contrast contrast) {
        Theme::shared().apply(Look{Appearance::light, contrast});
        const auto image = view().viewport()->grab(view().visualRect(0)).toImage();
        int rows = 0;
        for (int y = 0; y < 10; ++y)
            rows += image.pixelColor(image.width() / 2, y) == Theme::shared().colours().accent;
        return rows;
    };
    EXPECT_LT(ring(Contrast::standard), 3);
    EXPECT_GE(ring(Contrast::high), 3);
}

TEST_F(CollectionViewTest, aGroupOfDownloadsIsChosenAndNothingUnseenStaysSelected) {
    folder("work/Downloads");
    for (const auto* name : {"a.txt", "b.png", "c.txt"})
        file(std::string("Downloads/") + name);
    open();
    app().open(work.child("Downloads").asFolder());
    ASSERT_TRUE(eventually([&] { return button("downloadsBar", QStringLiteral("Documents")) != nullptr; }));
    view().setFocus();
    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(selected().size(), 3U);
    auto* documents = button("downloadsBar", QStringLiteral("Documents"));
    EXPECT_EQ(documents->text(), QStringLiteral("Documents  2"));
    documents->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Space);
    EXPECT_EQ(view().count(), 2);
    EXPECT_THAT(selected(), ElementsAre("a.txt", "c.txt"));
    view().setFocus();
    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_THAT(selected(), ElementsAre("a.txt", "c.txt")) << "all that is shown";
    button("downloadsBar", QStringLiteral("All"))->click();
    EXPECT_EQ(view().count(), 3);
    group(FileGrouping::none);
    EXPECT_FALSE(button("downloadsBar", QStringLiteral("All")));
}

TEST_F(CollectionViewTest, headingsFollowTheDayAfterASleep) {
    file("a.txt");
    open();
    group(FileGrouping::date);
    WindowActions actions(app(), *window, [](FileCommand) {});
    auto now = Date::now();
    MorvCollectionView slept(app(), app().activePane(), actions, {.now = [&now] { return now; }},
                             window->centralWidget());
    const auto title = [&] { return std::string(slept.sections().front().title); };
    ASSERT_EQ(title(), "Today");
    // The timer's clock has stood still.
    constexpr double day = 86'400;
    now = Date::fromUnix(now.unixSeconds() + day);
    QEvent activation(QEvent::ActivationChange);
    QApplication::sendEvent(&slept, &activation);
    EXPECT_EQ(title(), "Yesterday");
    now = Date::fromUnix(now.unixSeconds() + day);
    app().refresh();
    EXPECT_TRUE(eventually([&] { return title() == "Previous 7 Days"; }));
}

TEST_F(CollectionViewTest, whatTheModelSelectsIsNotTakenForTheUsers) {
    file("a.txt");
    file("b.txt");
    open();
    WindowActions actions(app(), *window, [](FileCommand) {});
    std::vector<std::string> told;
    MorvCollectionView other(
        app(), app().activePane(), actions,
        {.mode = CollectionMode::column,
         .onSelect = [&](const FileEntry* entry) { told.push_back(entry ? entry->name : "-"); },
         .onCommand = [&](FileCommand) { told.emplace_back("command"); }});
    other.resize(300, 300);
    app().activePane().setSelection({EntryKey(app().activePane().displayedEntry(0))});
    EXPECT_THAT(told, IsEmpty());
    other.selectItem(1);
    other.selectAll();
    EXPECT_THAT(told, ElementsAre("b.txt", "-"));
    QTest::keyClick(&other, Qt::Key_Space);
    EXPECT_THAT(told, ElementsAre("b.txt", "-", "command"));
    QKeyEvent left(QEvent::KeyPress, Qt::Key_Left, Qt::NoModifier);
    QApplication::sendEvent(&other, &left);
    EXPECT_FALSE(left.isAccepted()) << "sideways lies another column";
}

TEST_F(CollectionViewTest, aScreenReaderHearsWhatIsThere) {
    file("a.txt", "12345");
    file("b.png");
    folder("work/sub");
    folder("work/sub/inner");
    open();
    auto* list = QAccessible::queryAccessibleInterface(&view());
    ASSERT_TRUE(list);
    EXPECT_EQ(list->role(), QAccessible::List);
    EXPECT_EQ(list->text(QAccessible::Name), QStringLiteral("Files in work"));
    ASSERT_EQ(list->childCount(), 3);
    ASSERT_TRUE(eventually(
        [&] { return list->child(0)->text(QAccessible::Name) == QStringLiteral("sub, folder, 1 item"); }));
    EXPECT_EQ(list->child(1)->text(QAccessible::Name), QStringLiteral("a.txt, TXT document, 5 bytes"));
    EXPECT_EQ(list->child(3), nullptr);
    key(Qt::Key_End);
    auto* last = list->child(2);
    EXPECT_EQ(list->focusChild(), last);
    EXPECT_TRUE(last->state().selected && last->state().focused);
    EXPECT_FALSE(list->child(1)->state().selected);
    EXPECT_EQ(list->indexOfChild(last), 2);
    const auto middle = last->rect().center();
    EXPECT_EQ(list->childAt(middle.x(), middle.y()), last);

    group(FileGrouping::kind);
    EXPECT_EQ(list->child(0)->text(QAccessible::Description),
              QStringLiteral("Folders: 1 physical folder. Hidden files excluded."));
    list->child(0)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(eventually([&] { return app().activePane().location() == work.child("sub").asFolder(); }));
    EXPECT_EQ(list->text(QAccessible::Name), QStringLiteral("Files in sub"));
}

TEST_F(CollectionViewTest, aScreenReaderFindsTheFieldOfANameAndTheButtons) {
    file("a.txt");
    file("b.txt");
    folder("work/bare");
    open();
    auto* list = QAccessible::queryAccessibleInterface(&view());
    key(Qt::Key_End);
    app().perform(FileCommand::rename);
    ASSERT_EQ(list->childCount(), 4);
    auto* field = list->child(3);
    ASSERT_TRUE(field);
    EXPECT_EQ(field->object(), view().nameEditor());
    EXPECT_EQ(list->indexOfChild(field), 3);
    EXPECT_EQ(list->focusChild(), field);
    const auto middle = field->rect().center();
    EXPECT_EQ(list->childAt(middle.x(), middle.y()), field);
    key(Qt::Key_Escape);
    EXPECT_EQ(list->childCount(), 3);

    app().open(work.child("bare").asFolder());
    ASSERT_TRUE(eventually([&] { return list->childCount() == 1; }));
    EXPECT_EQ(list->child(0)->text(QAccessible::Name), QStringLiteral("Show Hidden Files"));
    EXPECT_EQ(list->indexOfChild(list->child(0)), 0);
    list->child(0)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(
        eventually([&] { return app().activePane().preferences().showHidden && list->childCount() == 0; }));
}

TEST_F(CollectionViewTest, aRowOfTheListTellsWhatItHasNoRoomFor) {
    const std::string longName = std::string(200, 'l') + ".txt";
    file("a.txt");
    file("b.txt");
    file(longName);
    FileTagMetadata::setNames(work.child("b.txt"), {"One", "Two", std::string(80, 't')});
    open();
    group(FileGrouping::none, BrowserViewMode::list);
    const auto tip = [&](std::int64_t index) {
        const auto point = view().visualRect(index).center();
        QHelpEvent event(QEvent::ToolTip, point, view().viewport()->mapToGlobal(point));
        QApplication::sendEvent(view().viewport(), &event);
        return QToolTip::isVisible() ? QToolTip::text().toStdString() : std::string();
    };
    EXPECT_EQ(tip(2), longName);
    EXPECT_TRUE(eventually([&] {
        return tip(1).starts_with("b.txt\nTags: ") && tip(1).ends_with(std::string(80, 't'));
    })) << tip(1);
    EXPECT_TRUE(eventually([&] { return tip(0).empty(); })) << "all of it can be seen";
}

TEST_F(CollectionViewTest, whatCannotBeShownSaysWhyAndLeadsAway) {
    folder("work/gone");
    file(".hidden");
    open();
    app().open(work.child("gone").asFolder());
    ASSERT_TRUE(
        eventually([&] { return button("noticeButtons", QStringLiteral("Show Hidden Files")) != nullptr; }));
    std::filesystem::remove(work.child("gone").path());
    ASSERT_TRUE(eventually([&] { return button("noticeButtons", QStringLiteral("Go Up")) != nullptr; }));
    EXPECT_THAT(view().accessibleDescription().toStdString(), HasSubstr("This folder can’t be shown"));
    button("noticeButtons", QStringLiteral("Go Up"))->click();
    EXPECT_TRUE(eventually([&] { return app().activePane().loadedLocation() == work.asFolder(); }));
    EXPECT_EQ(button("noticeButtons", QStringLiteral("Go Up")), nullptr);
}

TEST_F(CollectionViewTest, aFolderThatDoesNotAnswerIsGivenUpAndTheWindowLives) {
    file("a.txt");
    open();
    std::latch answer(1);
    TaskPools pools; // its end waits for the reader
    PaneServices reading{services->store, pools, nullptr,
                         DirectoryService([&answer](const FileURL&) { answer.wait(); })};
    {
        PaneModel silent(work, reading);
        WindowActions actions(app(), *window, [](FileCommand) {});
        MorvCollectionView waiting(app(), silent, actions, {.answerPatience = std::chrono::milliseconds(20)},
                                   window->centralWidget());
        waiting.setGeometry(0, 0, 600, 500);
        waiting.show();
        const auto buttons = [&] {
            return waiting.findChild<QWidget*>(QStringLiteral("noticeButtons"))
                ->findChildren<QAbstractButton*>();
        };
        EXPECT_TRUE(eventually([&] {
            return waiting.accessibleDescription().startsWith(QStringLiteral("This folder is not answering"));
        }));
        ASSERT_EQ(buttons().size(), 1);
        EXPECT_EQ(buttons().front()->text(), QStringLiteral("Cancel"));
        buttons().front()->click();
        EXPECT_FALSE(silent.isLoading());
        EXPECT_EQ(silent.error(), "Reading this folder was cancelled.");
        EXPECT_TRUE(waiting.accessibleDescription().contains(QStringLiteral("cancelled")));
    }
    answer.count_down();
}

class Catalogue : public ApplicationCatalogue {
public:
    std::vector<InstalledApplication> thatOpen(const std::vector<FileURL>& items) const override {
        if (items.size() > 1)
            return {};
        return {{FileURL::fromPath("/apps/viewer.desktop"), "Viewer & Co", "/apps/viewer.png"}};
    }
    void open(const InstalledApplication& application, const std::vector<FileURL>& items) const override {
        throw std::runtime_error(application.name + " refuses " + std::string(items.front().lastComponent()));
    }
};

/// One red pixel, of "/apps/viewer.png" and never on the main thread.
class IconDecoder : public MediaDecoder {
public:
    DecodedMedia decode(const MediaRequest& request, const std::stop_token&) const override {
        if (request.file.path() != "/apps/viewer.png" || QThread::currentThread() == qApp->thread())
            throw MediaError("not here");
        const auto red = std::make_shared<const QRgb>(qRgb(255, 0, 0));
        return {{1, 1, {red, reinterpret_cast<const std::byte*>(red.get())}}, 1, 1, 0, {}};
    }
    bool understands(const FileURL&) const override { return true; }
};

TEST_F(CollectionViewTest, theMenuOffersWhatCanBeDoneWithWhatIsUnderIt) {
    file("a.txt");
    file("b.txt");
    folder("work/sub");
    open();
    services->applications = std::make_shared<Catalogue>();
    services->mediaDecoder = std::make_shared<IconDecoder>();
    const auto closeMenus = [&] {
        for (auto* open : view().findChildren<QMenu*>(QString(), Qt::FindDirectChildrenOnly))
            delete open;
    };
    const auto menuAt = [&](QPoint point) {
        closeMenus();
        QTest::mouseClick(view().viewport(), Qt::RightButton, {}, point);
        QContextMenuEvent event(QContextMenuEvent::Mouse, point, view().viewport()->mapToGlobal(point));
        QApplication::sendEvent(view().viewport(), &event);
        return view().findChild<QMenu*>(QString(), Qt::FindDirectChildrenOnly);
    };
    const auto titles = [](const QMenu* menu) {
        std::vector<std::string> result;
        for (const auto* action : menu->actions())
            if (!action->isSeparator())
                result.push_back(action->text().toStdString());
        return result;
    };
    EXPECT_THAT(titles(menuAt(view().viewport()->rect().bottomRight())),
                AllOf(Contains("New Folder…"), Not(Contains("Paste")), Not(Contains("Open"))))
        << "there is nothing to paste";
    auto onFolder = titles(menuAt(view().visualRect(0).center()));
    EXPECT_THAT(onFolder, AllOf(Contains("Folder at a Glance"), Contains("Folder Appearance…"),
                                Contains("Add to Favourites")));
    EXPECT_EQ(onFolder.back(), "Move to Trash");
    closeMenus();
    key(Qt::Key_C, Qt::ControlModifier);
    auto* onFile = menuAt(view().visualRect(1).center());
    EXPECT_THAT(titles(onFile), AllOf(Contains("Paste"), Contains("Open With"), Not(Contains("Extract ZIP…")),
                                      Not(Contains("Add to Favourites"))));
    EXPECT_EQ(titles(onFile).at(1), "Open With");
    closeMenus();
    OpenWithMenu with(app(), {work.child("a.txt")}, nullptr);
    Q_EMIT with.aboutToShow();
    ASSERT_TRUE(eventually([&] {
        return with.actions().size() == 1 && with.actions().front()->text() == QStringLiteral("Viewer && Co");
    }));
    EXPECT_TRUE(eventually([&] {
        const auto picture = with.actions().front()->icon().pixmap(1).toImage();
        return !picture.isNull() && picture.pixelColor(0, 0) == QColor(Qt::red);
    })) << "its picture comes when it has been read";
    with.actions().front()->trigger();
    EXPECT_TRUE(eventually([&] { return app().errorMessage() == "Viewer & Co refuses a.txt"; }));
}

TEST(BrokenName, linesEndWhereAReaderWouldEndThem) {
    const QFont font;
    const QFontMetrics metrics(font);
    struct Row {
        const char* name;
        const char* fits; ///< the width is that of this text and a little more
        const char* first;
        const char* second;
    };
    for (const auto& row :
         {Row{"short.txt", "short.txt", "short.txt", ""},
          Row{"Breakwater north.jpg", "Breakwater nort", "Breakwater", "north.jpg"},
          Row{"Breakwater north.jpg", "Breakwater north", "Breakwater", "north.jpg"},
          Row{"ab-cd-Breakwater.presentation", "ab-cd-Breakwater", "ab-cd-Breakwater", ".presentation"},
          Row{"Presentation.odp", "Presentation.o", "Presentation", ".odp"},
          Row{"annual-report.pdf", "annual-repo", "annual-", "report.pdf"},
          Row{"HarbourWalkNorth.mp4", "HarbourWalkNo", "HarbourWalk", "North.mp4"},
          Row{"Donaudampfschiff", "Donaudampfschi", "Donaudampfsc", "hiff"}}) {
        const int width = metrics.horizontalAdvance(QString::fromUtf8(row.fits)) + 2;
        const auto [first, second] = brokenName(QString::fromUtf8(row.name), width, font);
        EXPECT_EQ(first.toStdString(), row.first);
        EXPECT_EQ(second.toStdString(), row.second);
    }
    const auto emoji = QStringLiteral("👩‍👩‍👧‍👦").repeated(9);
    const auto [first, second] = brokenName(emoji, metrics.horizontalAdvance(emoji) / 2, font);
    EXPECT_EQ(first.size() % 11, 0) << "no character is broken";
    EXPECT_EQ(first + second, emoji);
}

} // namespace
} // namespace morv
