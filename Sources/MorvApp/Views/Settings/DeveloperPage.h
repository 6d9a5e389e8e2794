// The terminal and the editor that folders are opened in, and Git beside the path. Main thread.
#pragma once

#include "MorvApp/Model/DeveloperToolsUI.h"
#include "MorvApp/Views/Settings/SettingsPage.h"
#include "MorvApp/Views/Theme/ApplicationIcons.h"

#include <cstdint>
#include <vector>

class QComboBox;
class QLineEdit;

namespace morv {

class MorvServices;

class DeveloperPage : public SettingsPage {
    Q_OBJECT

public:
    DeveloperPage(MorvServices& services, QWidget* parent);

protected:
    void refresh() override;

private:
    void changeTerminal(const QString& line);
    void findTerminal();
    void showTerminal(const std::optional<DeveloperTool>& tool);
    void fillEditors(const std::vector<InstalledApplication>& applications);
    void chooseEditor(int index);
    void chooseProgram();

    MorvServices& services_;
    DeveloperToolsUI tools_;
    ApplicationIcons icons_;
    QLineEdit* terminal_;
    QLabel* terminalState_;
    QComboBox* editor_;
    QLabel* editorState_;
    QCheckBox* git_;
    std::vector<InstalledApplication> editors_;
    std::uint64_t questions_ = 0;
};

} // namespace morv
