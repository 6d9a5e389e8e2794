#include "MorvApp/Model/FileManagerCommands.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <array>

namespace morv {

namespace {

using enum FileCommand;
using enum EnabledWhen;
using Menu = CommandMenu;

/// A command of another system's ⌘, ⌥ and ⌃ stands on Ctrl, Alt and Ctrl+Alt; the keys that Linux users have
/// in their fingers stand beside it. Two would fall on Ctrl+Alt+S: the sidebar has it, the split has F3. F5
/// copies to the other pane where there is one, and refreshes where there is none.
const std::vector<CommandRow>& table() {
    static const std::vector<CommandRow> rows = {
        {newWindow, "newWindow", Menu::file, "New Window", always, {"Ctrl+N"}},
        {newTab, "newTab", Menu::file, "New Tab", always, {"Ctrl+T"}},
        {newFolder, "newFolder", Menu::file, "New Folder…", always, {"Ctrl+Shift+N"}},
        {chooseFolder, "chooseFolder", Menu::file, "Open Folder…"},
        {newWorkspace, "newWorkspace", Menu::file, "New Workspace…", always, {"Ctrl+Alt+N"}},
        {reopenTab, "reopenTab", Menu::file, "Reopen Closed Tab", always, {"Ctrl+Shift+T"}, true},
        {closeTab, "closeTab", Menu::file, "Close Tab", always, {"Ctrl+W"}},
        {closeWindow, "closeWindow", Menu::file, "Close Window", always, {"Ctrl+Shift+W"}},
        {quit, "quit", Menu::file, "Quit Morv", always, {"Ctrl+Q"}, true},

        {undo, "undo", Menu::edit, "Undo", always, {"Ctrl+Z"}},
        {redo, "redo", Menu::edit, "Redo", always, {"Ctrl+Shift+Z"}},
        {cut, "cut", Menu::edit, "Cut", selection, {"Ctrl+X"}, true},
        {copy, "copy", Menu::edit, "Copy", selection, {"Ctrl+C"}},
        {paste, "paste", Menu::edit, "Paste", always, {"Ctrl+V"}},
        {movePaste, "movePaste", Menu::edit, "Move Copied Items Here", always, {"Ctrl+Alt+V"}},
        {duplicate, "duplicate", Menu::edit, "Duplicate", selection, {"Ctrl+D"}, true},
        {rename, "rename", Menu::edit, "Rename…", selection, {"F2", "Return"}},
        {trash, "trash", Menu::edit, "Move to Trash", selection, {"Delete", "Ctrl+Backspace"}},
        {selectAll, "selectAll", Menu::edit, "Select All", always, {"Ctrl+A"}, true},
        {invertSelection, "invertSelection", Menu::edit, "Invert Selection", always, {"Ctrl+Shift+I"}},
        {settings, "settings", Menu::edit, "Settings…", always, {"Ctrl+,"}, true},

        {toggleSidebar, "toggleSidebar", Menu::view, "Compact Sidebar", always, {"Ctrl+Alt+S", "F9"}},
        {viewAsGrid, "viewAsGrid", Menu::view, "as Icons", always, {"Ctrl+1"}, true},
        {viewAsList, "viewAsList", Menu::view, "as List", always, {"Ctrl+2"}},
        {viewAsColumns, "viewAsColumns", Menu::view, "as Columns", always, {"Ctrl+3"}},
        {viewAsGallery, "viewAsGallery", Menu::view, "as Gallery", always, {"Ctrl+4"}},
        {increaseIconSize,
         "increaseIconSize",
         Menu::view,
         "Larger Icons",
         always,
         {"Ctrl++", "Ctrl+="},
         true},
        {decreaseIconSize, "decreaseIconSize", Menu::view, "Smaller Icons", always, {"Ctrl+-"}},
        {resetIconSize, "resetIconSize", Menu::view, "Standard Icon Size", always, {"Ctrl+0"}},
        {toggleSplit, "toggleSplit", Menu::view, "Toggle Split View", always, {"F3"}, true},
        {switchPane, "switchPane", Menu::view, "Switch Pane", always, {"Ctrl+F6", "Ctrl+Alt+Right"}},
        {swapPanes, "swapPanes", Menu::view, "Swap Panes", split, {"Ctrl+U"}},
        {crossPaneCopy, "crossPaneCopy", Menu::view, "Copy to Other Pane", splitAndSelection, {"F5"}},
        {crossPaneMove, "crossPaneMove", Menu::view, "Move to Other Pane…", splitAndSelection, {"F6"}},
        {toggleInspector,
         "toggleInspector",
         Menu::view,
         "Show Inspector",
         always,
         {"Ctrl+Shift+P", "F11"},
         true},
        {viewOptions, "viewOptions", Menu::view, "Show View Options…", always, {"Ctrl+J"}},
        {toggleHidden,
         "toggleHidden",
         Menu::view,
         "Show Hidden Files",
         always,
         {"Ctrl+H", "Ctrl+Shift+.", "Ctrl+>"}},
        {refresh, "refresh", Menu::view, "Refresh", always, {"Ctrl+R", "F5"}},

        {back, "back", Menu::go, "Back", canGoBack, {"Alt+Left", "Ctrl+["}},
        {forward, "forward", Menu::go, "Forward", canGoForward, {"Alt+Right", "Ctrl+]"}},
        {enclosingFolder,
         "enclosingFolder",
         Menu::go,
         "Enclosing Folder",
         always,
         {"Alt+Up", "Ctrl+Up", "Backspace"}},
        {nextTab,
         "nextTab",
         Menu::go,
         "Next Tab",
         always,
         {"Ctrl+PgDown", "Ctrl+Tab", "Ctrl+Shift+]", "Ctrl+}"},
         true},
        {previousTab,
         "previousTab",
         Menu::go,
         "Previous Tab",
         always,
         {"Ctrl+PgUp", "Ctrl+Shift+Tab", "Ctrl+Shift+[", "Ctrl+{"}},
        {goHome, "goHome", Menu::go, "Home", always, {"Alt+Home", "Ctrl+Shift+H"}, true},
        {goDesktop, "goDesktop", Menu::go, "Desktop", always, {"Ctrl+Shift+D"}},
        {goDownloads, "goDownloads", Menu::go, "Downloads", always, {"Ctrl+Shift+L"}},
        {goDocuments, "goDocuments", Menu::go, "Documents", always, {"Ctrl+Shift+O"}},
        {editPath,
         "editPath",
         Menu::go,
         "Go to Folder…",
         always,
         {"Ctrl+L", "Ctrl+Shift+G"},
         true,
         "Go to Folder by Path…"},
        {connect, "connect", Menu::go, "Connect to Server…", always, {"Ctrl+K"}},

        {open, "open", Menu::files, "Open", selection, {"Ctrl+O", "Ctrl+Down"}, false, "Open Selection"},
        {preview, "preview", Menu::files, "Quick Look", selection, {"Space"}},
        {info, "info", Menu::files, "Get Info", always, {"Ctrl+I", "Alt+Return"}},
        {tags, "tags", Menu::files, "Tags…", selection},
        {alias, "alias", Menu::files, "Make Alias", selection},
        {compress, "compress", Menu::files, "Compress to ZIP", selection},
        {extract, "extract", Menu::files, "Extract ZIP…", selection},
        {share, "share", Menu::files, "Share…", selection},
        {favourite, "favourite", Menu::files, "Add Folder to Favourites", always},
        {terminal,
         "terminal",
         Menu::files,
         "Open in Terminal",
         always,
         {"Shift+F4", "Ctrl+Alt+Shift+T"},
         true},
        {editor, "editor", Menu::files, "Open in Editor", always, {"Ctrl+Alt+Shift+E"}},
        {search, "search", Menu::files, "Find in Current Folder", always, {"Ctrl+F"}, true},
        {saveSearch, "saveSearch", Menu::files, "Save Search", always},
        {tidy, "tidy", Menu::files, "Review Tidy Plan…", always, {}, true},
        {smartClean, "smartClean", Menu::files, "Smart Clean…"},
        {spaceReview, "spaceReview", Menu::files, "Space Review…"},
        {creativeTools, "creativeTools", Menu::files, "Asset Lens & Folder Checkpoints…"},
        {activity, "activity", Menu::files, "Activity & Recovery…"},
        {quickActions, "quickActions", Menu::files, "Quick Actions…", always, {"Ctrl+Shift+K"}},
        {saveSession, "saveSession", Menu::files, "Save Window Session", always, {}, true},
        {restoreSession, "restoreSession", Menu::files, "Restore Window Session"},

        {keyBindings, "keyBindings", Menu::help, "Keyboard Shortcuts…"},
        {introduction, "introduction", Menu::help, "Welcome to Morv…"},
        {about, "about", Menu::help, "About Morv", always, {}, true},

        {appearance, "appearance", Menu::none, "Folder Appearance…", oneFolder},
    };
    return rows;
}

constexpr std::array<QuickAction, 11> palette{{
    {"New Folder", "folder.badge.plus", newFolder},
    {"Go to Folder", "folder", editPath},
    {"Connect to Server", "network", connect},
    {"Toggle Split View", "rectangle.split.2x1", toggleSplit},
    {"Show Inspector", "sidebar.right", toggleInspector},
    {"Review Tidy Plan", "square.stack.3d.up", tidy},
    {"Smart Clean", "sparkles", smartClean},
    {"Space Review", "square.stack", spaceReview},
    {"Activity and Recovery", "clock.arrow.circlepath", activity},
    {"Save Window Session", "bookmark", saveSession},
    {"Restore Window Session", "arrow.clockwise", restoreSession},
}};

bool isOneArchive(const PaneModel& pane) {
    if (pane.selection().size() != 1 || pane.selectedFolders() == 1)
        return false;
    const auto selected = pane.selectedEntries();
    return !selected.empty() && pathKey(selected.front()->url().extension()) == "zip";
}

} // namespace

std::string_view title(CommandMenu menu) {
    switch (menu) {
    case CommandMenu::file:
        return "File";
    case CommandMenu::edit:
        return "Edit";
    case CommandMenu::view:
        return "View";
    case CommandMenu::go:
        return "Go";
    case CommandMenu::files:
        return "Files";
    case CommandMenu::help:
        return "Help";
    case CommandMenu::none:
        break;
    }
    return {};
}

namespace FileManagerCommands {

std::span<const CommandRow> rows() {
    return table();
}

const CommandRow& row(FileCommand command) {
    return *std::ranges::find(table(), command, &CommandRow::command);
}

std::optional<FileCommand> commandNamed(std::string_view name) {
    const auto found = std::ranges::find(table(), name, &CommandRow::name);
    return found == table().end() ? std::nullopt : std::optional(found->command);
}

bool worksOnSelection(FileCommand command) {
    if (command == reviewOperation)
        return false;
    const auto rule = row(command).enabledWhen;
    return rule == selection || rule == splitAndSelection || rule == oneFolder;
}

bool mayRepeat(FileCommand command) {
    switch (command) {
    case increaseIconSize:
    case decreaseIconSize:
    case nextTab:
    case previousTab:
    case back:
    case forward:
        return true;
    default:
        return false;
    }
}

bool isEnabled(FileCommand command, const AppModel* model) {
    const auto rule = row(command).enabledWhen;
    if (!model)
        return rule == always;
    if (model->selectedWorkspaceID() && worksOnSelection(command))
        return false;
    const auto& pane = model->currentPane();
    switch (rule) {
    case always:
        return true;
    case selection:
        return !pane.selection().empty();
    case split:
        return model->isSplit();
    case splitAndSelection:
        return model->isSplit() && !pane.selection().empty();
    case oneFolder:
        return pane.selection().size() == 1 && pane.selectedFolders() == 1;
    case canGoBack:
        return model->activePane().canGoBack();
    case canGoForward:
        return model->activePane().canGoForward();
    }
    return false;
}

std::string_view titleNow(FileCommand command, const AppModel* model) {
    if (command == toggleSidebar && model && !model->showSidebar())
        return "Expand Sidebar";
    return row(command).title;
}

std::optional<bool> isChecked(FileCommand command, const AppModel& model) {
    const auto view = model.activePane().preferences().view;
    switch (command) {
    case viewAsGrid:
        return view == BrowserViewMode::grid;
    case viewAsList:
        return view == BrowserViewMode::list;
    case viewAsColumns:
        return view == BrowserViewMode::columns;
    case viewAsGallery:
        return view == BrowserViewMode::gallery;
    case toggleHidden:
        return model.currentPane().preferences().showHidden;
    case toggleInspector:
        return model.showInspector();
    case toggleSplit:
        return model.isSplit();
    default:
        return std::nullopt;
    }
}

std::vector<std::vector<FileCommand>> itemMenu(const PaneModel& pane) {
    std::vector<FileCommand> changes = {rename, duplicate, alias, compress};
    if (isOneArchive(pane))
        changes.push_back(extract);
    changes.push_back(tags);
    return {{open, preview, info},
            {terminal, editor},
            {crossPaneCopy, crossPaneMove},
            {cut, copy, paste},
            std::move(changes),
            {appearance},
            {share},
            {trash}};
}

std::vector<std::vector<FileCommand>> backgroundMenu() {
    return {{newFolder, newTab},
            {paste, movePaste},
            {undo},
            {selectAll, refresh, toggleHidden},
            {info, favourite, viewOptions, terminal, editor}};
}

std::span<const QuickAction> quickActions() {
    return palette;
}

std::vector<QuickAction> quickActions(std::string_view query) {
    std::vector<QuickAction> found;
    std::ranges::copy_if(palette, std::back_inserter(found),
                         [wanted = pathKey(query)](const QuickAction& action) {
                             return pathKey(action.title).find(wanted) != std::string::npos;
                         });
    return found;
}

std::vector<FileCommand> commandsFound(std::string_view query, const AppModel& model) {
    std::vector<FileCommand> found;
    const auto wanted = pathKey(query);
    if (wanted.empty())
        return found;
    for (const auto& row : table())
        for (const auto title : {titleNow(row.command, &model), row.otherTitle})
            if (pathKey(title).find(wanted) != std::string::npos) {
                found.push_back(row.command);
                break;
            }
    return found;
}

} // namespace FileManagerCommands

} // namespace morv
