// The command palette: a field, the actions whose titles contain what is typed and, once something is typed, every
// other command of the window by its title. Main thread.
#pragma once

#include "MorvApp/Model/FileManagerCommands.h"
#include "MorvApp/Views/Sheets/Sheet.h"

class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;

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
    void addHeading(const QString& text);
    QListWidgetItem* addRow(FileCommand command, const QString& title, const QIcon& icon);
    /// Past headings and what cannot run now; wraps at both ends.
    void step(int by);
    /// Closes the sheet first: the action may open another.
    void runCurrent();

    AppModel& app_;
    QLineEdit* field_;
    QListWidget* list_;
    QLabel* none_;
};

} // namespace morv
