// Everything that Morv did and handed to the system, by day, each item's outcome and place, and what can be
// undone or cancelled. Main thread.
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvApp/Views/Sheets/ReceiptModels.h"
#include "MorvApp/Views/Sheets/Sheet.h"

class QLabel;
class QLineEdit;
class QListView;
class QStackedWidget;

namespace morv {

class ActivityDetail;

class ActivitySheet : public Sheet {
    Q_OBJECT

public:
    ActivitySheet(AppModel& app, QWidget* window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildList();
    QWidget* buildEmpty();
    /// What stands there without a row: nothing was done, or it is not known.
    void updateEmpty();
    /// The window's own line lies beneath the sheet.
    void updateFailure();
    void connectAll();
    void readHandoffs();
    /// Keeps the receipt that is shown while it is in the list.
    void follow();
    void showCurrent();
    void show(const FileURL& item);

    AppModel& app_;
    ReceiptListModel* receipts_;
    QStackedWidget* pages_;
    QLineEdit* search_ = nullptr;
    QListView* list_ = nullptr;
    QLabel* none_ = nullptr;
    QLabel* failure_ = nullptr;
    QLabel* emptySymbol_ = nullptr;
    QLabel* emptyTitle_ = nullptr;
    QLabel* emptySentence_ = nullptr;
    QPushButton* retry_ = nullptr;
    bool isPatient_ = true; ///< it is not read for long enough to say so
    ActivityDetail* detail_ = nullptr;
    QPushButton* undo_ = nullptr;
    QPushButton* stop_ = nullptr;
    std::optional<UUID> current_;
    TaskScope tasks_;
};

} // namespace morv
