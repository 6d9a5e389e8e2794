#include "MorvApp/Views/Sheets/PlanModel.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"
#include "MorvCore/Foundation/TextSearch.h"
#include "MorvCore/Foundation/Unicode.h"

#include <QFont>
#include <algorithm>
#include <map>
#include <unordered_map>

namespace morv {

namespace {

/// Fewer are seen at a glance.
constexpr std::size_t fewItems = 20;
/// Of a name that is longer than any file system allows, the search looks at the beginning.
constexpr std::size_t searchedBytes = 8192;
/// The internal id of a line that stands on the top level.
constexpr quintptr topLevel = ~quintptr(0);

std::string_view searched(const FileURL& url) {
    return std::string_view(url.path()).substr(0, searchedBytes);
}

} // namespace

QString shownIntention(OperationKind kind) {
    switch (kind) {
    case OperationKind::copy:
        return QStringLiteral("Will be copied");
    case OperationKind::move:
        return QStringLiteral("Will be moved");
    case OperationKind::rename:
        return QStringLiteral("Will be renamed");
    case OperationKind::duplicate:
        return QStringLiteral("Will be duplicated");
    case OperationKind::trash:
        return QStringLiteral("Will be moved to Trash");
    case OperationKind::newFolder:
        return QStringLiteral("Will be created");
    case OperationKind::alias:
        return QStringLiteral("Will get an alias");
    case OperationKind::tags:
        return QStringLiteral("Will be tagged");
    case OperationKind::compressZIP:
        return QStringLiteral("Will be compressed");
    case OperationKind::extractZIP:
        return QStringLiteral("Will be extracted");
    }
    return {};
}

PlanModel::PlanModel(const FileOperationPlan& plan, QObject* parent)
    : QAbstractItemModel(parent), plan_(plan), lines_(plan.items.size()) {
    assignWarnings();
    makeGroups();
    isGrouped_ = plan_.items.size() >= fewItems;
    setFilter({}, Only::everything);
}

/// A collision's warning names what the item will be called. Of several items with that name the first takes it:
/// warnings stand in the order of the items.
void PlanModel::assignWarnings() {
    constexpr std::string_view begin = "Keep both: ";
    constexpr std::string_view middle = " will be saved as ";
    const bool keepsNames = plan_.kind == OperationKind::copy || plan_.kind == OperationKind::move;
    std::unordered_map<std::string, std::vector<std::size_t>> named; // the last is the next to be taken
    if (!plan_.warnings.empty())
        for (std::size_t i = plan_.items.size(); i-- > 0;) {
            const auto& item = plan_.items[i];
            if (item.destination && !(keepsNames && item.source &&
                                      item.source->lastComponent() == item.destination->lastComponent()))
                named[displayText(item.destination->lastComponent())].push_back(i);
        }
    for (std::size_t i = 0; i < plan_.warnings.size(); ++i) {
        const std::string_view warning = plan_.warnings[i];
        const auto at = warning.rfind(middle);
        const auto owners =
            warning.starts_with(begin) && at != std::string_view::npos && warning.ends_with('.')
                ? named.find(std::string(
                      warning.substr(at + middle.size(), warning.size() - at - middle.size() - 1)))
                : named.end();
        if (owners == named.end() || owners->second.empty()) {
            generalWarnings_.push_back(plan_.warnings[i]);
            continue;
        }
        lines_[owners->second.back()].warning = static_cast<int>(i);
        owners->second.pop_back();
        ++itemWarningCount_;
    }
}

PlanModel::Fate PlanModel::fateOf(std::size_t item) const {
    if (plan_.items[item].skipReason)
        return Fate::skipped;
    return lines_[item].warning >= 0 ? Fate::keptBoth : Fate::asAsked;
}

void PlanModel::makeGroups() {
    std::map<std::pair<FileURL, Fate>, int> known;
    for (std::size_t i = 0; i < plan_.items.size(); ++i) {
        const auto& item = plan_.items[i];
        const auto folder = item.destination ? item.destination->parent()
                            : item.source    ? item.source->parent()
                                             : FileURL();
        const auto [group, isNew] = known.try_emplace({folder, fateOf(i)}, static_cast<int>(groups_.size()));
        if (isNew)
            groups_.push_back({folder, fateOf(i), {}, 0});
        lines_[i].group = group->second;
    }
}

bool PlanModel::takesPart(std::size_t item) const {
    return !plan_.items[item].skipReason && !lines_[item].isUnchecked;
}

std::set<UUID> PlanModel::unchecked() const {
    std::set<UUID> ids;
    for (std::size_t i = 0; i < lines_.size(); ++i)
        if (lines_[i].isUnchecked)
            ids.insert(plan_.items[i].id);
    return ids;
}

PlanModel::Totals PlanModel::totals() const {
    Totals totals;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        if (!takesPart(i)) {
            ++totals.skipped;
            continue;
        }
        ++totals.items;
        if (const auto& fingerprint = plan_.items[i].fingerprint)
            totals.bytes += fingerprint->byteCount;
    }
    return totals;
}

void PlanModel::setFilter(const std::string& query, Only only) {
    TextSearch search(query);
    beginResetModel();
    for (auto& group : groups_) {
        group.visible.clear();
        group.bytes = 0;
    }
    visibleItems_ = 0;
    for (std::size_t i = 0; i < plan_.items.size(); ++i) {
        const auto& item = plan_.items[i];
        if (only == Only::withWarnings && lines_[i].warning < 0 && !item.skipReason)
            continue;
        if (!query.empty() && !(item.source && search.isFoundIn(searched(*item.source))) &&
            !(item.destination && search.isFoundIn(searched(*item.destination))))
            continue;
        auto& group = groups_[static_cast<std::size_t>(lines_[i].group)];
        group.visible.push_back(i);
        group.bytes += item.fingerprint ? item.fingerprint->byteCount : 0;
        ++visibleItems_;
    }
    shown_.clear();
    for (std::size_t i = 0; i < groups_.size(); ++i)
        if (!groups_[i].visible.empty())
            shown_.push_back(i);
    if (!isGrouped_) {
        // Every visible item in the plan's order, in the place of the groups.
        shown_.clear();
        for (const auto& group : groups_)
            shown_.insert(shown_.end(), group.visible.begin(), group.visible.end());
        std::ranges::sort(shown_);
    }
    endResetModel();
}

bool PlanModel::isGroup(const QModelIndex& index) const {
    return isGrouped_ && index.isValid() && index.internalId() == topLevel;
}

std::size_t PlanModel::itemAt(const QModelIndex& index) const {
    const auto row = static_cast<std::size_t>(index.row());
    return isGrouped_ ? groupAt(static_cast<int>(index.internalId())).visible[row] : shown_[row];
}

int PlanModel::groupNumber(const QModelIndex& group) const {
    return static_cast<int>(shown_[static_cast<std::size_t>(group.row())]);
}

QModelIndex PlanModel::index(int row, int column, const QModelIndex& parent) const {
    if (row < 0 || row >= rowCount(parent) || column < 0 || column >= columns)
        return {};
    return createIndex(row, column, parent.isValid() ? static_cast<quintptr>(parent.row()) : topLevel);
}

QModelIndex PlanModel::parent(const QModelIndex& index) const {
    if (!index.isValid() || index.internalId() == topLevel)
        return {};
    return createIndex(static_cast<int>(index.internalId()), 0, topLevel);
}

int PlanModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return static_cast<int>(shown_.size());
    return isGroup(parent) && parent.column() == 0 ? static_cast<int>(groupAt(parent.row()).visible.size())
                                                   : 0;
}

int PlanModel::columnCount(const QModelIndex&) const {
    return columns;
}

QString PlanModel::noteOf(std::size_t item) const {
    if (plan_.items[item].skipReason)
        return shownBriefly(*plan_.items[item].skipReason);
    if (lines_[item].isUnchecked)
        return QStringLiteral("Will be skipped");
    if (lines_[item].warning >= 0)
        return shownBriefly(plan_.warnings[static_cast<std::size_t>(lines_[item].warning)]);
    return {};
}

QString PlanModel::itemText(std::size_t item, int column) const {
    const auto& entry = plan_.items[item];
    switch (column) {
    case source:
        return entry.source ? shownPathBriefly(*entry.source) : QStringLiteral("New");
    case destination:
        // A group has told the folder.
        if (entry.destination)
            return isGrouped_ ? shownBriefly(entry.destination->lastComponent())
                              : shownPathBriefly(*entry.destination);
        return plan_.kind == OperationKind::trash ? QStringLiteral("Trash")
                                                  : QStringLiteral("Stays in place");
    case size:
        return entry.fingerprint ? ours(formatByteCount(entry.fingerprint->byteCount)) : QString();
    default:
        return noteOf(item);
    }
}

QString PlanModel::itemTip(std::size_t item, int column) const {
    const auto& entry = plan_.items[item];
    if (column == source && entry.source)
        return shownBriefly(entry.source->path());
    if (column == destination && entry.destination)
        return shownBriefly(entry.destination->path());
    return itemText(item, column);
}

QString PlanModel::groupText(const Group& group, int column) const {
    const bool hasDestination = plan_.items[group.visible.front()].destination.has_value();
    switch (column) {
    case source:
        return hasDestination ? shownCount(group.visible.size())
                              : shownPathBriefly(group.folder) + QStringLiteral(" · ") +
                                    shownCount(group.visible.size());
    case destination:
        return hasDestination ? shownPathBriefly(group.folder) : itemText(group.visible.front(), destination);
    case size:
        return ours(formatByteCount(group.bytes));
    default:
        switch (group.fate) {
        case Fate::asAsked:
            return shownIntention(plan_.kind);
        case Fate::keptBoth:
            return QStringLiteral("Keep Both, under a new name");
        case Fate::skipped:
            return QStringLiteral("Skipped");
        }
    }
    return {};
}

Qt::CheckState PlanModel::checkState(const Group& group) const {
    const auto checked = std::ranges::count_if(group.visible, [this](std::size_t i) { return takesPart(i); });
    return checked == 0                                                   ? Qt::Unchecked
           : checked == static_cast<std::ptrdiff_t>(group.visible.size()) ? Qt::Checked
                                                                          : Qt::PartiallyChecked;
}

QVariant PlanModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const auto& colours = Theme::shared().colours();
    if (role == Qt::TextAlignmentRole && index.column() == size)
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    if (isGroup(index)) {
        const auto& group = groupAt(index.row());
        switch (role) {
        case Qt::DisplayRole:
        case Qt::ToolTipRole:
            return groupText(group, index.column());
        case Qt::CheckStateRole:
            return index.column() == source ? QVariant(checkState(group)) : QVariant();
        case Qt::FontRole: {
            QFont font;
            font.setWeight(QFont::DemiBold);
            return font;
        }
        case Qt::ForegroundRole:
            return group.fate == Fate::keptBoth && index.column() == note ? QVariant(colours.warning)
                                                                          : QVariant();
        default:
            return {};
        }
    }
    const auto item = itemAt(index);
    switch (role) {
    case Qt::DisplayRole:
        return itemText(item, index.column());
    case Qt::ToolTipRole:
        return itemTip(item, index.column());
    case Qt::CheckStateRole:
        return index.column() == source ? QVariant(takesPart(item) ? Qt::Checked : Qt::Unchecked)
                                        : QVariant();
    case Qt::ForegroundRole:
        if (!takesPart(item))
            return colours.secondaryText;
        if (index.column() == note)
            return colours.warning;
        return index.column() == size ? QVariant(colours.secondaryText) : QVariant();
    default:
        return {};
    }
}

void PlanModel::setLine(std::size_t item, bool isChecked) {
    if (!plan_.items[item].skipReason)
        lines_[item].isUnchecked = !isChecked;
}

void PlanModel::setChecked(const QModelIndexList& lines, bool isChecked) {
    for (const auto& line : lines) {
        if (!isGroup(line)) {
            setLine(itemAt(line), isChecked);
            continue;
        }
        for (const auto item : groupAt(line.row()).visible)
            setLine(item, isChecked);
    }
    // Views repaint what they show of it.
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, note));
    if (isGrouped_)
        for (int row = 0; row < rowCount(); ++row)
            Q_EMIT dataChanged(index(0, 0, index(row, 0)),
                               index(rowCount(index(row, 0)) - 1, note, index(row, 0)));
    Q_EMIT totalsChanged();
}

bool PlanModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || index.column() != source ||
        !flags(index).testFlag(Qt::ItemIsUserCheckable))
        return false;
    setChecked({index}, value.toInt() == Qt::Checked);
    return true;
}

QVariant PlanModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole && section == size)
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return {};
    switch (section) {
    case source:
        return QStringLiteral("Source");
    case destination:
        return QStringLiteral("Destination");
    case size:
        return QStringLiteral("Size");
    default:
        return QStringLiteral("Note");
    }
}

Qt::ItemFlags PlanModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return {};
    Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    const bool isOfGroup = isGroup(index);
    if (!isOfGroup)
        flags |= Qt::ItemNeverHasChildren;
    const bool canChange =
        isOfGroup ? groupAt(index.row()).fate != Fate::skipped : !plan_.items[itemAt(index)].skipReason;
    if (index.column() == source && canChange)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

} // namespace morv
