// The lines of a plan for a list view: nothing is made for a line that is not visible.
// Owns the set of lines that were unchecked. Main thread.
#pragma once

#include "MorvCore/Operations/Operations.h"

#include <QAbstractTableModel>
#include <set>

namespace morv {

class PlanModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { source, destination, note };

    /// `plan` outlives the model.
    explicit PlanModel(const FileOperationPlan& plan, QObject* parent = nullptr);

    /// What the user does not want, for FileOperationPlan::skipping().
    const std::set<UUID>& unchecked() const { return unchecked_; }
    /// Items that would still be acted on.
    std::size_t remaining() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

Q_SIGNALS:
    void remainingChanged();

private:
    QString text(const FileOperationItem& item, int column) const;

    const FileOperationPlan& plan_;
    std::set<UUID> unchecked_;
    std::size_t skipped_ = 0; ///< items that the plan itself skips
};

} // namespace morv
