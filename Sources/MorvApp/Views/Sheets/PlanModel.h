// The lines of a plan for a tree view: nothing is made for a line that is not visible. Many items stand in
// groups, by the destination's folder and by what happens to them; few stand alone.
//
// Owns the set of lines that were unchecked; a filter hides lines and changes nothing about them. Main thread.
#pragma once

#include "MorvCore/Operations/Operations.h"

#include <QAbstractItemModel>
#include <set>
#include <string>
#include <vector>

namespace morv {

class PlanModel : public QAbstractItemModel {
    Q_OBJECT

public:
    enum Column { source, destination, size, note, columns };
    enum class Only : std::uint8_t { everything, withWarnings };

    struct Totals {
        std::size_t items = 0; ///< that would still be acted on
        std::size_t skipped = 0;
        std::int64_t bytes = 0; ///< of those items
    };

    /// `plan` outlives the model.
    explicit PlanModel(const FileOperationPlan& plan, QObject* parent = nullptr);

    /// What the user does not want, for FileOperationPlan::skipping().
    std::set<UUID> unchecked() const;
    Totals totals() const;
    /// The plan's warnings that belong to no single item.
    const std::vector<std::string>& generalWarnings() const { return generalWarnings_; }
    std::size_t itemWarningCount() const { return itemWarningCount_; }

    /// Shows the items whose source or destination contains `query` (case and accents make no difference).
    void setFilter(const std::string& query, Only only);
    std::size_t visibleItems() const { return visibleItems_; }
    bool isGrouped() const { return isGrouped_; }
    /// Checks or unchecks the lines; a group stands for its visible items.
    void setChecked(const QModelIndexList& lines, bool isChecked);
    /// The same folder and fate, whatever the filter shows; for views that remember what is collapsed.
    int groupNumber(const QModelIndex& group) const;

    using QObject::parent;
    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

Q_SIGNALS:
    void totalsChanged();

private:
    enum class Fate : std::uint8_t { asAsked, keptBoth, skipped };
    struct Line {
        int group = 0;
        int warning = -1; ///< an index of the plan's warnings
        bool isUnchecked = false;
    };
    struct Group {
        FileURL folder;
        Fate fate = Fate::asAsked;
        std::vector<std::size_t> visible; ///< items, in the plan's order
        std::int64_t bytes = 0;           ///< of the visible items
    };

    void assignWarnings();
    void makeGroups();
    Fate fateOf(std::size_t item) const;
    bool takesPart(std::size_t item) const;
    bool isGroup(const QModelIndex& index) const;
    const Group& groupAt(int row) const { return groups_[shown_[static_cast<std::size_t>(row)]]; }
    std::size_t itemAt(const QModelIndex& index) const;
    void setLine(std::size_t item, bool isChecked);
    Qt::CheckState checkState(const Group& group) const;
    QString groupText(const Group& group, int column) const;
    QString itemText(std::size_t item, int column) const;
    QString itemTip(std::size_t item, int column) const;
    QString noteOf(std::size_t item) const;

    const FileOperationPlan& plan_;
    std::vector<Line> lines_; ///< one for each item of the plan
    std::vector<Group> groups_;
    std::vector<std::size_t> shown_; ///< groups with visible items
    std::vector<std::string> generalWarnings_;
    std::size_t itemWarningCount_ = 0;
    std::size_t visibleItems_ = 0;
    bool isGrouped_ = false;
};

/// "Will be copied", for a heading.
QString shownIntention(OperationKind kind);

} // namespace morv
