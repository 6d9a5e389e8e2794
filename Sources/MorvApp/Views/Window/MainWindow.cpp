#include "MorvApp/Views/Window/MainWindow.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Sheets/ActivitySheet.h"
#include "MorvApp/Views/Sheets/EntrySheets.h"
#include "MorvApp/Views/Sheets/ReviewSheet.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/PathBar.h"
#include "MorvApp/Views/Window/ProgressStrip.h"
#include "MorvApp/Views/Window/StatusLine.h"

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QScreen>
#include <QToolButton>
#include <QVBoxLayout>
#include <array>

namespace morv {

namespace {

constexpr QSize firstSize{1440, 960};
constexpr QSize smallestSize{560, 400};
constexpr QSize barIcon{18, 18};

constexpr std::array<std::pair<const char*, FileSort>, 5> sortTitles{{{"Name", FileSort::name},
                                                                      {"Date Modified", FileSort::modified},
                                                                      {"Date Added", FileSort::added},
                                                                      {"Size", FileSort::size},
                                                                      {"Kind", FileSort::kind}}};

QFrame* line(QWidget* parent) {
    auto* frame = new QFrame(parent);
    frame->setObjectName(QStringLiteral("separator"));
    frame->setFixedHeight(1);
    return frame;
}

} // namespace

MainWindow::MainWindow(MorvServices& services, ClipboardBoard& board, const std::optional<FileURL>& location)
    : app_(services, board, location), services_(services) {
    setMinimumSize(smallestSize);
    resize(screen() ? firstSize.boundedTo(screen()->availableSize()) : firstSize);
    buildActions();
    auto* content = new QWidget(this);
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    collection_ = new MorvCollectionView(app_, content);
    column->addWidget(buildToolbar());
    column->addWidget(line(content));
    column->addWidget(buildErrorLine());
    column->addWidget(collection_, 1);
    column->addWidget(line(content));
    column->addWidget(new ProgressStrip(app_, content));
    column->addWidget(new StatusLine(app_, content));
    setCentralWidget(content);

    connect(&app_, &AppModel::pathEditRequested, pathBar_, &PathBar::beginEditing);
    connect(pathBar_, &PathBar::editingEnded, collection_, [this] { collection_->setFocus(); });
    connect(&app_, &AppModel::errorMessageChanged, this, &MainWindow::updateError);
    connect(&app_, &AppModel::reviewPlanChanged, this, &MainWindow::updateSheet);
    connect(&app_, &AppModel::sheetChanged, this, &MainWindow::updateSheet);
    connect(&app_.activePane(), &PaneModel::locationChanged, this, &MainWindow::updateNavigation);
    connect(&app_.activePane(), &PaneModel::preferencesChanged, this, &MainWindow::updateView);
    updateNavigation();
    updateView();
    updateError();
    collection_->setFocus();
}

MainWindow::~MainWindow() {
    // The views below refer to the model, which goes first as a member.
    delete sheet_;
    delete takeCentralWidget();
}

QAction* MainWindow::addCommand(const QString& title, FileCommand command, const QList<QKeySequence>& keys) {
    auto* action = new QAction(title, this);
    action->setShortcuts(keys);
    if (!keys.isEmpty())
        action->setToolTip(title + QStringLiteral(" (") + keys.front().toString(QKeySequence::NativeText) +
                           QStringLiteral(")"));
    connect(action, &QAction::triggered, &app_, [this, command] { app_.perform(command); });
    addAction(action);
    commands_ << action;
    return action;
}

void MainWindow::buildActions() {
    const auto key = [](QKeyCombination combination) { return QKeySequence(combination); };
    back_ = addCommand(QStringLiteral("Back"), FileCommand::back,
                       {key(Qt::ALT | Qt::Key_Left), key(Qt::CTRL | Qt::Key_BracketLeft)});
    forward_ = addCommand(QStringLiteral("Forward"), FileCommand::forward,
                          {key(Qt::ALT | Qt::Key_Right), key(Qt::CTRL | Qt::Key_BracketRight)});
    up_ = addCommand(QStringLiteral("Enclosing Folder"), FileCommand::enclosingFolder,
                     {key(Qt::ALT | Qt::Key_Up), key(Qt::CTRL | Qt::Key_Up), key(Qt::Key_Backspace)});
    grid_ = addCommand(QStringLiteral("as Icons"), FileCommand::viewAsGrid, {key(Qt::CTRL | Qt::Key_1)});
    list_ = addCommand(QStringLiteral("as List"), FileCommand::viewAsList, {key(Qt::CTRL | Qt::Key_2)});
    hidden_ = addCommand(QStringLiteral("Show Hidden Files"), FileCommand::toggleHidden,
                         {key(Qt::CTRL | Qt::Key_H), key(Qt::CTRL | Qt::SHIFT | Qt::Key_Period)});
    for (auto* action : {grid_, list_, hidden_})
        action->setCheckable(true);

    addCommand(QStringLiteral("Open"), FileCommand::open, {key(Qt::CTRL | Qt::Key_O)});
    addCommand(QStringLiteral("Rename…"), FileCommand::rename, {key(Qt::Key_F2)});
    addCommand(QStringLiteral("Copy"), FileCommand::copy, {key(Qt::CTRL | Qt::Key_C)});
    addCommand(QStringLiteral("Cut"), FileCommand::cut, {key(Qt::CTRL | Qt::Key_X)});
    addCommand(QStringLiteral("Paste"), FileCommand::paste, {key(Qt::CTRL | Qt::Key_V)});
    addCommand(QStringLiteral("Move Copied Items Here"), FileCommand::movePaste,
               {key(Qt::CTRL | Qt::ALT | Qt::Key_V)});
    addCommand(QStringLiteral("Duplicate"), FileCommand::duplicate, {key(Qt::CTRL | Qt::Key_D)});
    addCommand(QStringLiteral("Move to Trash"), FileCommand::trash,
               {key(Qt::Key_Delete), key(Qt::CTRL | Qt::Key_Backspace)});
    addCommand(QStringLiteral("New Folder…"), FileCommand::newFolder,
               {key(Qt::CTRL | Qt::SHIFT | Qt::Key_N)});
    addCommand(QStringLiteral("Tags…"), FileCommand::tags, {});
    addCommand(QStringLiteral("Make Alias"), FileCommand::alias, {});
    addCommand(QStringLiteral("Undo"), FileCommand::undo, {key(Qt::CTRL | Qt::Key_Z)});
    addCommand(QStringLiteral("Activity & Recovery…"), FileCommand::activity, {});
    addCommand(QStringLiteral("Go to Folder…"), FileCommand::editPath,
               {key(Qt::CTRL | Qt::Key_L), key(Qt::CTRL | Qt::SHIFT | Qt::Key_G)});
    addCommand(QStringLiteral("Larger Icons"), FileCommand::increaseIconSize,
               {key(Qt::CTRL | Qt::Key_Plus), key(Qt::CTRL | Qt::Key_Equal)});
    addCommand(QStringLiteral("Smaller Icons"), FileCommand::decreaseIconSize,
               {key(Qt::CTRL | Qt::Key_Minus)});
    addCommand(QStringLiteral("Refresh"), FileCommand::refresh, {key(Qt::Key_F5), key(Qt::CTRL | Qt::Key_R)});

    const auto addView = [&](const QString& title, QKeyCombination combination, auto run) {
        auto* action = new QAction(title, this);
        action->setShortcut(QKeySequence(combination));
        connect(action, &QAction::triggered, this, run);
        addAction(action);
        commands_ << action;
    };
    addView(QStringLiteral("Select All"), Qt::CTRL | Qt::Key_A, [this] { collection_->selectAll(); });
    addView(QStringLiteral("Invert Selection"), Qt::CTRL | Qt::SHIFT | Qt::Key_I,
            [this] { collection_->invertSelection(); });
    addView(QStringLiteral("Close Window"), Qt::CTRL | Qt::Key_W, [this] { close(); });
}

QToolButton* MainWindow::addButton(QWidget* bar, QAction* action, const QString& icon) {
    auto* button = new QToolButton(bar);
    action->setIcon(QIcon::fromTheme(icon));
    action->setProperty("themeIcon", icon);
    button->setDefaultAction(action);
    button->setIconSize(barIcon);
    button->setFocusPolicy(Qt::TabFocus);
    button->setAccessibleName(action->text());
    bar->layout()->addWidget(button);
    return button;
}

QWidget* MainWindow::buildToolbar() {
    auto* bar = new QFrame(this);
    bar->setObjectName(QStringLiteral("bar"));
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(Space::small, Space::small, Space::small, Space::small);
    row->setSpacing(Space::tiny);
    addButton(bar, back_, QStringLiteral("go-previous"));
    addButton(bar, forward_, QStringLiteral("go-next"));
    addButton(bar, up_, QStringLiteral("go-up"));
    row->addSpacing(Space::tiny);
    pathBar_ = new PathBar(app_.activePane(), bar);
    row->addWidget(pathBar_, 1);
    row->addSpacing(Space::tiny);

    auto* segments = new QFrame(bar);
    segments->setObjectName(QStringLiteral("segments"));
    auto* inner = new QHBoxLayout(segments);
    inner->setContentsMargins(1, 1, 1, 1);
    inner->setSpacing(0);
    addButton(segments, grid_, QStringLiteral("view-list-icons"));
    addButton(segments, list_, QStringLiteral("view-list-details"));
    row->addWidget(segments);

    auto* sort = new QAction(QStringLiteral("Sort and View"), this);
    buildSortMenu(addButton(bar, sort, QStringLiteral("view-sort-ascending")));
    auto* newFolder = new QAction(QStringLiteral("New Folder…"), this);
    newFolder->setToolTip(QStringLiteral("New Folder (Ctrl+Shift+N)"));
    connect(newFolder, &QAction::triggered, &app_, [this] { app_.perform(FileCommand::newFolder); });
    addButton(bar, newFolder, QStringLiteral("folder-new"));
    connect(&Theme::shared(), &Theme::changed, this, &MainWindow::retint);
    return bar;
}

void MainWindow::buildSortMenu(QToolButton* button) {
    auto* menu = new QMenu(button);
    sorts_ = new QActionGroup(menu);
    for (const auto& [title, sort] : sortTitles) {
        auto* action = sorts_->addAction(menu->addAction(QLatin1String(title)));
        action->setCheckable(true);
        action->setData(static_cast<int>(sort));
    }
    menu->addSeparator();
    directions_ = new QActionGroup(menu);
    for (const bool ascending : {true, false}) {
        auto* action = directions_->addAction(
            menu->addAction(ascending ? QStringLiteral("Ascending") : QStringLiteral("Descending")));
        action->setCheckable(true);
        action->setData(ascending);
    }
    menu->addSeparator();
    menu->addAction(hidden_);
    const auto change = [this](auto apply) {
        auto preferences = app_.activePane().preferences();
        apply(preferences);
        app_.activePane().setPreferences(preferences);
    };
    connect(sorts_, &QActionGroup::triggered, this, [change](QAction* action) {
        change([action](auto& preferences) {
            preferences.sort = static_cast<FileSort>(action->data().toInt());
        });
    });
    connect(directions_, &QActionGroup::triggered, this, [change](QAction* action) {
        change([action](auto& preferences) { preferences.ascending = action->data().toBool(); });
    });
    button->setMenu(menu);
    button->setPopupMode(QToolButton::InstantPopup);
}

QWidget* MainWindow::buildErrorLine() {
    auto* frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("errorLine"));
    auto* row = new QHBoxLayout(frame);
    row->setContentsMargins(Space::large, Space::tiny, Space::small, Space::tiny);
    errorText_ = new QLabel(frame);
    errorText_->setObjectName(QStringLiteral("errorText"));
    errorText_->setTextFormat(Qt::PlainText);
    errorText_->setWordWrap(true);
    row->addWidget(errorText_, 1);
    auto* close = new QToolButton(frame);
    close->setText(QStringLiteral("✕"));
    close->setAccessibleName(QStringLiteral("Dismiss the message"));
    close->setFocusPolicy(Qt::TabFocus);
    connect(close, &QToolButton::clicked, &app_, [this] { app_.setErrorMessage(std::nullopt); });
    row->addWidget(close);
    errorLine_ = frame;
    return frame;
}

void MainWindow::updateNavigation() {
    const auto& pane = app_.activePane();
    back_->setEnabled(pane.canGoBack());
    forward_->setEnabled(pane.canGoForward());
    up_->setEnabled(!pane.location().isRoot());
    setWindowTitle(shown(pane.location().lastComponent()) + QStringLiteral(" — Morv"));
}

void MainWindow::updateView() {
    const auto& preferences = app_.activePane().preferences();
    grid_->setChecked(preferences.view != BrowserViewMode::list);
    list_->setChecked(preferences.view == BrowserViewMode::list);
    hidden_->setChecked(preferences.showHidden);
    for (auto* action : sorts_->actions())
        action->setChecked(action->data().toInt() == static_cast<int>(preferences.sort));
    for (auto* action : directions_->actions())
        action->setChecked(action->data().toBool() == preferences.ascending);
}

void MainWindow::updateError() {
    errorLine_->setVisible(app_.errorMessage().has_value());
    errorText_->setText(app_.errorMessage() ? shown(*app_.errorMessage()) : QString());
}

void MainWindow::updateSheet() {
    // A sheet may be in the middle of the click that ends it.
    if (sheet_) {
        sheet_->hide();
        sheet_->deleteLater();
        sheet_ = nullptr;
        collection_->setFocus();
    }
    const bool wanted = app_.reviewPlan() || app_.sheet();
    for (auto* action : std::as_const(commands_))
        action->setEnabled(!wanted);
    if (!wanted)
        return updateNavigation();
    if (app_.reviewPlan()) {
        sheet_ = new ReviewSheet(app_, *app_.reviewPlan(), this);
        return;
    }
    switch (*app_.sheet()) {
    case AppSheet::activity:
        sheet_ = new ActivitySheet(app_, this);
        break;
    case AppSheet::newFolder:
        sheet_ = new NewFolderSheet(app_, this);
        break;
    case AppSheet::tags:
        sheet_ = new TagsSheet(app_, this);
        break;
    }
}

void MainWindow::retint() {
    for (auto* button : findChildren<QToolButton*>())
        if (auto* action = button->defaultAction())
            action->setIcon(QIcon::fromTheme(action->property("themeIcon").toString()));
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!services_.engine.hasActiveOperation())
        return event->accept();
    event->ignore();
    auto* box =
        new QMessageBox(QMessageBox::Information, QStringLiteral("Files are still being processed"),
                        QStringLiteral("Files are still being processed"), QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(QStringLiteral(
        "Keep Morv open until the current operation finishes, or cancel it in Activity before quitting."));
    box->addButton(QStringLiteral("Keep Morv Open"), QMessageBox::AcceptRole);
    box->open();
}

} // namespace morv
