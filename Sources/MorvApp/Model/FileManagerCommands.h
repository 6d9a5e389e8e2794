// The one table of commands. The menu bar, the keys, the context menus and the command palette are built from
// it, and a window asks it whether a command can run and what it is called now.
//
// Keys        portable text of a key sequence ("Ctrl+Shift+N"); the first is the one that a menu shows. They
//             are the defaults: KeyBindings holds what the user has made of them. "Return" alone works where
//             files have the keyboard, everywhere else it belongs to the field or button that has it
// Threading   the table is immutable; questions about a model are asked on the main thread
#pragma once

#include "MorvApp/Model/FileCommand.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class AppModel;
class PaneModel;
class MorvServices;

/// Where in the menu bar a command stands; the rows of one menu are in its order.
enum class CommandMenu : std::uint8_t { file, edit, view, go, files, help, none };
std::string_view title(CommandMenu menu);

enum class EnabledWhen : std::uint8_t {
    always,
    selection,
    split,
    splitAndSelection,
    oneFolder, ///< a single folder is selected
    canGoBack,
    canGoForward,
};

struct CommandRow {
    FileCommand command;
    std::string_view name; ///< as in the source, and in the record of the user's keys
    CommandMenu menu;
    std::string_view title;
    EnabledWhen enabledWhen = EnabledWhen::always;
    std::vector<std::string> keys = {};
    bool startsGroup = false; ///< a separator stands before it
    /// Stands in the menu beneath the first, with the second of the keys.
    std::string_view otherTitle = {};
};

/// One of the command palette's.
struct QuickAction {
    std::string_view title;
    std::string_view symbol;
    FileCommand command;
};

namespace FileManagerCommands {

/// Every command but reviewOperation, which nobody chooses.
std::span<const CommandRow> rows();
const CommandRow& row(FileCommand command);
std::optional<FileCommand> commandNamed(std::string_view name);

/// Whether the command does nothing without selected files.
bool worksOnSelection(FileCommand command);
/// Whether a key that is held runs the command again: only what shows something else, and changes nothing.
bool mayRepeat(FileCommand command);
/// Without a model only what is always enabled: it brings up a window.
bool isEnabled(FileCommand command, const AppModel* model);
/// The title that names what the command would do now ("Expand Sidebar" when the sidebar is compact).
std::string_view titleNow(FileCommand command, const AppModel* model);
/// Whether the state that the command toggles is on; absent for what toggles nothing.
std::optional<bool> isChecked(FileCommand command, const AppModel& model);

/// What a right click offers. A group stands between separators.
std::vector<std::vector<FileCommand>> itemMenu(const PaneModel& pane);
std::vector<std::vector<FileCommand>> backgroundMenu();

std::span<const QuickAction> quickActions();
/// Those whose title contains `query`; all of them when it is empty. Case makes no difference.
std::vector<QuickAction> quickActions(std::string_view query);
/// Of all commands, in the table's order, those of which a title contains `query`; none when it is empty.
std::vector<FileCommand> commandsFound(std::string_view query, const AppModel& model);

} // namespace FileManagerCommands

} // namespace morv
