// Receipts and the items of one receipt for list views; nothing is made for a line that is not visible.
// Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QAbstractTableModel>
#include <QStyledItemDelegate>
#include <optional>

namespace morv {

/// The Activity list of a window; follows it, and keeps rows of receipts that only changed.
class ReceiptListModel : public QAbstractListModel {
    Q_OBJECT

public:
    explicit ReceiptListModel(AppModel& app, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    const OperationReceipt& receipt(int row) const { return receipts_[static_cast<std::size_t>(row)]; }
    /// -1 when there is none.
    int rowOf(const UUID& id) const;

private:
    void update();

    AppModel& app_;
    std::vector<OperationReceipt> receipts_; ///< copies share their items
};

/// Two lines a receipt: what it was, and when and how it ended.
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
    enum Column { item, outcome, place };
    using QAbstractTableModel::QAbstractTableModel;

    void setReceipt(std::optional<OperationReceipt> receipt);
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::optional<OperationReceipt> receipt_;
};

/// "Completed", "Copied, original kept", "Failed".
QString shownOutcome(OperationStatus status);
QString shownOutcome(OperationItemStatus status);

} // namespace morv
