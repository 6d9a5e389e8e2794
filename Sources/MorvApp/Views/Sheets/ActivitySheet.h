// The receipts of everything that Morv did, each item's outcome, and what can be undone. Main thread.
#pragma once

#include "MorvApp/Views/Sheets/ReceiptModels.h"
#include "MorvApp/Views/Sheets/Sheet.h"

class QListView;

namespace morv {

class ActivitySheet : public Sheet {
    Q_OBJECT

public:
    ActivitySheet(AppModel& app, QWidget* window);

private:
    void showCurrent();

    AppModel& app_;
    ReceiptListModel* receipts_;
    ReceiptItemsModel* items_;
    QLabel* introduction_;
    QListView* list_;
    QLabel* message_;
    QPushButton* undo_;
    QPushButton* stop_;
    std::optional<UUID> current_;
};

} // namespace morv
