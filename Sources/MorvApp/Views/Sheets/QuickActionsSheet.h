// The command palette: a field and the actions whose titles contain what is typed. Main thread.
#pragma once

#include "MorvApp/Model/FileManagerCommands.h"
#include "MorvApp/Views/Sheets/Sheet.h"

#include <vector>

class QLabel;
class QLineEdit;
class QListWidget;

namespace morv {

class AppModel;

class QuickActionsSheet : public Sheet {
    Q_OBJECT

public:
    QuickActionsSheet(AppModel& app, QWidget* window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void filter(const QString& query);
    /// Closes the sheet first: the action may open another.
    void runCurrent();

    AppModel& app_;
    QLineEdit* field_;
    QListWidget* list_;
    QLabel* none_;
    std::vector<QuickAction> shown_;
};

} // namespace morv
