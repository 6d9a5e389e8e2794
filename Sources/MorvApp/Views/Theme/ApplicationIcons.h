// Pictures of installed applications: an icon of the theme, or a file that the desktop entry names. A file is read
// like any stranger's picture, by the decoder and never on the main thread. Confined to the main thread.
#pragma once

#include "MorvApp/Model/TaskScope.h"

#include <functional>
#include <string>

class QIcon;

namespace morv {

class MorvServices;

class ApplicationIcons {
public:
    using Taker = std::function<void(const QIcon&)>;

    /// `services` outlives it.
    explicit ApplicationIcons(MorvServices& services);

    /// `icon` as in InstalledApplication. Calls `taker` at once with what is there, which for a file is the icon of
    /// any program, and again when the file has been read, as long as this lives.
    void give(const std::string& icon, const Taker& taker);

private:
    MorvServices& services_;
    TaskScope tasks_;
};

} // namespace morv
