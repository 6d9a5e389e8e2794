// Get Info, tags, view options and sharing under a hand's keys.
#include "MorvApp/Views/Inspector/InspectorPanel.h"
#include "MorvApp/Views/Inspector/InspectorSplit.h"
#include "MorvApp/Views/Tags/TagEditor.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <algorithm>
#include <filesystem>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using Names = std::vector<std::string>;

class InspectorTest : public test::WindowTest {
protected:
    InspectorPanel& panel() { return *window->findChild<InspectorPanel*>(); }
    QString text(const char* name) { return panel().findChild<ValueText*>(QLatin1String(name))->text(); }
    /// Every fact that can be seen.
    QString facts() {
        QStringList result;
        for (auto* value : panel().findChildren<ValueText*>())
            if (value->isVisible())
                result << value->accessibleName();
        return result.join(QLatin1Char('\n'));
    }
    /// The tags as the chips show them; those of some items in brackets.
    static Names chips(QWidget& within) {
        Names result;
        for (auto* chip : within.findChildren<TagChip*>()) {
            if (!chip->isVisible() || chip->presence() == TagChip::Presence::none)
                continue;
            result.push_back(chip->presence() == TagChip::Presence::all ? chip->name()
                                                                        : "[" + chip->name() + "]");
        }
        return result;
    }
    static bool carries(const FileURL& item, const Names& tags) {
        return FileTagMetadata::names(item) == tags;
    }
};

TEST_F(InspectorTest, comesWithItsKeyFollowsTheSelectionAndGoes) {
    file("a.txt", std::string(2500, 'x'));
    std::filesystem::create_symlink("nowhere", work.path() + "/broken");
    open();
    EXPECT_FALSE(window->findChild<InspectorPanel*>()) << "it is built when it is wanted";
    key(Qt::Key_I, Qt::ControlModifier);
    ASSERT_TRUE(panel().isVisible());
    EXPECT_TRUE(panel().hasKeyboard());
    ASSERT_TRUE(eventually([&] { return text("inspectorName") == QStringLiteral("work"); }))
        << "without a selection it tells of the folder";
    key(Qt::Key_Escape);
    EXPECT_TRUE(window->collection().hasFocus());
    EXPECT_TRUE(panel().isVisible()) << "Escape leaves it where it is";
    type(QStringLiteral("a.t"));
    ASSERT_THAT(selected(), ElementsAre("a.txt"));
    EXPECT_TRUE(eventually([&] { return facts().contains(QStringLiteral("(2,500 bytes)")); }))
        << facts().toStdString();
    EXPECT_TRUE(facts().contains(QStringLiteral("others ")));
    app().activePane().setSelection({});
    window->collection().setFocus();
    key(Qt::Key_End);
    ASSERT_THAT(selected(), ElementsAre("broken"));
    EXPECT_TRUE(eventually([&] { return facts().contains(QStringLiteral("Leads to: nowhere")); }));
    EXPECT_TRUE(facts().contains(QStringLiteral("A link carries no tags")));
    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return text("inspectorName") == QStringLiteral("2 items selected"); }));

    key(Qt::Key_Return, Qt::AltModifier);
    ASSERT_TRUE(panel().hasKeyboard()) << "shown, it receives the keyboard";
    key(Qt::Key_Return, Qt::AltModifier);
    EXPECT_FALSE(panel().isVisible()) << "and with it, it goes";
    EXPECT_TRUE(window->collection().hasFocus());
    EXPECT_FALSE(app().showInspector());
}

TEST_F(InspectorTest, tagsAreEditedInPlaceAndUndone) {
    const auto item = file("a.txt");
    FileTagMetadata::setNames(item, {"Old", "Red"});
    open();
    key(Qt::Key_Down);
    app().perform(FileCommand::info);
    ASSERT_TRUE(eventually([&] { return chips(panel()) == Names{"Old", "Red"}; }));
    auto& field = panel().findChild<TagEditor*>()->field();
    field.setFocus();
    type(QStringLiteral("Harbour"));
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return carries(item, {"Harbour", "Old", "Red"}); }));
    ASSERT_TRUE(eventually([&] { return chips(panel()) == Names{"Harbour", "Old", "Red"}; }));
    field.setFocus();
    key(Qt::Key_Backspace);
    EXPECT_TRUE(carries(item, {"Harbour", "Old", "Red"})) << "the first press goes to the last tag";
    key(Qt::Key_Backspace);
    ASSERT_TRUE(eventually([&] { return chips(panel()) == Names{"Harbour", "Old"}; }));
    EXPECT_TRUE(carries(item, {"Harbour", "Old"}));
    ASSERT_TRUE(settled());
    auto* chip = qobject_cast<TagChip*>(QApplication::focusWidget());
    ASSERT_TRUE(chip) << "the keyboard stays among the tags";
    QTest::mouseClick(chip, Qt::LeftButton, {}, {chip->width() - 12, chip->height() / 2});
    ASSERT_TRUE(eventually([&] { return FileTagMetadata::names(item).size() == 1; }));
    ASSERT_TRUE(settled());
    window->collection().setFocus();
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return carries(item, {"Harbour", "Old"}); }));
    ASSERT_TRUE(settled());
}

TEST_F(InspectorTest, theTagsSheetLeavesAloneWhatNobodyTouched) {
    const auto a = file("a");
    const auto b = file("b");
    FileTagMetadata::setNames(a, {"Mine", "Old", "Red"});
    FileTagMetadata::setNames(b, {"Old"});
    open();
    key(Qt::Key_A, Qt::ControlModifier);
    app().perform(FileCommand::tags);
    ASSERT_TRUE(window->sheet());
    auto& sheet = *window->sheet();
    EXPECT_EQ(chips(sheet), (Names{"[Mine]", "Old", "[Red]"}));
    const auto chip = [&](const char* name) {
        const auto all = sheet.findChildren<TagChip*>();
        const auto found = std::ranges::find_if(
            all, [&](const TagChip* each) { return each->isVisible() && each->name() == name; });
        return found == all.end() ? nullptr : *found;
    };
    chip("Red")->setFocus();
    key(Qt::Key_Space);
    chip("Old")->setFocus();
    key(Qt::Key_Delete);
    ASSERT_TRUE(chip("Blue")) << "the colours are offered";
    QTest::mouseClick(chip("Blue"), Qt::LeftButton);
    EXPECT_EQ(chips(sheet), (Names{"[Mine]", "Red", "Blue"}));
    EXPECT_TRUE(carries(a, {"Mine", "Old", "Red"})) << "nothing happens before it is confirmed";
    type(QStringLiteral("New"));
    for (auto* button : sheet.findChildren<QPushButton*>())
        if (button->text() == QStringLiteral("Update Tags"))
            QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_FALSE(window->sheet());
    EXPECT_TRUE(eventually([&] {
        return carries(a, {"Blue", "Mine", "New", "Red"}) && carries(b, {"Blue", "New", "Red"});
    })) << "what stood in the field was meant, too";
    ASSERT_TRUE(settled());
}

TEST_F(InspectorTest, aHostileNameIsShownAndReadAsItIs) {
    const std::string name = "a\nb\xff" + std::string(200, 'w') + "\xe2\x80\xae.txt";
    file(name, "abc");
    open();
    key(Qt::Key_Down);
    app().perform(FileCommand::info);
    auto* button = panel().findChild<QPushButton*>(QStringLiteral("checksumButton"));
    ASSERT_TRUE(eventually([&] { return button->isVisible(); }));
    EXPECT_FALSE(text("inspectorName").contains(QChar(0x202e)));
    EXPECT_FALSE(text("inspectorName").contains(QLatin1Char('\n')));
    EXPECT_LE(panel().width(), 400) << "a long name does not push the files aside";
    button->click();
    EXPECT_TRUE(eventually([&] { return text("checksum").startsWith(QStringLiteral("ba7816bf8f01cfea")); }));
}

TEST_F(InspectorTest, itsDividerStaysWhereItWasPut) {
    open();
    window->resize(1440, 900);
    app().perform(FileCommand::toggleInspector);
    auto* split = window->findChild<InspectorSplit*>();
    EXPECT_EQ(panel().width(), 280);
    auto* handle = split->handle(1);
    QTest::mousePress(handle, Qt::LeftButton);
    QTest::mouseMove(handle, handle->rect().center() - QPoint(60, 0));
    QTest::mouseRelease(handle, Qt::LeftButton, {}, handle->rect().center());
    const int width = panel().width();
    EXPECT_GT(width, 320);
    EXPECT_TRUE(services->layout.snapshots(app().layoutNamespace()).contains("inspector"));
    app().perform(FileCommand::toggleInspector);
    EXPECT_FALSE(services->layout.snapshots(app().layoutNamespace()).contains("inspector"))
        << "a hidden divider has no place";
    app().perform(FileCommand::toggleInspector);
    EXPECT_NEAR(panel().width(), width, 2);
}

TEST_F(InspectorTest, viewOptionsTakeEffectAtOnce) {
    file("a.txt", "1");
    file("b.txt", "22");
    file(".secret");
    open();
    key(Qt::Key_J, Qt::ControlModifier);
    ASSERT_TRUE(window->sheet());
    const auto choose = [&](const char* name, const char* choice) {
        auto* box = find<QComboBox>(name);
        box->setFocus();
        for (int i = 0; i < box->count() && box->currentText() != QLatin1String(choice); ++i)
            key(Qt::Key_Down);
        EXPECT_EQ(box->currentText(), QLatin1String(choice));
    };
    const auto& preferences = app().activePane().preferences();
    choose("viewSort", "Size");
    EXPECT_EQ(preferences.sort, FileSort::size);
    choose("viewDirection", "Descending");
    EXPECT_EQ(app().activePane().displayedEntry(0).name, "b.txt");
    choose("viewGrouping", "Kind");
    EXPECT_EQ(preferences.grouping, FileGrouping::kind);
    find<QSlider>("viewIconSize")->setFocus();
    key(Qt::Key_End);
    EXPECT_EQ(preferences.iconSize, AppModel::largestIcon);
    find<QCheckBox>("viewHidden")->setFocus();
    key(Qt::Key_Space);
    EXPECT_TRUE(eventually([&] { return app().activePane().entries().size() == 3; }));
    // It also follows what is changed elsewhere.
    app().perform(FileCommand::viewAsList);
    EXPECT_EQ(window->collection().mode(), CollectionMode::list);
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
    EXPECT_TRUE(window->collection().hasFocus());
    ASSERT_TRUE(settled());
}

/// Remembers what would have been sent.
class RecordingSender : public ItemSender {
public:
    void sendByMail(const std::vector<FileURL>& files, const std::stop_token&) const override {
        const MutexLock lock(mutex_);
        sent_ = files;
    }
    std::vector<FileURL> sent() const {
        const MutexLock lock(mutex_);
        return sent_;
    }

private:
    mutable Mutex mutex_;
    mutable std::vector<FileURL> sent_ MORV_GUARDED_BY(mutex_);
};

TEST_F(InspectorTest, sharingSendsFilesAndCopiesPlaces) {
    const auto odd = file("-odd \xff name.txt");
    folder("work/sub");
    open();
    const auto sender = std::make_shared<RecordingSender>();
    services->itemSender = sender;
    const auto share = [&](const char* title) -> QAction* {
        app().perform(FileCommand::share);
        auto* menu = find<QMenu>("shareMenu");
        if (menu)
            for (auto* action : menu->actions())
                if (action->text() == QString::fromUtf8(title))
                    return action;
        return nullptr;
    };
    EXPECT_FALSE(share("Copy Location")) << "nothing is selected";
    key(Qt::Key_A, Qt::ControlModifier);
    auto* mail = share("Send by E-mail…");
    ASSERT_TRUE(mail);
    EXPECT_FALSE(mail->isEnabled());
    EXPECT_EQ(mail->toolTip(),
              QStringLiteral("A folder cannot be attached to a message. Compress it first."));
    find<QMenu>("shareMenu")->close();
    eventually([&] { return !find<QMenu>("shareMenu"); });
    // Where a menu has closed on this platform no window is active.
    QTest::keyClick(&window->collection(), Qt::Key_End);
    ASSERT_THAT(selected(), ElementsAre("-odd \xff name.txt"));
    mail = share("Send by E-mail…");
    ASSERT_TRUE(mail && mail->isEnabled());
    mail->trigger();
    EXPECT_TRUE(eventually([&] { return sender->sent() == std::vector<FileURL>{odd}; }));
    find<QMenu>("shareMenu")->close();
    eventually([&] { return !find<QMenu>("shareMenu"); });
    share("Copy Location")->trigger();
    EXPECT_EQ(board.contents, (ClipboardBoard::Contents{{FileClipboard::plainTextType,
                                                         work.path() + "/-odd \xef\xbf\xbd name.txt"}}));
}

} // namespace
} // namespace morv
