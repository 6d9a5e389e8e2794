// A plan before it runs: every exact source and destination, each of which can be left out. It ends in
// AppModel::commitReview with what was left checked, or in AppModel::cancelReview. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/PlanModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

#include <map>

class QCheckBox;
class QLineEdit;
class QTreeView;

namespace morv {

class ReviewSheet : public Sheet {
    Q_OBJECT

public:
    ReviewSheet(AppModel& app, FileOperationPlan plan, QWidget* window);

    const UUID& planID() const { return plan_.id; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void addWarnings();
    void addSearch();
    void addTable();
    void filter();
    /// Groups as the user left them; at first those of a large plan are closed, so that all of them are seen.
    void expandGroups();
    void toggleSelected();
    void updateTotals();

    AppModel& app_;
    const FileOperationPlan plan_;
    PlanModel* items_;
    QLineEdit* search_ = nullptr;
    QCheckBox* onlyWarnings_ = nullptr;
    QLabel* found_ = nullptr;
    QTreeView* table_ = nullptr;
    QLabel* totals_ = nullptr;
    QPushButton* confirm_ = nullptr;
    std::map<int, bool> chosen_; ///< groups that the user opened or closed
    bool isFilling_ = false;
};

} // namespace morv
