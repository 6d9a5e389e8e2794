// Editors and terminals as the desktop has them installed.
//
// Terminals   $TERMINAL, xdg-terminal-exec, the desktop's own setting, those that are known,
//             x-terminal-emulator, xterm: the first that is there. It begins in the folder
// Editors     by their desktop entries, else by their command on PATH
// Started programs live on when Morv ends; their names and folders pass through no shell.
#pragma once

#include "MorvApp/Model/DeveloperToolsUI.h"

namespace morv {

class DesktopToolLauncher : public DeveloperToolLauncher {
public:
    std::optional<DeveloperTool> find(const DeveloperPathIntent& intent) const override;
    std::optional<DeveloperTool> terminal(const std::string& line) const override;
    void open(const DeveloperTool& tool, const FileURL& folder) const override;
    std::vector<InstalledApplication> editors() const override;
};

} // namespace morv
