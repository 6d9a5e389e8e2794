// Everything that a menu, a key, a button or the command palette can ask of a window.
#pragma once

#include "MorvCore/Operations/Operations.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace morv {

enum class FileCommand : std::uint8_t {
    reviewOperation, ///< carries the plan to be shown
    open,
    preview,
    rename,
    copy,
    cut,
    paste,
    movePaste,
    duplicate,
    trash,
    newFolder,
    info,
    share,
    tags,
    alias,
    compress,
    extract,
    appearance,
    favourite,
    undo,
    newWorkspace,
    tidy,
    smartClean,
    spaceReview,
    creativeTools,
    activity,
    quickActions,
    viewOptions,
    editPath,
    search,
    connect,
    chooseFolder,
    increaseIconSize,
    decreaseIconSize,
    crossPaneCopy,
    crossPaneMove,
    switchPane,
    swapPanes,
    terminal,
    editor,
    // What changes the window and no file.
    newWindow,
    closeWindow,
    quit,
    newTab,
    closeTab,
    reopenTab,
    nextTab,
    previousTab,
    toggleSplit,
    toggleSidebar,
    toggleInspector,
    toggleHidden,
    viewAsGrid,
    viewAsList,
    viewAsColumns,
    viewAsGallery,
    resetIconSize,
    refresh,
    back,
    forward,
    enclosingFolder,
    goHome,
    goDesktop,
    goDownloads,
    goDocuments,
    saveSearch,
    saveSession,
    restoreSession,
    redo, ///< of text: file operations have none
    selectAll,
    invertSelection,
    keyBindings,
    settings,
    introduction,
    about,
};

/// A command and what it carries.
struct CommandCall {
    CommandCall(FileCommand asked) : command(asked) {} // NOLINT(google-explicit-constructor)
    static CommandCall review(FileOperationPlan plan) {
        CommandCall call(FileCommand::reviewOperation);
        call.plan = std::move(plan);
        return call;
    }

    FileCommand command;
    std::optional<FileOperationPlan> plan; ///< of reviewOperation alone
};

/// What stands over the window's content.
enum class AppSheet : std::uint8_t {
    activity,
    rename,
    newFolder,
    tags,
    connect,
    workspace,
    editWorkspace,
    tidy,
    smartClean,
    duplicates,
    appearance,
    glance,
    commands,
    viewOptions,
    creativeTools,
    keyBindings,
    chooseEditor,
    introduction,
    about,
};

} // namespace morv
