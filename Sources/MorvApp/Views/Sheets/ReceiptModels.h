// What Morv did and what it handed to the system, and the items of one operation, for list views; nothing is
// made for a line that is not visible. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QAbstractTableModel>
#include <QStyledItemDelegate>
#include <memory>
#include <optional>
#include <variant>

namespace morv {

/// A receipt is held as it was told: a change of it is another one.
using SharedReceipt = std::shared_ptr<const OperationReceipt>;
using ActivityEntry = std::variant<SharedReceipt, SystemOperationReceipt>;

/// Null for a handoff.
const OperationReceipt* operationOf(const ActivityEntry& entry);

UUID idOf(const ActivityEntry& entry);
Date startOf(const ActivityEntry& entry);

/// The Activity list of a window, newest first; follows it, and keeps rows of receipts that only changed.
class ReceiptListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        subtitleRole = Qt::UserRole, ///< how and when it ended
        dayRole,                     ///< the day, where it is another than that of the row above
        statusColourRole,
    };

    explicit ReceiptListModel(AppModel& app, QObject* parent = nullptr);

    /// Handoffs stand among the operations.
    void setSystemReceipts(std::vector<SystemOperationReceipt> receipts);
    /// Shows those whose kind, message, or an item's name or path contains `query`.
    void setFilter(const std::string& query);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    const ActivityEntry& entry(int row) const { return entries_[static_cast<std::size_t>(row)]; }
    /// -1 when there is none.
    int rowOf(const UUID& id) const;

private:
    struct Held {
        SharedReceipt receipt;
        std::optional<bool> isFound; ///< by the present query
    };

    void update();
    /// The receipts of the window; those that have not changed stay the objects that they were.
    void takeOver();
    bool isFound(Held& held) const;

    AppModel& app_;
    std::vector<SystemOperationReceipt> system_;
    std::string query_;
    std::vector<Held> held_; ///< in the window's order
    std::vector<ActivityEntry> entries_;
};

/// Two lines a receipt: what it was, and when and how it ended. The first of a day stands under its name.
class ReceiptDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

class ReceiptItemsModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { item, outcome, place, columns };
    using QAbstractTableModel::QAbstractTableModel;

    /// Null: none.
    void setReceipt(SharedReceipt receipt);
    /// Null for no valid row.
    const OperationItemResult* result(const QModelIndex& index) const;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    SharedReceipt receipt_;
};

/// "Completed", "Copied, original kept", "Failed".
QString shownOutcome(OperationStatus status);
QString shownOutcome(OperationItemStatus status);
QString shownOutcome(SystemOperationStatus status);
/// "Copy “report.pdf”", "Move · 12 items".
QString titleOf(const ActivityEntry& entry);

} // namespace morv
