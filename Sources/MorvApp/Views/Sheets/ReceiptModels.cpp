#include "MorvApp/Views/Sheets/ReceiptModels.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QPainter>
#include <algorithm>

namespace morv {

namespace {

QColor colourOf(OperationStatus status) {
    const auto& colours = Theme::shared().colours();
    switch (status) {
    case OperationStatus::completed:
        return colours.success;
    case OperationStatus::failed:
        return colours.failure;
    case OperationStatus::partial:
    case OperationStatus::cancelled:
    case OperationStatus::interrupted:
        return colours.warning;
    case OperationStatus::queued:
    case OperationStatus::running:
        return colours.accent;
    case OperationStatus::undone:
        break;
    }
    return colours.secondaryText;
}

const std::optional<FileURL>& subject(const OperationItemResult& result) {
    return result.source ? result.source : result.destination;
}

QString titleOf(const OperationReceipt& receipt) {
    auto title = ours(displayName(receipt.kind));
    if (receipt.items.size() == 1 && subject(receipt.items[0]))
        return title + QStringLiteral(" “") + shown(subject(receipt.items[0])->lastComponent()) +
               QStringLiteral("”");
    return title + QStringLiteral(" · ") + shownCount(receipt.items.size());
}

} // namespace

QString shownOutcome(OperationStatus status) {
    switch (status) {
    case OperationStatus::queued:
        return QStringLiteral("Queued");
    case OperationStatus::running:
        return QStringLiteral("Running");
    case OperationStatus::completed:
        return QStringLiteral("Completed");
    case OperationStatus::partial:
        return QStringLiteral("Partially completed");
    case OperationStatus::failed:
        return QStringLiteral("Failed");
    case OperationStatus::cancelled:
        return QStringLiteral("Cancelled");
    case OperationStatus::interrupted:
        return QStringLiteral("Interrupted");
    case OperationStatus::undone:
        return QStringLiteral("Undone");
    }
    return {};
}

QString shownOutcome(OperationItemStatus status) {
    switch (status) {
    case OperationItemStatus::pending:
        return QStringLiteral("Waiting");
    case OperationItemStatus::succeeded:
        return QStringLiteral("Done");
    case OperationItemStatus::skipped:
        return QStringLiteral("Skipped");
    case OperationItemStatus::failed:
        return QStringLiteral("Failed");
    case OperationItemStatus::cancelled:
        return QStringLiteral("Cancelled");
    case OperationItemStatus::copiedOriginalRetained:
        return QStringLiteral("Copied, original kept");
    case OperationItemStatus::undone:
        return QStringLiteral("Undone");
    }
    return {};
}

ReceiptListModel::ReceiptListModel(AppModel& app, QObject* parent)
    : QAbstractListModel(parent), app_(app), receipts_(app.receipts()) {
    connect(&app_, &AppModel::receiptsChanged, this, &ReceiptListModel::update);
}

void ReceiptListModel::update() {
    const auto& now = app_.receipts();
    const bool sameRows =
        std::ranges::equal(now, receipts_, {}, &OperationReceipt::id, &OperationReceipt::id);
    if (sameRows) {
        receipts_ = now;
        if (!receipts_.empty())
            Q_EMIT dataChanged(index(0), index(static_cast<int>(receipts_.size()) - 1));
        return;
    }
    beginResetModel();
    receipts_ = now;
    endResetModel();
}

int ReceiptListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(receipts_.size());
}

int ReceiptListModel::rowOf(const UUID& id) const {
    const auto found = std::ranges::find(receipts_, id, &OperationReceipt::id);
    return found == receipts_.end() ? -1 : static_cast<int>(found - receipts_.begin());
}

QVariant ReceiptListModel::data(const QModelIndex& index, int role) const {
    const auto& entry = receipt(index.row());
    if (role == Qt::DisplayRole)
        return titleOf(entry);
    if (role == Qt::ForegroundRole)
        return colourOf(entry.status);
    if (role == Qt::StatusTipRole)
        return shownOutcome(entry.status) + QStringLiteral(" · ") + shownDate(entry.startedAt);
    if (role == Qt::AccessibleTextRole)
        return titleOf(entry) + QStringLiteral(", ") + shownOutcome(entry.status);
    return {};
}

void ReceiptDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const auto& colours = Theme::shared().colours();
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const auto area = option.rect.adjusted(4, 2, -4, -2);
    if (option.state.testFlag(QStyle::State_Selected)) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(colours.selection);
        painter->drawRoundedRect(area, Space::radius, Space::radius);
    }
    painter->setPen(Qt::NoPen);
    painter->setBrush(index.data(Qt::ForegroundRole).value<QColor>());
    painter->drawEllipse(QPointF(area.left() + 14, area.top() + area.height() / 2.0), 4, 4);
    const QRect text = area.adjusted(28, 6, -Space::small, -6);
    const auto metrics = option.fontMetrics;
    painter->setPen(colours.text);
    painter->drawText(text, Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine,
                      metrics.elidedText(index.data().toString(), Qt::ElideMiddle, text.width()));
    painter->setPen(colours.secondaryText);
    painter->drawText(
        text, Qt::AlignLeft | Qt::AlignBottom | Qt::TextSingleLine,
        metrics.elidedText(index.data(Qt::StatusTipRole).toString(), Qt::ElideRight, text.width()));
    painter->restore();
}

QSize ReceiptDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    return {200, 2 * option.fontMetrics.height() + 22};
}

void ReceiptItemsModel::setReceipt(std::optional<OperationReceipt> receipt) {
    const bool sameRows =
        receipt && receipt_ && receipt->id == receipt_->id && receipt->items.size() == receipt_->items.size();
    if (sameRows) {
        receipt_ = std::move(receipt);
        if (rowCount() > 0)
            Q_EMIT dataChanged(index(0, item), index(rowCount() - 1, place));
        return;
    }
    beginResetModel();
    receipt_ = std::move(receipt);
    endResetModel();
}

int ReceiptItemsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !receipt_ ? 0 : static_cast<int>(receipt_->items.size());
}

int ReceiptItemsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 3;
}

QVariant ReceiptItemsModel::data(const QModelIndex& index, int role) const {
    const auto& result = receipt_->items[static_cast<std::size_t>(index.row())];
    if (role == Qt::ForegroundRole && index.column() == outcome &&
        result.status == OperationItemStatus::failed)
        return Theme::shared().colours().failure;
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    switch (index.column()) {
    case item:
        if (!subject(result))
            return {};
        return role == Qt::ToolTipRole ? shown(subject(result)->path())
                                       : shown(subject(result)->lastComponent());
    case outcome:
        return shownOutcome(result.status) +
               (result.error ? QStringLiteral(" · ") + shown(*result.error) : QString());
    default:
        if (result.recoveryURL)
            return shownPath(*result.recoveryURL);
        if (result.stagingURL)
            return shownPath(*result.stagingURL);
        return result.destination ? shownPath(*result.destination) : QString();
    }
}

QVariant ReceiptItemsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case item:
        return QStringLiteral("Item");
    case outcome:
        return QStringLiteral("Outcome");
    default:
        return QStringLiteral("Where it is now");
    }
}

} // namespace morv
