// Which keys run which command: the table's, and over them what the user has changed.
//
// On disk     "commands.keys": an object from command names to lists of key texts; a command that is not
//             named keeps its own keys. A damaged record costs the changes; an unknown command or a value
//             that is no list of texts costs only itself
// Invariants  I1  every change is in force at once and saved afterwards
//             I2  a key that two commands want is told as a conflict and never taken from either in silence
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/FileManagerCommands.h"
#include "MorvApp/Model/TaskScope.h"

#include <QObject>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace morv {

class SQLiteStore;

class KeyBindings : public QObject {
    Q_OBJECT

public:
    static constexpr const char* recordKey = "commands.keys";

    /// Begins with the table's keys and reads the user's in a task; changed() follows when there are any.
    KeyBindings(SQLiteStore& store, TaskPools& pools, QObject* parent = nullptr);

    /// The first one is the one that menus show.
    const std::vector<std::string>& keys(FileCommand command) const;
    bool isChanged(FileCommand command) const { return changed_.contains(command); }
    /// The other commands that want one of this command's keys. Commands that the table itself gives one key
    /// take turns by what is enabled and are no conflict.
    std::vector<FileCommand> conflicts(FileCommand command) const;

    /// `keys` are portable texts of key sequences; none leaves the command without a key.
    void setKeys(FileCommand command, std::vector<std::string> keys);
    /// What Return does to selected files; nothing when no command has it.
    std::optional<FileCommand> returnCommand() const;
    /// Takes Return from rename and open, and gives it to this one.
    void setReturnCommand(FileCommand command);
    /// Back to the table's.
    void reset(FileCommand command);
    void resetAll();

Q_SIGNALS:
    void changed();
    /// The change is in force, and gone with the process; the text is a sentence.
    void saveFailed(const QString& message);

private:
    using Changes = std::map<FileCommand, std::vector<std::string>>;

    static Changes read(SQLiteStore& store);
    void apply();

    SQLiteStore& store_;
    Changes changed_;
    bool hasEdited_ = false; ///< what is read late no longer counts
    TaskScope tasks_;
};

} // namespace morv
