// Everything that a menu, a key or a button can ask of a window.
#pragma once

#include <cstdint>

namespace morv {

enum class FileCommand : std::uint8_t {
    open,
    rename,
    copy,
    cut,
    paste,
    movePaste,
    duplicate,
    trash,
    newFolder,
    tags,
    alias,
    undo,
    activity,
    editPath,
    increaseIconSize,
    decreaseIconSize,
    back,
    forward,
    enclosingFolder,
    refresh,
    toggleHidden,
    viewAsGrid,
    viewAsList,
};

/// What stands over the window's content.
enum class AppSheet : std::uint8_t { activity, newFolder, tags };

} // namespace morv
