// Which application "Open in Editor" opens folders in: those that are installed, or any program. Main thread.
#pragma once

#include "MorvApp/Model/DeveloperToolsUI.h"
#include "MorvApp/Views/Sheets/Sheet.h"
#include "MorvApp/Views/Theme/ApplicationIcons.h"

class QListWidget;

namespace morv {

class AppModel;

class EditorSheet : public Sheet {
    Q_OBJECT

public:
    EditorSheet(AppModel& app, QWidget* window);

private:
    void fill(const std::vector<InstalledApplication>& applications);
    void chooseProgram();
    void choose(const FileURL& application);
    void cancel();

    AppModel& app_;
    std::vector<InstalledApplication> applications_;
    ApplicationIcons icons_;
    QListWidget* list_;
    QLabel* none_;
};

} // namespace morv
