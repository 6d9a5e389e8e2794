#include "MorvApp/Views/Window/WindowActions.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QSet>
#include <algorithm>

namespace morv {

WindowActions::WindowActions(AppModel& app, QWidget& window, std::function<void(FileCommand)> carryOut)
    : QObject(&window), app_(app), keys_(app.services().keys),
      emptyTrash_(new QAction(QStringLiteral("Empty Trash…"), this)) {
    connect(emptyTrash_, &QAction::triggered, &app_, [this] { app_.services().emptyTrash(); });
    connect(&app_.services().trash, &FinderTrashController::isWorkingChanged, this, &WindowActions::update);
    for (const auto& row : FileManagerCommands::rows()) {
        if (!isOffered(row.command))
            continue;
        auto* action = new QAction(buttonText(ours(row.title)), this);
        action->setAutoRepeat(FileManagerCommands::mayRepeat(row.command));
        action->setCheckable(FileManagerCommands::isChecked(row.command, app).has_value());
        connect(action, &QAction::triggered, this, [carryOut, command = row.command] { carryOut(command); });
        window.addAction(action);
        actions_.emplace(row.command, action);
        if (row.otherTitle.empty())
            continue;
        auto* other = new QAction(this);
        connect(other, &QAction::triggered, action, &QAction::trigger);
        others_.emplace(row.command, other);
    }
    // At once and not in a later turn: the next key may be in the queue already.
    for (const auto signal : {&AppModel::activePaneUpdated, &AppModel::activePaneChanged,
                              &AppModel::tabsChanged, &AppModel::showSidebarChanged,
                              &AppModel::showInspectorChanged, &AppModel::selectedWorkspaceChanged})
        connect(&app_, signal, this, &WindowActions::update);
    connect(&keys_, &KeyBindings::changed, this, [this] {
        readKeys();
        update();
        assignKeys();
    });
    readKeys();
    update();
    assignKeys();
}

bool WindowActions::isOffered(FileCommand command) {
    static const QSet<int> later = [] {
        QSet<int> set;
        for (const auto without : {FileCommand::tidy, FileCommand::smartClean, FileCommand::spaceReview,
                                   FileCommand::creativeTools})
            set.insert(static_cast<int>(without));
        return set;
    }();
    return !later.contains(static_cast<int>(command));
}

void WindowActions::addMenu(QMenuBar& bar, CommandMenu place) {
    auto* menu = bar.addMenu(ours(title(place)));
    for (const auto& row : FileManagerCommands::rows()) {
        if (row.menu != place || !isOffered(row.command))
            continue;
        if (row.startsGroup)
            menu->addSeparator();
        menu->addAction(action(row.command));
        if (const auto other = others_.find(row.command); other != others_.end())
            menu->addAction(other->second);
    }
    if (place == CommandMenu::files) {
        menu->addSeparator();
        menu->addAction(emptyTrash_);
    }
}

void WindowActions::fill(QMenu& menu, const std::vector<std::vector<FileCommand>>& groups) const {
    for (const auto& group : groups) {
        bool isFirst = true;
        for (const auto command : group) {
            if (!isOffered(command) || !action(command)->isEnabled())
                continue;
            if (isFirst && !menu.isEmpty())
                menu.addSeparator();
            isFirst = false;
            menu.addAction(action(command));
        }
    }
}

void WindowActions::setAsleep(bool asleep) {
    isAsleep_ = asleep;
    update();
}

void WindowActions::update() {
    emptyTrash_->setEnabled(!isAsleep_ && !app_.services().trash.isWorking());
    bool keysMove = false;
    for (const auto& [command, action] : actions_) {
        const bool isEnabled = !isAsleep_ && FileManagerCommands::isEnabled(command, &app_);
        keysMove = keysMove || isEnabled != action->isEnabled();
        action->setEnabled(isEnabled);
        action->setText(buttonText(ours(FileManagerCommands::titleNow(command, &app_))) + filesKey(command));
        if (const auto on = FileManagerCommands::isChecked(command, app_))
            action->setChecked(*on);
    }
    for (const auto& [command, other] : others_)
        other->setEnabled(action(command)->isEnabled());
    if (keysMove)
        assignKeys();
}

void WindowActions::readKeys() {
    sequences_.clear();
    returnCommand_.reset();
    spaceCommand_.reset();
    for (const auto& row : FileManagerCommands::rows()) {
        if (!isOffered(row.command))
            continue;
        for (const auto& key : keys_.keys(row.command)) {
            const QKeySequence sequence(ours(key), QKeySequence::PortableText);
            if (sequence == QKeySequence(Qt::Key_Return) || sequence == QKeySequence(Qt::Key_Enter)) {
                if (!returnCommand_)
                    returnCommand_ = row.command;
            } else if (sequence == QKeySequence(Qt::Key_Space)) {
                if (!spaceCommand_)
                    spaceCommand_ = row.command;
            } else if (!sequence.isEmpty()) {
                sequences_[row.command] << sequence;
            }
        }
    }
}

/// A menu shows what stands behind a tab as the key. Return and Space are keys of the files and not of the window,
/// so the action has no shortcut to show.
QString WindowActions::filesKey(FileCommand command) const {
    const auto own = sequences_.find(command);
    if (own != sequences_.end() && !own->second.isEmpty())
        return {};
    const auto key = command == spaceCommand_    ? Qt::Key_Space
                     : command == returnCommand_ ? Qt::Key_Return
                                                 : Qt::Key_unknown;
    return key == Qt::Key_unknown ? QString()
                                  : QLatin1Char('\t') + QKeySequence(key).toString(QKeySequence::NativeText);
}

void WindowActions::assignKeys() {
    // Qt runs neither of two enabled actions with one key, so only one of them carries it at a time.
    QSet<QString> taken;
    for (const auto& row : FileManagerCommands::rows()) {
        const auto found = actions_.find(row.command);
        if (found == actions_.end())
            continue;
        auto* action = found->second;
        QList<QKeySequence> keys;
        for (const auto& sequence : sequences_[row.command]) {
            const auto name = sequence.toString();
            if (action->isEnabled() && taken.contains(name))
                continue;
            if (action->isEnabled())
                taken.insert(name);
            keys << sequence;
        }
        if (action->shortcuts() != keys)
            action->setShortcuts(keys);
        const auto title = action->iconText().section(QLatin1Char('\t'), 0, 0);
        const auto tip = keys.isEmpty()
                             ? title
                             : title + QStringLiteral(" (") +
                                   keys.front().toString(QKeySequence::NativeText) + QStringLiteral(")");
        if (action->toolTip() != tip)
            action->setToolTip(tip);
        if (const auto other = others_.find(row.command); other != others_.end())
            other->second->setText(buttonText(ours(row.otherTitle)) +
                                   (keys.size() > 1
                                        ? QLatin1Char('\t') + keys[1].toString(QKeySequence::NativeText)
                                        : QString()));
    }
}

} // namespace morv
