// The settings under a hand's mouse and keys: every control changes the thing itself, at once.
#include "MorvApp/Views/Settings/SettingsPresenter.h"
#include "MorvApp/Views/Settings/SettingsWindow.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Platform/UserFolders.h"
#include "MorvCore/Review/SuggestionMemoryStore.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QScopeGuard>
#include <QSpinBox>
#include <QTreeWidget>
#include <QWheelEvent>
#include <fstream>
#include <sstream>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;
using testing::ElementsAre;
using testing::IsEmpty;

/// Morv takes the folders when it is told to, unless it is not installed.
class FakeHandler : public FolderHandler {
public:
    State state() const override {
        const MutexLock lock(mutex_);
        return {isMorv_, isMorv_ ? "Morv" : "Other Files"};
    }
    void makeDefault() const override {
        const MutexLock lock(mutex_);
        if (!isInstalled)
            throw FileOperationError::unavailable("Morv is not installed for this user.");
        isMorv_ = true;
    }
    void restore() const override {
        const MutexLock lock(mutex_);
        isMorv_ = false;
    }
    bool isInstalled = true;

private:
    mutable Mutex mutex_;
    mutable bool isMorv_ MORV_GUARDED_BY(mutex_) = false;
};

class SettingsTest : public WindowTest {
protected:
    /// The window of files, and the settings on that page.
    void openSettings(const char* page) {
        open();
        services->toolLauncher = launcher;
        services->folderHandler = handler;
        presenter.emplace(*services);
        services->windows.setSettingsSelection(page);
        app().perform(FileCommand::settings);
        ASSERT_TRUE(presenter->window());
        ASSERT_TRUE(eventually([&] { return settings().isVisible(); }));
    }
    SettingsWindow& settings() { return *presenter->window(); }
    template <class Widget>
    Widget* control(const char* name) {
        auto* found = settings().findChild<Widget*>(QLatin1String(name));
        if (!found)
            throw std::runtime_error(std::string("there is no ") + name);
        return found;
    }
    void click(const char* name) {
        auto* button = control<QAbstractButton>(name);
        ASSERT_TRUE(button->isVisible() && button->isEnabled()) << name;
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(10, button->height() / 2));
    }
    void choose(const char* name, int steps) {
        auto* combo = control<QComboBox>(name);
        combo->setFocus();
        for (int i = 0; i < std::abs(steps); ++i)
            QTest::keyClick(combo, steps > 0 ? Qt::Key_Down : Qt::Key_Up);
    }
    bool says(const char* text) {
        const auto labels = settings().findChildren<QLabel*>();
        return std::ranges::any_of(labels, [text](const QLabel* label) {
            return label->isVisible() && label->text().contains(QString::fromUtf8(text));
        });
    }
    /// What the question before the memory is cleared is answered with.
    void answerClearing(const QString& title) {
        click("clearSuggestions");
        answer("confirmClearing", title);
    }
    void answer(const char* question, const QString& title) {
        auto* box = settings().findChild<QMessageBox*>(QLatin1String(question));
        ASSERT_TRUE(box);
        for (auto* button : box->buttons())
            if (button->text() == title)
                QTest::mouseClick(button, Qt::LeftButton);
        ASSERT_TRUE(eventually([&] { return !settings().findChild<QMessageBox*>(); }));
    }
    /// In the save dialog that the last click has opened.
    void save(const FileURL& file) {
        QFileDialog* dialog = nullptr;
        ASSERT_TRUE(eventually([&] {
            dialog = settings().findChild<QFileDialog*>();
            return dialog && dialog->isVisible();
        }));
        dialog->selectFile(QString::fromStdString(file.path()));
        auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        ASSERT_TRUE(name);
        name->setText(QString::fromStdString(file.path()));
        QTest::keyClick(name, Qt::Key_Return);
        ASSERT_TRUE(eventually([&] { return !settings().findChild<QFileDialog*>(); }));
    }
    static std::string content(const FileURL& file) {
        std::ostringstream text;
        text << std::ifstream(file.path(), std::ios::binary).rdbuf();
        return std::move(text).str();
    }
    static SuggestionMemoryPreferences enabled() {
        SuggestionMemoryPreferences policy;
        policy.enabled = true;
        return policy;
    }
    SuggestionMemoryRecord remembered(const std::string& name) {
        return {UUID::random(), work.child(name), folder("filed").child(name), Date::now()};
    }

    std::shared_ptr<test::RecordingLauncher> launcher = std::make_shared<test::RecordingLauncher>();
    std::shared_ptr<FakeHandler> handler = std::make_shared<FakeHandler>();
    std::optional<SettingsPresenter> presenter;
};

TEST_F(SettingsTest, thereIsOneWindowAndItsPagesAreChosenWithTheKeys) {
    openSettings("general");
    auto* first = &settings();
    window->activateWindow();
    ASSERT_TRUE(eventually([&] { return window->isActiveWindow(); }));
    key(Qt::Key_Comma, Qt::ControlModifier);
    EXPECT_EQ(&settings(), first);
    ASSERT_TRUE(eventually([&] { return first->isActiveWindow(); }));
    auto* list = control<QListWidget>("settingsPages");
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Down);
    EXPECT_EQ(services->windows.settingsSelection(), "keys");
    EXPECT_TRUE(settings().findChild<QTreeWidget*>()->isVisible());
    QTest::keyClick(list, Qt::Key_End);
    EXPECT_TRUE(eventually([&] { return control<QLabel>("receiptCount")->text() == QStringLiteral("0"); }));
    EXPECT_TRUE(services->windows.keepsProcess()) << "settings in sight are of use";
    const int last = list->currentRow();
    QTest::keyClick(list, Qt::Key_Escape);
    EXPECT_TRUE(eventually([&] { return !presenter->window(); }));
    services->windows.openSettings();
    EXPECT_EQ(control<QListWidget>("settingsPages")->currentRow(), last) << "where it was left";
}

TEST_F(SettingsTest, generalChoicesReachWindowsKeysAndFolders) {
    const auto other = folder("other");
    std::ofstream(other.child(".hidden-one").path()) << "x";
    openSettings("general");
    choose("firstFolder", 1);
    EXPECT_EQ(services->firstFolder(), homeFolder());
    choose("firstFolder", -1);
    services->defaults.setLastLocation(other);
    EXPECT_EQ(services->firstFolder(), other);

    choose("returnKey", 1);
    EXPECT_EQ(services->keys.returnCommand(), FileCommand::open);
    EXPECT_THAT(services->keys.keys(FileCommand::rename), ElementsAre("F2"));
    choose("returnKey", -1);
    EXPECT_FALSE(services->keys.isChanged(FileCommand::rename)) << "the standard is no change";
    EXPECT_FALSE(services->keys.isChanged(FileCommand::open));

    click("hiddenFiles");
    app().showFolder(other);
    ASSERT_TRUE(settled());
    EXPECT_TRUE(eventually([&] { return app().activePane().entries().size() == 1; }));
    EXPECT_TRUE(app().activePane().preferences().showHidden);
}

TEST_F(SettingsTest, foldersOfOtherProgramsAreTakenAndGivenBack) {
    openSettings("general");
    ASSERT_TRUE(eventually([&] { return says("open folders with Other Files."); }));
    EXPECT_FALSE(control<QPushButton>("restoreDefault")->isEnabled());
    click("makeDefault");
    ASSERT_TRUE(eventually([&] { return says("open folders with Morv."); }));
    EXPECT_FALSE(control<QPushButton>("makeDefault")->isEnabled());
    click("restoreDefault");
    ASSERT_TRUE(eventually([&] { return says("open folders with Other Files."); }));
    handler->isInstalled = false;
    click("makeDefault");
    EXPECT_TRUE(eventually([&] { return says("Morv is not installed for this user."); }));
    EXPECT_TRUE(says("open folders with Other Files."));
}

TEST_F(SettingsTest, theLookFollowsEachClick) {
    openSettings("appearance");
    const auto back = qScopeGuard([] { Theme::shared().apply(Look{}); });
    Theme::shared().follow(services->look);
    struct Row {
        const char* control;
        Look expected;
    };
    const auto dark = Appearance::dark;
    for (const auto& row : {Row{"appearanceDark", {dark}}, Row{"highContrast", {dark, Contrast::high}},
                            Row{"reducedMotion", {dark, Contrast::high, Motion::reduced}},
                            Row{"appearanceLight", {Appearance::light, Contrast::high, Motion::reduced}},
                            Row{"highContrast", {Appearance::light, Contrast::standard, Motion::reduced}},
                            Row{"reducedMotion", {}}}) {
        SCOPED_TRACE(row.control);
        click(row.control);
        EXPECT_EQ(Theme::shared().look(), row.expected);
    }
    services->look.setDesktop({dark, {}, {}});
    click("appearanceSystem");
    EXPECT_EQ(Theme::shared().appearance(), dark);
}

TEST_F(SettingsTest, theMemoryOfSuggestionsIsRuledExportedAndCleared) {
    services.emplace(environment());
    SuggestionMemoryStore memory(services->store);
    memory.configure(enabled());
    memory.save(remembered("a.txt"));
    memory.save(remembered("b.txt"));
    services.reset();
    openSettings("suggestions");
    SuggestionMemoryStore stored(services->store);
    ASSERT_TRUE(eventually([&] { return says("2 records"); }));
    const auto exported = work.child("held.json");
    click("exportSuggestions");
    save(exported);
    ASSERT_TRUE(eventually([&] { return says("Exported 2 records"); }));
    EXPECT_EQ(content(exported),
              "[\n" + toJSON(stored.records()[0]) + ",\n" + toJSON(stored.records()[1]) + "\n]\n");
    const auto taken = file("taken.json", "mine");
    click("exportSuggestions");
    save(taken);
    EXPECT_TRUE(eventually([&] { return says("“taken.json” is already there, and was not replaced."); }));
    EXPECT_EQ(content(taken), "mine");
    EXPECT_THAT(names(work), ElementsAre("held.json", "taken.json")) << "nothing half-written is left";

    click("suggestFolders");
    EXPECT_TRUE(eventually([&] { return !stored.preferences().suggestionsEnabled; }));
    auto* days = control<QSpinBox>("retentionDays");
    days->setFocus();
    days->selectAll();
    QTest::keyClicks(days, QStringLiteral("7"));
    QTest::keyClick(days, Qt::Key_Up);
    QTest::keyClick(days, Qt::Key_Down);
    QTest::keyClick(days, Qt::Key_Return);
    answer("confirmRetention", QStringLiteral("Keep Them"));
    EXPECT_EQ(days->value(), 30);
    EXPECT_EQ(stored.preferences().retentionDays, 30) << "records would have gone";
    days->setFocus();
    days->selectAll();
    QTest::keyClicks(days, QStringLiteral("7"));
    QTest::keyClick(days, Qt::Key_Return);
    answer("confirmRetention", QStringLiteral("Remove Older Records"));
    EXPECT_TRUE(eventually([&] { return stored.preferences().retentionDays == 7; }));
    control<QAbstractButton>("suggestFolders")->setFocus();
    QWheelEvent wheel(QPointF(5, 5), days->mapToGlobal(QPointF(5, 5)), {}, QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(days, &wheel);
    EXPECT_EQ(days->value(), 7) << "a wheel on its way through the page changes nothing";

    answerClearing(QStringLiteral("Keep"));
    EXPECT_EQ(stored.records().size(), 2U);
    answerClearing(QStringLiteral("Forget All"));
    EXPECT_TRUE(eventually([&] { return says("0 records"); }));
    EXPECT_THAT(services->store.keys("suggestions/record/"), IsEmpty());
    EXPECT_TRUE(stored.preferences().enabled) << "the policy stays";
    click("rememberFiling");
    EXPECT_TRUE(eventually([&] { return !stored.preferences().enabled; }));
}

TEST_F(SettingsTest, aDamagedMemoryOfSuggestionsCanBeCleared) {
    services.emplace(environment());
    services->store.saveBytes("{", "suggestions/record/" + UUID::random().text());
    services.reset();
    openSettings("suggestions");
    ASSERT_TRUE(eventually([&] { return says("A saved record is damaged"); }));
    EXPECT_FALSE(control<QCheckBox>("rememberFiling")->isEnabled()) << "nobody knows what it would change";
    answerClearing(QStringLiteral("Forget All"));
    EXPECT_TRUE(eventually([&] { return control<QCheckBox>("rememberFiling")->isEnabled(); }));
    EXPECT_THAT(services->store.keys("suggestions/record/"), IsEmpty());
}

TEST_F(SettingsTest, anExcludedFolderIsForgottenAndMayComeBack) {
    services.emplace(environment());
    auto policy = enabled();
    policy.excludedRoots = {folder("private")};
    SuggestionMemoryStore(services->store).configure(policy);
    services.reset();
    openSettings("suggestions");
    auto* list = control<QListWidget>("excludedFolders");
    ASSERT_TRUE(eventually([&] { return list->count() == 1; }));
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
    click("removeExcluded");
    EXPECT_TRUE(eventually(
        [&] { return SuggestionMemoryStore(services->store).preferences().excludedRoots.empty(); }));
}

TEST_F(SettingsTest, developerToolsAreTheUsersOwn) {
    const auto found = file("found-terminal"), own = file("own-terminal"), editor = file("code");
    launcher->install("terminal", found);
    launcher->install("own kitty -1", own);
    launcher->install("editor code", editor);
    openSettings("developer");
    ASSERT_TRUE(eventually([&] { return says("found-terminal"); }));
    auto* line = control<QLineEdit>("terminalCommand");
    line->setFocus();
    QTest::keyClicks(line, QStringLiteral("kitty -"));
    ASSERT_TRUE(eventually([&] { return says("There is no such program."); }));
    QTest::keyClicks(line, QStringLiteral("1"));
    ASSERT_TRUE(eventually([&] { return says("own-terminal"); }));
    DeveloperToolsUI tools(services->pools, services->defaults, launcher);
    tools.openTerminal(work);
    ASSERT_TRUE(eventually([&] { return !launcher->opened().empty(); }));
    EXPECT_EQ(launcher->opened().front().first, own);
    services->defaults.setTerminalCommand("gone");
    std::string failure;
    QObject::connect(&tools, &DeveloperToolsUI::failed, [&](const std::string& text) { failure = text; });
    tools.openTerminal(work);
    EXPECT_TRUE(eventually([&] { return !failure.empty(); })) << "no other terminal stands in for it";
    EXPECT_EQ(launcher->opened().size(), 1U);

    auto* choice = control<QComboBox>("editorChoice");
    ASSERT_TRUE(eventually([&] { return choice->count() > 1; }));
    choose("editorChoice", choice->findText(QStringLiteral("editor code")) - choice->currentIndex());
    EXPECT_EQ(services->defaults.editorApplication(), editor);
    click("gitStatus");
    EXPECT_FALSE(services->defaults.showsGitStatus());
}

TEST_F(SettingsTest, applicationsThatCannotBeListedAreNoEmptyList) {
    class BrokenDesktop : public test::RecordingLauncher {
    public:
        std::vector<InstalledApplication> editors() const override {
            throw FileOperationError::unavailable("The applications cannot be listed.");
        }
    };
    launcher = std::make_shared<BrokenDesktop>();
    openSettings("developer");
    EXPECT_TRUE(eventually([&] { return says("The applications cannot be listed."); }));
}

TEST_F(SettingsTest, theDataIsCountedAndShown) {
    services.emplace(environment());
    services->library.createWorkspace("Harbour", {}, "teal", {});
    ASSERT_TRUE(eventually([&] { return services->store.keys("workspace/").size() == 1; }));
    services.reset();
    openSettings("data");
    ASSERT_TRUE(eventually([&] { return control<QLabel>("workspaceCount")->text() == QStringLiteral("1"); }));
    EXPECT_TRUE(control<QLabel>("databaseSize")->text().endsWith(QStringLiteral("KB")));
    std::optional<FileURL> shown;
    services->windows.setFactory([&](const std::optional<FileURL>& at) -> FileWindow* {
        shown = at;
        return nullptr;
    });
    click("showData");
    EXPECT_TRUE(eventually([&] { return shown == MorvServices::dataDirectory(services->environment); }));
}

} // namespace
} // namespace morv
