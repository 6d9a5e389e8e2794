#include "MorvApp/Views/Window/MainWindow.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Inspector/InspectorSplit.h"
#include "MorvApp/Views/Preview/PreviewWindow.h"
#include "MorvApp/Views/Sheets/FolderDialog.h"
#include "MorvApp/Views/Sheets/TrashBand.h"
#include "MorvApp/Views/Sidebar/Sidebar.h"
#include "MorvApp/Views/Theme/Announcement.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/PaneView.h"
#include "MorvApp/Views/Window/PathBar.h"
#include "MorvApp/Views/Window/ProgressStrip.h"
#include "MorvApp/Views/Window/SearchField.h"
#include "MorvApp/Views/Window/ShareMenu.h"
#include "MorvApp/Views/Window/SheetHost.h"
#include "MorvApp/Views/Window/SortTitles.h"
#include "MorvApp/Views/Window/StatusLine.h"
#include "MorvApp/Views/Window/TabArea.h"
#include "MorvApp/Views/Window/WindowActions.h"
#include "MorvApp/Views/Workspaces/WorkspaceColours.h"
#include "MorvApp/Views/Workspaces/WorkspaceView.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <array>
#include <utility>

namespace morv {

namespace {

constexpr QSize firstSize{1440, 960};
constexpr QSize smallestSize{920, 640};
constexpr QSize frameRoom{16, 48};
constexpr int numberedTabs = 9;
constexpr QSize barIcon{18, 18};

QFrame* line(QWidget* parent) {
    auto* frame = new QFrame(parent);
    frame->setObjectName(QStringLiteral("separator"));
    frame->setFixedHeight(1);
    return frame;
}

} // namespace

MainWindow::MainWindow(MorvServices& services, ClipboardBoard& board, const std::optional<FileURL>& location)
    : app_(services, board, location), services_(services),
      column_(services.defaults, app_.layoutNamespace()) {
    setMinimumSize(screen() ? smallestSize.boundedTo(screen()->availableSize() - frameRoom) : smallestSize);
    // A frame takes its part of the screen.
    resize(screen() ? firstSize.boundedTo(screen()->availableSize() - frameRoom) : firstSize);
    actions_ = new WindowActions(app_, *this, [this](FileCommand command) { carryOut(command); });
    for (const auto menu : {CommandMenu::file, CommandMenu::edit, CommandMenu::view})
        actions_->addMenu(*menuBar(), menu);
    workspaceMenu_ = menuBar()->addMenu(QStringLiteral("Workspaces"));
    connect(workspaceMenu_, &QMenu::aboutToShow, this, &MainWindow::fillWorkspaceMenu);
    for (const auto menu : {CommandMenu::go, CommandMenu::files, CommandMenu::help})
        actions_->addMenu(*menuBar(), menu);
    auto* content = new QWidget(this);
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(buildToolbar(content));
    column->addWidget(line(content));
    column->addWidget(buildErrorLine(content));
    column->addWidget(new TrashBand(services_, content));
    column->addWidget(buildBody(content), 1);
    column->addWidget(line(content));
    column->addWidget(new ProgressStrip(app_, content));
    column->addWidget(new StatusLine(app_, content));
    setCentralWidget(content);
    sheets_ = new SheetHost(app_, *actions_, this);
    // Between the parts that take drops a drag is still in the window.
    new DropArea(app_, *this, [](QPoint) { return std::nullopt; });

    connect(&app_, &AppModel::requested, this, [this](FileCommand command) {
        if (command == FileCommand::editPath)
            pathBar_->beginEditing();
        else if (command == FileCommand::search)
            beginSearch();
        else if (command == FileCommand::chooseFolder)
            chooseFolder();
        else if (command == FileCommand::preview)
            togglePreview();
        else if (command == FileCommand::info)
            inspected_->takeKeyboard();
        else if (command == FileCommand::share)
            showShareMenu();
        else if (command == FileCommand::closeWindow)
            close();
    });
    for (int number = 0; number < numberedTabs; ++number)
        connect(new QShortcut(QKeySequence(Qt::ALT | static_cast<Qt::Key>(Qt::Key_1 + number)), this),
                &QShortcut::activated, &app_, [this, number] {
                    const auto index = static_cast<std::size_t>(number);
                    if (index < app_.tabs().size() && !sheet())
                        app_.activateTab(app_.tabs()[index].id);
                });
    connect(&app_, &AppModel::selectedWorkspaceChanged, this, &MainWindow::showContent);
    connect(&app_, &AppModel::closeWindowRequested, this, &QWidget::close);
    connect(pathBar_, &PathBar::folderChosen, this,
            [this](const FileURL& folder) { tabs_->activeView()->goTo(folder); });
    connect(pathBar_, &PathBar::editingEnded, this, &MainWindow::focusContent);
    connect(search_, &SearchField::ended, this, &MainWindow::focusContent);
    connect(&app_.developerTools(), &DeveloperToolsUI::failed, this, &MainWindow::showToolFailure);
    connect(&app_, &AppModel::errorMessageChanged, this, &MainWindow::updateError);
    connect(sheets_, &SheetHost::leaving, this, &MainWindow::focusContent);
    connect(&app_, &AppModel::activePaneChanged, this, &MainWindow::followPane);
    connect(&app_, &AppModel::activePaneUpdated, this, &MainWindow::updateTitle);
    updateTitle();
    updateError();
    tabs_->focusActive();
}

MainWindow::~MainWindow() {
    // The views below refer to the model, which goes first as a member. A column that goes with them would
    // tell those that have gone already.
    app_.setColumnPane(nullptr);
    delete std::exchange(preview_, nullptr);
    delete sheets_;
    delete takeCentralWidget();
    delete actions_;
}

MorvCollectionView& MainWindow::collection() {
    return tabs_->collection();
}

Sheet* MainWindow::sheet() const {
    return sheets_->sheet();
}

// Everything is made where it stays: a widget that changes its parent is styled again with all that is in it. What
// is not seen at first is made when it is.
QWidget* MainWindow::buildBody(QWidget* parent) {
    auto* whole = new QWidget(parent);
    auto* row = new QHBoxLayout(whole);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    body_ = new QSplitter(whole);
    body_->setChildrenCollapsible(false);
    body_->setHandleWidth(1);
    sidebar_ = new Sidebar(app_, Sidebar::Form::full, body_);
    body_->addWidget(sidebar_);
    inspected_ = new InspectorSplit(app_, body_);
    content_ = new QStackedWidget(inspected_);
    tabs_ = new TabArea(app_, *actions_, content_);
    content_->addWidget(tabs_);
    inspected_->setContent(content_);
    connect(inspected_, &InspectorSplit::ended, this, &MainWindow::focusContent);
    body_->addWidget(inspected_);
    body_->setStretchFactor(0, 0);
    body_->setStretchFactor(1, 1);
    connect(sidebar_, &Sidebar::opened, this, &MainWindow::focusContent);
    connect(body_, &QSplitter::splitterMoved, this, &MainWindow::settleSidebar);
    connect(&app_, &AppModel::showSidebarChanged, this, &MainWindow::settleSidebar);
    row->addWidget(body_, 1);
    return whole;
}

Sidebar& MainWindow::rail() {
    if (!rail_) {
        auto* whole = body_->parentWidget();
        rail_ = new Sidebar(app_, Sidebar::Form::rail, whole);
        static_cast<QHBoxLayout*>(whole->layout())->insertWidget(0, rail_);
        connect(rail_, &Sidebar::opened, this, &MainWindow::focusContent);
    }
    return *rail_;
}

WorkspaceView& MainWindow::workspace() {
    if (!workspace_) {
        workspace_ = new WorkspaceView(app_, content_);
        content_->addWidget(workspace_);
        connect(workspace_, &WorkspaceView::previewRequested, this, &MainWindow::togglePreview);
        connect(workspace_, &WorkspaceView::selectionChanged, this, [this] {
            if (preview_)
                preview_->follow();
        });
    }
    return *workspace_;
}

void MainWindow::showContent() {
    QWidget* wanted = app_.selectedWorkspaceID() ? static_cast<QWidget*>(&workspace()) : tabs_;
    if (content_->currentWidget() == wanted)
        return;
    const bool hadFocus = content_->isAncestorOf(QApplication::focusWidget());
    content_->setCurrentWidget(wanted);
    if (hadFocus)
        focusContent();
    updateTitle();
}

void MainWindow::focusContent() {
    if (app_.selectedWorkspaceID())
        workspace().setFocus();
    else
        tabs_->focusActive();
}

void MainWindow::beginSearch() {
    if (app_.selectedWorkspaceID())
        workspace().beginQuery();
    else
        search_->setFocus(Qt::ShortcutFocusReason);
}

void MainWindow::fillWorkspaceMenu() {
    workspaceMenu_->clear();
    const auto& workspaces = app_.library().workspaceList();
    for (std::size_t i = 0; i < workspaces.size(); ++i) {
        auto* action = workspaceMenu_->addAction(workspaceMark(workspaces[i].color),
                                                 buttonText(shownBriefly(workspaces[i].name)));
        connect(action, &QAction::triggered, &app_, [this, i] { app_.openWorkspace(i); });
    }
    if (!workspaces.empty())
        workspaceMenu_->addSeparator();
    workspaceMenu_->addAction(actions_->action(FileCommand::newWorkspace));
}

void MainWindow::settleSidebar() {
    using Mode = SidebarColumn::Mode;
    const bool isShown = app_.showSidebar();
    // What was not there has kept the number of its width, but not the room.
    const int present = sidebar_->isHidden() ? 0 : sidebar_->width();
    sidebar_->setVisible(isShown);
    if (rail_ || !isShown)
        rail().setVisible(!isShown);
    const auto width = column_.settle(isShown ? Mode::expanded : Mode::compact, present);
    if (width)
        body_->setSizes({static_cast<int>(*width), body_->width() - static_cast<int>(*width)});
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    settleSidebar();
}

void MainWindow::hideEvent(QHideEvent* event) {
    QMainWindow::hideEvent(event);
    // A window that is only minimised comes back with its preview.
    if (preview_ && !event->spontaneous())
        preview_->close();
}

void MainWindow::togglePreview() {
    if (!preview_)
        preview_ = new PreviewWindow(app_,
                                     {[this] {
                                          return app_.selectedWorkspaceID()
                                                     ? workspace().selectedEntries()
                                                     : app_.currentPane().selectedEntries();
                                      },
                                      [this](int by) {
                                          if (app_.selectedWorkspaceID())
                                              workspace().selectNeighbour(by);
                                          else
                                              collection().selectNeighbour(by);
                                      }},
                                     this);
    preview_->toggle();
}

/// False when it is no command of a text field.
static bool editText(QLineEdit& field, FileCommand command) {
    switch (command) {
    case FileCommand::undo:
        field.undo();
        return true;
    case FileCommand::redo:
        field.redo();
        return true;
    case FileCommand::cut:
        field.cut();
        return true;
    case FileCommand::copy:
        field.copy();
        return true;
    case FileCommand::paste:
        field.paste();
        return true;
    case FileCommand::selectAll:
        field.selectAll();
        return true;
    default:
        return false;
    }
}

void MainWindow::carryOut(FileCommand command) {
    auto* field = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    if (field && isAncestorOf(field) && editText(*field, command))
        return;
    if (command == FileCommand::info)
        return toggleInfo();
    app_.perform(command);
}

void MainWindow::toggleInfo() {
    if (!inspected_->hasKeyboard())
        return app_.perform(FileCommand::info);
    app_.setShowInspector(false);
}

void MainWindow::showShareMenu() {
    if (app_.currentPane().selection().empty())
        return;
    auto* menu = makeShareMenu(app_, this);
    const auto size = menu->sizeHint();
    const auto middle = content_->mapToGlobal(content_->rect().center());
    menu->popup(middle - QPoint(size.width() / 2, size.height() / 2));
}

void MainWindow::chooseFolder() {
    auto* dialog = askForFolder(*this, QStringLiteral("Open Folder"),
                                [this](const FileURL& folder) { app_.open(folder); });
    leadTo(*dialog, app_.activePane().location(), services_.pools);
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

QWidget* MainWindow::buildToolbar(QWidget* parent) {
    auto* bar = new QFrame(parent);
    bar->setObjectName(QStringLiteral("bar"));
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(Space::small, Space::small, Space::small, Space::small);
    row->setSpacing(Space::tiny);
    addButton(bar, actions_->action(FileCommand::back), QStringLiteral("go-previous"));
    addButton(bar, actions_->action(FileCommand::forward), QStringLiteral("go-next"));
    addButton(bar, actions_->action(FileCommand::enclosingFolder), QStringLiteral("go-up"));
    row->addSpacing(Space::tiny);
    pathBar_ = new PathBar(app_, bar);
    row->addWidget(pathBar_, 3);
    search_ = new SearchField(app_, bar);
    row->addWidget(search_, 1);
    row->addSpacing(Space::tiny);

    auto* segments = new QFrame(bar);
    segments->setObjectName(QStringLiteral("segments"));
    auto* inner = new QHBoxLayout(segments);
    inner->setContentsMargins(1, 1, 1, 1);
    inner->setSpacing(0);
    addButton(segments, actions_->action(FileCommand::viewAsGrid), QStringLiteral("view-list-icons"));
    addButton(segments, actions_->action(FileCommand::viewAsList), QStringLiteral("view-list-details"));
    addButton(segments, actions_->action(FileCommand::viewAsColumns), QStringLiteral("view-file-columns"));
    addButton(segments, actions_->action(FileCommand::viewAsGallery), QStringLiteral("view-preview"));
    row->addWidget(segments);

    auto* sort = new QAction(QStringLiteral("Sort and View"), this);
    buildSortMenu(addButton(bar, sort, QStringLiteral("view-sort-ascending")));
    addButton(bar, actions_->action(FileCommand::toggleSplit), QStringLiteral("view-split-left-right"));
    addButton(bar, actions_->action(FileCommand::newFolder), QStringLiteral("folder-new"));
    addButton(bar, actions_->action(FileCommand::toggleInspector), QStringLiteral("documentinfo"));
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
    menu->addAction(actions_->action(FileCommand::toggleHidden));
    const auto change = [this](auto apply) {
        auto preferences = app_.currentPane().preferences();
        apply(preferences);
        app_.currentPane().setPreferences(preferences);
    };
    connect(sorts_, &QActionGroup::triggered, this, [change](QAction* action) {
        change([action](auto& preferences) {
            preferences.sort = static_cast<FileSort>(action->data().toInt());
        });
    });
    connect(directions_, &QActionGroup::triggered, this, [change](QAction* action) {
        change([action](auto& preferences) { preferences.ascending = action->data().toBool(); });
    });
    connect(menu, &QMenu::aboutToShow, this, &MainWindow::updateSortMenu);
    button->setMenu(menu);
    button->setPopupMode(QToolButton::InstantPopup);
}

QWidget* MainWindow::buildErrorLine(QWidget* parent) {
    auto* frame = new QFrame(parent);
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

void MainWindow::followPane() {
    pathBar_->setPane(app_.currentPane());
    updateTitle();
}

void MainWindow::updateTitle() {
    const auto& location = app_.currentPane().location();
    const auto& selected = app_.selectedWorkspaceID();
    const auto* workspace = selected ? app_.library().workspace(*selected) : nullptr;
    const auto name = workspace           ? shownBriefly(workspace->name)
                      : location.isRoot() ? QStringLiteral("Computer")
                                          : shownBriefly(location.lastComponent());
    setWindowTitle(asWindowTitle(name + QStringLiteral(" — Morv")));
}

void MainWindow::updateSortMenu() {
    const auto& preferences = app_.currentPane().preferences();
    for (auto* action : sorts_->actions())
        action->setChecked(action->data().toInt() == static_cast<int>(preferences.sort));
    for (auto* action : directions_->actions())
        action->setChecked(action->data().toBool() == preferences.ascending);
}

void MainWindow::updateError() {
    errorLine_->setVisible(app_.errorMessage().has_value());
    errorText_->setText(app_.errorMessage() ? shownBriefly(*app_.errorMessage()) : QString());
    if (app_.errorMessage())
        announce(*errorText_);
}

void MainWindow::showToolFailure(const std::string& sentence) {
    const auto title = QStringLiteral("Couldn’t Open Developer Tool");
    auto* box = new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(shownBriefly(sentence));
    // It may tell names of files, which are no markup; the box's own setting reaches only its title.
    for (auto* label : box->findChildren<QLabel*>())
        label->setTextFormat(Qt::PlainText);
    box->open();
}

void MainWindow::retint() {
    for (auto* button : findChildren<QToolButton*>())
        if (auto* action = button->defaultAction())
            action->setIcon(QIcon::fromTheme(action->property("themeIcon").toString()));
}

void MainWindow::closeEvent(QCloseEvent* event) {
    const auto answer = services_.windows.applicationShouldTerminate();
    if (answer.verdict != QuitAnswer::Verdict::refuse)
        return event->accept();
    event->ignore();
    messageOf(answer)->open();
}

QMessageBox* MainWindow::messageOf(const QuitAnswer& answer) {
    const auto title = ours(answer.title);
    auto* box = new QMessageBox(QMessageBox::Information, title, title, QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(ours(answer.text));
    // Of the one role that every desktop lays out in this order.
    for (const auto& button : answer.buttons)
        box->addButton(ours(button), QMessageBox::ActionRole);
    box->setDefaultButton(qobject_cast<QPushButton*>(box->buttons().front()));
    box->setEscapeButton(box->buttons().front());
    return box;
}

} // namespace morv
