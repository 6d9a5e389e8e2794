// The commands of one window as actions: titles, keys and enabling from the table of commands, kept in step
// with the model. The menu bar, the toolbar and the context menus show these same actions.
//
// A key that two commands share (by design or by the user's doing) runs the first of them that is enabled, in
// the order of the table. Main thread.
#pragma once

#include "MorvApp/Model/FileManagerCommands.h"

#include <QKeySequence>
#include <QObject>
#include <functional>
#include <map>
#include <optional>
#include <vector>

class QAction;
class QMenu;
class QMenuBar;
class QWidget;

namespace morv {

class AppModel;
class KeyBindings;

class WindowActions : public QObject {
    Q_OBJECT

public:
    /// The actions' keys work in `window`. `carryOut` runs a chosen command.
    WindowActions(AppModel& app, QWidget& window, std::function<void(FileCommand)> carryOut);

    /// Whether this window has what the command shows. The others appear nowhere.
    static bool isOffered(FileCommand command);
    QAction* action(FileCommand command) const { return actions_.at(command); }
    /// Beside the table: no command of files or of a window, but of the whole system.
    QAction* emptyTrash() const { return emptyTrash_; }
    void addMenu(QMenuBar& bar, CommandMenu place);
    /// Groups between separators; what is not offered or not enabled is left out.
    void fill(QMenu& menu, const std::vector<std::vector<FileCommand>>& groups) const;
    /// What Return does to the selected files.
    std::optional<FileCommand> returnCommand() const { return returnCommand_; }
    /// What Space does to them. No key of the window: buttons and fields have their own use for it.
    std::optional<FileCommand> spaceCommand() const { return spaceCommand_; }
    /// While a sheet is up no command runs.
    void setAsleep(bool asleep);

private:
    void update();
    void readKeys();
    void assignKeys();
    QString filesKey(FileCommand command) const;

    AppModel& app_;
    KeyBindings& keys_;
    std::map<FileCommand, QAction*> actions_;
    std::map<FileCommand, QAction*> others_; ///< of a second title; the keys belong to the first
    QAction* emptyTrash_;
    std::map<FileCommand, QList<QKeySequence>> sequences_;
    std::optional<FileCommand> returnCommand_;
    std::optional<FileCommand> spaceCommand_;
    bool isAsleep_ = false;
};

} // namespace morv
