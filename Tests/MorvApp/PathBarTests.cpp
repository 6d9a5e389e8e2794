// The path bar with real keys: paths, completion, commands, and what Git says beside them.
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Window/MainWindow.h"
#include "MorvApp/Views/Window/PathBar.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QTest>
#include <atomic>
#include <cstdlib>

namespace morv {
namespace {

using test::eventually;
using test::RecordingLauncher;

class PathBarTest : public test::WindowTest {
protected:
    void open() {
        services.emplace(environment(), [items = itemsOpened](const FileURL&) { ++*items; });
        services->toolLauncher = launcher;
        window.emplace(*services, board, work);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(eventually([&] { return window->isActiveWindow() && window->collection().hasFocus(); }));
        ASSERT_TRUE(isAt(work));
    }
    bool isAt(const FileURL& folder) {
        return eventually([&] {
            const auto& pane = app().activePane();
            return pane.location() == folder && !pane.isLoading() && pane.loadedLocation();
        });
    }
    /// Opens the field and types over what stands there.
    QLineEdit* typeInto(const QString& text) {
        key(Qt::Key_L, Qt::ControlModifier);
        auto* field = qobject_cast<QLineEdit*>(QApplication::focusWidget());
        EXPECT_TRUE(field && window->pathBar().isEditing());
        if (field)
            QTest::keyClicks(field, text);
        return field;
    }
    QWidget* badge() { return window->findChild<QWidget*>(QStringLiteral("gitBadge")); }

    std::shared_ptr<RecordingLauncher> launcher = std::make_shared<RecordingLauncher>();
    std::shared_ptr<std::atomic<int>> itemsOpened = std::make_shared<std::atomic<int>>(0);
};

TEST_F(PathBarTest, tabCompletesAndReturnGoesThere) {
    folder("work/alpha/inner");
    folder("work/altar");
    file("notes.txt");
    open();
    auto* field = typeInto(QStringLiteral("al"));
    ASSERT_TRUE(field);
    key(Qt::Key_Tab);
    ASSERT_TRUE(eventually([&] { return field->text() == QStringLiteral("alpha"); }));
    EXPECT_TRUE(field->hasFocus()) << "Tab stays in the field";
    const auto* hint = window->findChild<QLabel*>(QStringLiteral("pathHint"));
    ASSERT_TRUE(hint);
    EXPECT_TRUE(hint->isVisible());
    EXPECT_EQ(hint->text(), QStringLiteral("2 matching folders · Tab cycles completions"));
    key(Qt::Key_Tab);
    EXPECT_EQ(field->text(), QStringLiteral("altar"));
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(field->text(), QStringLiteral("alpha"));
    QTest::keyClicks(field, QStringLiteral("/"));
    EXPECT_FALSE(hint->isVisible()) << "it speaks of what stood there";
    key(Qt::Key_Tab);
    ASSERT_TRUE(eventually([&] { return field->text() == QStringLiteral("alpha/inner/"); }));
    key(Qt::Key_Return);
    EXPECT_TRUE(isAt(work.child("alpha").child("inner")));
    EXPECT_TRUE(window->collection().hasFocus());

    field = typeInto(QStringLiteral("nowhere"));
    key(Qt::Key_Tab);
    ASSERT_TRUE(eventually([&] { return hint->isVisible(); }));
    EXPECT_EQ(hint->text(), QStringLiteral("No matching folders for this path"));
    key(Qt::Key_Return);
    EXPECT_FALSE(hint->isVisible());
    EXPECT_TRUE(eventually([&] { return app().errorMessage().has_value(); })) << "there is no such folder";
    EXPECT_TRUE(isAt(work.child("alpha").child("inner")));
    typeInto(QStringLiteral("../../notes.txt"));
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return *itemsOpened == 1; })) << "a file is opened";
}

TEST_F(PathBarTest, commandsOpenTheFolderElsewhere) {
    const auto code = file("code");
    folder("work/zed");
    launcher->install("editor visualStudioCode", code);
    open();
    typeInto(QStringLiteral("code ."));
    key(Qt::Key_Return);
    EXPECT_FALSE(window->pathBar().isEditing());
    EXPECT_TRUE(window->collection().hasFocus());
    EXPECT_TRUE(eventually([&] { return launcher->opened() == RecordingLauncher::Opened{{code, work}}; }));
    EXPECT_EQ(app().activePane().location(), work);

    typeInto(QStringLiteral("zed"));
    key(Qt::Key_Return);
    EXPECT_TRUE(isAt(work.child("zed"))) << "without its dot it is a folder's name";
    typeInto(QStringLiteral("zed ."));
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return window->findChild<QMessageBox*>(); }));
    auto* alert = window->findChild<QMessageBox*>();
    EXPECT_EQ(alert->text(), QStringLiteral("Couldn’t Open Developer Tool"));
    EXPECT_EQ(alert->informativeText(),
              QStringLiteral("Zed is not installed. Choose an installed editor or use Terminal."));
    for (const auto* label : alert->findChildren<QLabel*>())
        EXPECT_TRUE(label->text() != alert->informativeText() || label->textFormat() == Qt::PlainText);
    alert->close();
}

TEST_F(PathBarTest, theEditorIsChosenInASheet) {
    const auto first = file("first");
    const auto second = file("second");
    launcher->install("a", first);
    launcher->install("b", second);
    open();
    key(Qt::Key_E, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier);
    ASSERT_TRUE(window->sheet());
    key(Qt::Key_Escape);
    EXPECT_FALSE(window->sheet());
    EXPECT_FALSE(services->defaults.editorApplication());

    app().perform(FileCommand::editor);
    auto* list = window->sheet()->findChild<QListWidget*>(QStringLiteral("editors"));
    ASSERT_TRUE(eventually([&] { return list->count() == 2; }));
    EXPECT_TRUE(list->hasFocus());
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_FALSE(window->sheet());
    EXPECT_EQ(services->defaults.editorApplication(), second);
    EXPECT_TRUE(eventually([&] { return launcher->opened() == RecordingLauncher::Opened{{second, work}}; }));
    app().perform(FileCommand::editor);
    EXPECT_FALSE(window->sheet()) << "it is asked for once";
}

TEST_F(PathBarTest, theBadgeSaysWhatGitSaysOfTheFolder) {
    const auto plain = folder("plain");
    file("new");
    ASSERT_EQ(std::system(
                  ("GIT_CONFIG_GLOBAL=/dev/null git -c init.defaultBranch=main init -q '" + work.path() + "'")
                      .c_str()),
              0);
    open();
    ASSERT_TRUE(badge());
    ASSERT_TRUE(eventually([&] { return badge()->isVisible(); }));
    EXPECT_EQ(badge()->accessibleName(), QStringLiteral("Git main"));
    EXPECT_EQ(badge()->toolTip(),
              QStringLiteral("Branch main. 1 changed entries. Read-only local status; no fetch or pull. "));
    EXPECT_FALSE(badge()->grab().toImage().isNull());
    key(Qt::Key_L, Qt::ControlModifier);
    EXPECT_FALSE(badge()->isVisible()) << "the field has the whole bar";
    key(Qt::Key_Escape);
    EXPECT_TRUE(badge()->isVisible());
    for (const int width : {1440, 920}) {
        window->resize(width, 640);
        QCoreApplication::processEvents();
        EXPECT_TRUE(window->pathBar().rect().contains(badge()->geometry()));
        EXPECT_LE(badge()->width(), window->pathBar().width() / 3);
    }
    app().showFolder(plain);
    EXPECT_FALSE(badge()->isVisible()) << "at once";
    EXPECT_TRUE(isAt(plain));
    app().showFolder(root.child("missing"));
    ASSERT_TRUE(eventually([&] { return badge()->isVisible(); })) << "a question that has no answer";
    EXPECT_EQ(badge()->accessibleName(), QStringLiteral("Git"));
    EXPECT_FALSE(badge()->toolTip().isEmpty());
}

} // namespace
} // namespace morv
