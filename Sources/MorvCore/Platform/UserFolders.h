// The user's own folders, from the XDG base and user directories.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <optional>

namespace morv {

enum class UserFolder { desktop, documents, downloads, music, pictures, videos };

/// $HOME, else the password database's.
FileURL homeFolder();
/// The folder that user-dirs.dirs names; nothing when it names none or the home directory itself.
std::optional<FileURL> userFolder(UserFolder folder);
/// $XDG_DATA_HOME, or ~/.local/share. A relative value counts as unset.
FileURL dataHome();
/// $XDG_CONFIG_HOME, or ~/.config.
FileURL configurationHome();
/// $XDG_CACHE_HOME, or ~/.cache.
FileURL cacheHome();

} // namespace morv
