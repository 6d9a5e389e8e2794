// A plan before it runs: every exact source and destination, each of which can be left out. It ends in
// AppModel::commitReview with what was left checked, or in AppModel::cancelReview. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/PlanModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

namespace morv {

class ReviewSheet : public Sheet {
    Q_OBJECT

public:
    ReviewSheet(AppModel& app, FileOperationPlan plan, QWidget* window);

    const UUID& planID() const { return plan_.id; }

private:
    void updateTotals();

    AppModel& app_;
    const FileOperationPlan plan_;
    PlanModel* items_;
    QLabel* totals_;
    QPushButton* confirm_;
};

} // namespace morv
