#include "MorvApp/Views/Sheets/ReceiptModels.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/TextSearch.h"

#include <QDateTime>
#include <QIcon>
#include <QLocale>
#include <QPainter>
#include <algorithm>
#include <unordered_map>

namespace morv {

namespace {

constexpr int dayHeight = 30;
constexpr int symbolSize = 20;
/// Of a name that is longer than any file system allows, the search looks at the beginning.
constexpr std::size_t searchedBytes = 8192;

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

const char* symbolOf(OperationKind kind) {
    switch (kind) {
    case OperationKind::copy:
        return "edit-copy";
    case OperationKind::move:
        return "transform-move";
    case OperationKind::rename:
        return "edit-rename";
    case OperationKind::duplicate:
        return "edit-duplicate";
    case OperationKind::trash:
        return "user-trash";
    case OperationKind::newFolder:
        return "folder-new";
    case OperationKind::alias:
        return "insert-link";
    case OperationKind::tags:
        return "tag";
    case OperationKind::compressZIP:
        return "archive-insert";
    case OperationKind::extractZIP:
        return "archive-extract";
    }
    return "";
}

const std::optional<FileURL>& subject(const OperationItemResult& result) {
    return result.source ? result.source : result.destination;
}

QDate dayOf(const ActivityEntry& entry) {
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(startOf(entry).unixSeconds() * 1000)).date();
}

QString shownDay(const QDate& day) {
    const auto days = day.daysTo(QDate::currentDate());
    if (days == 0)
        return QStringLiteral("Today");
    if (days == 1)
        return QStringLiteral("Yesterday");
    return QLocale().toString(day, QStringLiteral("dddd d MMMM yyyy"));
}

QString shownTime(const Date& date) {
    const auto moment = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(date.unixSeconds() * 1000));
    return QLocale().toString(moment.time(), QStringLiteral("HH:mm"));
}

QString statusOf(const ActivityEntry& entry) {
    if (const auto* receipt = operationOf(entry))
        return shownOutcome(receipt->status);
    return shownOutcome(std::get<SystemOperationReceipt>(entry).status);
}

} // namespace

const OperationReceipt* operationOf(const ActivityEntry& entry) {
    const auto* receipt = std::get_if<SharedReceipt>(&entry);
    return receipt ? receipt->get() : nullptr;
}

UUID idOf(const ActivityEntry& entry) {
    const auto* receipt = operationOf(entry);
    return receipt ? receipt->id : std::get<SystemOperationReceipt>(entry).id;
}

Date startOf(const ActivityEntry& entry) {
    if (const auto* receipt = operationOf(entry))
        return receipt->startedAt;
    return std::get<SystemOperationReceipt>(entry).createdAt;
}

QString titleOf(const ActivityEntry& entry) {
    const auto* receipt = operationOf(entry);
    if (!receipt)
        return shownBriefly(std::get<SystemOperationReceipt>(entry).label);
    auto title = ours(displayName(receipt->kind));
    if (receipt->items.size() == 1 && subject(receipt->items[0]))
        return title + QStringLiteral(" “") + shownBriefly(subject(receipt->items[0])->lastComponent()) +
               QStringLiteral("”");
    return title + QStringLiteral(" · ") + shownCount(receipt->items.size());
}

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

QString shownOutcome(SystemOperationStatus status) {
    switch (status) {
    case SystemOperationStatus::pending:
        return QStringLiteral("Handed over");
    case SystemOperationStatus::outcomeRecorded:
        return QStringLiteral("Outcome recorded");
    case SystemOperationStatus::requiresReview:
        return QStringLiteral("Needs review");
    }
    return {};
}

ReceiptListModel::ReceiptListModel(AppModel& app, QObject* parent) : QAbstractListModel(parent), app_(app) {
    connect(&app_, &AppModel::receiptsChanged, this, &ReceiptListModel::update);
    update();
}

void ReceiptListModel::setSystemReceipts(std::vector<SystemOperationReceipt> receipts) {
    system_ = std::move(receipts);
    update();
}

void ReceiptListModel::setFilter(const std::string& query) {
    query_ = query;
    for (auto& held : held_)
        held.isFound.reset();
    update();
}

bool ReceiptListModel::isFound(Held& held) const {
    if (query_.empty())
        return true;
    if (held.isFound)
        return *held.isFound;
    const auto& receipt = *held.receipt;
    TextSearch search(query_);
    const auto matches = [&](const std::optional<FileURL>& url) {
        return url && search.isFoundIn(std::string_view(url->path()).substr(0, searchedBytes));
    };
    held.isFound = search.isFoundIn(displayName(receipt.kind)) ||
                   search.isFoundIn(typedBytes(shownOutcome(receipt.status))) ||
                   (receipt.message && search.isFoundIn(*receipt.message)) ||
                   std::any_of(receipt.items.begin(), receipt.items.end(), [&](const auto& result) {
                       return matches(result.source) || matches(result.destination);
                   });
    return *held.isFound;
}

void ReceiptListModel::takeOver() {
    std::unordered_map<UUID, Held> before;
    for (auto& held : held_)
        before.emplace(held.receipt->id, std::move(held));
    held_.clear();
    for (const auto& receipt : app_.receipts()) {
        const auto known = before.find(receipt.id);
        // Versions of a receipt share the items that are the same, so this is no reading of all of them.
        if (known != before.end() && *known->second.receipt == receipt)
            held_.push_back(std::move(known->second));
        else
            held_.push_back({std::make_shared<const OperationReceipt>(receipt), {}});
    }
}

void ReceiptListModel::update() {
    takeOver();
    std::vector<ActivityEntry> now;
    for (auto& held : held_)
        if (isFound(held))
            now.emplace_back(held.receipt);
    TextSearch search(query_);
    for (const auto& receipt : system_)
        if (search.isFoundIn(receipt.label))
            now.emplace_back(receipt);
    std::ranges::stable_sort(
        now, [](const ActivityEntry& a, const ActivityEntry& b) { return startOf(a) > startOf(b); });
    if (!std::ranges::equal(now, entries_, {}, idOf, idOf)) {
        beginResetModel();
        entries_ = std::move(now);
        return endResetModel();
    }
    now.swap(entries_);
    for (std::size_t row = 0; row < entries_.size(); ++row)
        if (const auto changed = index(static_cast<int>(row)); entries_[row] != now[row])
            Q_EMIT dataChanged(changed, changed);
}

int ReceiptListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(entries_.size());
}

int ReceiptListModel::rowOf(const UUID& id) const {
    const auto found = std::ranges::find(entries_, id, idOf);
    return found == entries_.end() ? -1 : static_cast<int>(found - entries_.begin());
}

QVariant ReceiptListModel::data(const QModelIndex& index, int role) const {
    const auto& shown = entry(index.row());
    const auto* receipt = operationOf(shown);
    switch (role) {
    case Qt::DisplayRole:
        return titleOf(shown);
    case Qt::ToolTipRole:
        return titleOf(shown);
    case Qt::DecorationRole:
        return QIcon::fromTheme(QLatin1String(receipt ? symbolOf(receipt->kind) : "trash-empty"));
    case statusColourRole:
        if (receipt)
            return colourOf(receipt->status);
        return std::get<SystemOperationReceipt>(shown).status == SystemOperationStatus::outcomeRecorded
                   ? Theme::shared().colours().secondaryText
                   : Theme::shared().colours().warning;
    case subtitleRole:
        return statusOf(shown) + QStringLiteral(" · ") + shownTime(startOf(shown));
    case dayRole:
        if (index.row() > 0 && dayOf(entry(index.row() - 1)) == dayOf(shown))
            return {};
        return shownDay(dayOf(shown));
    case Qt::AccessibleTextRole:
        return titleOf(shown) + QStringLiteral(", ") + statusOf(shown) + QStringLiteral(", ") +
               shownDay(dayOf(shown));
    default:
        return {};
    }
}

void ReceiptDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const auto& colours = Theme::shared().colours();
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    auto area = option.rect;
    if (const auto day = index.data(ReceiptListModel::dayRole).toString(); !day.isEmpty()) {
        auto font = option.font;
        font.setWeight(QFont::DemiBold);
        painter->setFont(font);
        painter->setPen(colours.secondaryText);
        painter->drawText(
            QRect(area.left() + Space::medium, area.top(), area.width() - 2 * Space::medium, dayHeight),
            Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, day);
        painter->setFont(option.font);
        area.setTop(area.top() + dayHeight);
    }
    area.adjust(4, 2, -4, -2);
    if (option.state.testFlag(QStyle::State_Selected)) {
        const bool hasKeyboard = option.state.testFlag(QStyle::State_HasFocus);
        painter->setPen(hasKeyboard ? QPen(colours.accent, 1.5) : QPen(Qt::NoPen));
        painter->setBrush(hasKeyboard ? colours.selection : colours.quietSelection);
        painter->drawRoundedRect(QRectF(area).adjusted(0.75, 0.75, -0.75, -0.75), Space::radius,
                                 Space::radius);
    }
    const QRect symbol(area.left() + Space::small, area.top() + (area.height() - symbolSize) / 2, symbolSize,
                       symbolSize);
    index.data(Qt::DecorationRole).value<QIcon>().paint(painter, symbol);
    const auto status = index.data(ReceiptListModel::statusColourRole).value<QColor>();
    const QRect text = area.adjusted(symbolSize + Space::large + 2, 6, -Space::small, -6);
    const auto metrics = option.fontMetrics;
    painter->setPen(colours.text);
    painter->drawText(text, Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine,
                      metrics.elidedText(index.data().toString(), Qt::ElideMiddle, text.width()));
    painter->setPen(Qt::NoPen);
    painter->setBrush(status);
    painter->drawEllipse(QPointF(text.left() + 4, text.bottom() - metrics.height() / 2.0 + 1), 3.5, 3.5);
    painter->setPen(colours.secondaryText);
    const auto second = text.adjusted(Space::medium + 2, 0, 0, 0);
    painter->drawText(second, Qt::AlignLeft | Qt::AlignBottom | Qt::TextSingleLine,
                      metrics.elidedText(index.data(ReceiptListModel::subtitleRole).toString(),
                                         Qt::ElideRight, second.width()));
    painter->restore();
}

QSize ReceiptDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const bool beginsDay = !index.data(ReceiptListModel::dayRole).toString().isEmpty();
    return {200, 2 * option.fontMetrics.height() + 22 + (beginsDay ? dayHeight : 0)};
}

void ReceiptItemsModel::setReceipt(SharedReceipt receipt) {
    if (receipt == receipt_)
        return;
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

const OperationItemResult* ReceiptItemsModel::result(const QModelIndex& index) const {
    if (!index.isValid() || index.row() >= rowCount())
        return nullptr;
    return &receipt_->items[static_cast<std::size_t>(index.row())];
}

int ReceiptItemsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !receipt_ ? 0 : static_cast<int>(receipt_->items.size());
}

int ReceiptItemsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(columns);
}

QVariant ReceiptItemsModel::data(const QModelIndex& index, int role) const {
    const auto& shownItem = *result(index);
    if (role == Qt::ForegroundRole) {
        const auto& colours = Theme::shared().colours();
        if (index.column() == outcome && shownItem.status == OperationItemStatus::failed)
            return colours.failure;
        return index.column() == item ? QVariant() : QVariant(colours.secondaryText);
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    switch (index.column()) {
    case item:
        if (!subject(shownItem))
            return {};
        return role == Qt::ToolTipRole ? shownBriefly(subject(shownItem)->path())
                                       : shownBriefly(subject(shownItem)->lastComponent());
    case outcome:
        return shownOutcome(shownItem.status) +
               (shownItem.error ? QStringLiteral(" · ") + shownBriefly(*shownItem.error) : QString());
    default:
        if (shownItem.stagingURL)
            return QStringLiteral("Staging: ") + shownPathBriefly(*shownItem.stagingURL);
        if (shownItem.recoveryURL)
            return QStringLiteral("In Trash: ") + shownPathBriefly(*shownItem.recoveryURL);
        return shownItem.destination ? shownPathBriefly(*shownItem.destination) : QString();
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
