#include "MorvApp/Views/Sheets/PlanModel.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <algorithm>

namespace morv {

PlanModel::PlanModel(const FileOperationPlan& plan, QObject* parent)
    : QAbstractTableModel(parent), plan_(plan),
      skipped_(static_cast<std::size_t>(std::ranges::count_if(
          plan.items, [](const FileOperationItem& item) { return item.skipReason.has_value(); }))) {}

std::size_t PlanModel::remaining() const {
    return plan_.items.size() - skipped_ - unchecked_.size();
}

int PlanModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(plan_.items.size());
}

int PlanModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 3;
}

QString PlanModel::text(const FileOperationItem& item, int column) const {
    switch (column) {
    case source:
        return item.source ? shownPath(*item.source) : QStringLiteral("New");
    case destination:
        if (item.destination)
            return shownPath(*item.destination);
        return plan_.kind == OperationKind::trash ? QStringLiteral("Trash")
                                                  : QStringLiteral("Stays in place");
    default:
        if (item.skipReason)
            return shown(*item.skipReason);
        if (unchecked_.contains(item.id))
            return QStringLiteral("Will be skipped");
        if (item.source && item.destination &&
            item.source->lastComponent() != item.destination->lastComponent() &&
            (plan_.kind == OperationKind::copy || plan_.kind == OperationKind::move))
            return QStringLiteral("Keep Both");
        return {};
    }
}

QVariant PlanModel::data(const QModelIndex& index, int role) const {
    const auto& item = plan_.items[static_cast<std::size_t>(index.row())];
    const bool isOut = item.skipReason || unchecked_.contains(item.id);
    switch (role) {
    case Qt::DisplayRole:
        return text(item, index.column());
    case Qt::ToolTipRole:
        if (index.column() == source && item.source)
            return shown(item.source->path());
        if (index.column() == destination && item.destination)
            return shown(item.destination->path());
        return text(item, index.column());
    case Qt::CheckStateRole:
        if (index.column() == source)
            return isOut ? Qt::Unchecked : Qt::Checked;
        return {};
    case Qt::ForegroundRole:
        if (isOut || index.column() == note)
            return Theme::shared().colours().secondaryText;
        return {};
    default:
        return {};
    }
}

bool PlanModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || index.column() != source)
        return false;
    const auto& item = plan_.items[static_cast<std::size_t>(index.row())];
    if (item.skipReason)
        return false;
    if (value.toInt() == Qt::Checked)
        unchecked_.erase(item.id);
    else
        unchecked_.insert(item.id);
    Q_EMIT dataChanged(index.siblingAtColumn(source), index.siblingAtColumn(note));
    Q_EMIT remainingChanged();
    return true;
}

QVariant PlanModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case source:
        return QStringLiteral("Source");
    case destination:
        return QStringLiteral("Destination");
    default:
        return QStringLiteral("Note");
    }
}

Qt::ItemFlags PlanModel::flags(const QModelIndex& index) const {
    auto flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
    if (index.column() == source && !plan_.items[static_cast<std::size_t>(index.row())].skipReason)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

} // namespace morv
