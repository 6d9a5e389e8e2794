// Makes a workspace, or changes one: its name, its colour and its references. Main thread.
#pragma once

#include "MorvApp/Views/Sheets/Sheet.h"
#include "MorvCore/Workspaces/WorkspaceRepository.h"

class QComboBox;
class QLineEdit;
class QListWidget;

namespace morv {

class AppModel;

class WorkspaceSheet : public Sheet {
    Q_OBJECT

public:
    /// Edits the model's editingWorkspace(); without one it makes a new workspace of workspaceDraft().
    WorkspaceSheet(AppModel& app, QWidget* window);

private:
    void addReferences();
    void showReferences();
    /// The sheet stays until the record is written.
    void save();
    void showProblem(const QString& sentence);

    AppModel& app_;
    Workspace workspace_;
    const bool isNew_;
    QLineEdit* name_;
    QComboBox* color_;
    QListWidget* references_;
    QLabel* problem_;
    QPushButton* confirm_;
};

} // namespace morv
